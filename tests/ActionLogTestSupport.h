#pragma once

// Shared by the action log tests: a real SQLite action log in a temporary
// folder, and an independent Qt Sql connection to look at the file.

#include "Sync/SyncCore/ActionLog.h"
#include "database/SqliteDatabaseFactory.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QUuid>
#include <QVariant>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace actionlogtest {

/// Opens (creating) the database file and its ActionLog table; fails the test on error.
inline std::shared_ptr<sync::core::SqliteDatabaseFactory> openDatabase(const QString& path)
{
    QString error;
    auto factory = sync::core::SqliteDatabaseFactory::Open(path, &error);
    EXPECT_TRUE(factory && factory->CreateActionLogTable()) << qPrintable(error);
    return factory;
}

/// Runs the event loop until @p done holds or @p ms pass; whether it holds.
inline bool processEventsUntil(const std::function<bool()>& done, int ms)
{
    QDeadlineTimer deadline(ms);
    while (!done() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    return done();
}

/// Records every call of the full AddAction form, the transactions a flush opens and
/// the timers the start slot leaves running; all go through the virtual table, so
/// this sees what the log itself does.
class RecordingActionLog : public sync::core::ActionLog
{
public:
    using ActionLog::ActionLog;
    using ActionLog::AddAction;
    int AddAction(sync::core::action::ActionType type, QString info, QString name,
        sync::core::SyncDetails details) override
    {
        calls.append({ QString::number(type), info, name, details.details });
        return ActionLog::AddAction(type, info, name, details);
    }
    bool transaction() override
    {
        ++transactions;
        return ActionLog::transaction();
    }
    void StartTimerSlot(int timerIntervalMsec) override
    {
        ActionLog::StartTimerSlot(timerIntervalMsec);
        // The timer runs on the log or on an object of its own.
        QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
        QList<QObject*> holders = findChildren<QObject*>();
        holders.append(this);
        for (QObject* holder : std::as_const(holders))
            for (const auto& timer : dispatcher->registeredTimers(holder))
                timerIds.insert(timer.timerId);
    }
    QList<QStringList> calls; ///< type, info, name, details
    int transactions = 0;
    QSet<int> timerIds;
};

/// A connection of its own to a database file: what other processes would see.
class Inspector
{
public:
    explicit Inspector(const QString& path)
        : _name(QUuid::createUuid().toString())
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), _name);
        db.setDatabaseName(path);
        db.open();
    }
    ~Inspector() { QSqlDatabase::removeDatabase(_name); }

    /// Runs @p sql; the first column of every row as text, or {"<failed>"}.
    QStringList column(const QString& sql) const
    {
        QSqlQuery query(QSqlDatabase::database(_name, false));
        if (!query.exec(sql))
            return { QStringLiteral("<failed>") };
        QStringList values;
        while (query.next())
            values.append(query.value(0).toString());
        return values;
    }
    QString text(const QString& sql) const { return column(sql).value(0); }
    bool exec(const QString& sql) const
    {
        return column(sql) != QStringList(QStringLiteral("<failed>"));
    }
    QList<qint64> ids() const
    {
        QList<qint64> ids;
        for (const QString& id : column(QStringLiteral("SELECT id FROM ActionLog ORDER BY id")))
            ids.append(id.toLongLong());
        return ids;
    }
    /// relatedItemInfo of every row in id order, joined with ','.
    QString infos() const
    {
        return column(QStringLiteral("SELECT relatedItemInfo FROM ActionLog ORDER BY id"))
            .join(QLatin1Char(','));
    }

private:
    QString _name;
};

} // namespace actionlogtest
