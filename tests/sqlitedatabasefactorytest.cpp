// SqliteDatabaseFactory against real SQLite files in a temporary folder.

#include "database/SqliteDatabaseFactory.h"
#include "interfaces/IQSqlDatabaseWrapper.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include "TestUtil.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QThread>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include <unistd.h>

using sync::core::SqliteDatabaseFactory;

namespace {

const QString kInsert = QStringLiteral(
    "INSERT INTO ActionLog (actionType, relatedItemName, relatedItemInfo, timestamp, details) "
    "VALUES (:actionType, :relatedItemName, :relatedItemInfo, :timestamp, :details);");

std::shared_ptr<SqliteDatabaseFactory> openWithTable(const QString& path)
{
    QString error;
    auto factory = SqliteDatabaseFactory::Open(path, &error);
    EXPECT_TRUE(factory) << error.toStdString();
    if (factory) {
        EXPECT_TRUE(factory->CreateActionLogTable()) << factory->LastError().toStdString();
    }
    return factory;
}

// Inserts one row and returns its id, -1 on failure.
qint64 insertRow(SqliteDatabaseFactory& factory, int type, const QString& name,
    const QDateTime& timestamp = QDateTime::currentDateTimeUtc())
{
    auto query = factory.CreateQuery();
    if (!query->prepare(kInsert))
        return -1;
    query->bindValue(QStringLiteral(":actionType"), type);
    query->bindValue(QStringLiteral(":relatedItemName"), name);
    query->bindValue(QStringLiteral(":relatedItemInfo"), QStringLiteral("info ") + name);
    query->bindValue(QStringLiteral(":timestamp"), timestamp);
    query->bindValue(QStringLiteral(":details"), QString());
    if (!query->exec())
        return -1;
    bool ok = false;
    const qint64 id = query->lastInsertId().toLongLong(&ok);
    return ok ? id : -1;
}

// The single value of a one-row query; invalid when the query fails.
QVariant scalar(SqliteDatabaseFactory& factory, const QString& sql)
{
    auto query = factory.CreateQuery();
    if (!query->prepare(sql) || !query->exec() || !query->next())
        return QVariant();
    return query->value(0);
}

} // namespace

// --- opening -------------------------------------------------------------------

struct BadPathRow
{
    const char* name;
    // Makes the bad path inside the temporary folder.
    std::function<QString(const testutil::TempDir&)> make;
    const char* reason;
};

class SqliteOpenErrorTest : public ::testing::TestWithParam<BadPathRow>
{
};

TEST_P(SqliteOpenErrorTest, EmptyPointerAndOneLineMessage)
{
    const BadPathRow& row = GetParam();
    const testutil::TempDir dir;
    const QString path = row.make(dir);
    const QByteArray before = QFileInfo(path).isFile() ? testutil::readFile(path) : QByteArray();

    QString error;
    const auto factory = SqliteDatabaseFactory::Open(path, &error);
    EXPECT_FALSE(factory);
    EXPECT_FALSE(error.contains(QLatin1Char('\n'))) << error.toStdString();
    EXPECT_TRUE(error.contains(QString::fromUtf8(row.reason))) << error.toStdString();
    if (!path.isEmpty()) {
        EXPECT_TRUE(error.contains(path)) << error.toStdString();
    }
    // Nothing was created or changed on the way.
    if (!before.isEmpty()) {
        EXPECT_EQ(testutil::readFile(path), before);
    }
    EXPECT_FALSE(QFileInfo::exists(path + QStringLiteral("-wal")));
    // The same failure without a message pointer is just as safe.
    EXPECT_FALSE(SqliteDatabaseFactory::Open(path));
}

INSTANTIATE_TEST_SUITE_P(BadPaths, SqliteOpenErrorTest,
    ::testing::Values(BadPathRow { "Empty", [](const testutil::TempDir&) { return QString(); },
                          "no file path given" },
        BadPathRow { "InMemory",
            [](const testutil::TempDir&) { return QStringLiteral(":memory:"); }, "in-memory" },
        BadPathRow { "Folder", [](const testutil::TempDir& d) { return d.path(); }, "is a folder" },
        BadPathRow { "MissingParent",
            [](const testutil::TempDir& d) { return d.filePath(QStringLiteral("no/such/x.db")); },
            "does not exist" },
        BadPathRow { "ParentIsAFile",
            [](const testutil::TempDir& d) {
                return d.write(QStringLiteral("plain"), "text") + QStringLiteral("/x.db");
            },
            "is not a folder" },
        BadPathRow { "NotADatabase",
            [](const testutil::TempDir& d) {
                return d.write(QStringLiteral("notes.db"),
                    QByteArray("These are notes, not a database.\n").repeated(40));
            },
            "file is not a database" }),
    [](const ::testing::TestParamInfo<BadPathRow>& info) { return std::string(info.param.name); });

