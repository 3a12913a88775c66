// ActionLog on a real SQLite file: queueing, the batch timer, transactions,
// queries, trimming, details documents and HTTP error records.

#include "ActionLogTestSupport.h"
#include "TestUtil.h"

#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/SyncException.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QSignalSpy>
#include <QThread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

using namespace sync::core;
using action::ActionType;
using actionDetails::DetailsType;
using actionlogtest::Inspector;
using actionlogtest::openDatabase;
using sync::interf::IActionLog;

namespace {

/// What the full AddAction received, in the order it received it.
struct FullCall
{
    int type;
    QString info;
    QString name;
    QString details;
};

/// Records every call of the full AddAction form before passing it on, and
/// counts the transactions a flush opens; both are reached through the virtual
/// table, so this sees what the log itself does.
class RecordingActionLog : public ActionLog
{
public:
    using ActionLog::ActionLog;
    using ActionLog::AddAction;

    int AddAction(ActionType type, QString info, QString name, SyncDetails details) override
    {
        calls.append({ int(type), info, name, details.details });
        return ActionLog::AddAction(type, info, name, details);
    }
    bool transaction() override
    {
        ++transactions;
        return ActionLog::transaction();
    }

    QList<FullCall> calls;
    int transactions = 0;
};

/// Expected details document, spelled out independently of the code under test.
QString document(int type, const QStringList& args = {})
{
    QString doc = QStringLiteral("<SyncActionDetails detailType=\"%1\"><DetailType>%1</DetailType>")
                      .arg(type);
    for (int i = 0; i < args.size(); ++i)
        doc += QStringLiteral("<arg position=\"") + QString::number(i) + QStringLiteral("\">")
            + args[i] + QStringLiteral("</arg>");
    return doc + QStringLiteral("</SyncActionDetails>");
}

QList<QAbstractEventDispatcher::TimerInfo> timersOf(QObject* object)
{
    return QAbstractEventDispatcher::instance(object->thread())->registeredTimers(object);
}

class ActionLogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        path = dir.filePath(QStringLiteral("actions.sqlite"));
        factory = openDatabase(path);
        ASSERT_TRUE(factory);
    }

    testutil::TempDir dir;
    QString path;
    std::shared_ptr<SqliteDatabaseFactory> factory;
};

} // namespace

// --- the value types ----------------------------------------------------------

TEST(SyncActionTest, DefaultAndCopiesCarryTheSixFieldsButNoIdentity)
{
    const SyncAction empty;
    EXPECT_EQ(empty.actionType, -1);
    EXPECT_TRUE(empty.relatedItemName.isEmpty());
    EXPECT_TRUE(empty.relatedItemInfo.isEmpty());
    EXPECT_TRUE(empty.timestamp.isNull());
    EXPECT_TRUE(empty.details.isEmpty());

    QObject parent;
    SyncAction original;
    original.setParent(&parent);
    original.setObjectName(QStringLiteral("named"));
    original.id = 42;
    original.actionType = action::FileUploaded;
    original.relatedItemName = QStringLiteral("a.txt");
    original.relatedItemInfo = QStringLiteral("/home/u/a.txt");
    original.timestamp = QDateTime(QDate(2026, 3, 1), QTime(12, 0));
    original.details = document(3, { QStringLiteral("x") });

    auto expectSameData = [&](const SyncAction& copy) {
        EXPECT_EQ(copy.id, 42);
        EXPECT_EQ(copy.actionType, int(action::FileUploaded));
        EXPECT_EQ(copy.relatedItemName, original.relatedItemName);
        EXPECT_EQ(copy.relatedItemInfo, original.relatedItemInfo);
        EXPECT_EQ(copy.timestamp, original.timestamp);
        EXPECT_EQ(copy.details, original.details);
        EXPECT_EQ(copy.parent(), nullptr);
        EXPECT_TRUE(copy.objectName().isEmpty());
    };
    const SyncAction copied(original);
    expectSameData(copied);
    SyncAction assigned;
    assigned.setObjectName(QStringLiteral("kept"));
    assigned = original;
    expectSameData(SyncAction(assigned));
    EXPECT_EQ(assigned.objectName(), QStringLiteral("kept"));
    // The meta type carries it through QVariant, as queued signals do.
    expectSameData(QVariant::fromValue(original).value<SyncAction>());
    original.setParent(nullptr);
}

