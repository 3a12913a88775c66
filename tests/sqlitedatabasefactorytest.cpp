// SqliteDatabaseFactory against real SQLite files in a temporary folder.

#include "database/SqliteDatabaseFactory.h"
#include "database/SqliteRow.h"
#include "interfaces/IQSqlDatabaseWrapper.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include "TestUtil.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QThread>
#include <QUuid>

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <tuple>
#include <vector>

#include <sys/stat.h>

using sync::core::SqliteDatabaseFactory;

namespace {

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

const QString kInsert
    = QStringLiteral("INSERT INTO ActionLog (relatedItemName, details) VALUES (:v, :v)");

/// Inserts one row and returns its id, -1 on failure.
qint64 insertRow(SqliteDatabaseFactory& factory, const QString& name)
{
    const auto query = run(factory, kInsert, name);
    return query ? query->lastInsertId().toLongLong() : -1;
}

int rowCount(SqliteDatabaseFactory& factory)
{
    return scalar(factory, QStringLiteral("SELECT count(*) FROM ActionLog")).toInt();
}

/// A database as another program would leave it (rollback journal, no WAL)
/// with @p rows rows of the ActionLog table spread over many pages.
void writeForeignDatabase(const QString& path, int rows)
{
    const QString name = QUuid::createUuid().toString();
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        db.setDatabaseName(path);
        ASSERT_TRUE(db.open());
        QSqlQuery query(db);
        ASSERT_TRUE(query.exec(QStringLiteral(
            "CREATE TABLE ActionLog (id INTEGER PRIMARY KEY AUTOINCREMENT, actionType INTEGER, "
            "relatedItemName TEXT, relatedItemInfo TEXT, timestamp TEXT, details TEXT)")));
        ASSERT_TRUE(query.exec(QStringLiteral(
            "WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n WHERE x < %1) "
            "INSERT INTO ActionLog (actionType, relatedItemName) SELECT x, printf('%.300c', 'n') "
            "FROM n")
                                   .arg(rows)));
    }
    QSqlDatabase::removeDatabase(name);
}

/// Overwrites every page of the database file from page @p first (1-based) on,
/// or only the part of page 1 after the 100-byte file header when @p first is 1.
void damagePages(const QString& path, int first)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    const QByteArray header = file.read(100);
    ASSERT_EQ(header.left(16), QByteArray("SQLite format 3\0", 16));
    int pageSize = (uchar(header[16]) << 8) | uchar(header[17]);
    if (pageSize == 1)
        pageSize = 65536;
    const qint64 from = first == 1 ? 100 : qint64(first - 1) * pageSize;
    const qint64 to = first == 1 ? pageSize : file.size();
    ASSERT_LT(from, to) << "the file has no page " << first;
    ASSERT_TRUE(file.seek(from));
    ASSERT_EQ(file.write(QByteArray(int(to - from), char(0xA5))), to - from);
}

class SqliteTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(factory);
        ASSERT_TRUE(factory->CreateActionLogTable());
    }
    testutil::TempDir dir;
    std::shared_ptr<SqliteDatabaseFactory> factory
        = SqliteDatabaseFactory::Open(dir.filePath(QStringLiteral("a.db")));
};

} // namespace

// Opened in a child process that drops root, since permissions do not bind root.
TEST(SqliteOpenTest, BadPathsGiveOneLineNamingPathAndReason)
{
    const testutil::TempDir dir;
    const QByteArray notesText = QByteArray("Notes, not a database.\n").repeated(40);
    const QString notes = dir.write(QStringLiteral("data/notes.db"), notesText);
    const QString readOnly = dir.write(QStringLiteral("data/readonly.db"), QByteArray());
    const QString unreadable = dir.write(QStringLiteral("data/unreadable.db"), QByteArray());
    const QString locked = dir.filePath(QStringLiteral("locked"));
    ASSERT_TRUE(QDir().mkpath(locked));
    for (const auto& [path, mode] :
        { std::pair { dir.path(), 0755 }, { notes, 0666 }, { readOnly, 0444 }, { unreadable, 0200 },
            { locked, 0555 }, { dir.filePath(QStringLiteral("data")), 0777 } })
        ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), mode), 0);
    const std::pair<QString, const char*> rows[] = { { QString(), "no file path given" },
        { QStringLiteral(":memory:"), "in-memory" }, { dir.path(), "is a folder" },
        { dir.filePath(QStringLiteral("data/no/x.db")), "does not exist" },
        { notes + QStringLiteral("/x.db"), "is not a folder" }, { notes, "file is not a database" },
        { unreadable, "cannot be read" }, { readOnly, "read-only" },
        { locked + QStringLiteral("/x.db"), "is not writable" },
        { dir.filePath(QStringLiteral("data/new.db")), "opened" } }; // the control
    for (const auto& [path, reason] : rows) {
        SCOPED_TRACE(reason);
        const bool opens = qstrcmp(reason, "opened") == 0;
        const testutil::ProcessResult result = testutil::run(
            testutil::builtExecutable(QStringLiteral("sqliteopenhelper")), { path });
        const QString output = QString::fromUtf8(result.out).trimmed();
        EXPECT_EQ(result.exitCode, opens ? 0 : 1) << result.err.constData();
        EXPECT_TRUE(output.contains(QString::fromLatin1(reason)) && (opens || output.contains(path))
            && !output.contains(QLatin1Char('\n')))
            << output.toStdString();
    }
    EXPECT_EQ(testutil::readFile(notes), notesText);
}