// Permissions, checked in a child process that runs unprivileged even when the
// suite runs as root.
struct PermissionRow
{
    const char* name;
    QFileDevice::Permissions filePermissions; // of an existing empty file; none: no file
    QFileDevice::Permissions folderPermissions;
    const char* expected;
};

class SqliteOpenPermissionTest : public ::testing::TestWithParam<PermissionRow>
{
};

TEST_P(SqliteOpenPermissionTest, UnprivilegedOpen)
{
    const PermissionRow& row = GetParam();
    const testutil::TempDir dir;
    const QString folder = dir.filePath(QStringLiteral("data"));
    ASSERT_TRUE(QDir().mkpath(folder));
    const QString path = folder + QStringLiteral("/actions.db");
    if (row.filePermissions != QFileDevice::Permissions()) {
        dir.write(QStringLiteral("data/actions.db"), QByteArray());
        ASSERT_TRUE(QFile::setPermissions(path, row.filePermissions));
    }
    // The unprivileged user must reach the folder at all.
    const auto open = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
        | QFileDevice::ReadOther | QFileDevice::ExeOther;
    ASSERT_TRUE(QFile::setPermissions(dir.path(), open));
    ASSERT_TRUE(QFile::setPermissions(folder, row.folderPermissions));

    const testutil::ProcessResult result
        = testutil::run(testutil::builtExecutable(QStringLiteral("sqliteopenhelper")), { path });
    const QString output = QString::fromUtf8(result.out).trimmed();
    EXPECT_EQ(result.exitCode, QString::fromLatin1(row.expected) == QLatin1String("opened") ? 0 : 1)
        << output.toStdString() << result.err.constData();
    EXPECT_TRUE(output.contains(QString::fromLatin1(row.expected))) << output.toStdString();
    EXPECT_FALSE(output.contains(QLatin1Char('\n'))) << output.toStdString();
}

namespace {
const QFileDevice::Permissions kAllowAll = QFileDevice::ReadOwner | QFileDevice::WriteOwner
    | QFileDevice::ExeOwner | QFileDevice::ReadOther | QFileDevice::WriteOther
    | QFileDevice::ExeOther;
const QFileDevice::Permissions kReadOnlyFolder = QFileDevice::ReadOwner | QFileDevice::ExeOwner
    | QFileDevice::ReadOther | QFileDevice::ExeOther;
} // namespace

INSTANTIATE_TEST_SUITE_P(Permissions, SqliteOpenPermissionTest,
    ::testing::Values(
        PermissionRow { "Unreadable", QFileDevice::WriteOwner, kAllowAll, "cannot be read" },
        PermissionRow { "ReadOnlyFile", QFileDevice::ReadOwner | QFileDevice::ReadOther, kAllowAll,
            "read-only" },
        PermissionRow { "FolderNotWritable", {}, kReadOnlyFolder, "is not writable" },
        // The control: the same child opens a file it may write.
        PermissionRow { "Writable", {}, kAllowAll, "opened" }),
    [](const ::testing::TestParamInfo<PermissionRow>& info) {
        return std::string(info.param.name);
    });

TEST(SqliteDatabaseFactoryTest, OpenCreatesTheFileInWalModeAndReopens)
{
    const testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("sub/../actions.db"));
    QString error = QStringLiteral("stale");
    {
        auto factory = SqliteDatabaseFactory::Open(path, &error);
        ASSERT_TRUE(factory) << error.toStdString();
        EXPECT_TRUE(error.isEmpty());
        EXPECT_EQ(factory->FilePath(), dir.filePath(QStringLiteral("actions.db")));
        EXPECT_TRUE(QFileInfo::exists(factory->FilePath()));
        EXPECT_EQ(scalar(*factory, QStringLiteral("PRAGMA journal_mode")).toString(),
            QStringLiteral("wal"));
        EXPECT_EQ(scalar(*factory, QStringLiteral("PRAGMA busy_timeout")).toInt(), 10000);
        // synchronous=NORMAL is 1.
        EXPECT_EQ(scalar(*factory, QStringLiteral("PRAGMA synchronous")).toInt(), 1);
        ASSERT_TRUE(factory->CreateActionLogTable());
        EXPECT_EQ(insertRow(*factory, 1, QStringLiteral("a")), 1);
    }
    auto again = SqliteDatabaseFactory::Open(path, &error);
    ASSERT_TRUE(again) << error.toStdString();
    EXPECT_EQ(scalar(*again, QStringLiteral("SELECT count(*) FROM ActionLog")).toInt(), 1);
}