TEST(ActionLogMetaObjectTest, NamesSignalsAndSlotsAsPublished)
{
    ActionLog log(nullptr);
    const QMetaObject* meta = log.metaObject();
    EXPECT_STREQ(meta->className(), "sync::core::ActionLog");
    EXPECT_STREQ(meta->superClass()->className(), "sync::interf::IActionLog");
    for (const char* signal : { "ActionAdded(sync::core::SyncAction)", "RequestStartTimer(int)",
             "RequestKillTimer(int)", "Committed()" }) {
        EXPECT_GE(meta->indexOfSignal(signal), 0) << signal;
    }
    for (const char* slot : { "StartTimerSlot(int)", "KillTimerSlot(int)" })
        EXPECT_GE(meta->indexOfSlot(slot), 0) << slot;
    EXPECT_TRUE(QMetaType::fromName("sync::core::SyncAction").isValid());
}

// --- the AddAction family -----------------------------------------------------------

struct OverloadRow
{
    const char* name;
    std::function<int(IActionLog&)> call;
    QString info;
    QString itemName;
    QString details;
};

class AddActionOverloadTest : public ActionLogTest,
                              public ::testing::WithParamInterface<OverloadRow>
{
};

TEST_P(AddActionOverloadTest, ForwardsToTheFullFormAndStoresInfoBeforeName)
{
    const OverloadRow& row = GetParam();
    RecordingActionLog log(factory);
    QSignalSpy added(&log, &IActionLog::ActionAdded);
    EXPECT_EQ(row.call(log), 0);
    ASSERT_EQ(log.calls.size(), 1);
    EXPECT_EQ(log.calls[0].type, int(action::UploadFailed));
    EXPECT_EQ(log.calls[0].info, row.info);
    EXPECT_EQ(log.calls[0].name, row.itemName);
    EXPECT_EQ(log.calls[0].details, row.details);
    EXPECT_EQ(added.count(), 0) << "nothing is written before a flush";

    const QVector<SyncAction> rows = log.GetAllActions();
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0].actionType, int(action::UploadFailed));
    EXPECT_EQ(rows[0].relatedItemInfo, row.info);
    EXPECT_EQ(rows[0].relatedItemName, row.itemName);
    EXPECT_EQ(rows[0].details, row.details);
}

const QString kDoc = QStringLiteral(
    "<SyncActionDetails detailType=\"4\"><DetailType>4</DetailType></SyncActionDetails>");

INSTANTIATE_TEST_SUITE_P(Overloads, AddActionOverloadTest,
    ::testing::Values(
        OverloadRow { "TypeOnly", [](IActionLog& l) { return l.AddAction(action::UploadFailed); },
            {}, {}, {} },
        OverloadRow { "Details",
            [](IActionLog& l) { return l.AddAction(action::UploadFailed, SyncDetails(kDoc)); }, {},
            {}, kDoc },
        OverloadRow { "OneString",
            [](IActionLog& l) {
                return l.AddAction(action::UploadFailed, QStringLiteral("a.txt"));
            },
            QStringLiteral("a.txt"), {}, {} },
        OverloadRow { "TwoStrings",
            [](IActionLog& l) {
                return l.AddAction(
                    action::UploadFailed, QStringLiteral("first"), QStringLiteral("second"));
            },
            QStringLiteral("first"), QStringLiteral("second"), {} },
        OverloadRow { "StringAndDetails",
            [](IActionLog& l) {
                return l.AddAction(
                    action::UploadFailed, QStringLiteral("first"), SyncDetails(kDoc));
            },
            QStringLiteral("first"), {}, kDoc },
        OverloadRow { "Full",
            [](IActionLog& l) {
                return l.AddAction(action::UploadFailed, QStringLiteral("first"),
                    QStringLiteral("second"), SyncDetails(kDoc));
            },
            QStringLiteral("first"), QStringLiteral("second"), kDoc }),
    [](const ::testing::TestParamInfo<OverloadRow>& info) { return std::string(info.param.name); });

// --- flushing, signals and transactions ---------------------------------------------