TEST(SqliteOpenTest, CreatesTheFileInWalModeWithTheTableOnceAndReopens)
{
    const testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("sub/../actions.db"));
    {
        QString error = QStringLiteral("stale");
        auto factory = SqliteDatabaseFactory::Open(path, &error);
        ASSERT_TRUE(factory);
        ASSERT_TRUE(factory->CreateActionLogTable());
        EXPECT_TRUE(error.isEmpty());
        EXPECT_EQ(factory->FilePath(), dir.filePath(QStringLiteral("actions.db")));
        for (const auto& [pragma, value] : { std::pair { "journal_mode", "wal" },
                 { "busy_timeout", "10000" }, { "synchronous", "1" } }) // 1: NORMAL
            EXPECT_EQ(
                scalar(*factory, QStringLiteral("PRAGMA ") + QLatin1String(pragma)).toString(),
                QString::fromLatin1(value));
        EXPECT_EQ(insertRow(*factory, QStringLiteral("a")), 1);
        EXPECT_EQ(insertRow(*factory, QStringLiteral("b")), 2);
        ASSERT_TRUE(run(*factory, QStringLiteral("DELETE FROM ActionLog WHERE id = 2")));
    }
    auto again = SqliteDatabaseFactory::Open(path);
    ASSERT_TRUE(again);
    ASSERT_TRUE(again->CreateActionLogTable()); // neither fails nor empties the table
    EXPECT_EQ(rowCount(*again), 1);
    EXPECT_EQ(insertRow(*again, QStringLiteral("c")), 3)
        << "AUTOINCREMENT: deleted ids are not reused";
}

// The statement cache behind the wrappers must not leak state between queries.
TEST_F(SqliteTest, CachedStatementsStartUnboundNestAndSurviveEviction)
{
    ASSERT_EQ(insertRow(*factory, QStringLiteral("full")), 1);
    auto partial = factory->CreateQuery();
    ASSERT_TRUE(partial->prepare(kInsert)); // the same text, from the cache
    ASSERT_TRUE(partial->exec());
    EXPECT_EQ(scalar(*factory,
                  QStringLiteral("SELECT count(*) FROM ActionLog "
                                 "WHERE coalesce(relatedItemName, details) IS NULL"))
                  .toInt(),
        1)
        << "the previous row's values were still bound";
    ASSERT_EQ(insertRow(*factory, QStringLiteral("3")), 3);

    // Two live queries of the same text, nested.
    const QString select = QStringLiteral("SELECT id FROM ActionLog WHERE id >= :v ORDER BY id");
    auto outer = run(*factory, select, 1);
    ASSERT_TRUE(outer);
    EXPECT_FALSE(outer->isValid() || outer->value(0).isValid()) << "no row yet";
    QList<int> pairs;
    while (outer->next()) {
        EXPECT_FALSE(outer->value(1).isValid() || outer->value(-1).isValid()) << "no such column";
        auto inner = run(*factory, select, outer->value(0));
        int rows = 0;
        while (inner && inner->next())
            ++rows;
        pairs << outer->value(0).toInt() * 10 + rows;
    }
    EXPECT_EQ(pairs, (QList<int> { 13, 22, 31 }));
    ASSERT_TRUE(outer->first());
    EXPECT_EQ(outer->value(0).toInt(), 1);

    // Far more distinct texts than the cache keeps, while one query stays prepared.
    ASSERT_TRUE(partial->prepare(kInsert));
    for (int i = 0; i < 200; ++i)
        ASSERT_EQ(scalar(*factory, QStringLiteral("SELECT %1 + :v").arg(i), 0, 1).toInt(), i + 1);
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
    EXPECT_FALSE(query->exec() || query->next() || query->lastInsertId().isValid());
    // A constraint failure surfaces at exec().
    ASSERT_TRUE(query->prepare(QStringLiteral("INSERT INTO ActionLog (id) VALUES (7)")));
    EXPECT_TRUE(query->exec());
    EXPECT_EQ(query->lastInsertId().toInt(), 7);
    EXPECT_FALSE(query->exec());
    EXPECT_TRUE(factory->LastError().contains(QLatin1String("UNIQUE")))
        << factory->LastError().toStdString();
    QString otherThreadError = QStringLiteral("unset");
    std::thread([&] { otherThreadError = factory->LastError(); }).join();
    EXPECT_TRUE(otherThreadError.isEmpty()) << "each thread reads its own connection's error";
}