// --- table and statements --------------------------------------------------------

TEST(SqliteDatabaseFactoryTest, ActionLogTableIsCreatedOnceWithItsColumns)
{
    const testutil::TempDir dir;
    auto factory = openWithTable(dir.filePath(QStringLiteral("a.db")));
    ASSERT_TRUE(factory);
    ASSERT_EQ(insertRow(*factory, 3, QStringLiteral("kept")), 1);
    // A second call neither fails nor empties the table.
    EXPECT_TRUE(factory->CreateActionLogTable());
    EXPECT_EQ(scalar(*factory, QStringLiteral("SELECT count(*) FROM ActionLog")).toInt(), 1);

    auto columns = factory->CreateQuery();
    ASSERT_TRUE(columns->prepare(QStringLiteral("PRAGMA table_info(ActionLog)")));
    ASSERT_TRUE(columns->exec());
    QStringList names;
    while (columns->next())
        names << columns->value(1).toString();
    EXPECT_EQ(names,
        (QStringList {
            "id", "actionType", "relatedItemName", "relatedItemInfo", "timestamp", "details" }));

    // AUTOINCREMENT: ids of deleted rows are never handed out again.
    ASSERT_EQ(insertRow(*factory, 3, QStringLiteral("second")), 2);
    auto del = factory->CreateQuery();
    ASSERT_TRUE(del->prepare(QStringLiteral("DELETE FROM ActionLog WHERE id = 2")));
    ASSERT_TRUE(del->exec());
    EXPECT_EQ(insertRow(*factory, 3, QStringLiteral("third")), 3);
}

TEST(SqliteDatabaseFactoryTest, InsertSelectRoundTrip)
{
    const testutil::TempDir dir;
    auto factory = openWithTable(dir.filePath(QStringLiteral("a.db")));
    ASSERT_TRUE(factory);
    const QString unicode = QString::fromUtf8("Größe – 日本/a'b\"c.txt");
    for (int i = 1; i <= 3; ++i)
        ASSERT_EQ(insertRow(*factory, 10 + i, unicode + QString::number(i)), i);

    auto query = factory->CreateQuery();
    ASSERT_TRUE(query->prepare(QStringLiteral(
        "SELECT id, actionType, relatedItemName, relatedItemInfo, details FROM ActionLog "
        "WHERE id >= :from ORDER BY id")));
    query->bindValue(QStringLiteral(":from"), 2);
    ASSERT_TRUE(query->exec());
    EXPECT_FALSE(query->isValid());
    EXPECT_FALSE(query->value(0).isValid()) << "no row yet";
    for (int i = 2; i <= 3; ++i) {
        ASSERT_TRUE(query->next());
        EXPECT_TRUE(query->isValid());
        EXPECT_EQ(query->value(0).toInt(), i);
        EXPECT_EQ(query->value(1).toInt(), 10 + i);
        EXPECT_EQ(query->value(2).toString(), unicode + QString::number(i));
        EXPECT_EQ(
            query->value(3).toString(), QStringLiteral("info ") + unicode + QString::number(i));
        EXPECT_TRUE(query->value(4).toString().isEmpty());
        EXPECT_FALSE(query->value(5).isValid()) << "past the last column";
        EXPECT_FALSE(query->value(-1).isValid());
    }
    EXPECT_FALSE(query->next());
    EXPECT_FALSE(query->isValid());
    ASSERT_TRUE(query->first());
    EXPECT_EQ(query->value(0).toInt(), 2);

    // An empty result: first() has nothing to go to.
    auto none = factory->CreateQuery();
    ASSERT_TRUE(none->prepare(QStringLiteral("SELECT id FROM ActionLog WHERE id > 99")));
    ASSERT_TRUE(none->exec());
    EXPECT_FALSE(none->first());
    EXPECT_FALSE(none->next());
}

TEST(SqliteDatabaseFactoryTest, ReusedStatementStartsUnbound)
{
    const testutil::TempDir dir;
    auto factory = openWithTable(dir.filePath(QStringLiteral("a.db")));
    ASSERT_TRUE(factory);
    ASSERT_EQ(insertRow(*factory, 1, QStringLiteral("full")), 1);

    // Same text again (served from the cache), binding only two placeholders:
    // the others must be NULL, not the previous row's values.
    auto query = factory->CreateQuery();
    ASSERT_TRUE(query->prepare(kInsert));
    query->bindValue(QStringLiteral(":actionType"), 2);
    query->bindValue(QStringLiteral(":relatedItemName"), QStringLiteral("partial"));
    ASSERT_TRUE(query->exec()) << factory->LastError().toStdString();
    EXPECT_EQ(query->lastInsertId().toInt(), 2);
    EXPECT_EQ(scalar(*factory,
                  QStringLiteral("SELECT count(*) FROM ActionLog WHERE id = 2 AND "
                                 "relatedItemInfo IS NULL AND timestamp IS NULL "
                                 "AND details IS NULL"))
                  .toInt(),
        1);
}

