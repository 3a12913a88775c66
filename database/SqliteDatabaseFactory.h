#pragma once

#include "interfaces/SyncNamespace.h"
#include "interfaces/IDatabaseFactory.h"
#include "kvsynccore_export.h"

#include <QString>
#include <QVariantList>

#include <functional>
#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

class SqliteConnectionRegistry;
class SqliteRow;

/**
 * @brief The library's database: one SQLite file reached through Qt Sql.
 *
 * Qt lets a connection be used only on the thread that opened it, so every
 * thread that calls GetDatabase() or CreateQuery() gets a connection of its own
 * to the same file, opened on its first call and closed when that thread ends
 * or when the factory is destroyed, whichever comes first. Every connection
 * runs in WAL journal mode with synchronous=NORMAL and waits up to the busy
 * timeout (10 s unless Options say otherwise) for a lock held by another
 * connection, so a reader on one thread and a writer on another do not fail
 * each other. transaction() starts an immediate (write) transaction for the
 * same reason: two writers queue up instead of deadlocking. A commit that fails
 * is rolled back, so the thread's connection is never left inside a
 * transaction; after SQLite rolled a transaction back by itself (disk full,
 * I/O error) the rest of its statements fail rather than run outside it.
 *
 * Timestamps: a QDateTime bound to a query is stored as ISO 8601 UTC text with
 * milliseconds, "2026-11-23T07:35:22.123Z", whatever its time zone setting (local and
 * offset times are converted to the same instant first; an invalid one is
 * stored as NULL). Reading the column gives that text back, and
 * QVariant::toDateTime() turns it into the same instant as a UTC QDateTime, to
 * the millisecond. The text sorts in time order.
 *
 * Prepared statements are cached per connection by their text, so a query
 * wrapper made for every row does not compile the same statement every time;
 * a statement fetched from the cache starts with every placeholder unbound
 * (NULL), as a freshly prepared one would. Values are stored as Qt's SQLite
 * driver stores them (a null QString is NULL, an empty one is '').
 *
 * Needs Qt's SQLite driver plugin (QSQLITE); without it Open() fails with a
 * message that says so. Destroy the factory only after the other threads
 * stopped using it; query and database wrappers already handed out keep their
 * own connection alive.
 */
class KVSYNCCORE_EXPORT SqliteDatabaseFactory : public sync::interf::factory::IDatabaseFactory
{
public:
    /// How long a statement waits for a lock another connection holds, by default.
    static constexpr int DefaultBusyTimeoutMsec = 10000;

    /// Settings of Open() beyond the file path.
    struct Options
    {
        /// How long a statement waits for another connection's lock before it
        /// fails with "database is locked", in milliseconds.
        int busyTimeoutMsec = DefaultBusyTimeoutMsec;
    };

    /// What kind of failure LastError() describes.
    enum class ErrorKind {
        None, ///< no failure on this thread
        Busy, ///< another connection held the lock for the whole busy timeout
        Corrupt, ///< the file is damaged (SQLite: "database disk image is malformed")
        NotADatabase, ///< the file is not an SQLite database at all
        ReadOnly, ///< the file, its folder or the file system cannot be written
        Full, ///< the disk, a file size limit or max_page_count is reached
        CannotOpen, ///< the file or its companions cannot be opened or created
        Other, ///< anything else (SQL errors, constraints, I/O errors)
    };

    /**
     * @brief Opens (creating when missing) the database file @p filePath.
     *
     * Checks the file on the calling thread at once: a folder, a missing parent
     * folder, a file that cannot be read or written, a file that is not an
     * SQLite database, or a damaged one (every page is read before anything
     * writes, so such a file is left byte for byte as it was) gives an empty
     * pointer, a log line and, in @p errorMessage when given, one line that
     * names the path and the reason. An empty path or ":memory:" is refused:
     * the data must survive the process.
     */
    static std::shared_ptr<SqliteDatabaseFactory> Open(
        const QString& filePath, QString* errorMessage = nullptr);
    /// Open() with @p options instead of the defaults.
    static std::shared_ptr<SqliteDatabaseFactory> Open(
        const QString& filePath, const Options& options, QString* errorMessage = nullptr);

    ~SqliteDatabaseFactory() override;

    SqliteDatabaseFactory(const SqliteDatabaseFactory&) = delete;
    SqliteDatabaseFactory& operator=(const SqliteDatabaseFactory&) = delete;

    /**
     * @brief Creates the `ActionLog` table when it does not exist yet.
     *
     * Columns: id INTEGER PRIMARY KEY AUTOINCREMENT, actionType INTEGER,
     * relatedItemName TEXT, relatedItemInfo TEXT, timestamp TEXT (see the class
     * comment), details TEXT. Runs on the calling thread's connection; false on
     * failure, with the reason in LastError(). Calling it again is harmless.
     */
    bool CreateActionLogTable();

    /// The absolute path of the database file.
    QString FilePath() const;

    /**
     * @brief Text of the last failure on the calling thread's connection.
     *
     * Set by a failed prepare, exec, transaction, commit or rollback, or by a
     * failure to open the connection, with SQLite's own words ("database disk
     * image is malformed", "file is not a database", "attempt to write a
     * readonly database", "database or disk is full", "database is locked");
     * empty when this thread had none. Kept until the next failure on this
     * thread, so a caller may check it once after a series of operations (the
     * action log reports nothing itself).
     */
    QString LastError() const;
    /// The kind of the failure LastError() describes; ErrorKind::None when it is empty.
    ErrorKind LastErrorKind() const;

    /// The calling thread's database handle (immediate transactions, commit, rollback).
    std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> GetDatabase() override;
    /// A new query on the calling thread's connection. Never empty: when the
    /// connection cannot be opened every operation of the query fails.
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> CreateQuery() override;

    /**
     * @brief Reads many rows at SQLite's own cost.
     *
     * Runs the query @p sql on the calling thread's connection (so it sees
     * that thread's uncommitted writes) with @p values bound to its
     * placeholders in order (named ones too, by position), and calls @p onRow for
     * every row. Where QSqlQuery builds a QVariant per value, this reads the
     * values in place: for loops over thousands of rows. The prepared
     * statement is cached like a query's. False on failure, with the reason in
     * LastError(); rows already handed over stay handed over.
     */
    bool ReadRows(const QString& sql, const QVariantList& values,
        const std::function<void(const SqliteRow&)>& onRow);

private:
    explicit SqliteDatabaseFactory(std::shared_ptr<SqliteConnectionRegistry> registry);

    std::shared_ptr<SqliteConnectionRegistry> _registry;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
