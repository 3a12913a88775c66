#include "database/SqliteDatabaseFactory.h"
#include "Sync/SyncCore/Logger_p.h"

#include "database/SqliteConnection_p.h"
#include "database/SqliteDatabaseWrapper_p.h"
#include "database/SqliteQueryWrapper_p.h"

#include <QFileInfo>

#include <sqlite3.h>

#include <log4cplus/loglevel.h>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {

const char* const kFile = "database/SqliteDatabaseFactory";

SYNCCORE_LOGGER(logger, "SyncCore")

void logError(const QString& text, int line, const char* function)
{
    if (logger().isEnabledFor(log4cplus::ERROR_LOG_LEVEL))
        logger().forcedLog(log4cplus::ERROR_LOG_LEVEL, text.toStdString(), kFile, line, function);
}

// What is wrong with @p filePath before SQLite sees it; empty when nothing is.
// SQLite's own messages ("unable to open database file") do not say which
// part of the path is at fault, and an empty path would silently give a
// temporary database.
QString pathProblem(const QString& filePath)
{
    if (filePath.isEmpty())
        return QStringLiteral("no file path given");
    if (filePath == QLatin1String(":memory:") || filePath.startsWith(QLatin1String("file:")))
        return QStringLiteral("not a file path (an in-memory database would lose its data)");
    const QFileInfo info(filePath);
    if (info.isDir())
        return QStringLiteral("it is a folder");
    const QFileInfo parent(info.absolutePath());
    if (!parent.exists())
        return QStringLiteral("the folder \"%1\" does not exist").arg(parent.filePath());
    if (!parent.isDir())
        return QStringLiteral("\"%1\" is not a folder").arg(parent.filePath());
    if (info.exists()) {
        if (!info.isFile())
            return QStringLiteral("it is not a regular file");
        if (!info.isReadable())
            return QStringLiteral("the file cannot be read (permission denied)");
        if (!info.isWritable())
            return QStringLiteral("the file is read-only");
    } else if (!parent.isWritable()) {
        return QStringLiteral("the folder \"%1\" is not writable").arg(parent.filePath());
    }
    return QString();
}

} // namespace

std::shared_ptr<SqliteDatabaseFactory> SqliteDatabaseFactory::Open(
    const QString& filePath, QString* errorMessage)
{
    return Open(filePath, Options(), errorMessage);
}

std::shared_ptr<SqliteDatabaseFactory> SqliteDatabaseFactory::Open(
    const QString& filePath, const Options& options, QString* errorMessage)
{
    const auto fail = [&](const QString& reason) {
        const QString message
            = QStringLiteral("Cannot open the database \"%1\": %2").arg(filePath, reason);
        logError(message, __LINE__, __PRETTY_FUNCTION__);
        if (errorMessage)
            *errorMessage = message;
        return std::shared_ptr<SqliteDatabaseFactory>();
    };

    const QString problem = pathProblem(filePath);
    if (!problem.isEmpty())
        return fail(problem);

    auto registry = std::make_shared<SqliteConnectionRegistry>(
        QFileInfo(filePath).absoluteFilePath(), qMax(0, options.busyTimeoutMsec));
    // Opening the calling thread's connection now, reading the whole file
    // before anything writes to it, and taking the write lock once, finds a
    // damaged file, one that is not a database or one that cannot be written
    // before any caller relies on it, and leaves such a file as it was.
    const std::shared_ptr<SqliteConnection> connection = registry->ForCurrentThread(true);
    if (!connection->OpenVerified() || !connection->CheckWritable()) {
        const QString reason = connection->LastError();
        registry->ReleaseAll();
        return fail(reason);
    }
    if (errorMessage)
        errorMessage->clear();
    return std::shared_ptr<SqliteDatabaseFactory>(new SqliteDatabaseFactory(std::move(registry)));
}

SqliteDatabaseFactory::SqliteDatabaseFactory(std::shared_ptr<SqliteConnectionRegistry> registry)
    : _registry(std::move(registry))
{ }

SqliteDatabaseFactory::~SqliteDatabaseFactory()
{
    // Explicitly: a thread that is ending may hold the registry for a moment.
    _registry->ReleaseAll();
}

bool SqliteDatabaseFactory::CreateActionLogTable()
{
    return _registry->ForCurrentThread()->Execute(
        QStringLiteral("CREATE TABLE IF NOT EXISTS ActionLog ("
                       "id INTEGER PRIMARY KEY AUTOINCREMENT, "
                       "actionType INTEGER, "
                       "relatedItemName TEXT, "
                       "relatedItemInfo TEXT, "
                       "timestamp TEXT, "
                       "details TEXT)"));
}

QString SqliteDatabaseFactory::FilePath() const
{
    return _registry->FilePath();
}

QString SqliteDatabaseFactory::LastError() const
{
    const std::shared_ptr<SqliteConnection> connection = _registry->FindForCurrentThread();
    return connection ? connection->LastError() : QString();
}

SqliteDatabaseFactory::ErrorKind SqliteDatabaseFactory::LastErrorKind() const
{
    const std::shared_ptr<SqliteConnection> connection = _registry->FindForCurrentThread();
    if (!connection || connection->LastError().isEmpty())
        return ErrorKind::None;
    switch (connection->LastErrorCode()) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return ErrorKind::Busy;
    case SQLITE_CORRUPT:
        return ErrorKind::Corrupt;
    case SQLITE_NOTADB:
        return ErrorKind::NotADatabase;
    case SQLITE_READONLY:
        return ErrorKind::ReadOnly;
    case SQLITE_FULL:
        return ErrorKind::Full;
    case SQLITE_CANTOPEN:
        return ErrorKind::CannotOpen;
    default:
        return ErrorKind::Other;
    }
}

std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> SqliteDatabaseFactory::GetDatabase()
{
    return std::make_shared<SqliteDatabaseWrapper>(_registry->ForCurrentThread());
}

bool SqliteDatabaseFactory::ReadRows(const QString& sql, const QVariantList& values,
    const std::function<void(const SqliteRow&)>& onRow)
{
    return _registry->ForCurrentThread()->ReadRows(sql, values, onRow);
}

std::shared_ptr<sync::interf::IQSqlQueryWrapper> SqliteDatabaseFactory::CreateQuery()
{
    return std::make_shared<SqliteQueryWrapper>(_registry->ForCurrentThread());
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