TEST(SqliteDatabaseFactoryTest, TwoLiveQueriesOfTheSameTextAreIndependent)
{
    const testutil::TempDir dir;
    auto factory = openWithTable(dir.filePath(QStringLiteral("a.db")));
    ASSERT_TRUE(factory);
    for (int i = 1; i <= 4; ++i)
        ASSERT_EQ(insertRow(*factory, i, QString::number(i)), i);

    const QString select = QStringLiteral("SELECT id FROM ActionLog WHERE id >= :from ORDER BY id");
    auto outer = factory->CreateQuery();
    ASSERT_TRUE(outer->prepare(select));
    outer->bindValue(QStringLiteral(":from"), 1);
    ASSERT_TRUE(outer->exec());
    QList<int> pairs;
    while (outer->next()) {
        const int id = outer->value(0).toInt();
        auto inner = factory->CreateQuery();
        ASSERT_TRUE(inner->prepare(select));
        inner->bindValue(QStringLiteral(":from"), id);
        ASSERT_TRUE(inner->exec());
        int rows = 0;
        while (inner->next())
            ++rows;
        pairs << id * 10 + rows;
    }
    EXPECT_EQ(pairs, (QList<int> { 14, 23, 32, 41 }));
}

TEST(SqliteDatabaseFactoryTest, FailuresAreReportedAndReadable)
{
    const testutil::TempDir dir;
    auto factory = openWithTable(dir.filePath(QStringLiteral("a.db")));
    ASSERT_TRUE(factory);
    EXPECT_TRUE(factory->LastError().isEmpty());

    auto query = factory->CreateQuery();
    EXPECT_FALSE(query->exec()) << "nothing prepared";
    EXPECT_FALSE(query->prepare(QStringLiteral("SELEC nonsense")));
    EXPECT_TRUE(factory->LastError().contains(QLatin1String("syntax error")))
        << factory->LastError().toStdString();
    EXPECT_FALSE(query->exec());
    EXPECT_FALSE(query->next());
    EXPECT_FALSE(query->lastInsertId().isValid());

    EXPECT_FALSE(query->prepare(QStringLiteral("SELECT * FROM NoSuchTable")));
    EXPECT_TRUE(factory->LastError().contains(QLatin1String("no such table")));

    // A constraint failure surfaces at exec(), and the query stays usable.
    ASSERT_TRUE(query->prepare(QStringLiteral("INSERT INTO ActionLog (id) VALUES (:id)")));
    query->bindValue(QStringLiteral(":id"), 7);
    EXPECT_TRUE(query->exec());
    EXPECT_EQ(query->lastInsertId().toInt(), 7);
    EXPECT_FALSE(query->exec());
    EXPECT_TRUE(factory->LastError().contains(QLatin1String("UNIQUE")))
        << factory->LastError().toStdString();

    // Each thread reads its own connection's error.
    QString otherThreadError = QStringLiteral("unset");
    std::thread([&] { otherThreadError = factory->LastError(); }).join();
    EXPECT_TRUE(otherThreadError.isEmpty());
}

// The same value bound to a row-less statement (an INSERT) and to a statement
// that returns rows (a SELECT) is stored the same way, as Qt's driver would.
struct BoundValueRow
{
    const char* name;
    QVariant value;
    const char* storageClass;
    QVariant readBack;
};

class SqliteBoundValueTest : public ::testing::TestWithParam<BoundValueRow>
{
protected:
    // Qt reads NULL as a null variant of the column's type.
    static void expectReadBack(const QVariant& read, const QVariant& expected)
    {
        if (expected.isValid()) {
            EXPECT_EQ(read, expected);
        } else {
            EXPECT_TRUE(read.isNull()) << read.toString().toStdString();
        }
    }
};

