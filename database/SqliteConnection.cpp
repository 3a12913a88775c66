#include "database/SqliteConnection_p.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <log4cplus/logger.h>
#include <log4cplus/loglevel.h>

#include <atomic>
#include <vector>

namespace sync {
namespace core {

namespace {

const char* const kFile = "database/SqliteConnection";

// How long a statement waits for a lock another connection holds before it
// fails with "database is locked". A flush of a large batch must fit in it.
constexpr int kBusyTimeoutMs = 10000;

// Statement texts kept per connection. The library uses a handful; the bound
// only matters for a caller that builds statement texts on the fly.
constexpr std::size_t kMaxCachedStatements = 64;

log4cplus::Logger& logger()
{
    static log4cplus::Logger instance = log4cplus::Logger::getInstance("SyncCore");
    return instance;
}

void logError(const QString& text, int line, const char* function)
{
    log4cplus::Logger& l = logger();
    if (l.isEnabledFor(log4cplus::ERROR_LOG_LEVEL))
        l.forcedLog(log4cplus::ERROR_LOG_LEVEL, text.toStdString(), kFile, line, function);
}

// SQLite's own message when there is one ("database is locked", "no such
// table: X"); Qt's generic driver text otherwise. Always one line.
QString errorText(const QSqlError& error)
{
    QString text = error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
    if (text.isEmpty())
        text = QStringLiteral("unknown database error");
    return text.simplified();
}

std::atomic<quint64> nextRegistrySerial{1};

// Closes this thread's connections of every registry still alive when the
// thread ends. A thread_local destructor runs on the ending thread for
// std::thread, QThread and the main thread alike, before Qt's own per-thread
// data goes away.
class ThreadExitHook
{
public:
    ~ThreadExitHook()
    {
        const std::thread::id self = std::this_thread::get_id();
        for (const auto& weak : _registries) {
            if (auto registry = weak.lock())
                registry->ReleaseThread(self);
        }
    }

    void Watch(const std::shared_ptr<SqliteConnectionRegistry>& registry)
    {
        std::vector<std::weak_ptr<SqliteConnectionRegistry>> alive;
        alive.reserve(_registries.size() + 1);
        for (auto& weak : _registries) {
            if (!weak.expired())
                alive.push_back(std::move(weak));
        }
        alive.push_back(registry);
        _registries.swap(alive);
    }

private:
    std::vector<std::weak_ptr<SqliteConnectionRegistry>> _registries;
};

thread_local ThreadExitHook threadExitHook;

} // namespace

// --- SqliteConnection -----------------------------------------------------------

SqliteConnection::SqliteConnection(const QString& filePath, const QString& connectionName)
    : _filePath(filePath)
    , _connectionName(connectionName)
    , _database(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName))
{
    _database.setDatabaseName(filePath);
    _database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(kBusyTimeoutMs));
}

SqliteConnection::~SqliteConnection()
{
    // Every query must be gone before the connection, and our own copy of the
    // handle before removeDatabase(), or Qt warns that it is still in use.
    _statements.clear();
    _database.close();
    _database = QSqlDatabase();
    QSqlDatabase::removeDatabase(_connectionName);
}

bool SqliteConnection::EnsureOpen()
{
    if (_database.isOpen())
        return true;
    if (!_database.isValid()) {
        SetError(QStringLiteral("the Qt SQLite driver (QSQLITE) is not available"));
        return false;
    }
    if (!_database.open()) {
        SetError(_database.lastError());
        _database.close();
        return false;
    }
    if (!_Configure()) {
        _statements.clear();
        _database.close();
        return false;
    }
    return true;
}

bool SqliteConnection::_Configure()
{
    // Reading the journal mode is also the first read of the file: a file
    // that is not a database fails here rather than on the first real query.
    const QString mode = _PragmaValue(QStringLiteral("PRAGMA journal_mode=WAL"));
    if (mode.isNull())
        return false;
    if (mode.compare(QLatin1String("wal"), Qt::CaseInsensitive) != 0) {
        SetError(QStringLiteral("cannot switch to WAL journal mode (still %1)").arg(mode));
        return false;
    }
    // With WAL, NORMAL loses at most the last commits on power loss, never
    // consistency; FULL would sync the log on every commit.
    return Execute(QStringLiteral("PRAGMA synchronous=NORMAL"));
}