// A value bound to an INSERT and to a SELECT is stored as Qt's driver would store it, except
// a date-time: ISO 8601 UTC text that reads back as the same instant to the millisecond.
TEST_F(SqliteTest, BoundValuesAreStoredAsQtWouldStoreThem)
{
    const QString nonBmp = QString::fromUtf8("clef \xF0\x9D\x84\x9E \xC3\xA9");
    // The value, its storage class and what reads back (invalid: NULL, read as a null variant).
    const std::tuple<QVariant, const char*, QVariant> rows[]
        = { { qlonglong(1) << 40, "integer", qlonglong(1) << 40 }, { 2.5, "real", 2.5 },
              { nonBmp, "text", nonBmp }, { QStringLiteral(""), "text", QStringLiteral("") },
              { QString(), "null", {} }, { QVariant(), "null", {} },
              { QByteArray("\0\x01\xff", 3), "blob", QByteArray("\0\x01\xff", 3) },
              { QDate(2026, 1, 2), "text", QStringLiteral("2026-01-02") },
              { QDateTime(), "null", {} },
              { QDateTime(QDate(2026, 12, 31), QTime(22, 0, 0, 500), Qt::OffsetFromUTC, -8 * 3600),
                  "text", QStringLiteral("2027-01-01T06:00:00.500Z") },
              { QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 999), Qt::UTC), "text",
                  QStringLiteral("1969-12-31T23:59:59.999Z") } };
    // Columns without a declared type keep the storage class they are given.
    ASSERT_TRUE(run(*factory, QStringLiteral("CREATE TABLE Scratch (a, b)")));
    for (const auto& [value, storageClass, readBack] : rows) {
        SCOPED_TRACE(value.toString().toStdString() + " " + storageClass);
        // A placeholder used twice is bound once.
        ASSERT_TRUE(run(*factory, QStringLiteral("INSERT INTO Scratch VALUES (:v, :v)"), value));
        for (const QString& sql :
            { QStringLiteral(
                  "SELECT typeof(a), a, a IS b FROM Scratch WHERE rowid = last_insert_rowid()"),
                QStringLiteral("SELECT typeof(:v), :v, 1") }) {
            EXPECT_EQ(
                scalar(*factory, sql, 0, value).toString(), QString::fromLatin1(storageClass));
            const QVariant read = scalar(*factory, sql, 1, value);
            EXPECT_TRUE(readBack.isValid() ? read == readBack : read.isNull())
                << read.toString().toStdString();
            EXPECT_EQ(scalar(*factory, sql, 2, value).toInt(), 1);
            if (value.typeId() == QMetaType::QDateTime && readBack.isValid()) {
                EXPECT_EQ(read.toDateTime(), value.toDateTime()) << "not the same instant";
            }
        }
    }
}