TEST_P(SqliteBoundValueTest, StoredAsQtWouldStoreIt)
{
    const BoundValueRow& row = GetParam();
    const testutil::TempDir dir;
    auto factory = openWithTable(dir.filePath(QStringLiteral("v.db")));
    ASSERT_TRUE(factory);

    // Columns without a declared type keep the storage class they are given.
    auto create = factory->CreateQuery();
    ASSERT_TRUE(create->prepare(QStringLiteral("CREATE TABLE Scratch (a, b)")));
    ASSERT_TRUE(create->exec());
    // A placeholder used twice is bound once.
    auto insert = factory->CreateQuery();
    ASSERT_TRUE(insert->prepare(QStringLiteral("INSERT INTO Scratch (a, b) VALUES (:v, :v)")));
    insert->bindValue(QStringLiteral(":v"), row.value);
    ASSERT_TRUE(insert->exec()) << factory->LastError().toStdString();

    auto stored = factory->CreateQuery();
    ASSERT_TRUE(stored->prepare(QStringLiteral("SELECT typeof(a), a, a IS b FROM Scratch")));
    ASSERT_TRUE(stored->exec());
    ASSERT_TRUE(stored->next());
    EXPECT_EQ(stored->value(0).toString(), QString::fromLatin1(row.storageClass));
    expectReadBack(stored->value(1), row.readBack);
    EXPECT_EQ(stored->value(2).toInt(), 1);

    auto echoed = factory->CreateQuery();
    ASSERT_TRUE(echoed->prepare(QStringLiteral("SELECT typeof(:v), :v")));
    echoed->bindValue(QStringLiteral(":v"), row.value);
    ASSERT_TRUE(echoed->exec()) << factory->LastError().toStdString();
    ASSERT_TRUE(echoed->next());
    EXPECT_EQ(echoed->value(0).toString(), QString::fromLatin1(row.storageClass));
    expectReadBack(echoed->value(1), row.readBack);
}

INSTANTIATE_TEST_SUITE_P(Values, SqliteBoundValueTest,
    ::testing::Values(BoundValueRow { "Int", QVariant(42), "integer", QVariant(qlonglong(42)) },
        BoundValueRow {
            "LongLong", QVariant(qlonglong(1) << 40), "integer", QVariant(qlonglong(1) << 40) },
        BoundValueRow { "NegativeInt", QVariant(-7), "integer", QVariant(qlonglong(-7)) },
        BoundValueRow { "Bool", QVariant(true), "integer", QVariant(qlonglong(1)) },
        BoundValueRow { "Double", QVariant(2.5), "real", QVariant(2.5) },
        BoundValueRow {
            "Text", QVariant(QStringLiteral("plain")), "text", QVariant(QStringLiteral("plain")) },
        BoundValueRow { "NonBmpText", QVariant(QString::fromUtf8("clef \xF0\x9D\x84\x9E \xC3\xA9")),
            "text", QVariant(QString::fromUtf8("clef \xF0\x9D\x84\x9E \xC3\xA9")) },
        BoundValueRow {
            "EmptyText", QVariant(QStringLiteral("")), "text", QVariant(QStringLiteral("")) },
        BoundValueRow { "NullString", QVariant(QString()), "null", QVariant() },
        BoundValueRow { "Invalid", QVariant(), "null", QVariant() },
        BoundValueRow { "Bytes", QVariant(QByteArray("\0\x01\xff", 3)), "blob",
            QVariant(QByteArray("\0\x01\xff", 3)) },
        BoundValueRow {
            "Date", QVariant(QDate(2026, 1, 2)), "text", QVariant(QStringLiteral("2026-01-02")) },
        BoundValueRow { "InvalidDateTime", QVariant(QDateTime()), "null", QVariant() },
        BoundValueRow { "DateTimeWithOffset",
            QVariant(QDateTime(QDate(2026, 1, 2), QTime(1, 2, 3, 4), Qt::OffsetFromUTC, 3600)),
            "text", QVariant(QStringLiteral("2026-01-02T00:02:03.004Z")) }),
    [](const ::testing::TestParamInfo<BoundValueRow>& info) {
        return std::string(info.param.name);
    });

TEST(SqliteDatabaseFactoryTest, StatementCacheOverflowKeepsLiveQueriesWorking)
{
    const testutil::TempDir dir;
    auto factory = openWithTable(dir.filePath(QStringLiteral("a.db")));
    ASSERT_TRUE(factory);
    auto live = factory->CreateQuery();
    ASSERT_TRUE(live->prepare(kInsert));
    // Far more distinct texts than the cache keeps, of both kinds.
    for (int i = 0; i < 200; ++i) {
        auto select = factory->CreateQuery();
        ASSERT_TRUE(select->prepare(QStringLiteral("SELECT %1 + :n").arg(i)));
        select->bindValue(QStringLiteral(":n"), 1);
        ASSERT_TRUE(select->exec());
        ASSERT_TRUE(select->next());
        ASSERT_EQ(select->value(0).toInt(), i + 1);
        auto update = factory->CreateQuery();
        ASSERT_TRUE(update->prepare(QStringLiteral("UPDATE ActionLog SET actionType = %1").arg(i)));
        ASSERT_TRUE(update->exec());
    }
    live->bindValue(QStringLiteral(":actionType"), 5);
    ASSERT_TRUE(live->exec()) << factory->LastError().toStdString();
    EXPECT_EQ(live->lastInsertId().toInt(), 1);
    live.reset();
    EXPECT_EQ(insertRow(*factory, 6, QStringLiteral("after")), 2);
}

