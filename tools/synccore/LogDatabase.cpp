#include "LogDatabase.h"

#include "Command.h"

#include "database/SqliteDatabaseFactory.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include <QDir>
#include <QFileInfo>

using sync::core::SqliteDatabaseFactory;

namespace tool {

LogDatabase::LogDatabase(const QString& path, std::shared_ptr<SqliteDatabaseFactory> factory)
    : _path(path)
    , _factory(std::move(factory))
    , _log(std::make_unique<sync::core::ActionLog>(_factory))
{
    // Emitted by the flush on whichever thread runs it, with no lock held.
    QObject::connect(_log.get(), &sync::interf::IActionLog::ActionAdded,
        [this](const sync::core::SyncAction&) { ++_written; });
}

LogDatabase::~LogDatabase() = default;

std::shared_ptr<SqliteDatabaseFactory> LogDatabase::_Open(const QString& path, int* status)
{
    QString error;
    auto factory = SqliteDatabaseFactory::Open(path, &error);
    if (!factory) {
        *status = failure(
            error.isEmpty() ? QStringLiteral("%1: cannot open the database").arg(path) : error);
        return nullptr;
    }
    return factory;
}

bool LogDatabase::_Query(const QString& sql, QString* firstValue) const
{
    const auto query = _factory->CreateQuery();
    if (!query->prepare(sql) || !query->exec())
        return false;
    if (query->next())
        *firstValue = query->value(0).toString();
    return _factory->LastError().isEmpty();
}

std::unique_ptr<LogDatabase> LogDatabase::OpenForReading(const QString& path, int* status)
{
    if (!QFileInfo::exists(path)) {
        *status = failure(QStringLiteral("%1: no such file (no action log there yet)").arg(path));
        return nullptr;
    }
    auto factory = _Open(path, status);
    if (!factory)
        return nullptr;
    std::unique_ptr<LogDatabase> db(new LogDatabase(path, factory));
    QString tables;
    if (!db->_Query(QStringLiteral("SELECT count(*) FROM sqlite_master "
                                   "WHERE type = 'table' AND name = 'ActionLog'"),
            &tables)) {
        *status = db->_Failed(QStringLiteral("cannot read the database"));
        return nullptr;
    }
    if (tables != QLatin1String("1")) {
        *status = failure(QStringLiteral("%1: the database holds no action log").arg(path));
        return nullptr;
    }
    return db;
}

std::unique_ptr<LogDatabase> LogDatabase::OpenForWriting(
    const QString& path, bool defaultLocation, int* status)
{
    if (defaultLocation && !path.isEmpty())
        QDir().mkpath(QFileInfo(path).absolutePath());
    const bool existed = QFileInfo::exists(path);
    auto factory = _Open(path, status);
    if (!factory)
        return nullptr;
    std::unique_ptr<LogDatabase> db(new LogDatabase(path, factory));
    // A damaged file must stay as it is: read it whole before the first write.
    QString verdict;
    if (existed
        && (!db->_Query(QStringLiteral("PRAGMA quick_check"), &verdict)
            || verdict != QLatin1String("ok"))) {
        QStringList problems = verdict.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        problems.removeIf(
            [](const QString& line) { return line.startsWith(QLatin1String("***")); });
        *status = db->_Failed(QStringLiteral("the database is damaged (%1)")
                                  .arg(problems.join(QStringLiteral("; "))));
        return nullptr;
    }
    if (!factory->CreateActionLogTable()) {
        *status = db->_Failed(QStringLiteral("cannot create the action log table"));
        return nullptr;
    }
    return db;
}

int LogDatabase::Check() const
{
    const QString error = _factory->LastError();
    if (error.isEmpty())
        return ExitSuccess;
    if (_reported)
        return ExitFailure;
    _reported = true;
    return failure(QStringLiteral("%1: %2").arg(_path, error));
}

int LogDatabase::_Failed(const QString& fallback) const
{
    return Check() == ExitSuccess ? failure(QStringLiteral("%1: %2").arg(_path, fallback))
                                  : ExitFailure;
}

int LogDatabase::Finish()
{
    _log->Flush();
    if (Check() != ExitSuccess)
        return ExitFailure;
    const int lost = _added - _written.load();
    if (lost > 0)
        return failure(QStringLiteral("%1: %2 of %3 actions were not written to the log")
                           .arg(_path)
                           .arg(lost)
                           .arg(_added));
    return ExitSuccess;
}

} // namespace tool
