// ActionLog on a real SQLite file: queueing, the batch timer, transactions,
// queries, trimming, details documents and HTTP error records.

#include "ActionLogTestSupport.h"
#include "TestUtil.h"

#include "Sync/SyncCore/SyncException.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

using namespace sync::core;
using actionDetails::DetailsType;
using actionlogtest::Inspector;
using actionlogtest::processEventsUntil;
using actionlogtest::RecordingActionLog;
using sync::interf::IActionLog;

namespace {

/// A details document of @p type around the raw argument elements @p args.
QString doc(int type, const QString& args)
{
    return QStringLiteral("<SyncActionDetails detailType=\"%1\"><DetailType>%1</DetailType>")
               .arg(type)
        + args + QStringLiteral("</SyncActionDetails>");
}

/// Expected details document, spelled out independently of the code under test.
QString document(int type, const QStringList& args = {})
{
    QString elements;
    for (int i = 0; i < args.size(); ++i)
        elements
            += QStringLiteral("<arg position=\"%1\">").arg(i) + args[i] + QStringLiteral("</arg>");
    return doc(type, elements);
}

/// The batch timers of @p log, wherever it keeps them (itself or an object of its own).
QList<QAbstractEventDispatcher::TimerInfo> timersOf(QObject* log)
{
    QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance(log->thread());
    QList<QAbstractEventDispatcher::TimerInfo> timers = dispatcher->registeredTimers(log);
    for (QObject* child : log->findChildren<QObject*>())
        timers += dispatcher->registeredTimers(child);
    return timers;
}

/// Runs @p statement on the calling thread's connection of @p factory.
bool execOn(SqliteDatabaseFactory& factory, const QString& statement)
{
    auto query = factory.CreateQuery();
    return query->prepare(statement) && query->exec();
}

/// Runs @p work on a thread of its own. False when it has not finished within
/// @p ms: it is then left running (deadlocked), with everything it captured.
bool finishesWithin(int ms, std::function<void()> work)
{
    std::packaged_task<void()> task(std::move(work));
    std::future<void> done = task.get_future();
    std::thread(std::move(task)).detach();
    return done.wait_for(std::chrono::milliseconds(ms)) == std::future_status::ready;
}

/// Collects the Qt warnings of its lifetime (the library must print none).
class WarningCatcher
{
public:
    WarningCatcher()
    {
        _caught.clear();
        _previous = qInstallMessageHandler(&WarningCatcher::handle);
    }
    ~WarningCatcher() { qInstallMessageHandler(_previous); }
    QStringList warnings() const
    {
        std::lock_guard<std::mutex> lock(_mutex);
        return _caught;
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext&, const QString& message)
    {
        std::lock_guard<std::mutex> lock(_mutex);
        if (type != QtDebugMsg && type != QtInfoMsg)
            _caught.append(message);
    }
    static inline std::mutex _mutex;
    static inline QStringList _caught;
    QtMessageHandler _previous = nullptr;
};

QString addedInfo(const QSignalSpy& spy, int i)
{
    return spy.at(i).at(0).value<SyncAction>().relatedItemInfo;
}

class ActionLogTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(factory); }

    testutil::TempDir dir;
    QString path = dir.filePath(QStringLiteral("actions.sqlite"));
    std::shared_ptr<SqliteDatabaseFactory> factory = actionlogtest::openDatabase(path);
};

} // namespace