// --- timestamps ----------------------------------------------------------------------

struct TimeRow
{
    const char* name;
    QDateTime input;
};

class SqliteTimestampTest : public ::testing::TestWithParam<TimeRow>
{
};

TEST_P(SqliteTimestampTest, ReadsBackAsTheSameUtcInstantToTheMillisecond)
{
    const QDateTime input = GetParam().input;
    ASSERT_TRUE(input.isValid());
    const testutil::TempDir dir;
    auto factory = openWithTable(dir.filePath(QStringLiteral("t.db")));
    ASSERT_TRUE(factory);
    const qint64 id = insertRow(*factory, 1, QStringLiteral("x"), input);
    ASSERT_GT(id, 0);

    auto query = factory->CreateQuery();
    ASSERT_TRUE(query->prepare(QStringLiteral("SELECT timestamp FROM ActionLog WHERE id = :id")));
    query->bindValue(QStringLiteral(":id"), id);
    ASSERT_TRUE(query->exec());
    ASSERT_TRUE(query->next());
    const QDateTime back = query->value(0).toDateTime();
    ASSERT_TRUE(back.isValid()) << query->value(0).toString().toStdString();
    EXPECT_EQ(back.timeSpec(), Qt::UTC);
    EXPECT_EQ(back.toMSecsSinceEpoch(), input.toMSecsSinceEpoch());
    EXPECT_EQ(back, input.toUTC());
    // The stored form is the documented one.
    EXPECT_EQ(query->value(0).toString(), input.toUTC().toString(Qt::ISODateWithMs));
    EXPECT_TRUE(query->value(0).toString().endsWith(QLatin1Char('Z')));
}

INSTANTIATE_TEST_SUITE_P(Instants, SqliteTimestampTest,
    ::testing::Values(
        TimeRow { "Utc",
            QDateTime::fromString(QStringLiteral("2026-11-23T07:35:22.123Z"), Qt::ISODateWithMs) },
        TimeRow { "UtcWholeSecond", QDateTime(QDate(2014, 5, 27), QTime(8, 15, 2), Qt::UTC) },
        TimeRow { "UtcLastMillisecondOfYear",
            QDateTime(QDate(1999, 12, 31), QTime(23, 59, 59, 999), Qt::UTC) },
        TimeRow { "OffsetPlus0530",
            QDateTime(QDate(2026, 3, 1), QTime(0, 10, 0, 7), Qt::OffsetFromUTC, 5 * 3600 + 1800) },
        TimeRow { "OffsetMinus08",
            QDateTime(QDate(2026, 12, 31), QTime(22, 0, 0, 500), Qt::OffsetFromUTC, -8 * 3600) },
        TimeRow { "ZoneBerlinSummer",
            QDateTime(QDate(2026, 7, 1), QTime(12, 0, 0, 42), QTimeZone("Europe/Berlin")) },
        TimeRow {
            "LocalTime", QDateTime(QDate(2026, 6, 15), QTime(9, 30, 15, 250), Qt::LocalTime) }),
    [](const ::testing::TestParamInfo<TimeRow>& info) { return std::string(info.param.name); });

// --- transactions -------------------------------------------------------------------

TEST(SqliteDatabaseFactoryTest, TransactionsCommitAndRollBack)
{
    const testutil::TempDir dir;
    auto factory = openWithTable(dir.filePath(QStringLiteral("a.db")));
    ASSERT_TRUE(factory);
    auto count = [&] {
        return scalar(*factory, QStringLiteral("SELECT count(*) FROM ActionLog")).toInt();
    };
    auto database = factory->GetDatabase();

    EXPECT_FALSE(database->commit()) << "no transaction open";
    EXPECT_FALSE(factory->LastError().isEmpty());
    EXPECT_FALSE(database->rollback()) << "no transaction open";

    ASSERT_TRUE(database->transaction());
    EXPECT_FALSE(factory->GetDatabase()->transaction()) << "one is already open on this thread";
    ASSERT_GT(insertRow(*factory, 1, QStringLiteral("dropped")), 0);
    ASSERT_GT(insertRow(*factory, 1, QStringLiteral("dropped too")), 0);
    EXPECT_EQ(count(), 2) << "the own connection sees its uncommitted rows";
    // Another thread's connection does not.
    int seenElsewhere = -1;
    std::thread([&] { seenElsewhere = count(); }).join();
    EXPECT_EQ(seenElsewhere, 0);
    ASSERT_TRUE(database->rollback());
    EXPECT_EQ(count(), 0);

    // A fresh handle of the same thread controls the same connection.
    ASSERT_TRUE(factory->GetDatabase()->transaction());
    ASSERT_GT(insertRow(*factory, 1, QStringLiteral("kept")), 0);
    ASSERT_TRUE(database->commit());
    EXPECT_EQ(count(), 1);
    std::thread([&] { seenElsewhere = count(); }).join();
    EXPECT_EQ(seenElsewhere, 1);
}

