#include "database/SqliteConnection_p.h"
#include "Sync/SyncCore/Logger_p.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <QVariant>

#include <log4cplus/loglevel.h>

#include <sqlite3.h>

#include <atomic>
#include <vector>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {

const char* const kFile = "database/SqliteConnection";

// Statement texts kept per connection. The library uses a handful; the bound
// only matters for a caller that builds statement texts on the fly.
constexpr std::size_t kMaxCachedStatements = 64;

SYNCCORE_LOGGER(logger, "SyncCore")

void logError(const QString& text, int line, const char* function)
{
    log4cplus::Logger& l = logger();
    if (l.isEnabledFor(log4cplus::ERROR_LOG_LEVEL))
        l.forcedLog(log4cplus::ERROR_LOG_LEVEL, text.toStdString(), kFile, line, function);
}

// SQLite's own message when there is one ("database is locked", "no such
// table: X"); Qt's generic driver text otherwise.
QString errorText(const QSqlError& error)
{
    return error.databaseText().isEmpty() ? error.driverText() : error.databaseText();
}

std::atomic<quint64> nextRegistrySerial { 1 };

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

SqliteConnection::SqliteConnection(
    const QString& filePath, const QString& connectionName, int busyTimeoutMsec)
    : _filePath(filePath)
    , _connectionName(connectionName)
    , _database(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connectionName))
{
    _database.setDatabaseName(filePath);
    _database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(busyTimeoutMsec));
}

SqliteConnection::~SqliteConnection()
{
    _Close();
    // Our own copy of the handle must go before removeDatabase(), or Qt warns
    // that the connection is still in use.
    _database = QSqlDatabase();
    QSqlDatabase::removeDatabase(_connectionName);
}

void SqliteConnection::_Close()
{
    // Every statement is finalized first: SQLite refuses to close a handle
    // with live statements.
    _statements.clear();
    _handle = nullptr;
    _database.close();
    _depth = 0;
}

bool SqliteConnection::EnsureOpen()
{
    return _Open(false);
}

bool SqliteConnection::OpenVerified()
{
    return _Open(true);
}

bool SqliteConnection::_Open(bool verify)
{
    if (_handle)
        return true;
    if (!_database.isValid()) {
        SetError(QStringLiteral("the Qt SQLite driver (QSQLITE) is not available"));
        return false;
    }
    if (!_database.open()) {
        SetError(_database.lastError());
        _Close();
        return false;
    }
    const QVariant handle = _database.driver()->handle();
    if (handle.isValid() && qstrcmp(handle.typeName(), "sqlite3*") == 0)
        _handle = *static_cast<sqlite3* const*>(handle.constData());
    if (!_handle) {
        SetError(QStringLiteral("the Qt SQLite driver gave no SQLite handle"));
        _Close();
        return false;
    }
    if ((verify && !_Verify()) || !_Configure()) {
        _Close();
        return false;
    }
    return true;
}

