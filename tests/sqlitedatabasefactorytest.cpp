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

using sync::core::SqliteDatabaseFactory;

namespace {

const QString kInsert = QStringLiteral(
    "INSERT INTO ActionLog (actionType, relatedItemName, relatedItemInfo, timestamp, details) "
    "VALUES (:actionType, :relatedItemName, :relatedItemInfo, :timestamp, :details);");

std::shared_ptr<SqliteDatabaseFactory> openWithTable(const QString& path)
{
    QString error;
    auto factory = SqliteDatabaseFactory::Open(path, &error);
    EXPECT_TRUE(factory && factory->CreateActionLogTable()) << error.toStdString();
    return factory;
}

/// Inserts one row and returns its id, -1 on failure.
qint64 insertRow(SqliteDatabaseFactory& factory, const QString& name,
    const QDateTime& timestamp = QDateTime::currentDateTimeUtc())
{
    auto query = factory.CreateQuery();
    if (!query->prepare(kInsert))
        return -1;
    query->bindValue(QStringLiteral(":actionType"), 1);
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

/// Runs @p sql, with @p value bound to ":v" when it has that placeholder; null on failure.
std::shared_ptr<sync::interf::IQSqlQueryWrapper> run(
    SqliteDatabaseFactory& factory, const QString& sql, const QVariant& value = QVariant())
{
    auto query = factory.CreateQuery();
    if (!query->prepare(sql))
        return nullptr;
    if (sql.contains(QLatin1String(":v")))
        query->bindValue(QStringLiteral(":v"), value);
    return query->exec() ? query : nullptr;
}

/// One value of the first row of @p sql; invalid on failure.
QVariant scalar(SqliteDatabaseFactory& factory, const QString& sql, int column = 0,
    const QVariant& value = QVariant())
{
    auto query = run(factory, sql, value);
    return query && query->next() ? query->value(column) : QVariant();
}

int rowCount(SqliteDatabaseFactory& factory)
{
    return scalar(factory, QStringLiteral("SELECT count(*) FROM ActionLog")).toInt();
}

class SqliteTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(factory); }
    testutil::TempDir dir;
    std::shared_ptr<SqliteDatabaseFactory> factory
        = openWithTable(dir.filePath(QStringLiteral("a.db")));
};

} // namespace

TEST(SqliteOpenTest, BadPathsGiveAnEmptyPointerAndOneLineNamingPathAndReason)
{
    const testutil::TempDir dir;
    const QString notes = dir.write(
        QStringLiteral("notes.db"), QByteArray("Notes, not a database.\n").repeated(40));
    const struct
    {
        QString path;
        const char* reason;
    } rows[] = { { QString(), "no file path given" }, { QStringLiteral(":memory:"), "in-memory" },
        { dir.path(), "is a folder" },
        { dir.filePath(QStringLiteral("no/such/x.db")), "does not exist" },
        { dir.write(QStringLiteral("plain"), "text") + QStringLiteral("/x.db"), "is not a folder" },
        { notes, "file is not a database" } };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.reason);
        QString error;
        EXPECT_FALSE(SqliteDatabaseFactory::Open(row.path, &error));
        EXPECT_FALSE(error.contains(QLatin1Char('\n'))) << error.toStdString();
        EXPECT_TRUE(error.contains(QString::fromUtf8(row.reason))) << error.toStdString();
        EXPECT_TRUE(error.contains(row.path)) << error.toStdString();
        EXPECT_FALSE(QFileInfo::exists(row.path + QStringLiteral("-wal")));
        EXPECT_FALSE(SqliteDatabaseFactory::Open(row.path)) << "without a message pointer";
    }
    EXPECT_EQ(testutil::readFile(notes), QByteArray("Notes, not a database.\n").repeated(40));
}