TEST_F(ActionLogTest, FlushWritesOneBatchAnnouncingEachRowWithItsId)
{
    RecordingActionLog log(factory);
    QSignalSpy added(&log, &IActionLog::ActionAdded);
    QSignalSpy committed(&log, &ActionLog::Committed);

    const QStringList names
        = { QStringLiteral("one"), QStringLiteral("two"), QString::fromUtf8("drei – ü") };
    QList<qint64> queuedAt;
    for (const QString& name : names) {
        queuedAt.append(QDateTime::currentMSecsSinceEpoch());
        log.AddAction(action::FileUploaded, QStringLiteral("/p/") + name, name);
    }
    EXPECT_TRUE(Inspector(path).ids().isEmpty());

    const qint64 flushedAt = QDateTime::currentMSecsSinceEpoch();
    log.Flush();
    EXPECT_EQ(log.transactions, 1);
    EXPECT_EQ(committed.count(), 1);
    ASSERT_EQ(added.count(), 3);

    const QVector<SyncAction> rows = log.GetAllActions();
    ASSERT_EQ(rows.size(), 3);
    for (int i = 0; i < 3; ++i) {
        const SyncAction announced = added.at(i).at(0).value<SyncAction>();
        EXPECT_EQ(announced.id, rows[i].id);
        EXPECT_EQ(announced.relatedItemName, names[i]);
        EXPECT_EQ(rows[i].relatedItemName, names[i]);
        EXPECT_EQ(rows[i].relatedItemInfo, QStringLiteral("/p/") + names[i]);
        // Local time, and the instant of queueing rather than of writing.
        EXPECT_EQ(rows[i].timestamp.timeSpec(), Qt::LocalTime);
        EXPECT_EQ(rows[i].timestamp, announced.timestamp);
        EXPECT_GE(rows[i].timestamp.toMSecsSinceEpoch(), queuedAt[i]);
        EXPECT_LE(rows[i].timestamp.toMSecsSinceEpoch(), flushedAt);
        if (i > 0) {
            EXPECT_GT(rows[i].id, rows[i - 1].id);
        }

        const SyncAction one = log.GetAction(rows[i].id);
        EXPECT_EQ(one.id, rows[i].id);
        EXPECT_EQ(one.relatedItemName, names[i]);
        EXPECT_EQ(one.timestamp, rows[i].timestamp);
    }

    // Nothing left: a second flush opens no transaction and emits nothing.
    log.Flush();
    EXPECT_EQ(log.transactions, 1);
    EXPECT_EQ(committed.count(), 1);
    EXPECT_EQ(added.count(), 3);
}

TEST_F(ActionLogTest, GetAllActionsFlushesButGetActionDoesNot)
{
    ActionLog log(factory);
    log.AddAction(action::FileUploaded, QStringLiteral("queued"));
    // The first row of an empty table will get id 1; it does not exist yet.
    EXPECT_EQ(log.GetAction(1).actionType, -1);
    EXPECT_TRUE(Inspector(path).ids().isEmpty());

    const QVector<SyncAction> rows = log.GetAllActions();
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0].relatedItemInfo, QStringLiteral("queued"));
    EXPECT_EQ(log.GetAction(rows[0].id).relatedItemInfo, QStringLiteral("queued"));
}

TEST_F(ActionLogTest, RowsComeBackInIdOrderWhateverTheOrderStored)
{
    Inspector db(path);
    for (int id : { 5, 2, 9 }) {
        ASSERT_TRUE(db.exec(QStringLiteral(
            "INSERT INTO ActionLog (id, actionType, relatedItemName, relatedItemInfo, "
            "timestamp, details) VALUES (%1, %1, 'n%1', 'i%1', NULL, '')")
                                .arg(id)));
    }
    ActionLog log(factory);
    QList<int> ids;
    for (const SyncAction& a : log.GetAllActions()) {
        ids.append(a.id);
        EXPECT_EQ(a.actionType, a.id);
        EXPECT_EQ(a.relatedItemName, QStringLiteral("n%1").arg(a.id));
    }
    EXPECT_EQ(ids, QList<int>({ 2, 5, 9 }));
}

TEST_F(ActionLogTest, DestructionWritesWhatIsStillQueued)
{
    {
        ActionLog log(factory);
        log.AddAction(action::FileUploaded, QStringLiteral("a"));
        QCoreApplication::processEvents(); // the timer starts
        ASSERT_EQ(timersOf(&log).size(), 1);
        log.AddAction(action::FileUploaded, QStringLiteral("b"));
    }
    Inspector db(path);
    EXPECT_EQ(db.ids().size(), 2);
    EXPECT_EQ(db.text(QStringLiteral("SELECT group_concat(relatedItemInfo, ',') FROM "
                                     "(SELECT relatedItemInfo FROM ActionLog ORDER BY id)")),
        QStringLiteral("a,b"));
}

TEST_F(ActionLogTest, TransactionControl)
{
    RecordingActionLog log(factory);
    QSignalSpy committed(&log, &ActionLog::Committed);

    // Without a transaction there is nothing to end.
    EXPECT_FALSE(log.commit());
    EXPECT_FALSE(log.rollback());
    EXPECT_EQ(committed.count(), 0);

    ASSERT_TRUE(log.transaction());
    EXPECT_GT(log.__TEST_ONLY_AddActionCommitImmediate(
                  action::FileUploaded, QStringLiteral("undone"), {}, {}),
        0);
    EXPECT_TRUE(log.rollback());
    EXPECT_EQ(committed.count(), 0);
    EXPECT_TRUE(Inspector(path).ids().isEmpty());
    EXPECT_FALSE(log.rollback()) << "the handle is released after use";

    ASSERT_TRUE(log.transaction());
    const int id = log.__TEST_ONLY_AddActionCommitImmediate(
        action::FileUploaded, QStringLiteral("kept"), {}, {});
    EXPECT_TRUE(log.commit());
    EXPECT_EQ(committed.count(), 1);
    EXPECT_EQ(Inspector(path).ids(), QList<qint64>({ id }));
    EXPECT_FALSE(log.commit());
    EXPECT_EQ(committed.count(), 1);
}