// Each overload reaches the full form through the virtual table; the first string is the info.
TEST_F(ActionLogTest, OverloadsForwardToTheFullFormInfoFirst)
{
    const QString d = document(4);
    const QString a = QStringLiteral("a"), b = QStringLiteral("b");
    const struct
    {
        std::function<int(IActionLog&)> call;
        QStringList expected; // info, name, details
    } rows[] = {
        { [](IActionLog& l) { return l.AddAction(action::UploadFailed); }, { {}, {}, {} } },
        { [&](IActionLog& l) { return l.AddAction(action::UploadFailed, SyncDetails(d)); },
            { {}, {}, d } },
        { [&](IActionLog& l) { return l.AddAction(action::UploadFailed, a); }, { a, {}, {} } },
        { [&](IActionLog& l) { return l.AddAction(action::UploadFailed, a, b); }, { a, b, {} } },
        { [&](IActionLog& l) { return l.AddAction(action::UploadFailed, a, SyncDetails(d)); },
            { a, {}, d } },
        { [&](IActionLog& l) { return l.AddAction(action::UploadFailed, a, b, SyncDetails(d)); },
            { a, b, d } },
    };
    RecordingActionLog log(factory);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected.join(QLatin1Char('|')).toStdString());
        log.calls.clear();
        EXPECT_EQ(row.call(log), 0);
        ASSERT_EQ(log.calls.size(), 1);
        EXPECT_EQ(
            log.calls[0], QStringList { QString::number(action::UploadFailed) } + row.expected);
    }
}

// Timestamps and order are checked with a writer thread in the concurrent test.
TEST_F(ActionLogTest, FlushWritesOneBatchAnnouncingEachRowWithItsId)
{
    RecordingActionLog log(factory);
    QSignalSpy added(&log, &IActionLog::ActionAdded);
    QSignalSpy committed(&log, &ActionLog::Committed);
    log.AddAction(action::FileUploaded, QStringLiteral("one"));
    log.AddAction(action::FileUploaded, QString::fromUtf8("drei – ü"));
    EXPECT_EQ(added.count(), 0) << "nothing is written before a flush";
    EXPECT_TRUE(Inspector(path).ids().isEmpty());
    log.Flush();
    log.Flush(); // nothing left: no transaction, no signal
    EXPECT_EQ(log.transactions, 1);
    EXPECT_EQ(committed.count(), 1);
    EXPECT_EQ(Inspector(path).infos(), QString::fromUtf8("one,drei – ü"));
    ASSERT_EQ(added.count(), 2);
    for (int i = 0; i < 2; ++i) {
        const SyncAction announced = added.at(i).at(0).value<SyncAction>();
        EXPECT_EQ(log.GetAction(announced.id).relatedItemInfo, announced.relatedItemInfo);
        EXPECT_EQ(log.GetAction(announced.id).timestamp, announced.timestamp);
    }
}

TEST_F(ActionLogTest, GetAllActionsFlushesButGetActionDoesNot)
{
    ActionLog log(factory);
    log.AddAction(action::FileUploaded, QStringLiteral("queued"));
    EXPECT_EQ(log.GetAction(1).actionType, -1); // id 1 once written
    ASSERT_EQ(log.GetAllActions().size(), 1);
    EXPECT_EQ(log.GetAction(1).relatedItemInfo, QStringLiteral("queued"));
}

TEST_F(ActionLogTest, TransactionControlRemoveAndClear)
{
    ActionLog log(factory);
    QSignalSpy committed(&log, &ActionLog::Committed);
    EXPECT_FALSE(log.commit()) << "no transaction to end";
    ASSERT_TRUE(log.transaction());
    log.__TEST_ONLY_AddActionCommitImmediate(action::FileUploaded, {}, {}, {});
    EXPECT_TRUE(log.rollback());
    EXPECT_FALSE(log.rollback()) << "the handle is released after use";
    ASSERT_TRUE(log.transaction());
    const int a = log.__TEST_ONLY_AddActionCommitImmediate(action::FileUploaded, {}, {}, {});
    const int b = log.__TEST_ONLY_AddActionCommitImmediate(action::FileUploaded, {}, {}, {});
    EXPECT_TRUE(log.commit());
    EXPECT_EQ(committed.count(), 1);
    EXPECT_EQ(Inspector(path).ids(), QList<qint64>({ a, b }));

    EXPECT_TRUE(log.RemoveAction(a));
    EXPECT_TRUE(log.RemoveAction(a)) << "removing a missing row still succeeds";
    EXPECT_EQ(Inspector(path).ids(), QList<qint64>({ b }));
    log.AddAction(action::FileUploaded); // queued: cleared too, since clearing flushes first
    EXPECT_TRUE(log.__TEST_ONLY_ClearAllActionsFromLog());
    log.Flush();
    EXPECT_TRUE(Inspector(path).ids().isEmpty());
}

