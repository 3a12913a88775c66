#pragma once

// One thread's connection to the database file, its cache of prepared
// statements, and the per-factory registry that hands each thread its own
// connection.

#include "interfaces/SyncNamespace.h"

#include <QObject>
#include <QSqlDatabase>
#include <QString>
#include <QStringConverter>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

class QSqlError;
class QSqlQuery;
struct sqlite3;
struct sqlite3_stmt;

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

class SqliteRow;

/**
 * One prepared statement of a connection.
 *
 * A statement without result columns (INSERT, UPDATE, DELETE, BEGIN, COMMIT,
 * most PRAGMAs) runs directly on SQLite's handle: binding through Qt costs more
 * than the insert itself when a batch writes thousands of rows. A statement
 * that returns rows runs through QSqlQuery, which also gives rows their Qt
 * types and lets first() go back to the first row.
 */
class SqliteStatement
{
public:
    /// A statement without result columns, run on SQLite directly; takes @p statement.
    SqliteStatement(const QString& text, sqlite3* database, sqlite3_stmt* statement);
    /// A statement that returns rows, run through @p query.
    SqliteStatement(const QString& text, std::unique_ptr<QSqlQuery> query);
    ~SqliteStatement();

    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    const QString& Text() const { return _text; }
    /// The query of a statement that returns rows; null otherwise.
    QSqlQuery* Query() const { return _query.get(); }

    void Bind(const QString& placeholder, const QVariant& value);
    /// Binds the @p index th placeholder (from 1) of a statement run on SQLite directly.
    void BindAt(int index, const QVariant& value);
    /// Runs the statement; false with @p error and @p code (SQLite's result code) set on failure.
    bool Exec(QString* error, int* code);
    /**
     * Runs a statement prepared for SQLite directly and calls @p onRow for each
     * row; false with @p error and @p code set on failure. The statement is
     * reset afterwards, also when @p onRow throws.
     */
    bool ReadRows(const std::function<void(const SqliteRow&)>& onRow, QString* error, int* code);
    QVariant LastInsertId() const;
    /// Leaves every placeholder NULL, as a freshly prepared statement has it.
    void ClearBindings();
    /// Ends the current run: no rows, no read snapshot, no lock held.
    void Finish();

private:
    int _ParameterIndex(const QString& placeholder);
    int _BindDirect(int index, const QVariant& value);
    int _BindText(int index, QStringView text);
    int _BindLatin1(int index, const char* text, int length);

    QString _text;
    sqlite3* _database = nullptr;
    sqlite3_stmt* _statement = nullptr;
    std::unique_ptr<QSqlQuery> _query;
    // Direct statements: placeholder name to SQLite parameter number, as met.
    std::vector<std::pair<QString, int>> _parameters;
    // Direct statements: UTF-8 of each bound text, kept until it is bound again
    // (SQLite reads it in place, without copying or converting it).
    std::vector<std::string> _textBuffers;
    QStringEncoder _utf8 { QStringEncoder::Utf8, QStringConverter::Flag::Stateless };
    // Queries: the placeholders bound since the last ClearBindings().
    QStringList _boundNames;
    QVariant _lastInsertId;
};

/**
 * A QSqlDatabase connection owned by one thread. Every member except the
 * destructor runs on that thread; the destructor may run on another one once
 * the owning thread has stopped using it (thread end, factory destruction).
 */
class SqliteConnection
{
public:
    /// Registers the Qt connection (not opened yet); must run on the owning thread.
    SqliteConnection(const QString& filePath, const QString& connectionName, int busyTimeoutMsec);
    ~SqliteConnection();

    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    /// Opens and configures the connection unless it is open; false with LastError() set.
    bool EnsureOpen();
    /**
     * Opens the connection like EnsureOpen(), but first reads the whole file
     * (SQLite's quick_check) before anything may write to it, so that a damaged
     * file or one that is not a database is refused unchanged.
     */
    bool OpenVerified();
    /// Proves that a write transaction can start (the file is writable), then rolls it back.
    bool CheckWritable();

