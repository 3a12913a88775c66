#pragma once

// One thread's connection to the database file, its statement cache, and the
// per-factory registry that hands each thread its own connection.

#include "interfaces/SyncNamespace.h"

#include <QSqlDatabase>
#include <QString>
#include <QStringList>

#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>

class QSqlError;
class QSqlQuery;

namespace sync {
namespace core {

/**
 * A QSqlDatabase connection owned by one thread. Every member except the
 * destructor runs on that thread; the destructor may run on another one once
 * the owning thread has stopped using it (thread end, factory destruction).
 */
class SqliteConnection
{
public:
    /// Registers the Qt connection (not opened yet); must run on the owning thread.
    SqliteConnection(const QString& filePath, const QString& connectionName);
    ~SqliteConnection();

    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    /// Opens and configures the connection unless it is open; false with LastError() set.
    bool EnsureOpen();
    /// Proves that a write transaction can start (the file is writable), then rolls it back.
    bool CheckWritable();

    /**
     * The prepared statement for @p text: a cached one with every placeholder
     * reset to NULL, or a newly prepared one. Null on failure (LastError() set).
     * Hand it back with ReturnStatement() when done.
     */
    std::unique_ptr<QSqlQuery> TakeStatement(const QString& text);
    /// Keeps @p query for the next user of @p text; @p boundNames are the placeholders it bound.
    void ReturnStatement(const QString& text, std::unique_ptr<QSqlQuery> query,
                         QStringList boundNames);
    /// Runs a statement without parameters or rows (BEGIN, COMMIT, PRAGMA with no result).
    bool Execute(const QString& text);

    QString LastError() const;
    /// Records (and logs) a failure of this connection.
    void SetError(const QString& message);
    void SetError(const QSqlError& error);

private:
    struct CachedStatement
    {
        std::unique_ptr<QSqlQuery> query;
        QStringList boundNames;
    };

    bool _Configure();
    QString _PragmaValue(const QString& pragma);

    QString _filePath;
    QString _connectionName;
    QSqlDatabase _database;
    std::unordered_map<QString, CachedStatement> _statements;
    QString _lastError;
};

/**
 * Hands every thread its own connection of one factory and closes it when the
 * thread ends or the factory goes away. Thread-safe.
 */
class SqliteConnectionRegistry : public std::enable_shared_from_this<SqliteConnectionRegistry>
{
public:
    explicit SqliteConnectionRegistry(const QString& filePath);
    ~SqliteConnectionRegistry();

    QString FilePath() const { return _filePath; }

    /// The calling thread's connection, made on first use and opened if it can be.
    std::shared_ptr<SqliteConnection> ForCurrentThread();
    /// The calling thread's connection if it has one; never makes one.
    std::shared_ptr<SqliteConnection> FindForCurrentThread() const;
    /// Drops the connection of thread @p id (called as that thread ends).
    void ReleaseThread(std::thread::id id);
    /// Drops every connection (the factory is going away).
    void ReleaseAll();

private:
    const QString _filePath;
    const quint64 _serial;
    mutable std::mutex _mutex;
    std::unordered_map<std::thread::id, std::shared_ptr<SqliteConnection>> _connections;
    quint64 _nextConnection = 0;
};

} // namespace core
} // namespace sync