// Without the ActionLog table every statement fails; each operation says so as a plain result.
TEST(ActionLogFailureTest, StatementFailuresGiveEmptyResults)
{
    testutil::TempDir dir;
    auto factory = SqliteDatabaseFactory::Open(dir.filePath(QStringLiteral("notable.sqlite")));
    ASSERT_TRUE(factory);
    ActionLog log(factory);
    QSignalSpy added(&log, &IActionLog::ActionAdded);
    QSignalSpy committed(&log, &ActionLog::Committed);
    EXPECT_EQ(log.__TEST_ONLY_AddActionCommitImmediate(action::FileUploaded, {}, {}, {}), -1);
    EXPECT_TRUE(log.GetAllActions().isEmpty());
    EXPECT_EQ(log.GetAction(1).actionType, -1);
    EXPECT_FALSE(log.RemoveAction(1));
    EXPECT_FALSE(log.__TEST_ONLY_ClearAllActionsFromLog());
    EXPECT_FALSE(log.ManageLogSize());
    // A batch whose inserts all fail is still committed, and announced as such.
    log.AddAction(action::FileUploaded);
    log.Flush();
    EXPECT_EQ(added.count(), 0);
    EXPECT_EQ(committed.count(), 1);
}

TEST_F(ActionLogTest, OneTimerPerBatchStartedAndStoppedOnTheLogsThread)
{
    ActionLog log(factory);
    QSignalSpy startRequests(&log, &IActionLog::RequestStartTimer);
    QSignalSpy killRequests(&log, &IActionLog::RequestKillTimer);
    log.AddAction(action::FileUploaded);
    log.AddAction(action::FileUploaded);
    // The queued slot has not run yet, so each addition asked.
    ASSERT_EQ(startRequests.count(), 2);
    EXPECT_EQ(startRequests.at(1).at(0).toInt(), 2000);
    EXPECT_TRUE(timersOf(&log).isEmpty());
    QCoreApplication::processEvents();
    ASSERT_EQ(timersOf(&log).size(), 1);
    EXPECT_EQ(timersOf(&log).at(0).interval, 2000);
    const int timerId = timersOf(&log).at(0).timerId;
    log.AddAction(action::FileUploaded);
    EXPECT_EQ(startRequests.count(), 2) << "a running timer is not asked for again";
    // The commit asks for that timer to stop; the stop happens in the event loop.
    log.Flush();
    ASSERT_EQ(killRequests.count(), 1);
    EXPECT_EQ(killRequests.at(0).at(0).toInt(), timerId);
    EXPECT_EQ(timersOf(&log).size(), 1);
    QCoreApplication::processEvents();
    EXPECT_TRUE(timersOf(&log).isEmpty());

    // The slots directly: one timer at a time, and any non-zero id stops the running one.
    log.StartTimerSlot(60000);
    log.StartTimerSlot(10);
    ASSERT_EQ(timersOf(&log).size(), 1);
    EXPECT_EQ(timersOf(&log).at(0).interval, 60000);
    log.KillTimerSlot(0);
    EXPECT_EQ(timersOf(&log).size(), 1);
    log.KillTimerSlot(timersOf(&log).at(0).timerId + 5); // a stale id
    EXPECT_TRUE(timersOf(&log).isEmpty());
    log.KillTimerSlot(timerId); // nothing runs: harmless
    log.AddAction(action::FileUploaded);
    QCoreApplication::processEvents();
    EXPECT_EQ(timersOf(&log).size(), 1) << "the next addition starts a fresh timer";
}