TEST_F(SqliteTest, TransactionsCommitAndRollBackPerThread)
{
    int elsewhere = -1;
    auto database = factory->GetDatabase();
    EXPECT_FALSE(database->commit()) << "no transaction open";
    ASSERT_TRUE(database->transaction());
    ASSERT_GT(insertRow(*factory, QStringLiteral("dropped")), 0);
    EXPECT_EQ(rowCount(*factory), 1) << "the own connection sees its uncommitted row";
    std::thread([&] { elsewhere = rowCount(*factory); }).join();
    EXPECT_EQ(elsewhere, 0);
    ASSERT_TRUE(database->rollback());
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
    // Results go through an atomic: ThreadSanitizer cannot see QThread::wait()'s futex.
    std::atomic<qint64> id { 0 };
    const auto work = [&] { id = insertRow(*factory, QStringLiteral("from a thread")); };
    std::thread(work).join();
    EXPECT_EQ(id.load(), 1);
    EXPECT_EQ(QSqlDatabase::connectionNames(), withMain) << "the thread's connection was removed";
    std::unique_ptr<QThread> qthread(QThread::create(work));
    qthread->start();
    ASSERT_TRUE(qthread->wait(60000));
    EXPECT_EQ(id.load(), 2);
    EXPECT_EQ(QSqlDatabase::connectionNames(), withMain);

    // The factory goes away while a thread still runs, and a wrapper handed out keeps working.
    std::atomic<int> stage { 0 }; // 1: the worker inserted, 2: the factory is gone
    std::thread worker([&] {
        insertRow(*factory, QStringLiteral("x"));
        stage = 1;
        while (stage != 2) // then ends with no connection to close
            std::this_thread::yield();
    });
    while (stage != 1)
        std::this_thread::yield();
    auto query = factory->CreateQuery();
    factory.reset();
    EXPECT_EQ(QSqlDatabase::connectionNames().size(), withMain.size())
        << "only the wrapper's is left";
    stage = 2;
    worker.join();
    ASSERT_TRUE(query->prepare(QStringLiteral("SELECT count(*) FROM ActionLog")) && query->exec()
        && query->next());
    EXPECT_EQ(query->value(0).toInt(), 3);
    query.reset();
    EXPECT_EQ(QSqlDatabase::connectionNames().size(), withMain.size() - 1);
}

TEST_F(SqliteTest, ThreadWhoseConnectionCannotOpenGetsFailingWrappers)
{
    ASSERT_TRUE(QDir(dir.path()).removeRecursively()); // the main thread's connection stays open
    std::thread([&] {
        EXPECT_FALSE(factory->CreateQuery()->prepare(QStringLiteral("SELECT 1"))
            || factory->GetDatabase()->transaction());
        EXPECT_TRUE(factory->LastError().contains(QLatin1String("unable to open")))
            << factory->LastError().toStdString();
    }).join();
}

