#pragma once

// Shared by the action log tests: a real SQLite action log in a temporary
// folder, and an independent Qt Sql connection to look at the file.

#include "Sync/SyncCore/ActionLog.h"
#include "database/SqliteDatabaseFactory.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QUuid>
#include <QVariant>

#include <gtest/gtest.h>

#include <memory>

namespace actionlogtest {

/// Opens (creating) the database file and its ActionLog table; fails the test on error.
inline std::shared_ptr<sync::core::SqliteDatabaseFactory> openDatabase(const QString& path)
{
    QString error;
    std::shared_ptr<sync::core::SqliteDatabaseFactory> factory
        = sync::core::SqliteDatabaseFactory::Open(path, &error);
    EXPECT_TRUE(factory) << qPrintable(error);
    if (factory) {
        EXPECT_TRUE(factory->CreateActionLogTable()) << qPrintable(factory->LastError());
    }
    return factory;
}

/// A connection of its own to a database file, closed when the object goes away:
/// what other processes would see, independent of the factory under test.
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

    /// The first column of every row of @p sql, as integers.
    QList<qint64> integers(const QString& sql) const
    {
        QList<qint64> values;
        QSqlQuery query(QSqlDatabase::database(_name, false));
        if (!query.exec(sql))
            return { -999 };
        while (query.next())
            values.append(query.value(0).toLongLong());
        return values;
    }
    /// The first column of the first row of @p sql, as text.
    QString text(const QString& sql) const
    {
        QSqlQuery query(QSqlDatabase::database(_name, false));
        if (!query.exec(sql) || !query.next())
            return QStringLiteral("<failed>");
        return query.value(0).toString();
    }
    /// Runs @p sql; false when it fails.
    bool exec(const QString& sql) const
    {
        QSqlQuery query(QSqlDatabase::database(_name, false));
        return query.exec(sql);
    }
    QList<qint64> ids() const
    {
        return integers(QStringLiteral("SELECT id FROM ActionLog ORDER BY id"));
    }

private:
    QString _name;
};

} // namespace actionlogtest