// Checked in a child process that drops root, since permissions do not bind root.
TEST(SqliteOpenTest, PermissionsAsAnUnprivilegedUser)
{
    const auto rx = QFileDevice::ReadOwner | QFileDevice::ExeOwner | QFileDevice::ReadOther
        | QFileDevice::ExeOther;
    const auto all = rx | QFileDevice::WriteOwner | QFileDevice::WriteOther;
    const struct
    {
        QFileDevice::Permissions file; // of an existing empty file; none: no file
        QFileDevice::Permissions folder;
        const char* expected;
    } rows[] = { { QFileDevice::WriteOwner, all, "cannot be read" },
        { QFileDevice::ReadOwner | QFileDevice::ReadOther, all, "read-only" },
        { {}, rx, "is not writable" },
        { {}, all, "opened" } }; // the control: the same child opens a file it may write
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        const testutil::TempDir dir;
        ASSERT_TRUE(QFile::setPermissions(dir.path(), rx | QFileDevice::WriteOwner));
        ASSERT_TRUE(QDir().mkpath(dir.filePath(QStringLiteral("data"))));
        const QString path = dir.write(QStringLiteral("data/actions.db"), QByteArray());
        if (row.file == QFileDevice::Permissions())
            QFile::remove(path);
        else
            ASSERT_TRUE(QFile::setPermissions(path, row.file));
        ASSERT_TRUE(QFile::setPermissions(dir.filePath(QStringLiteral("data")), row.folder));
        const testutil::ProcessResult result = testutil::run(
            testutil::builtExecutable(QStringLiteral("sqliteopenhelper")), { path });
        const QString output = QString::fromUtf8(result.out).trimmed();
        EXPECT_EQ(result.exitCode, qstrcmp(row.expected, "opened") == 0 ? 0 : 1)
            << result.err.constData();
        EXPECT_TRUE(output.contains(QString::fromLatin1(row.expected))) << output.toStdString();
        EXPECT_FALSE(output.contains(QLatin1Char('\n'))) << output.toStdString();
    }
}

TEST(SqliteOpenTest, CreatesTheFileInWalModeWithTheTableOnceAndReopens)
{
    const testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("sub/../actions.db"));
    {
        QString error = QStringLiteral("stale");
        auto factory = SqliteDatabaseFactory::Open(path, &error);
        ASSERT_TRUE(factory && factory->CreateActionLogTable());
        EXPECT_TRUE(error.isEmpty());
        EXPECT_EQ(factory->FilePath(), dir.filePath(QStringLiteral("actions.db")));
        EXPECT_EQ(scalar(*factory, QStringLiteral("PRAGMA journal_mode")).toString(),
            QStringLiteral("wal"));
        EXPECT_EQ(scalar(*factory, QStringLiteral("PRAGMA busy_timeout")).toInt(), 10000);
        EXPECT_EQ(scalar(*factory, QStringLiteral("PRAGMA synchronous")).toInt(), 1); // NORMAL
        EXPECT_EQ(scalar(*factory,
                      QStringLiteral(
                          "SELECT group_concat(name, ' ') FROM pragma_table_info('ActionLog')"))
                      .toString(),
            QStringLiteral("id actionType relatedItemName relatedItemInfo timestamp details"));
        EXPECT_EQ(insertRow(*factory, QStringLiteral("a")), 1);
        EXPECT_EQ(insertRow(*factory, QStringLiteral("b")), 2);
        ASSERT_TRUE(run(*factory, QStringLiteral("DELETE FROM ActionLog WHERE id = 2")));
    }
    auto again = openWithTable(path); // a second CreateActionLogTable neither fails nor empties
    ASSERT_TRUE(again);
    EXPECT_EQ(rowCount(*again), 1);
    EXPECT_EQ(insertRow(*again, QStringLiteral("c")), 3)
        << "AUTOINCREMENT: deleted ids are not reused";
}