TEST_F(ActionLogTest, RemoveAndClear)
{
    ActionLog log(factory);
    const int a = log.__TEST_ONLY_AddActionCommitImmediate(action::FileUploaded, {}, {}, {});
    const int b = log.__TEST_ONLY_AddActionCommitImmediate(action::FileUploaded, {}, {}, {});
    EXPECT_TRUE(log.RemoveAction(a));
    EXPECT_EQ(Inspector(path).ids(), QList<qint64>({ b }));
    EXPECT_TRUE(log.RemoveAction(a)) << "removing a missing row still succeeds";
    EXPECT_TRUE(log.RemoveAction(123456));

    log.AddAction(action::FileUploaded); // queued: cleared as well, since clearing flushes first
    EXPECT_TRUE(log.__TEST_ONLY_ClearAllActionsFromLog());
    EXPECT_TRUE(Inspector(path).ids().isEmpty());
    log.Flush();
    EXPECT_TRUE(Inspector(path).ids().isEmpty());
}

// Every operation that reaches the table reports the failure of its statement
// as a plain result; a database without the ActionLog table makes each fail.
TEST(ActionLogFailureTest, StatementFailuresGiveEmptyResults)
{
    testutil::TempDir dir;
    QString error;
    auto factory
        = SqliteDatabaseFactory::Open(dir.filePath(QStringLiteral("notable.sqlite")), &error);
    ASSERT_TRUE(factory) << qPrintable(error);
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

// --- the batch timer ------------------------------------------------------------------

TEST_F(ActionLogTest, OneTimerPerBatchStartedAndStoppedOnTheLogsThread)
{
    ActionLog log(factory);
    QSignalSpy startRequests(&log, &IActionLog::RequestStartTimer);
    QSignalSpy killRequests(&log, &IActionLog::RequestKillTimer);

    for (int i = 0; i < 3; ++i)
        log.AddAction(action::FileUploaded);
    // The queued slot has not run yet, so each addition asked.
    EXPECT_EQ(startRequests.count(), 3);
    EXPECT_TRUE(timersOf(&log).isEmpty());
    for (const QList<QVariant>& request : std::as_const(startRequests))
        EXPECT_EQ(request.at(0).toInt(), 2000);

    QCoreApplication::processEvents();
    QList<QAbstractEventDispatcher::TimerInfo> timers = timersOf(&log);
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers[0].interval, 2000);
    const int timerId = timers[0].timerId;

    // A running timer is not asked for again.
    log.AddAction(action::FileUploaded);
    EXPECT_EQ(startRequests.count(), 3);

    // The flush's commit asks for that timer to stop; the stop happens in the event loop.
    log.Flush();
    ASSERT_EQ(killRequests.count(), 1);
    EXPECT_EQ(killRequests.at(0).at(0).toInt(), timerId);
    EXPECT_EQ(timersOf(&log).size(), 1);
    QCoreApplication::processEvents();
    EXPECT_TRUE(timersOf(&log).isEmpty());

    // The next addition starts a fresh timer.
    log.AddAction(action::FileUploaded);
    QCoreApplication::processEvents();
    EXPECT_EQ(timersOf(&log).size(), 1);
    log.Flush();
    QCoreApplication::processEvents();
    EXPECT_TRUE(timersOf(&log).isEmpty());
    EXPECT_EQ(Inspector(path).ids().size(), 5);
}

TEST_F(ActionLogTest, KillTimerSlotStopsTheRunningTimerForAnyNonZeroId)
{
    ActionLog log(factory);
    log.StartTimerSlot(60000);
    ASSERT_EQ(timersOf(&log).size(), 1);
    const int running = timersOf(&log).at(0).timerId;

    log.StartTimerSlot(10); // one timer at a time
    ASSERT_EQ(timersOf(&log).size(), 1);
    EXPECT_EQ(timersOf(&log).at(0).interval, 60000);

    log.KillTimerSlot(0);
    EXPECT_EQ(timersOf(&log).size(), 1);
    log.KillTimerSlot(running + 5); // a stale id stops whatever runs now
    EXPECT_TRUE(timersOf(&log).isEmpty());
    log.KillTimerSlot(running); // nothing runs: harmless
    EXPECT_TRUE(timersOf(&log).isEmpty());

    log.StartTimerSlot(60000);
    EXPECT_EQ(timersOf(&log).size(), 1);
}