// A trigger refuses one row only; the transaction around it stays open.
TEST_F(ActionLogTest, AFailedInsertDropsOnlyItsOwnRow)
{
    ASSERT_TRUE(execOn(*factory,
        QStringLiteral("CREATE TRIGGER RefuseOne BEFORE INSERT ON ActionLog WHEN "
                       "NEW.relatedItemInfo = 'lost' BEGIN SELECT RAISE(ABORT, 'refused'); END")));
    {
        RecordingActionLog log(factory);
        QSignalSpy added(&log, &IActionLog::ActionAdded);
        QSignalSpy committed(&log, &ActionLog::Committed);
        for (const char* name : { "first", "lost", "third" })
            log.AddAction(action::FileUploaded, QString::fromLatin1(name));
        log.Flush();
        log.Flush(); // not retried
        EXPECT_EQ(log.transactions, 1);
        EXPECT_EQ(committed.count(), 1);
        ASSERT_EQ(added.count(), 2);
        EXPECT_EQ(addedInfo(added, 0), QStringLiteral("first"));
        EXPECT_EQ(addedInfo(added, 1), QStringLiteral("third"));
    }
    EXPECT_EQ(Inspector(path).infos(), QStringLiteral("first,third")); // committed for others
}

/// Ids "1-3,7-7" as a list; fills the table with them when @p db is given.
QList<qint64> idRanges(const char* ranges, const Inspector* db = nullptr)
{
    QList<qint64> ids;
    for (const QString& range :
        QString::fromLatin1(ranges).split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const int first = range.section(QLatin1Char('-'), 0, 0).toInt();
        const int last = range.section(QLatin1Char('-'), 1).toInt();
        for (int id = first; id <= last; ++id)
            ids.append(id);
        EXPECT_TRUE(!db
            || db->exec(QStringLiteral(
                "INSERT INTO ActionLog (id, actionType) WITH RECURSIVE "
                "n(x) AS (SELECT %1 UNION ALL SELECT x + 1 FROM n WHERE x < %2) SELECT x, 1 FROM n")
                            .arg(first)
                            .arg(last)));
    }
    return ids;
}

// Trimming keeps ids above the highest minus MaxRows: id arithmetic, not a row count.
TEST(ActionLogTrimTest, ManageLogSizeKeepsIdsAboveTheHighestMinusMaxRows)
{
    const struct
    {
        const char* stored;
        int queued; // still in the queue: the trim's flush writes them first
        const char* kept;
    } rows[] = { { "", 0, "" }, { "1-5000", 0, "1-5000" }, { "1-5001", 0, "2-5001" },
        { "1-5000", 2, "3-5002" },
        // Gaps leave fewer than MaxRows rows.
        { "1-100,3990-4010,5990-6000,9000-9010", 0, "5990-6000,9000-9010" },
        { "20000-20002", 0, "20000-20002" } };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.stored);
        testutil::TempDir dir;
        auto factory = actionlogtest::openDatabase(dir.filePath(QStringLiteral("t.sqlite")));
        Inspector db(dir.filePath(QStringLiteral("t.sqlite")));
        idRanges(row.stored, &db);
        ActionLog log(factory);
        for (int i = 0; i < row.queued; ++i)
            log.AddAction(action::FileUploaded);
        EXPECT_TRUE(log.ManageLogSize());
        EXPECT_EQ(db.ids(), idRanges(row.kept));
        EXPECT_TRUE(log.ManageLogSize());
        EXPECT_EQ(db.ids(), idRanges(row.kept)) << "trimming again changes nothing";
    }
}