bool SqliteConnection::_Verify()
{
    // Switching the journal mode and creating the table write to the file;
    // a damaged file must be refused before either touches it. quick_check
    // reads every page (without the costlier index cross-checks) and only
    // reads.
    QSqlQuery query(_database);
    if (!query.exec(QStringLiteral("PRAGMA quick_check(5)"))) {
        SetError(query.lastError());
        return false;
    }
    QStringList problems;
    while (query.next())
        problems.append(query.value(0).toString());
    if (problems == QStringList(QStringLiteral("ok")))
        return true;
    SetError(QStringLiteral("the database is damaged (%1)")
                 .arg(problems.isEmpty() ? QStringLiteral("no check result")
                                         : problems.join(QStringLiteral("; "))),
        SQLITE_CORRUPT);
    return false;
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

QString SqliteConnection::_Savepoint(int depth)
{
    return QStringLiteral("nested%1").arg(depth);
}

bool SqliteConnection::Begin()
{
    if (_depth > 0 && !TransactionIntact())
        return false;
    if (!Execute(_depth == 0 ? QStringLiteral("BEGIN IMMEDIATE")
                             : QStringLiteral("SAVEPOINT ") + _Savepoint(_depth)))
        return false;
    ++_depth;
    return true;
}

bool SqliteConnection::TransactionIntact()
{
    // sqlite3_get_autocommit() is true again once SQLite rolled back on its own.
    return _depth == 0 || !_handle || !sqlite3_get_autocommit(_handle);
}

bool SqliteConnection::Commit()
{
    if (!TransactionIntact()) {
        _depth = 0; // the cause is already in LastError(); savepoints went with it
        return false;
    }
    if (_depth > 1) {
        --_depth;
        return Execute(QStringLiteral("RELEASE ") + _Savepoint(_depth));
    }
    _depth = 0;
    if (Execute(QStringLiteral("COMMIT")))
        return true;
    // SQLite rolls back by itself after an I/O error or a full disk, but
    // leaves the transaction open after a busy lock or a deferred constraint:
    // every later statement of this thread would then run inside it and never
    // be committed.
    if (_handle && !sqlite3_get_autocommit(_handle)) {
        const QString reason = _lastError;
        const int code = _lastErrorCode;
        Execute(QStringLiteral("ROLLBACK"));
        _lastError = reason;
        _lastErrorCode = code;
    }
    return false;
}

bool SqliteConnection::Rollback()
{
    if (_depth > 1 && TransactionIntact()) {
        --_depth;
        const QString savepoint = _Savepoint(_depth);
        // ROLLBACK TO keeps the savepoint open: it is released after.
        const bool undone = Execute(QStringLiteral("ROLLBACK TO ") + savepoint);
        return Execute(QStringLiteral("RELEASE ") + savepoint) && undone;
    }
    _depth = 0;
    return Execute(QStringLiteral("ROLLBACK"));
}

std::size_t SqliteConnection::TextHash::operator()(const QString& text) const noexcept
{
    constexpr qsizetype sample = 24;
    const QStringView view(text);
    if (view.size() <= 2 * sample)
        return qHash(view);
    return qHash(view.first(sample), qHash(view.last(sample), std::size_t(view.size())));
}

std::unique_ptr<SqliteStatement> SqliteConnection::TakeStatement(const QString& text, bool direct)
{
    auto it = _statements.find(text);
    if (it != _statements.end() && it->second && (!direct || !it->second->Query())) {
        std::unique_ptr<SqliteStatement> cached = std::move(it->second);
        cached->ClearBindings();
        return cached;
    }
    if (!EnsureOpen())
        return nullptr;

    sqlite3_stmt* statement = nullptr;
    const int result = sqlite3_prepare16_v2(
        _handle, text.utf16(), int(text.size() * sizeof(char16_t)), &statement, nullptr);
    if (result != SQLITE_OK) {
        SetError(QString::fromUtf8(sqlite3_errmsg(_handle)), result);
        sqlite3_finalize(statement);
        return nullptr;
    }
    if (!statement) {
        SetError(QStringLiteral("no SQL statement in \"%1\"").arg(text));
        return nullptr;
    }
    if (direct || sqlite3_column_count(statement) == 0)
        return std::make_unique<SqliteStatement>(text, _handle, statement);

    // Rows are read through Qt; the statement is known to compile.
    sqlite3_finalize(statement);
    auto query = std::make_unique<QSqlQuery>(_database);
    if (!query->prepare(text)) {
        SetError(query->lastError());
        return nullptr;
    }
    return std::make_unique<SqliteStatement>(text, std::move(query));
}

void SqliteConnection::ReturnStatement(std::unique_ptr<SqliteStatement> statement)
{
    if (!statement || !_handle)
        return;
    statement->Finish();
    auto it = _statements.find(statement->Text());
    if (it == _statements.end()) {
        if (_statements.size() >= kMaxCachedStatements)
            _statements.clear();
        const QString text = statement->Text();
        _statements.emplace(text, std::move(statement));
        return;
    }
    // When two queries of the same text were alive at once, the second one
    // back replaces the first: either is as good.
    it->second = std::move(statement);
}

bool SqliteConnection::Execute(const QString& text)
{
    std::unique_ptr<SqliteStatement> statement = TakeStatement(text);
    if (!statement)
        return false;
    QString error;
    int code = 0;
    const bool ok = statement->Exec(&error, &code);
    if (!ok)
        SetError(error, code);
    ReturnStatement(std::move(statement));
    return ok;
}

bool SqliteConnection::ReadRows(const QString& text, const QVariantList& values,
    const std::function<void(const SqliteRow&)>& onRow)
{
    std::unique_ptr<SqliteStatement> statement = TakeStatement(text, true);
    if (!statement)
        return false;
    for (int i = 0; i < int(values.size()); ++i)
        statement->BindAt(i + 1, values[i]);
    QString error;
    int code = 0;
    bool ok = false;
    try {
        ok = statement->ReadRows(onRow, &error, &code);
    } catch (...) {
        ReturnStatement(std::move(statement));
        throw;
    }
    if (!ok)
        SetError(error, code);
    ReturnStatement(std::move(statement));
    return ok;
}

QString SqliteConnection::LastError() const
{
    return _lastError;
}

void SqliteConnection::SetError(const QSqlError& error)
{
    bool numeric = false;
    const int code = error.nativeErrorCode().toInt(&numeric);
    SetError(errorText(error), numeric && code != 0 ? code & 0xff : SQLITE_ERROR);
}

void SqliteConnection::SetError(const QString& message, int sqliteCode)
{
    _lastErrorCode = sqliteCode & 0xff;
    _lastError = message.simplified();
    if (_lastError.isEmpty())
        _lastError = QStringLiteral("unknown database error");
    logError(QStringLiteral("Database %0: %1").arg(_filePath, _lastError), __LINE__,
        __PRETTY_FUNCTION__);
}

// --- SqliteConnectionRegistry -------------------------------------------------------

SqliteConnectionRegistry::SqliteConnectionRegistry(const QString& filePath, int busyTimeoutMsec)
    : _filePath(filePath)
    , _busyTimeoutMsec(busyTimeoutMsec)
    , _serial(nextRegistrySerial.fetch_add(1))
{ }

SqliteConnectionRegistry::~SqliteConnectionRegistry()
{
    ReleaseAll();
}

std::shared_ptr<SqliteConnection> SqliteConnectionRegistry::ForCurrentThread(bool makeOnly)
{
    const std::thread::id self = std::this_thread::get_id();
    std::shared_ptr<SqliteConnection> connection;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        auto it = _connections.find(self);
        if (it != _connections.end()) {
            connection = it->second.connection;
        } else {
            // The Qt connection must be made on the thread that uses it.
            const QString name
                = QStringLiteral("synccore-sqlite-%1-%2").arg(_serial).arg(++_nextConnection);
            ThreadEntry entry;
            entry.connection = connection
                = std::make_shared<SqliteConnection>(_filePath, name, _busyTimeoutMsec);
            threadExitHook.Watch(shared_from_this());
            // A QThread's waiters wake before its thread_local objects go:
            // close at finished() already, so that a caller who waited for the
            // thread finds its connection gone.
            std::weak_ptr<SqliteConnectionRegistry> weak = shared_from_this();
            QThread* thread = QThread::currentThread();
            entry.finished = QObject::connect(
                thread, &QThread::finished, thread,
                [weak] {
                    if (auto registry = weak.lock())
                        registry->ReleaseThread(std::this_thread::get_id());
                },
                Qt::DirectConnection);
            _connections.emplace(self, std::move(entry));
        }
    }
    // Opening runs unlocked: it may wait for another thread's lock on the file.
    if (!makeOnly)
        connection->EnsureOpen();
    return connection;
}

std::shared_ptr<SqliteConnection> SqliteConnectionRegistry::FindForCurrentThread() const
{
    std::lock_guard<std::mutex> lock(_mutex);
    auto it = _connections.find(std::this_thread::get_id());
    return it == _connections.end() ? nullptr : it->second.connection;
}

void SqliteConnectionRegistry::_Drop(ThreadEntry& entry)
{
    QObject::disconnect(entry.finished);
    // The connection closes here unless a wrapper still holds it.
    entry.connection.reset();
}

void SqliteConnectionRegistry::ReleaseThread(std::thread::id id)
{
    ThreadEntry released;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        auto it = _connections.find(id);
        if (it == _connections.end())
            return;
        released = std::move(it->second);
        _connections.erase(it);
    }
    _Drop(released);
}

void SqliteConnectionRegistry::ReleaseAll()
{
    std::unordered_map<std::thread::id, ThreadEntry> released;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        released.swap(_connections);
    }
    for (auto& entry : released)
        _Drop(entry.second);
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