// --- a failing insert (injected) ---------------------------------------------------------

namespace {

class MockQuery : public sync::interf::IQSqlQueryWrapper
{
public:
    MOCK_METHOD(bool, prepare, (const QString&), (override));
    MOCK_METHOD(void, bindValue, (const QString&, const QVariant&), (override));
    MOCK_METHOD(bool, exec, (), (override));
    MOCK_METHOD(QVariant, lastInsertId, (), (const, override));
    MOCK_METHOD(bool, next, (), (override));
    MOCK_METHOD(bool, first, (), (override));
    MOCK_METHOD(bool, isValid, (), (const, override));
    MOCK_METHOD(QVariant, value, (int), (const, override));
};

/// The real factory, except that the query made at one chosen count fails to execute.
class FailingQueryFactory : public sync::interf::factory::IDatabaseFactory
{
public:
    FailingQueryFactory(
        std::shared_ptr<sync::interf::factory::IDatabaseFactory> real, int failingQuery)
        : _real(std::move(real))
        , _failingQuery(failingQuery)
    { }
    std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> GetDatabase() override
    {
        return _real->GetDatabase();
    }
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> CreateQuery() override
    {
        if (++_made != _failingQuery)
            return _real->CreateQuery();
        auto query = std::make_shared<::testing::NiceMock<MockQuery>>();
        EXPECT_CALL(*query, exec()).WillOnce(::testing::Return(false));
        EXPECT_CALL(*query, lastInsertId()).Times(0);
        return query;
    }

private:
    std::shared_ptr<sync::interf::factory::IDatabaseFactory> _real;
    int _failingQuery;
    int _made = 0;
};

} // namespace

TEST_F(ActionLogTest, AFailedInsertDropsOnlyItsOwnRow)
{
    {
        RecordingActionLog log(std::make_shared<FailingQueryFactory>(factory, 2));
        QSignalSpy added(&log, &IActionLog::ActionAdded);
        QSignalSpy committed(&log, &ActionLog::Committed);
        for (const char* name : { "first", "lost", "third" })
            log.AddAction(action::FileUploaded, QString::fromLatin1(name));
        log.Flush();
        EXPECT_EQ(log.transactions, 1);
        EXPECT_EQ(committed.count(), 1);
        ASSERT_EQ(added.count(), 2);
        EXPECT_EQ(added.at(0).at(0).value<SyncAction>().relatedItemInfo, QStringLiteral("first"));
        EXPECT_EQ(added.at(1).at(0).value<SyncAction>().relatedItemInfo, QStringLiteral("third"));
        log.Flush(); // not retried
        EXPECT_EQ(added.count(), 2);
    }
    // Committed: another connection sees both rows.
    Inspector db(path);
    EXPECT_EQ(db.ids().size(), 2);
    EXPECT_EQ(db.text(QStringLiteral("SELECT group_concat(relatedItemInfo, ',') FROM "
                                     "(SELECT relatedItemInfo FROM ActionLog ORDER BY id)")),
        QStringLiteral("first,third"));
}

// --- trimming ----------------------------------------------------------------------------

struct TrimRow
{
    const char* name;
    QList<QPair<int, int>> stored; ///< inclusive id ranges in the table
    QList<QPair<int, int>> kept; ///< inclusive id ranges left after trimming
};

class ManageLogSizeTest : public ActionLogTest, public ::testing::WithParamInterface<TrimRow>
{
};

TEST_P(ManageLogSizeTest, KeepsIdsAboveTheHighestMinusMaxRows)
{
    Inspector db(path);
    for (const auto& range : GetParam().stored) {
        ASSERT_TRUE(db.exec(QStringLiteral(
            "INSERT INTO ActionLog (id, actionType, relatedItemName, relatedItemInfo, timestamp, "
            "details) "
            "WITH RECURSIVE n(x) AS (SELECT %1 UNION ALL SELECT x + 1 FROM n WHERE x < %2) "
            "SELECT x, 1, '', '', NULL, '' FROM n")
                                .arg(range.first)
                                .arg(range.second)));
    }
    QList<qint64> expected;
    for (const auto& range : GetParam().kept)
        for (int id = range.first; id <= range.second; ++id)
            expected.append(id);

    ActionLog log(factory);
    EXPECT_TRUE(log.ManageLogSize());
    EXPECT_EQ(db.ids(), expected);
    EXPECT_TRUE(log.ManageLogSize()) << "trimming again changes nothing";
    EXPECT_EQ(db.ids(), expected);
}