TEST(ActionDetailsTest, ResolveFillsTheTemplateOfTheDocumentsType)
{
    const QMap<DetailsType, QString> templates = { { DetailsType(0), QStringLiteral("generic") },
        { DetailsType(3), QStringLiteral("[%1][%2]") },
        { DetailsType(4), QStringLiteral("only %1") },
        { DetailsType(7), QStringLiteral("%2 then %1") },
        { DetailsType(-2), QStringLiteral("neg %1") } };
    ActionLog log(nullptr);
    const struct
    {
        QString xml;
        const char* expected;
    } rows[] = {
        { log.BuildDetailsXml(DetailsType(3), { QStringLiteral("a.txt"), QStringLiteral("403") }),
            "[a.txt][403]" },
        { doc(7, R"(<arg position="0">x</arg><arg position="1">y</arg>)"), "y then x" },
        { doc(-2, R"(<arg position="0">x</arg>)"), "neg x" },
        { doc(3, R"(<arg position="1">b</arg><arg position="0">a</arg>)"), "[a][b]" },
        // N = 2: position 2 is never reached, so one argument is substituted.
        { doc(3, R"(<arg position="0">a</arg><arg position="2">c</arg>)"), "[a][%2]" },
        { doc(3, R"(<arg position="2">c</arg><arg position="0">a</arg><arg position="0">d</arg>)"),
            "[a][c]" },
        { doc(3, R"(<arg position="0">one</arg><arg position="0">two</arg>)"), "[one][%2]" },
        { doc(3, R"(<arg>p</arg><arg position="x">q</arg><arg position="1">r</arg>)"), "[p][r]" },
        { doc(3, R"(<arg position="-1">n</arg><arg position="0">z</arg>)"), "[z][%2]" },
        { doc(3, R"(<arg position="0"/><arg position="1">b</arg>)"), "[][b]" },
        { doc(4, R"(<wrap><arg position="0">deep</arg></wrap>)"), "only deep" },
        { doc(99, R"(<arg position="0">x</arg>)"), "" },
        { QStringLiteral(R"(<SyncActionDetails><arg position="0">x</arg></SyncActionDetails>)"),
            "generic" },
        // Arguments go in unescaped, which spoils the document: type 0, no arguments.
        { log.BuildDetailsXml(DetailsType(3), { QStringLiteral("a<b") }), "generic" },
        // Chained arg() calls: a marker inside an argument is filled by the next one.
        { doc(4, R"(<arg position="0">%2</arg><arg position="1">y</arg>)"), "only y" },
        { doc(4, R"(<arg position="0">x</arg><arg position="1">y</arg>)"), "only x" },
    };
    for (const auto& row : rows)
        EXPECT_EQ(
            log.ResolveSyncActionDetails(row.xml, templates), QString::fromLatin1(row.expected))
            << qPrintable(row.xml);
    EXPECT_TRUE(log.ResolveSyncActionDetails(QString(), templates).isNull());
    EXPECT_TRUE(log.ResolveSyncActionDetails(doc(3, ""), {}).isNull());
    EXPECT_TRUE(log.ResolveSyncActionDetails(doc(3, "<arg position=\"0\">a&b</arg>"),
                       { { DetailsType(3), QStringLiteral("[%1]") } })
                    .isEmpty())
        << "unparseable, no type 0";
}

TEST(ActionDetailsTest, ZeroToNineAndTwelveArgumentsAreAccepted)
{
    ActionLog log(nullptr);
    for (int count = 0; count < 15; ++count) {
        QVector<QString> args;
        QString templ, expected;
        for (int i = 0; i < count; ++i) {
            args.append(QStringLiteral("v%1").arg(i));
            templ += QStringLiteral("<%") + QString::number(i + 1) + QStringLiteral(">");
            expected += QStringLiteral("<v%1>").arg(i);
        }
        const QString xml = log.BuildDetailsXml(DetailsType(8), args);
        const QMap<DetailsType, QString> templates
            = { { DetailsType(8), templ + QStringLiteral("!") } };
        if (count <= 9 || count == 12) {
            EXPECT_EQ(log.ResolveSyncActionDetails(xml, templates), expected + QStringLiteral("!"))
                << count;
            continue;
        }
        try {
            log.ResolveSyncActionDetails(xml, templates);
            ADD_FAILURE() << count << " arguments were accepted";
        } catch (const SyncException& e) {
            EXPECT_EQ(e.message(),
                QStringLiteral("We do not currently support sync action detail "
                               "arguments of greater than 9."));
        }
    }
}