TEST_F(SqliteTest, QueriesStepThroughRowsAndColumns)
{
    for (int i = 1; i <= 3; ++i)
        ASSERT_EQ(insertRow(*factory, QString::fromUtf8("Größe – 日本/a'b\"c%1").arg(i)), i);
    auto query = factory->CreateQuery();
    ASSERT_TRUE(query->prepare(
        QStringLiteral("SELECT id, relatedItemName FROM ActionLog WHERE id >= :from ORDER BY id")));
    query->bindValue(QStringLiteral(":from"), 2);
    ASSERT_TRUE(query->exec());
    EXPECT_FALSE(query->isValid());
    EXPECT_FALSE(query->value(0).isValid()) << "no row yet";
    for (int i = 2; i <= 3; ++i) {
        ASSERT_TRUE(query->next());
        EXPECT_TRUE(query->isValid());
        EXPECT_EQ(query->value(0).toInt(), i);
        EXPECT_EQ(query->value(1).toString(), QString::fromUtf8("Größe – 日本/a'b\"c%1").arg(i));
        EXPECT_FALSE(query->value(2).isValid()) << "past the last column";
        EXPECT_FALSE(query->value(-1).isValid());
    }
    EXPECT_FALSE(query->next());
    EXPECT_FALSE(query->isValid());
    ASSERT_TRUE(query->first());
    EXPECT_EQ(query->value(0).toInt(), 2);
    ASSERT_TRUE(query->prepare(QStringLiteral("SELECT id FROM ActionLog WHERE id > 99")));
    ASSERT_TRUE(query->exec());
    EXPECT_FALSE(query->first()) << "an empty result";
}

// The statement cache behind the wrappers must not leak state between queries.
TEST_F(SqliteTest, CachedStatementsStartUnboundStayIndependentAndSurviveEviction)
{
    ASSERT_EQ(insertRow(*factory, QStringLiteral("full")), 1);
    auto partial = factory->CreateQuery();
    ASSERT_TRUE(partial->prepare(kInsert)); // the same text again, from the cache
    partial->bindValue(QStringLiteral(":actionType"), 2);
    ASSERT_TRUE(partial->exec()) << factory->LastError().toStdString();
    EXPECT_EQ(scalar(*factory,
                  QStringLiteral(
                      "SELECT count(*) FROM ActionLog WHERE id = 2 AND relatedItemName IS NULL AND "
                      "relatedItemInfo IS NULL AND timestamp IS NULL AND details IS NULL"))
                  .toInt(),
        1)
        << "the previous row's values were still bound";
    ASSERT_EQ(insertRow(*factory, QStringLiteral("3")), 3);

    // Two live queries of the same text, nested.
    const QString select = QStringLiteral("SELECT id FROM ActionLog WHERE id >= :v ORDER BY id");
    auto outer = factory->CreateQuery();
    ASSERT_TRUE(outer->prepare(select));
    outer->bindValue(QStringLiteral(":v"), 1);
    ASSERT_TRUE(outer->exec());
    QList<int> pairs;
    while (outer->next()) {
        auto inner = factory->CreateQuery();
        ASSERT_TRUE(inner->prepare(select));
        inner->bindValue(QStringLiteral(":v"), outer->value(0));
        ASSERT_TRUE(inner->exec());
        int rows = 0;
        while (inner->next())
            ++rows;
        pairs << outer->value(0).toInt() * 10 + rows;
    }
    EXPECT_EQ(pairs, (QList<int> { 13, 22, 31 }));

    // Far more distinct texts than the cache keeps, while one query stays prepared.
    ASSERT_TRUE(partial->prepare(kInsert));
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(scalar(*factory, QStringLiteral("SELECT %1 + :v").arg(i), 0, 1).toInt(), i + 1);
        ASSERT_TRUE(run(*factory, QStringLiteral("UPDATE ActionLog SET actionType = %1").arg(i)));
    }
    ASSERT_TRUE(partial->exec()) << factory->LastError().toStdString();
    EXPECT_EQ(partial->lastInsertId().toInt(), 4);
    partial.reset();
    EXPECT_EQ(insertRow(*factory, QStringLiteral("after")), 5);
}