QString SqliteConnection::_PragmaValue(const QString& pragma)
{
    QSqlQuery query(_database);
    if (!query.exec(pragma)) {
        SetError(query.lastError());
        return QString();
    }
    if (!query.next()) {
        SetError(QStringLiteral("\"%1\" gave no result").arg(pragma));
        return QString();
    }
    return query.value(0).toString();
}

bool SqliteConnection::CheckWritable()
{
    if (!Execute(QStringLiteral("BEGIN IMMEDIATE")))
        return false;
    return Execute(QStringLiteral("ROLLBACK"));
}

std::unique_ptr<QSqlQuery> SqliteConnection::TakeStatement(const QString& text)
{
    auto it = _statements.find(text);
    if (it != _statements.end()) {
        CachedStatement cached = std::move(it->second);
        _statements.erase(it);
        for (const QString& name : std::as_const(cached.boundNames))
            cached.query->bindValue(name, QVariant());
        return std::move(cached.query);
    }
    if (!EnsureOpen())
        return nullptr;
    auto query = std::make_unique<QSqlQuery>(_database);
    if (!query->prepare(text)) {
        SetError(query->lastError());
        return nullptr;
    }
    return query;
}

void SqliteConnection::ReturnStatement(const QString& text, std::unique_ptr<QSqlQuery> query,
                                       QStringList boundNames)
{
    if (!query || !_database.isOpen())
        return;
    // A finished statement holds no read snapshot and no lock.
    query->finish();
    if (_statements.size() >= kMaxCachedStatements && _statements.find(text) == _statements.end())
        _statements.clear();
    // When two queries of the same text were alive at once, the second one
    // back replaces the first: either is as good.
    _statements[text] = CachedStatement{std::move(query), std::move(boundNames)};
}

bool SqliteConnection::Execute(const QString& text)
{
    std::unique_ptr<QSqlQuery> query = TakeStatement(text);
    if (!query)
        return false;
    const bool ok = query->exec();
    if (!ok)
        SetError(query->lastError());
    ReturnStatement(text, std::move(query), {});
    return ok;
}

QString SqliteConnection::LastError() const
{
    return _lastError;
}

void SqliteConnection::SetError(const QSqlError& error)
{
    SetError(errorText(error));
}

void SqliteConnection::SetError(const QString& message)
{
    _lastError = message;
    logError(QStringLiteral("Database %0: %1").arg(_filePath, message), __LINE__,
             __PRETTY_FUNCTION__);
}

// --- SqliteConnectionRegistry -------------------------------------------------------

SqliteConnectionRegistry::SqliteConnectionRegistry(const QString& filePath)
    : _filePath(filePath)
    , _serial(nextRegistrySerial.fetch_add(1))
{
}

SqliteConnectionRegistry::~SqliteConnectionRegistry()
{
    ReleaseAll();
}

std::shared_ptr<SqliteConnection> SqliteConnectionRegistry::ForCurrentThread()
{
    const std::thread::id self = std::this_thread::get_id();
    std::shared_ptr<SqliteConnection> connection;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        auto it = _connections.find(self);
        if (it != _connections.end()) {
            connection = it->second;
        } else {
            // The Qt connection must be made on the thread that uses it.
            const QString name = QStringLiteral("synccore-sqlite-%1-%2")
                                     .arg(_serial)
                                     .arg(++_nextConnection);
            connection = std::make_shared<SqliteConnection>(_filePath, name);
            _connections.emplace(self, connection);
            threadExitHook.Watch(shared_from_this());
        }
    }
    // Opening runs unlocked: it may wait for another thread's lock on the file.
    connection->EnsureOpen();
    return connection;
}

std::shared_ptr<SqliteConnection> SqliteConnectionRegistry::FindForCurrentThread() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    auto it = _connections.find(std::this_thread::get_id());
    return it == _connections.end() ? nullptr : it->second;
}

void SqliteConnectionRegistry::ReleaseThread(std::thread::id id)
{
    std::shared_ptr<SqliteConnection> released;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        auto it = _connections.find(id);
        if (it == _connections.end())
            return;
        released = std::move(it->second);
        _connections.erase(it);
    }
    // Closed here, outside the lock, unless a wrapper still holds it.
}

void SqliteConnectionRegistry::ReleaseAll()
{
    std::unordered_map<std::thread::id, std::shared_ptr<SqliteConnection>> released;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        released.swap(_connections);
    }
}

} // namespace core
} // namespace sync