TEST(ActionLogHttpErrorTest, StatusCodeChoosesTheDetails)
{
    const QStringList path = { QStringLiteral("folder/a.txt") };
    const struct
    {
        int code;
        int detailsType;
        QStringList args;
    } rows[] = { { 400, 15, { QStringLiteral("400") } }, { 401, 2, {} }, { 403, 4, path },
        { 404, 3, path }, { 405, 21, path }, { 409, 22, path }, { 423, 5, path },
        { 500, 15, { QStringLiteral("500") } }, { 503, 15, { QStringLiteral("503") } },
        { 507, 18, path },
        // everything else: the catch-all without arguments
        { -1, 0, {} }, { 0, 0, {} }, { 200, 0, {} }, { 399, 0, {} }, { 402, 0, {} }, { 406, 0, {} },
        { 408, 0, {} }, { 410, 0, {} }, { 422, 0, {} }, { 424, 0, {} }, { 499, 0, {} },
        { 501, 0, {} }, { 502, 0, {} }, { 504, 0, {} }, { 506, 0, {} }, { 508, 0, {} },
        { 599, 0, {} } };
    RecordingActionLog log(nullptr);
    for (const auto& row : rows) {
        log.calls.clear();
        EXPECT_EQ(log.AddHttpError(action::DownloadFailed, row.code, QStringLiteral("info"),
                      QStringLiteral("name"), path[0]),
            0);
        ASSERT_EQ(log.calls.size(), 1);
        EXPECT_EQ(log.calls[0],
            QStringList({ QString::number(action::DownloadFailed), QStringLiteral("info"),
                QStringLiteral("name"), document(row.detailsType, row.args) }))
            << row.code;
    }
}

// --- whatever fails, nothing is lost and nothing is stuck ------------------------------

// A deferred constraint makes SQLite refuse the COMMIT itself and leave the
// transaction open; a real database fault of the same shape as a lock held at
// commit time.
TEST_F(ActionLogTest, AFailedCommitLeavesTheConnectionReadyForTheNextBatch)
{
    for (const char* statement :
        { "PRAGMA foreign_keys=ON", "CREATE TABLE Parent (id INTEGER PRIMARY KEY)",
            "CREATE TABLE Child (parent REFERENCES Parent(id) DEFERRABLE INITIALLY DEFERRED)",
            "CREATE TRIGGER Refuse AFTER INSERT ON ActionLog BEGIN INSERT INTO Child VALUES (1); "
            "END" })
        ASSERT_TRUE(execOn(*factory, QString::fromLatin1(statement))) << statement;
    ActionLog log(factory);
    QSignalSpy added(&log, &IActionLog::ActionAdded);
    log.AddAction(action::FileUploaded, QStringLiteral("refused"));
    log.Flush();
    EXPECT_TRUE(factory->LastError().contains(QLatin1String("FOREIGN KEY")))
        << factory->LastError().toStdString();
    ASSERT_TRUE(execOn(*factory, QStringLiteral("DROP TRIGGER Refuse"))); // the cause is gone
    log.AddAction(action::FileUploaded, QStringLiteral("next"));
    log.Flush();
    EXPECT_EQ(Inspector(path).infos(), QStringLiteral("next"));
    ASSERT_EQ(added.count(), 1) << "a row that was never committed was announced";
    EXPECT_EQ(addedInfo(added, 0), QStringLiteral("next"));
}