// --- connections and threads --------------------------------------------------------

TEST(SqliteDatabaseFactoryTest, ConnectionsGoAwayWithTheirThreadAndTheFactory)
{
    const testutil::TempDir dir;
    const QStringList before = QSqlDatabase::connectionNames();
    auto factory = openWithTable(dir.filePath(QStringLiteral("a.db")));
    ASSERT_TRUE(factory);
    const QStringList withMain = QSqlDatabase::connectionNames();
    EXPECT_EQ(withMain.size(), before.size() + 1);

    QStringList duringThread;
    qint64 insertedId = -1;
    std::thread([&] {
        insertedId = insertRow(*factory, 1, QStringLiteral("from a thread"));
        duringThread = QSqlDatabase::connectionNames();
    }).join();
    EXPECT_EQ(insertedId, 1);
    EXPECT_EQ(duringThread.size(), withMain.size() + 1);
    EXPECT_EQ(QSqlDatabase::connectionNames(), withMain) << "the thread's connection was removed";

    // The same for a QThread. (QThread::wait() synchronises through Qt's own
    // futexes, which ThreadSanitizer cannot see: the results go through a mutex.)
    std::mutex resultMutex;
    std::unique_ptr<QThread> qthread(QThread::create([&] {
        const qint64 id = insertRow(*factory, 1, QStringLiteral("from a QThread"));
        const QStringList names = QSqlDatabase::connectionNames();
        std::lock_guard<std::mutex> lock(resultMutex);
        insertedId = id;
        duringThread = names;
    }));
    qthread->start();
    ASSERT_TRUE(qthread->wait(60000));
    {
        std::lock_guard<std::mutex> lock(resultMutex);
        EXPECT_EQ(insertedId, 2);
        EXPECT_EQ(duringThread.size(), withMain.size() + 1);
    }
    EXPECT_EQ(QSqlDatabase::connectionNames(), withMain);

    // A wrapper handed out keeps its connection usable after the factory is gone.
    auto query = factory->CreateQuery();
    factory.reset();
    ASSERT_TRUE(query->prepare(QStringLiteral("SELECT count(*) FROM ActionLog")));
    ASSERT_TRUE(query->exec());
    ASSERT_TRUE(query->next());
    EXPECT_EQ(query->value(0).toInt(), 2);
    query.reset();
    EXPECT_EQ(QSqlDatabase::connectionNames(), before);
}

TEST(SqliteDatabaseFactoryTest, ThreadWhoseConnectionCannotOpenGetsFailingWrappers)
{
    testutil::TempDir dir;
    const QString folder = dir.filePath(QStringLiteral("gone"));
    ASSERT_TRUE(QDir().mkpath(folder));
    auto factory = openWithTable(folder + QStringLiteral("/a.db"));
    ASSERT_TRUE(factory);
    // The main thread keeps its open connection; a new thread cannot open one.
    ASSERT_TRUE(QDir(folder).removeRecursively());

    bool prepared = true;
    bool begun = true;
    QString error;
    std::thread([&] {
        prepared = factory->CreateQuery()->prepare(QStringLiteral("SELECT 1"));
        begun = factory->GetDatabase()->transaction();
        error = factory->LastError();
    }).join();
    EXPECT_FALSE(prepared);
    EXPECT_FALSE(begun);
    EXPECT_TRUE(error.contains(QLatin1String("unable to open"))) << error.toStdString();
}