INSTANTIATE_TEST_SUITE_P(Trim, ManageLogSizeTest,
    ::testing::Values(TrimRow { "Empty", {}, {} },
        TrimRow { "HighestBelowLimit", { { 1, 4999 } }, { { 1, 4999 } } },
        TrimRow { "HighestAtLimitDeletesUpToZero", { { 1, 5000 } }, { { 1, 5000 } } },
        TrimRow { "OneAboveLimit", { { 1, 5001 } }, { { 2, 5001 } } },
        TrimRow { "SevenAndAHalfThousand", { { 1, 7500 } }, { { 2501, 7500 } } },
        // By id arithmetic, not by count: gaps leave fewer than 5000 rows.
        TrimRow { "GapsKeepFewerRows",
            { { 1, 100 }, { 3990, 4010 }, { 5990, 6000 }, { 9000, 9010 } },
            { { 5990, 6000 }, { 9000, 9010 } } },
        TrimRow { "FewRowsHighIds", { { 20000, 20002 } }, { { 20000, 20002 } } }),
    [](const ::testing::TestParamInfo<TrimRow>& info) { return std::string(info.param.name); });

TEST_F(ActionLogTest, ManageLogSizeCountsQueuedActions)
{
    Inspector db(path);
    ASSERT_TRUE(db.exec(QStringLiteral(
        "INSERT INTO ActionLog (id, actionType, relatedItemName, relatedItemInfo, timestamp, "
        "details) "
        "WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM n WHERE x < 5000) "
        "SELECT x, 1, '', '', NULL, '' FROM n")));
    ActionLog log(factory);
    log.AddAction(action::FileUploaded); // becomes id 5001 when trimming flushes
    log.AddAction(action::FileUploaded); // 5002
    EXPECT_TRUE(log.ManageLogSize());
    const QList<qint64> ids = db.ids();
    ASSERT_EQ(ids.size(), 5000);
    EXPECT_EQ(ids.first(), 3);
    EXPECT_EQ(ids.last(), 5002);
}

// --- details documents ------------------------------------------------------------------

struct BuildRow
{
    const char* name;
    int type;
    QVector<QString> args;
    QString expected;
};

class BuildDetailsXmlTest : public ::testing::TestWithParam<BuildRow>
{
};