// Writers in transactions through two factories of one file, readers meanwhile:
// nothing lost, no id twice, readers see whole transactions only and never fewer rows.
TEST_F(SqliteTest, ConcurrentWritersAndReadersLoseNothing)
{
    constexpr int kWriters = 4, kTransactions = 25, kRows = 20,
                  kTotal = kWriters * kTransactions * kRows;
    auto second = SqliteDatabaseFactory::Open(factory->FilePath());
    ASSERT_TRUE(second);
    std::vector<std::vector<qint64>> written(kWriters);
    std::atomic<int> failures { 0 }, writersLeft { kWriters }; // the reasons are logged
    std::vector<std::thread> threads;
    for (int w = 0; w < kWriters; ++w)
        threads.emplace_back([&, w] {
            SqliteDatabaseFactory& mine = w % 2 ? *second : *factory;
            for (int t = 0; t < kTransactions; ++t) {
                failures += !mine.GetDatabase()->transaction();
                for (int r = 0; r < kRows; ++r)
                    written[w].push_back(insertRow(mine, QStringLiteral("w")));
                failures += !mine.GetDatabase()->commit();
            }
            --writersLeft;
        });
    for (int r = 0; r < 2; ++r)
        threads.emplace_back([&] {
            for (int last = 0, rows = 0, more = 1; more; last = rows) { // a last pass after them
                more = writersLeft > 0;
                rows = rowCount(*factory);
                failures += rows % kRows != 0 || rows < last;
            }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(failures.load(), 0);
    std::set<qint64> ids;
    for (const auto& mine : written)
        ids.insert(mine.begin(), mine.end());
    EXPECT_EQ(ids.size(), std::size_t(kTotal)) << "an id handed out twice";
    EXPECT_EQ(rowCount(*factory), kTotal);
    EXPECT_EQ(scalar(*factory, QStringLiteral("SELECT max(id) FROM ActionLog")).toInt(), kTotal);
}

// Damage that SQLite only finds when it reads the pages: Open() reads the whole
// file before anything may write to it, refuses it with one line naming the file
// and the cause, and leaves every byte as it was.
TEST(SqliteOpenTest, DamagedFilesAreRefusedAndLeftByteForByteUnchanged)
{
    const struct
    {
        const char* name;
        int damagedFrom; // 0: not a database at all
        const char* cause;
    } rows[] = { { "table pages", 3, "damaged" }, { "schema page", 1, "malformed" },
        { "random bytes", 0, "not a database" } };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const testutil::TempDir dir;
        const QString path = dir.filePath(QStringLiteral("history.db"));
        if (row.damagedFrom == 0) {
            QByteArray noise(16384, '\0');
            for (int i = 0; i < noise.size(); ++i)
                noise[i] = char((i * 7919 + 13) % 251);
            dir.write(QStringLiteral("history.db"), noise);
        } else {
            writeForeignDatabase(path, 300);
            damagePages(path, row.damagedFrom);
        }
        const QByteArray before = testutil::readFile(path);
        QString error;
        auto factory = SqliteDatabaseFactory::Open(path, &error);
        EXPECT_FALSE(factory) << "opened a damaged file";
        EXPECT_TRUE(error.contains(path) && error.contains(QLatin1String(row.cause))
            && !error.contains(QLatin1Char('\n')))
            << error.toStdString();
        factory.reset();
        EXPECT_TRUE(testutil::readFile(path) == before) << "the file was changed";
    }
}

// Failures met after Open(): the statement fails and LastError() and
// LastErrorKind() of the thread that ran it say why.
TEST(SqliteOpenTest, LaterFailuresReachTheCallerWithTheirKind)
{
    const testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("later.db"));
    writeForeignDatabase(path, 300);
    auto factory = SqliteDatabaseFactory::Open(path);
    ASSERT_TRUE(factory);
    EXPECT_EQ(factory->LastErrorKind(), SqliteDatabaseFactory::ErrorKind::None);

    // Damaged under the open factory: a thread with a fresh connection reads it.
    damagePages(path, 3);
    std::thread([&] {
        EXPECT_FALSE(
            run(*factory, QStringLiteral("SELECT count(*), max(relatedItemName) FROM ActionLog"))
            && rowCount(*factory) == 300);
        EXPECT_EQ(factory->LastErrorKind(), SqliteDatabaseFactory::ErrorKind::Corrupt)
            << factory->LastError().toStdString();
        EXPECT_TRUE(factory->LastError().contains(QLatin1String("malformed")))
            << factory->LastError().toStdString();
    }).join();

    // A full file: the insert fails and says so; the kinds are the thread's own.
    const testutil::TempDir other;
    auto fresh = SqliteDatabaseFactory::Open(other.filePath(QStringLiteral("full.db")));
    ASSERT_TRUE(fresh && fresh->CreateActionLogTable());
    const int pages = scalar(*fresh, QStringLiteral("PRAGMA page_count")).toInt();
    ASSERT_TRUE(run(*fresh, QStringLiteral("PRAGMA max_page_count=%1").arg(pages)));
    EXPECT_EQ(insertRow(*fresh, QString(8000, QLatin1Char('x'))), -1);
    EXPECT_EQ(fresh->LastErrorKind(), SqliteDatabaseFactory::ErrorKind::Full)
        << fresh->LastError().toStdString();
    std::thread([&] {
        EXPECT_EQ(fresh->LastErrorKind(), SqliteDatabaseFactory::ErrorKind::None);
    }).join();
}

// Two users of one thread's connection (the mirror journal and the action
// log) each run a transaction; the inner one joins the outer one.
TEST_F(SqliteTest, ATransactionInsideAnotherCommitsWithIt)
{
    const auto names = [&] {
        QStringList out;
        std::thread([&] {
            auto q = run(
                *factory, QStringLiteral("SELECT relatedItemName FROM ActionLog ORDER BY id"));
            while (q && q->next())
                out.append(q->value(0).toString());
        }).join();
        return out;
    };
    auto database = factory->GetDatabase();
    for (const bool outerCommits : { true, false }) {
        SCOPED_TRACE(outerCommits ? "outer commits" : "outer rolls back");
        ASSERT_TRUE(run(*factory, QStringLiteral("DELETE FROM ActionLog")));
        ASSERT_TRUE(database->transaction());
        insertRow(*factory, QStringLiteral("outer"));
        ASSERT_TRUE(database->transaction()) << factory->LastError().toStdString();
        insertRow(*factory, QStringLiteral("undone"));
        EXPECT_TRUE(database->rollback());
        ASSERT_TRUE(database->transaction());
        insertRow(*factory, QStringLiteral("inner"));
        EXPECT_TRUE(database->commit());
        EXPECT_EQ(names(), QStringList()) << "nothing is durable before the outer commit";
        EXPECT_EQ(outerCommits ? database->commit() : database->rollback(), true);
        EXPECT_EQ(names(),
            outerCommits ? QStringList({ QStringLiteral("outer"), QStringLiteral("inner") })
                         : QStringList());
        EXPECT_FALSE(database->commit()) << "every level is closed";
    }
}