// SQLite rolls the whole transaction back when the file cannot grow; the rest
// of the batch must not then be written row by row outside it, and what is
// announced must be exactly what is stored.
TEST_F(ActionLogTest, ABatchThatFillsTheFileIsAnnouncedOnlyAsFarAsItIsStored)
{
    ActionLog log(factory);
    QSignalSpy added(&log, &IActionLog::ActionAdded);
    auto pages = factory->CreateQuery();
    ASSERT_TRUE(
        pages->prepare(QStringLiteral("PRAGMA page_count")) && pages->exec() && pages->next());
    const int pageCount = pages->value(0).toInt();
    pages.reset();
    // Room for a few rows, not for the batch.
    ASSERT_TRUE(execOn(*factory, QStringLiteral("PRAGMA max_page_count=%1").arg(pageCount + 3)));
    for (int i = 0; i < 300; ++i)
        log.AddAction(action::FileUploaded, QString(400, QLatin1Char('x')) + QString::number(i));
    log.Flush();
    EXPECT_EQ(factory->LastErrorKind(), SqliteDatabaseFactory::ErrorKind::Full)
        << factory->LastError().toStdString();
    EXPECT_EQ(added.count(), Inspector(path).ids().size()) << "announced rows differ from stored";

    ASSERT_TRUE(execOn(*factory, QStringLiteral("PRAGMA max_page_count=1000000")));
    log.AddAction(action::FileUploaded, QStringLiteral("after"));
    log.Flush();
    EXPECT_TRUE(Inspector(path).infos().endsWith(QLatin1String("after")));
    EXPECT_EQ(added.count(), Inspector(path).ids().size());
}

// An action that arrives while its predecessor's batch is written (here from a
// slot of that very write) is written by a timer of its own: nobody adds or
// flushes again.
TEST_F(ActionLogTest, AnActionAddedDuringAWriteIsWrittenWithoutAFurtherAddition)
{
    ActionLog log(factory);
    bool addedLate = false;
    QObject::connect(&log, &IActionLog::ActionAdded, &log, [&] {
        if (!std::exchange(addedLate, true))
            log.AddAction(action::FileUploaded, QStringLiteral("late"));
    });
    log.AddAction(action::FileUploaded, QStringLiteral("first"));
    const auto bothWritten = [&] { return Inspector(path).infos() == QLatin1String("first,late"); };
    // One batch period for each, plus the writes; generous for a loaded machine.
    EXPECT_TRUE(processEventsUntil(bothWritten, 4 * ActionLog::FlushIntervalMsec + 4000))
        << Inspector(path).infos().toStdString();
}

// Another connection holds the write lock for the whole flush: the flush gives
// up after one busy timeout instead of one per row, and the batch is written
// by the timer once the lock is gone.
TEST(ActionLogBusyTest, ALockedDatabaseCostsOneBusyTimeoutAndLosesNothing)
{
    constexpr int busyMs = 300, rows = 20;
    testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("busy.sqlite"));
    SqliteDatabaseFactory::Options options;
    options.busyTimeoutMsec = busyMs;
    auto factory = SqliteDatabaseFactory::Open(path, options);
    ASSERT_TRUE(factory && factory->CreateActionLogTable());
    Inspector other(path); // as another process would hold it
    ASSERT_TRUE(other.exec(QStringLiteral("BEGIN IMMEDIATE")));

    ActionLog log(factory);
    QSignalSpy added(&log, &IActionLog::ActionAdded);
    for (int i = 0; i < rows; ++i)
        log.AddAction(action::FileUploaded, QString::number(i));
    QElapsedTimer flushing;
    flushing.start();
    log.Flush();
    // Generous against a loaded machine; a wait per row would take rows * busyMs.
    EXPECT_LT(flushing.elapsed(), 4 * busyMs) << "the flush waited for the lock more than once";
    EXPECT_EQ(factory->LastErrorKind(), SqliteDatabaseFactory::ErrorKind::Busy)
        << factory->LastError().toStdString();
    EXPECT_EQ(added.count(), 0);

    ASSERT_TRUE(other.exec(QStringLiteral("ROLLBACK")));
    EXPECT_TRUE(processEventsUntil(
        [&] { return Inspector(path).ids().size() == rows; }, 3 * ActionLog::FlushIntervalMsec))
        << Inspector(path).ids().size() << " of " << rows << " rows written";
    EXPECT_EQ(added.count(), rows);
}