    /**
     * The prepared statement for @p text: a cached one with every placeholder
     * NULL, or a newly prepared one. Null on failure (LastError() set). Hand
     * it back with ReturnStatement() when done. With @p direct, a statement
     * that returns rows also runs on SQLite directly (SqliteStatement::ReadRows()).
     */
    std::unique_ptr<SqliteStatement> TakeStatement(const QString& text, bool direct = false);
    /// Keeps @p statement for the next user of its text.
    void ReturnStatement(std::unique_ptr<SqliteStatement> statement);
    /// Runs a statement whose rows, if any, are not needed (BEGIN, COMMIT, CREATE).
    bool Execute(const QString& text);
    /// See SqliteDatabaseFactory::ReadRows().
    bool ReadRows(const QString& text, const QVariantList& values,
        const std::function<void(const SqliteRow&)>& onRow);

    /**
     * Starts an immediate transaction, or, inside one, a savepoint: two parts
     * of a program that share this thread's connection can then each run
     * their own transaction and still commit as one (the outer one).
     */
    bool Begin();
    /**
     * Commits the innermost transaction. A savepoint's writes become part of
     * the transaction around it and are only durable once that commits. When
     * the outermost commit fails and SQLite left the transaction open (a
     * deferred constraint, a lock), it is rolled back, so that the connection
     * is back in autocommit mode; LastError() keeps the commit's reason.
     */
    bool Commit();
    /// Undoes the innermost transaction: a savepoint's writes only, or everything.
    bool Rollback();
    /**
     * False, with LastError() left at its cause, when a transaction begun here
     * was rolled back by SQLite itself after an error (disk full, I/O error):
     * running further statements would write each one outside the
     * transaction, so the rest of it fails instead.
     */
    bool TransactionIntact();

    QString LastError() const;
    /// SQLite's primary result code of the last failure, 0 when none.
    int LastErrorCode() const { return _lastErrorCode; }
    /// Records (and logs) a failure of this connection; @p sqliteCode is SQLite's result code.
    void SetError(const QString& message, int sqliteCode = 1);
    void SetError(const QSqlError& error);

private:
    bool _Open(bool verify);
    bool _Verify();
    bool _Configure();
    QString _PragmaValue(const QString& pragma);
    void _Close();
    static QString _Savepoint(int depth);

    QString _filePath;
    QString _connectionName;
    QSqlDatabase _database;
    sqlite3* _handle = nullptr;
    // Hashes a statement text from its length and ends only: texts are long
    // and looked up twice per row, and equal texts still compare in full.
    struct TextHash
    {
        std::size_t operator()(const QString& text) const noexcept;
    };
    // An entry whose statement is in use holds an empty pointer.
    std::unordered_map<QString, std::unique_ptr<SqliteStatement>, TextHash> _statements;
    QString _lastError;
    int _lastErrorCode = 0;
    int _depth = 0; ///< open transactions: the outer one and its savepoints
};

/**
 * Hands every thread its own connection of one factory and closes it when the
 * thread ends or the factory goes away. Thread-safe.
 */
class SqliteConnectionRegistry : public std::enable_shared_from_this<SqliteConnectionRegistry>
{
public:
    SqliteConnectionRegistry(const QString& filePath, int busyTimeoutMsec);
    ~SqliteConnectionRegistry();

    QString FilePath() const { return _filePath; }

    /// The calling thread's connection, made on first use and opened if it can
    /// be (unless @p makeOnly: then the caller opens it).
    std::shared_ptr<SqliteConnection> ForCurrentThread(bool makeOnly = false);
    /// The calling thread's connection if it has one; never makes one.
    std::shared_ptr<SqliteConnection> FindForCurrentThread() const;
    /// Drops the connection of thread @p id (called as that thread ends).
    void ReleaseThread(std::thread::id id);
    /// Drops every connection (the factory is going away).
    void ReleaseAll();

private:
    const QString _filePath;
    const int _busyTimeoutMsec;
    const quint64 _serial;
    mutable std::mutex _mutex;
    struct ThreadEntry
    {
        std::shared_ptr<SqliteConnection> connection;
        // To the thread's finished(). Cut when the entry goes: the connection
        // holds a reference to the thread's data, and an adopted thread
        // (std::thread) would otherwise never be freed.
        QMetaObject::Connection finished;
    };
    static void _Drop(ThreadEntry& entry);

    std::unordered_map<std::thread::id, ThreadEntry> _connections;
    quint64 _nextConnection = 0;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