// A deferred constraint refuses the COMMIT and SQLite keeps the transaction
// open: the handle rolls it back, so the thread's next transaction is its own.
TEST_F(SqliteTest, AFailedCommitIsRolledBackSoTheNextTransactionWorks)
{
    for (const char* statement :
        { "PRAGMA foreign_keys=ON", "CREATE TABLE Parent (id INTEGER PRIMARY KEY)",
            "CREATE TABLE Child (parent REFERENCES Parent(id) DEFERRABLE INITIALLY DEFERRED)" })
        ASSERT_TRUE(run(*factory, QString::fromLatin1(statement))) << statement;
    auto database = factory->GetDatabase();
    ASSERT_TRUE(database->transaction());
    ASSERT_TRUE(run(*factory, QStringLiteral("INSERT INTO Child VALUES (1)")));
    ASSERT_GT(insertRow(*factory, QStringLiteral("refused")), 0);
    EXPECT_FALSE(database->commit());
    EXPECT_TRUE(factory->LastError().contains(QLatin1String("FOREIGN KEY")))
        << factory->LastError().toStdString();
    ASSERT_TRUE(database->transaction()) << factory->LastError().toStdString();
    ASSERT_GT(insertRow(*factory, QStringLiteral("kept")), 0);
    ASSERT_TRUE(database->commit()) << factory->LastError().toStdString();
    int elsewhere = -1;
    std::thread([&] { elsewhere = rowCount(*factory); }).join();
    EXPECT_EQ(elsewhere, 1);
}

// Rows read in place: every storage class, the thread's own uncommitted rows, a
// text cached by a query before, and failures that leave the connection usable.
TEST_F(SqliteTest, ReadRowsGivesValuesInPlaceAndFailsCleanly)
{
    const QString select = QStringLiteral(
        "SELECT actionType, relatedItemName, details FROM ActionLog WHERE id > :v ORDER BY id");
    // The same text through a query first: the cache must not hand its Qt statement over.
    ASSERT_TRUE(run(*factory, select, 0));
    auto database = factory->GetDatabase();
    ASSERT_TRUE(database->transaction());
    ASSERT_TRUE(run(*factory,
        QStringLiteral("INSERT INTO ActionLog (actionType, relatedItemName, details) VALUES"
                       " (-5000000000, 'a\u00e9', x'00ff00'), (NULL, NULL, '')")));
    std::vector<std::tuple<qint64, std::string, std::string>> rows;
    const auto collect = [&](const sync::core::SqliteRow& r) {
        rows.emplace_back(r.Integer(0), std::string(r.Bytes(1)), std::string(r.Bytes(2)));
    };
    ASSERT_TRUE(factory->ReadRows(select, { 0 }, collect)) << factory->LastError().toStdString();
    ASSERT_EQ(rows.size(), 2u) << "the thread's own uncommitted rows are read";
    EXPECT_EQ(rows[0],
        std::make_tuple(qint64(-5000000000), std::string("a\xc3\xa9"), std::string("\0\xff\0", 3)));
    EXPECT_EQ(rows[1], std::make_tuple(qint64(0), std::string(), std::string()));
    rows.clear();
    ASSERT_TRUE(factory->ReadRows(select, { 1 }, collect));
    EXPECT_EQ(rows.size(), 1u) << "the cached statement is bound anew";
    ASSERT_TRUE(database->commit());

    EXPECT_FALSE(factory->ReadRows(QStringLiteral("SELECT x FROM Nowhere"), {}, collect));
    EXPECT_TRUE(factory->LastError().contains(QLatin1String("Nowhere")))
        << factory->LastError().toStdString();
    int seen = 0;
    EXPECT_THROW(factory->ReadRows(select, { 0 },
                     [&](const sync::core::SqliteRow&) {
                         if (++seen == 1)
                             throw std::runtime_error("stop");
                     }),
        std::runtime_error);
    // A statement left mid-way would keep its read snapshot: the next reader starts over.
    seen = 0;
    ASSERT_TRUE(factory->ReadRows(select, { 0 }, [&](const sync::core::SqliteRow&) { ++seen; }));
    EXPECT_EQ(seen, 2);
}