TEST_F(SqliteTest, FailuresAreReportedAndReadablePerThread)
{
    EXPECT_TRUE(factory->LastError().isEmpty());
    auto query = factory->CreateQuery();
    EXPECT_FALSE(query->exec()) << "nothing prepared";
    EXPECT_FALSE(query->prepare(QStringLiteral("SELEC nonsense")));
    EXPECT_TRUE(factory->LastError().contains(QLatin1String("syntax error")))
        << factory->LastError().toStdString();
    EXPECT_FALSE(query->exec());
    EXPECT_FALSE(query->next());
    EXPECT_FALSE(query->lastInsertId().isValid());
    // A constraint failure surfaces at exec(), and the query stays usable.
    ASSERT_TRUE(query->prepare(QStringLiteral("INSERT INTO ActionLog (id) VALUES (:id)")));
    query->bindValue(QStringLiteral(":id"), 7);
    EXPECT_TRUE(query->exec());
    EXPECT_EQ(query->lastInsertId().toInt(), 7);
    EXPECT_FALSE(query->exec());
    EXPECT_TRUE(factory->LastError().contains(QLatin1String("UNIQUE")))
        << factory->LastError().toStdString();
    QString otherThreadError = QStringLiteral("unset");
    std::thread([&] { otherThreadError = factory->LastError(); }).join();
    EXPECT_TRUE(otherThreadError.isEmpty()) << "each thread reads its own connection's error";
}

// A value bound to an INSERT and to a SELECT is stored as Qt's driver would store it.
TEST_F(SqliteTest, BoundValuesAreStoredAsQtWouldStoreThem)
{
    const QString nonBmp = QString::fromUtf8("clef \xF0\x9D\x84\x9E \xC3\xA9");
    const QDateTime offset(QDate(2026, 1, 2), QTime(1, 2, 3, 4), Qt::OffsetFromUTC, 3600);
    const struct
    {
        QVariant value;
        const char* storageClass;
        QVariant readBack; // invalid: NULL, read as a null variant
    } rows[] = { { 42, "integer", qlonglong(42) },
        { qlonglong(1) << 40, "integer", qlonglong(1) << 40 }, { true, "integer", qlonglong(1) },
        { 2.5, "real", 2.5 }, { nonBmp, "text", nonBmp },
        { QStringLiteral(""), "text", QStringLiteral("") }, { QString(), "null", {} },
        { QVariant(), "null", {} },
        { QByteArray("\0\x01\xff", 3), "blob", QByteArray("\0\x01\xff", 3) },
        { QDate(2026, 1, 2), "text", QStringLiteral("2026-01-02") }, { QDateTime(), "null", {} },
        { offset, "text", QStringLiteral("2026-01-02T00:02:03.004Z") } };
    // Columns without a declared type keep the storage class they are given.
    ASSERT_TRUE(run(*factory, QStringLiteral("CREATE TABLE Scratch (a, b)")));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.value.toString().toStdString() + " " + row.storageClass);
        // A placeholder used twice is bound once.
        ASSERT_TRUE(
            run(*factory, QStringLiteral("INSERT INTO Scratch VALUES (:v, :v)"), row.value));
        for (const QString& sql :
            { QStringLiteral(
                  "SELECT typeof(a), a, a IS b FROM Scratch WHERE rowid = last_insert_rowid()"),
                QStringLiteral("SELECT typeof(:v), :v, 1") }) {
            EXPECT_EQ(scalar(*factory, sql, 0, row.value).toString(),
                QString::fromLatin1(row.storageClass));
            const QVariant read = scalar(*factory, sql, 1, row.value);
            EXPECT_TRUE(row.readBack.isValid() ? read == row.readBack : read.isNull())
                << read.toString().toStdString();
            EXPECT_EQ(scalar(*factory, sql, 2, row.value).toInt(), 1);
        }
    }
}