TEST_P(BuildDetailsXmlTest, OneLineDocumentWithNumberedArguments)
{
    ActionLog log(nullptr);
    const BuildRow& row = GetParam();
    EXPECT_EQ(log.BuildDetailsXml(DetailsType(row.type), row.args), row.expected);
    if (row.args.isEmpty()) {
        EXPECT_EQ(log.BuildDetailsXml(DetailsType(row.type)), row.expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Build, BuildDetailsXmlTest,
    ::testing::Values(
        BuildRow { "NoArguments", 3, {},
            QStringLiteral("<SyncActionDetails "
                           "detailType=\"3\"><DetailType>3</DetailType></SyncActionDetails>") },
        BuildRow { "OneArgument", 3, { QStringLiteral("x") },
            QStringLiteral("<SyncActionDetails detailType=\"3\"><DetailType>3</DetailType>"
                           "<arg position=\"0\">x</arg></SyncActionDetails>") },
        BuildRow { "TwoArguments", 7, { QStringLiteral("a.txt"), QStringLiteral("403") },
            QStringLiteral("<SyncActionDetails detailType=\"7\"><DetailType>7</DetailType>"
                           "<arg position=\"0\">a.txt</arg><arg "
                           "position=\"1\">403</arg></SyncActionDetails>") },
        BuildRow { "NegativeType", -12, {},
            QStringLiteral("<SyncActionDetails "
                           "detailType=\"-12\"><DetailType>-12</DetailType></SyncActionDetails>") },
        BuildRow { "MarkupIsNotEscaped", 4, { QStringLiteral("a<b & \"c\"") },
            QStringLiteral("<SyncActionDetails detailType=\"4\"><DetailType>4</DetailType>"
                           "<arg position=\"0\">a<b & \"c\"</arg></SyncActionDetails>") }),
    [](const ::testing::TestParamInfo<BuildRow>& info) { return std::string(info.param.name); });

struct ResolveRow
{
    const char* name;
    QString xml;
    QMap<DetailsType, QString> templates;
    QString expected;
    bool expectNull = false;
};

class ResolveDetailsTest : public ::testing::TestWithParam<ResolveRow>
{
};

TEST_P(ResolveDetailsTest, FillsTheTemplateOfTheDocumentsType)
{
    ActionLog log(nullptr);
    const ResolveRow& row = GetParam();
    const QString text = log.ResolveSyncActionDetails(row.xml, row.templates);
    EXPECT_EQ(text, row.expected);
    if (row.expectNull) {
        EXPECT_TRUE(text.isNull());
    }
}

QString argsDoc(int type, const QString& args)
{
    return QStringLiteral("<SyncActionDetails detailType=\"%1\"><DetailType>%1</DetailType>")
               .arg(type)
        + args + QStringLiteral("</SyncActionDetails>");
}

const QMap<DetailsType, QString> kTemplates = {
    { DetailsType(0), QStringLiteral("generic") },
    { DetailsType(3), QStringLiteral("[%1][%2]") },
    { DetailsType(4), QStringLiteral("only %1") },
    { DetailsType(7), QStringLiteral("%2 then %1") },
    { DetailsType(-2), QStringLiteral("negative %1") },
};

INSTANTIATE_TEST_SUITE_P(Resolve, ResolveDetailsTest,
    ::testing::Values(ResolveRow { "EmptyDocumentIsNull", QString(), kTemplates, QString(), true },
        ResolveRow { "EmptyMapIsNull", argsDoc(3, {}), {}, QString(), true },
        ResolveRow { "RoundTrip", document(3, { QStringLiteral("a.txt"), QStringLiteral("403") }),
            kTemplates, QStringLiteral("[a.txt][403]") },
        ResolveRow { "ArgumentsInTemplateOrder",
            document(7, { QStringLiteral("x"), QStringLiteral("y") }), kTemplates,
            QStringLiteral("y then x") },
        ResolveRow { "NegativeType", document(-2, { QStringLiteral("n") }), kTemplates,
            QStringLiteral("negative n") },
        ResolveRow { "PositionsOutOfOrder",
            argsDoc(3,
                QStringLiteral("<arg position=\"1\">second</arg><arg position=\"0\">first</arg>")),
            kTemplates, QStringLiteral("[first][second]") },
        // N = 2: position 2 is never reached, so one argument is substituted.
        ResolveRow { "GapIsClosed",
            argsDoc(3, QStringLiteral("<arg position=\"0\">a</arg><arg position=\"2\">c</arg>")),
            kTemplates, QStringLiteral("[a][%2]") },
        ResolveRow { "GapBeforeALaterArgumentMovesItDown",
            argsDoc(3,
                QStringLiteral("<arg position=\"2\">c</arg><arg position=\"0\">a</arg>"
                               "<arg position=\"0\">dup</arg>")),
            kTemplates, QStringLiteral("[a][c]") },
        ResolveRow { "FirstOfDuplicatesCounts",
            argsDoc(
                3, QStringLiteral("<arg position=\"0\">one</arg><arg position=\"0\">two</arg>")),
            kTemplates, QStringLiteral("[one][%2]") },
        ResolveRow { "MissingOrBadPositionReadsAsZero",
            argsDoc(3,
                QStringLiteral(
                    "<arg>p</arg><arg position=\"x\">q</arg><arg position=\"1\">r</arg>")),
            kTemplates, QStringLiteral("[p][r]") },
        ResolveRow { "NegativePositionIgnored",
            argsDoc(3, QStringLiteral("<arg position=\"-1\">neg</arg><arg position=\"0\">z</arg>")),
            kTemplates, QStringLiteral("[z][%2]") },
        ResolveRow { "EmptyArgument",
            argsDoc(3, QStringLiteral("<arg position=\"0\"/><arg position=\"1\">b</arg>")),
            kTemplates, QStringLiteral("[][b]") },
        ResolveRow { "NestedArgumentsAreFound",
            argsDoc(4, QStringLiteral("<wrap><arg position=\"0\">deep</arg></wrap>")), kTemplates,
            QStringLiteral("only deep") },
        ResolveRow { "TypeMissingFromMapIsEmpty", document(99, { QStringLiteral("x") }), kTemplates,
            QString() },
        ResolveRow { "MissingTypeAttributeReadsAsZero",
            QStringLiteral("<SyncActionDetails><arg position=\"0\">x</arg></SyncActionDetails>"),
            kTemplates, QStringLiteral("generic") },
        // An unescaped argument spoils the document: type 0, no arguments.
        ResolveRow { "UnparseableDocumentIsTypeZero", document(3, { QStringLiteral("a<b") }),
            kTemplates, QStringLiteral("generic") },
        ResolveRow { "UnparseableWithoutTypeZeroIsEmpty", document(3, { QStringLiteral("a&b") }),
            { { DetailsType(3), QStringLiteral("[%1]") } }, QString() },
        // The rule of chained arg() calls: a marker inside an argument is filled by the next one.
        ResolveRow { "ChainedSubstitution",
            document(4, { QStringLiteral("%2"), QStringLiteral("y") }),
            { { DetailsType(4), QStringLiteral("%1 and %3") } }, QStringLiteral("y and %3") },
        ResolveRow { "MoreArgumentsThanMarkers",
            document(4, { QStringLiteral("a"), QStringLiteral("b") }), kTemplates,
            QStringLiteral("only a") }),
    [](const ::testing::TestParamInfo<ResolveRow>& info) { return std::string(info.param.name); });

class ArgumentCountTest : public ::testing::TestWithParam<int>
{
};

TEST_P(ArgumentCountTest, ZeroToNineAndTwelveAreAccepted)
{
    const int count = GetParam();
    ActionLog log(nullptr);
    QVector<QString> args;
    QString templ;
    QString expected;
    for (int i = 0; i < count; ++i) {
        args.append(QStringLiteral("v%1").arg(i));
        templ += QStringLiteral("<%") + QString::number(i + 1) + QStringLiteral(">");
        expected += QStringLiteral("<v%1>").arg(i);
    }
    const QString xml = log.BuildDetailsXml(DetailsType(8), args);
    const QMap<DetailsType, QString> templates
        = { { DetailsType(8), templ + QStringLiteral("!") } };
    const bool accepted = count <= 9 || count == 12;
    if (accepted) {
        EXPECT_EQ(log.ResolveSyncActionDetails(xml, templates), expected + QStringLiteral("!"));
    } else {
        try {
            log.ResolveSyncActionDetails(xml, templates);
            ADD_FAILURE() << count << " arguments were accepted";
        } catch (const SyncException& e) {
            EXPECT_EQ(e.message(),
                QStringLiteral(
                    "We do not currently support sync action detail arguments of greater than 9."));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Counts, ArgumentCountTest, ::testing::Range(0, 15));

// --- HTTP error records -------------------------------------------------------------------

struct HttpRow
{
    int code;
    int detailsType;
    QStringList args;
};

class HttpErrorTest : public ::testing::TestWithParam<HttpRow>
{
};

TEST_P(HttpErrorTest, StatusCodeChoosesTheDetails)
{
    const HttpRow& row = GetParam();
    RecordingActionLog log(nullptr);
    EXPECT_EQ(log.AddHttpError(action::DownloadFailed, row.code, QStringLiteral("info"),
                  QStringLiteral("name"), QStringLiteral("folder/a.txt")),
        0);
    ASSERT_EQ(log.calls.size(), 1);
    const FullCall& call = log.calls[0];
    EXPECT_EQ(call.type, int(action::DownloadFailed));
    EXPECT_EQ(call.info, QStringLiteral("info"));
    EXPECT_EQ(call.name, QStringLiteral("name"));
    EXPECT_EQ(call.details, document(row.detailsType, row.args));
    log.calls.clear();
}

const QStringList kThird = { QStringLiteral("folder/a.txt") };

INSTANTIATE_TEST_SUITE_P(Codes, HttpErrorTest,
    ::testing::Values(HttpRow { 400, 15, { QStringLiteral("400") } }, HttpRow { 401, 2, {} },
        HttpRow { 403, 4, kThird }, HttpRow { 404, 3, kThird }, HttpRow { 405, 21, kThird },
        HttpRow { 409, 22, kThird }, HttpRow { 423, 5, kThird },
        HttpRow { 500, 15, { QStringLiteral("500") } },
        HttpRow { 503, 15, { QStringLiteral("503") } }, HttpRow { 507, 18, kThird },
        // everything else: the catch-all without arguments
        HttpRow { 0, 0, {} }, HttpRow { -1, 0, {} }, HttpRow { 200, 0, {} }, HttpRow { 399, 0, {} },
        HttpRow { 402, 0, {} }, HttpRow { 406, 0, {} }, HttpRow { 408, 0, {} },
        HttpRow { 410, 0, {} }, HttpRow { 422, 0, {} }, HttpRow { 424, 0, {} },
        HttpRow { 499, 0, {} }, HttpRow { 501, 0, {} }, HttpRow { 502, 0, {} },
        HttpRow { 504, 0, {} }, HttpRow { 506, 0, {} }, HttpRow { 508, 0, {} },
        HttpRow { 599, 0, {} }),
    [](const ::testing::TestParamInfo<HttpRow>& info) {
        return "Code" + std::to_string(info.param.code < 0 ? 0 : info.param.code)
            + (info.param.code < 0 ? "Negative" : "");
    });