// Slots connected directly may wait for other threads that add actions or
// read the log: the signals are emitted with no lock of the log held.
TEST(ActionLogSignalsTest, DirectSlotsMayWaitForThreadsThatAddOrRead)
{
    auto dir = std::make_shared<testutil::TempDir>();
    const QString path = dir->filePath(QStringLiteral("signals.sqlite"));
    auto factory = actionlogtest::openDatabase(path);
    ASSERT_TRUE(factory);
    // Shared with the flushing thread, which keeps it alive if it deadlocks.
    auto log = std::make_shared<ActionLog>(factory);
    ActionLog* raw = log.get();
    std::atomic<int> reads { 0 };
    QObject::connect(
        raw, &IActionLog::ActionAdded, raw,
        [raw, &reads](const SyncAction& action) {
            std::thread([&] {
                reads += raw->GetAction(action.id).id == action.id;
                raw->GetAllActions();
            }).join();
        },
        Qt::DirectConnection);
    QObject::connect(
        raw, &ActionLog::Committed, raw,
        [raw] {
            std::thread([&] {
                raw->AddAction(action::FileUploaded, QStringLiteral("from a slot"));
            }).join();
        },
        Qt::DirectConnection);
    raw->AddAction(action::FileUploaded, QStringLiteral("first"));
    // The second flush writes what the first one's Committed() slot added.
    if (!finishesWithin(30000, [log, dir, factory] {
            log->Flush();
            log->Flush();
        })) {
        FAIL() << "a slot waiting for another thread deadlocked the flush";
        return;
    }
    EXPECT_GE(reads.load(), 1) << "an announced row is readable from another thread";
    EXPECT_TRUE(Inspector(path).infos().startsWith(QLatin1String("first,from a slot")))
        << Inspector(path).infos().toStdString();
}

namespace {

// Whose thread the log lives on, when the last reference to it goes.
enum class Owner { Itself, MainThread, RunningThread, FinishedThread };

} // namespace

// Destroyed while its timer runs, on its own thread or on another: every queued
// action is written, nothing warns, and no timer is left to fire afterwards.
TEST(ActionLogLifetimeTest, DestroyedOnAnotherThreadWithTheTimerRunning)
{
    for (Owner owner :
        { Owner::Itself, Owner::MainThread, Owner::RunningThread, Owner::FinishedThread }) {
        SCOPED_TRACE(int(owner));
        testutil::TempDir dir;
        const QString path = dir.filePath(QStringLiteral("lifetime.sqlite"));
        auto factory = actionlogtest::openDatabase(path);
        ASSERT_TRUE(factory);
        WarningCatcher catcher;
        auto log = std::make_unique<ActionLog>(factory);
        std::unique_ptr<QThread> thread;
        if (owner >= Owner::RunningThread) {
            thread.reset(new QThread);
            log->moveToThread(thread.get());
            thread->start();
        }
        log->AddAction(action::FileUploaded, QStringLiteral("a"));
        // Until the timer runs in the log's thread.
        const auto timerRuns = [&] {
            bool runs = false;
            if (!thread) {
                QCoreApplication::processEvents();
                return !timersOf(log.get()).isEmpty();
            }
            QMetaObject::invokeMethod(
                log.get(), [&] { runs = !timersOf(log.get()).isEmpty(); },
                Qt::BlockingQueuedConnection);
            return runs;
        };
        ASSERT_TRUE(processEventsUntil(timerRuns, 10000));
        log->AddAction(action::FileUploaded, QStringLiteral("b"));
        if (owner == Owner::FinishedThread) {
            thread->quit();
            ASSERT_TRUE(thread->wait(30000));
        }
        if (owner == Owner::MainThread)
            std::thread([&] { log.reset(); }).join();
        else
            log.reset();
        if (thread) {
            thread->quit();
            ASSERT_TRUE(thread->wait(30000));
        }
        // A timer left behind would fire into the destroyed log.
        QDeadlineTimer pause(ActionLog::FlushIntervalMsec + 500);
        while (!pause.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        EXPECT_EQ(Inspector(path).infos(), QStringLiteral("a,b"));
        EXPECT_TRUE(catcher.warnings().isEmpty())
            << catcher.warnings().join(QLatin1Char('\n')).toStdString();
    }
}