TEST_F(SqliteTest, TimestampsReadBackAsTheSameUtcInstantToTheMillisecond)
{
    const QDateTime inputs[]
        = { QDateTime::fromString(QStringLiteral("2026-11-23T07:35:22.123Z"), Qt::ISODateWithMs),
              QDateTime(QDate(2014, 5, 27), QTime(8, 15, 2), Qt::UTC),
              QDateTime(QDate(1999, 12, 31), QTime(23, 59, 59, 999), Qt::UTC),
              QDateTime(QDate(2026, 3, 1), QTime(0, 10, 0, 7), Qt::OffsetFromUTC, 5 * 3600 + 1800),
              QDateTime(QDate(2026, 12, 31), QTime(22, 0, 0, 500), Qt::OffsetFromUTC, -8 * 3600),
              QDateTime(QDate(2026, 7, 1), QTime(12, 0, 0, 42), QTimeZone("Europe/Berlin")),
              QDateTime(QDate(2026, 6, 15), QTime(9, 30, 15, 250), Qt::LocalTime) };
    for (const QDateTime& input : inputs) {
        SCOPED_TRACE(input.toString(Qt::ISODateWithMs).toStdString());
        ASSERT_TRUE(input.isValid());
        const qint64 id = insertRow(*factory, QStringLiteral("x"), input);
        const QVariant stored = scalar(
            *factory, QStringLiteral("SELECT timestamp FROM ActionLog WHERE id = :v"), 0, id);
        const QDateTime back = stored.toDateTime();
        EXPECT_EQ(back.timeSpec(), Qt::UTC);
        EXPECT_EQ(back.toMSecsSinceEpoch(), input.toMSecsSinceEpoch());
        EXPECT_EQ(stored.toString(),
            input.toUTC().toString(Qt::ISODateWithMs)); // "...Z", sorts in time order
    }
}

TEST_F(SqliteTest, TransactionsCommitAndRollBackPerThread)
{
    auto database = factory->GetDatabase();
    EXPECT_FALSE(database->commit()) << "no transaction open";
    EXPECT_FALSE(factory->LastError().isEmpty());
    EXPECT_FALSE(database->rollback());
    ASSERT_TRUE(database->transaction());
    EXPECT_FALSE(factory->GetDatabase()->transaction()) << "one is already open on this thread";
    ASSERT_GT(insertRow(*factory, QStringLiteral("dropped")), 0);
    EXPECT_EQ(rowCount(*factory), 1) << "the own connection sees its uncommitted row";
    int elsewhere = -1;
    std::thread([&] { elsewhere = rowCount(*factory); }).join();
    EXPECT_EQ(elsewhere, 0);
    ASSERT_TRUE(database->rollback());
    EXPECT_EQ(rowCount(*factory), 0);
    // A fresh handle of the same thread controls the same connection.
    ASSERT_TRUE(factory->GetDatabase()->transaction());
    ASSERT_GT(insertRow(*factory, QStringLiteral("kept")), 0);
    ASSERT_TRUE(database->commit());
    std::thread([&] { elsewhere = rowCount(*factory); }).join();
    EXPECT_EQ(elsewhere, 1);
}

TEST_F(SqliteTest, ConnectionsGoAwayWithTheirThreadAndTheFactory)
{
    const QStringList withMain = QSqlDatabase::connectionNames();
    // QThread::wait() syncs through futexes ThreadSanitizer cannot see: results go via a mutex.
    std::mutex mutex;
    QList<qint64> ids;
    QList<int> connectionsDuring;
    const std::function<void()> work = [&] {
        const qint64 id = insertRow(*factory, QStringLiteral("from a thread"));
        std::lock_guard<std::mutex> lock(mutex);
        ids << id;
        connectionsDuring << int(QSqlDatabase::connectionNames().size());
    };
    std::thread(work).join();
    EXPECT_EQ(QSqlDatabase::connectionNames(), withMain) << "the thread's connection was removed";
    std::unique_ptr<QThread> qthread(QThread::create(work));
    qthread->start();
    ASSERT_TRUE(qthread->wait(60000));
    EXPECT_EQ(QSqlDatabase::connectionNames(), withMain);
    {
        std::lock_guard<std::mutex> lock(mutex);
        EXPECT_EQ(ids, (QList<qint64> { 1, 2 }));
        EXPECT_EQ(
            connectionsDuring, (QList<int> { int(withMain.size()) + 1, int(withMain.size()) + 1 }));
    }

    // The factory goes away while a thread still runs, and a wrapper handed out keeps working.
    std::condition_variable changed;
    int stage = 0; // 1: the worker inserted, 2: the factory is gone
    std::thread worker([&] {
        insertRow(*factory, QStringLiteral("x"));
        std::unique_lock<std::mutex> lock(mutex);
        stage = 1;
        changed.notify_all();
        changed.wait(lock, [&] { return stage == 2; }); // then ends with no connection to close
    });
    {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return stage == 1; });
    }
    auto query = factory->CreateQuery();
    factory.reset();
    EXPECT_EQ(QSqlDatabase::connectionNames().size(), withMain.size())
        << "only the wrapper's is left";
    {
        std::lock_guard<std::mutex> lock(mutex);
        stage = 2;
    }
    changed.notify_all();
    worker.join();
    ASSERT_TRUE(query->prepare(QStringLiteral("SELECT count(*) FROM ActionLog")));
    ASSERT_TRUE(query->exec() && query->next());
    EXPECT_EQ(query->value(0).toInt(), 3);
    query.reset();
    EXPECT_EQ(QSqlDatabase::connectionNames().size(), withMain.size() - 1);
}