TEST(SqliteDatabaseFactoryTest, FactoryGoesAwayWhileAThreadStillRuns)
{
    const testutil::TempDir dir;
    const QStringList before = QSqlDatabase::connectionNames();
    auto factory = openWithTable(dir.filePath(QStringLiteral("a.db")));
    ASSERT_TRUE(factory);

    std::mutex mutex;
    std::condition_variable changed;
    bool inserted = false;
    bool factoryGone = false;
    qint64 id = -1;
    std::thread worker([&] {
        id = insertRow(*factory, 1, QStringLiteral("x"));
        std::unique_lock<std::mutex> lock(mutex);
        inserted = true;
        changed.notify_all();
        changed.wait(lock, [&] { return factoryGone; });
        // Ends with no connection left to close.
    });
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return inserted; });
    }
    factory.reset();
    EXPECT_EQ(QSqlDatabase::connectionNames(), before) << "the running thread's connection too";
    {
        std::lock_guard<std::mutex> lock(mutex);
        factoryGone = true;
    }
    changed.notify_all();
    worker.join();
    EXPECT_EQ(id, 1);

    // The committed row is in the file.
    auto reopened = SqliteDatabaseFactory::Open(dir.filePath(QStringLiteral("a.db")));
    ASSERT_TRUE(reopened);
    EXPECT_EQ(scalar(*reopened, QStringLiteral("SELECT count(*) FROM ActionLog")).toInt(), 1);
}

TEST(SqliteDatabaseFactoryTest, ConcurrentWritersAndReadersLoseNothing)
{
    constexpr int kWriters = 4;
    constexpr int kReaders = 2;
    constexpr int kTransactions = 25;
    constexpr int kRowsPerTransaction = 20;

    const testutil::TempDir dir;
    auto factory = openWithTable(dir.filePath(QStringLiteral("busy.db")));
    ASSERT_TRUE(factory);
    // Half the writers go through a second factory: its connections meet the
    // first one's only in the file's locks.
    auto second = SqliteDatabaseFactory::Open(factory->FilePath());
    ASSERT_TRUE(second);

    std::mutex resultsMutex;
    std::vector<qint64> ids;
    QStringList failures;
    std::atomic<int> writersLeft { kWriters };
    std::atomic<int> readerPasses { 0 };
    auto fail = [&](const QString& what) {
        std::lock_guard<std::mutex> lock(resultsMutex);
        failures << what + QStringLiteral(": ") + factory->LastError() + QLatin1Char(' ')
                + second->LastError();
    };

    std::vector<std::thread> threads;
    for (int w = 0; w < kWriters; ++w) {
        threads.emplace_back([&, w] {
            SqliteDatabaseFactory& mineFactory = w % 2 ? *second : *factory;
            std::vector<qint64> mine;
            for (int t = 0; t < kTransactions; ++t) {
                auto database = mineFactory.GetDatabase();
                if (!database->transaction()) {
                    fail(QStringLiteral("transaction"));
                    continue;
                }
                for (int r = 0; r < kRowsPerTransaction; ++r) {
                    const qint64 id = insertRow(
                        mineFactory, w, QStringLiteral("w%1 t%2 r%3").arg(w).arg(t).arg(r));
                    if (id < 0)
                        fail(QStringLiteral("insert"));
                    else
                        mine.push_back(id);
                }
                if (!database->commit())
                    fail(QStringLiteral("commit"));
            }
            std::lock_guard<std::mutex> lock(resultsMutex);
            ids.insert(ids.end(), mine.begin(), mine.end());
            --writersLeft;
        });
    }
    for (int r = 0; r < kReaders; ++r) {
        threads.emplace_back([&] {
            int last = 0;
            // At least one pass after every writer finished.
            bool finalPass = false;
            while (!finalPass) {
                finalPass = writersLeft.load() == 0;
                auto query = factory->CreateQuery();
                if (!query->prepare(
                        QStringLiteral("SELECT count(*), count(DISTINCT id) FROM ActionLog"))
                    || !query->exec() || !query->next()) {
                    fail(QStringLiteral("select"));
                    continue;
                }
                const int rows = query->value(0).toInt();
                if (rows != query->value(1).toInt())
                    fail(QStringLiteral("duplicate ids"));
                // Whole transactions only, and never fewer rows than before.
                if (rows % kRowsPerTransaction != 0 || rows < last)
                    fail(QStringLiteral("saw %1 rows after %2").arg(rows).arg(last));
                last = rows;
                ++readerPasses;
            }
        });
    }
    for (auto& t : threads)
        t.join();

    EXPECT_TRUE(failures.isEmpty()) << failures.join(QLatin1Char('\n')).toStdString();
    constexpr int kTotal = kWriters * kTransactions * kRowsPerTransaction;
    EXPECT_EQ(ids.size(), std::size_t(kTotal));
    EXPECT_EQ(std::set<qint64>(ids.begin(), ids.end()).size(), std::size_t(kTotal));
    EXPECT_EQ(scalar(*factory, QStringLiteral("SELECT count(*) FROM ActionLog")).toInt(), kTotal);
    EXPECT_EQ(scalar(*factory, QStringLiteral("SELECT max(id) FROM ActionLog")).toInt(), kTotal);
    EXPECT_GE(readerPasses.load(), kReaders);
}