TEST(SqliteThreadTest, ThreadWhoseConnectionCannotOpenGetsFailingWrappers)
{
    testutil::TempDir dir;
    const QString folder = dir.filePath(QStringLiteral("gone"));
    ASSERT_TRUE(QDir().mkpath(folder));
    auto factory = openWithTable(folder + QStringLiteral("/a.db"));
    ASSERT_TRUE(factory);
    ASSERT_TRUE(QDir(folder).removeRecursively()); // the main thread's connection stays open
    bool prepared = true, begun = true;
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

// Writers in transactions through two factories of one file, readers meanwhile:
// nothing lost, no id twice, readers see whole transactions only and never fewer rows.
TEST_F(SqliteTest, ConcurrentWritersAndReadersLoseNothing)
{
    constexpr int kWriters = 4, kTransactions = 25, kRows = 20,
                  kTotal = kWriters * kTransactions * kRows;
    auto second = SqliteDatabaseFactory::Open(factory->FilePath());
    ASSERT_TRUE(second);
    std::mutex mutex;
    std::vector<qint64> ids;
    QStringList failures;
    std::atomic<int> writersLeft { kWriters };
    auto fail = [&](const QString& what) {
        std::lock_guard<std::mutex> lock(mutex);
        failures << what + QLatin1Char(' ') + factory->LastError() + second->LastError();
    };
    std::vector<std::thread> threads;
    for (int w = 0; w < kWriters; ++w) {
        threads.emplace_back([&, w] {
            SqliteDatabaseFactory& mine = w % 2 ? *second : *factory;
            std::vector<qint64> written;
            for (int t = 0; t < kTransactions; ++t) {
                if (!mine.GetDatabase()->transaction()) {
                    fail(QStringLiteral("transaction"));
                    continue;
                }
                for (int r = 0; r < kRows; ++r)
                    written.push_back(
                        insertRow(mine, QStringLiteral("w%1 t%2 r%3").arg(w).arg(t).arg(r)));
                if (!mine.GetDatabase()->commit())
                    fail(QStringLiteral("commit"));
            }
            std::lock_guard<std::mutex> lock(mutex);
            ids.insert(ids.end(), written.begin(), written.end());
            --writersLeft;
        });
    }
    for (int r = 0; r < 2; ++r) {
        threads.emplace_back([&] {
            int last = 0;
            for (bool finalPass = false; !finalPass;) { // at least one pass after the writers
                finalPass = writersLeft.load() == 0;
                const int rows = scalar(*factory,
                    QStringLiteral("SELECT CASE WHEN count(*) = count(DISTINCT id) THEN count(*) "
                                   "ELSE -1 END FROM ActionLog"))
                                     .toInt();
                if (rows % kRows != 0 || rows < last)
                    fail(QStringLiteral("saw %1 rows after %2").arg(rows).arg(last));
                last = rows;
            }
        });
    }
    for (auto& t : threads)
        t.join();
    EXPECT_TRUE(failures.isEmpty()) << failures.join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(std::set<qint64>(ids.begin(), ids.end()).size(), std::size_t(kTotal));
    EXPECT_EQ(*std::min_element(ids.begin(), ids.end()), 1);
    EXPECT_EQ(rowCount(*factory), kTotal);
    EXPECT_EQ(scalar(*factory, QStringLiteral("SELECT max(id) FROM ActionLog")).toInt(), kTotal);
}
