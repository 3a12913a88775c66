// ActionLog across threads and processes: the typical event with a writer on
// another thread, many writers against a reader and the trimmer, and a writer
// process killed in the middle of a flush.

#include "ActionLogTestSupport.h"
#include "TestUtil.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHash>
#include <QProcess>
#include <QSignalSpy>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

using namespace sync::core;
using actionlogtest::Inspector;
using sync::interf::IActionLog;

TEST(ActionLogThreadsTest, TypicalEventFromAnotherThread)
{
    testutil::TempDir dir;
    auto factory = actionlogtest::openDatabase(dir.filePath(QStringLiteral("typical.sqlite")));
    ASSERT_TRUE(factory);
    actionlogtest::RecordingActionLog log(factory);
    QSignalSpy committed(&log, &ActionLog::Committed);

    // The service's writer: three uploads in quick succession.
    std::vector<std::pair<qint64, qint64>> stamps; // before, after each addition
    QElapsedTimer sinceFirst;
    std::thread([&] {
        sinceFirst.start();
        for (int i = 0; i < 3; ++i) {
            const qint64 before = QDateTime::currentMSecsSinceEpoch();
            log.AddAction(action::FileUploaded, QStringLiteral("/sync/f%1").arg(i),
                QStringLiteral("f%1").arg(i));
            stamps.emplace_back(before, QDateTime::currentMSecsSinceEpoch());
        }
    }).join();

    ASSERT_TRUE(committed.wait(20000));
    // Only a lower bound: a busy machine makes the timer late, never early
    // beyond the 5 % coarse timers allow.
    EXPECT_GE(sinceFirst.elapsed(), 1800);
    EXPECT_EQ(committed.count(), 1);
    EXPECT_EQ(log.transactions, 1);
    EXPECT_EQ(log.timerIds.size(), 1);
    QCoreApplication::processEvents(); // the commit's stop request
    EXPECT_TRUE(QAbstractEventDispatcher::instance()->registeredTimers(&log).isEmpty());

    const QVector<SyncAction> rows = log.GetAllActions();
    ASSERT_EQ(rows.size(), 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(rows[i].relatedItemName, QStringLiteral("f%1").arg(i));
        EXPECT_EQ(rows[i].timestamp.timeSpec(), Qt::LocalTime);
        EXPECT_GE(rows[i].timestamp.toMSecsSinceEpoch(), stamps[size_t(i)].first);
        EXPECT_LE(rows[i].timestamp.toMSecsSinceEpoch(), stamps[size_t(i)].second);
    }
    EXPECT_EQ(log.transactions, 1) << "reading found nothing left to write";
}

// Writers on many threads, the log's timer on this thread, and a reader that
// flushes and trims meanwhile: after an orderly destruction every action was
// written exactly once, and every row newer than the trimmed ones is there.
TEST(ActionLogThreadsTest, NoActionIsLostOrWrittenTwice)
{
    const int writerCount = 16;
    const int perWriter = qEnvironmentVariableIntValue("SYNCCORE_TEST_ACTIONLOG_PER_WRITER") > 0
        ? qEnvironmentVariableIntValue("SYNCCORE_TEST_ACTIONLOG_PER_WRITER")
        : 10000;
    testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("noloss.sqlite"));
    auto factory = actionlogtest::openDatabase(path);
    ASSERT_TRUE(factory);
    auto log = std::make_unique<ActionLog>(factory);

    std::mutex announcedMutex;
    QHash<int, QString> nameOfId;
    QSet<QString> names;
    QObject::connect(log.get(), &IActionLog::ActionAdded, [&](const SyncAction& action) {
        std::lock_guard<std::mutex> lock(announcedMutex);
        nameOfId.insert(action.id, action.relatedItemName);
        names.insert(action.relatedItemName);
    });

    std::atomic<int> writersLeft(writerCount);
    std::vector<std::thread> threads;
    for (int w = 0; w < writerCount; ++w) {
        threads.emplace_back([&, w] {
            for (int i = 0; i < perWriter; ++i)
                log->AddAction(
                    action::FileUploaded, QString(), QStringLiteral("w%1-%2").arg(w).arg(i));
            --writersLeft;
        });
    }
    std::atomic<int> reads(0);
    std::atomic<bool> readsInOrder(true);
    threads.emplace_back([&] {
        do {
            const QVector<SyncAction> rows = log->GetAllActions();
            for (int i = 1; i < rows.size(); ++i)
                readsInOrder = readsInOrder && rows[i].id > rows[i - 1].id;
            // A trim may fail when its DELETE waits out the busy timeout on a
            // loaded machine; losing or doubling actions must never happen.
            log->ManageLogSize();
            ++reads;
        } while (writersLeft.load() > 0);
    });
    while (writersLeft.load() > 0)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    for (std::thread& t : threads)
        t.join();
    log.reset();

    EXPECT_GT(reads.load(), 0);
    EXPECT_TRUE(readsInOrder.load());
    // Distinct ids and distinct names both count every action once.
    EXPECT_EQ(nameOfId.size(), writerCount * perWriter);
    EXPECT_EQ(names.size(), writerCount * perWriter);

    // The table holds exactly the announced rows from the oldest kept one on,
    // each the action announced under its id; a trim keeps MaxRows without gaps.
    Inspector db(path);
    const QList<qint64> ids = db.ids();
    ASSERT_FALSE(ids.isEmpty());
    EXPECT_GE(ids.size(), qMin(writerCount * perWriter, int(ActionLog::MaxRows)));
    QStringList expected;
    for (auto it = nameOfId.cbegin(); it != nameOfId.cend(); ++it)
        if (it.key() >= ids.first())
            expected << QString::number(it.key()) + QLatin1Char('=') + it.value();
    QStringList stored
        = db.column(QStringLiteral("SELECT id || '=' || relatedItemName FROM ActionLog"));
    expected.sort();
    stored.sort();
    EXPECT_TRUE(stored == expected)
        << stored.size() << " rows stored, " << expected.size() << " expected";
}

// Writers on many threads stop as soon as a batch is being written (its first
// announcement), so their last actions arrive during that write: every one of
// them reaches the file within a batch period and a write, though nobody adds
// or flushes again.
TEST(ActionLogThreadsTest, NoActionStaysQueuedOnceAdditionsStop)
{
    const int writerCount = 8;
    testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("stranded.sqlite"));
    auto factory = actionlogtest::openDatabase(path);
    ASSERT_TRUE(factory);
    ActionLog log(factory);
    std::atomic<int> added { 0 };
    std::atomic<bool> stop { false };
    QObject::connect(&log, &IActionLog::ActionAdded, [&] { stop = true; });
    std::vector<std::thread> writers;
    for (int w = 0; w < writerCount; ++w)
        writers.emplace_back([&] {
            while (!stop) {
                log.AddAction(action::FileUploaded);
                ++added;
                QThread::usleep(200);
            }
        });
    actionlogtest::processEventsUntil([&] { return stop.load(); }, 60000);
    for (std::thread& t : writers)
        t.join();
    const int total = added.load();
    EXPECT_TRUE(
        actionlogtest::processEventsUntil([&] { return Inspector(path).ids().size() == total; },
            2 * ActionLog::FlushIntervalMsec + 8000))
        << Inspector(path).ids().size() << " of " << total << " written after the last addition";
}

// Flushes, queries and the timer on several threads at once, for
// ThreadSanitizer: the transaction each flush holds is its own.
TEST(ActionLogThreadsTest, FlushesOnSeveralThreadsAtOnce)
{
    testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("flushes.sqlite"));
    auto factory = actionlogtest::openDatabase(path);
    ASSERT_TRUE(factory);
    std::atomic<int> announced { 0 };
    const int threadCount = 3, rounds = 150;
    {
        ActionLog log(factory);
        QObject::connect(&log, &IActionLog::ActionAdded, [&] { ++announced; });
        std::atomic<int> left { threadCount };
        std::vector<std::thread> threads;
        for (int t = 0; t < threadCount; ++t)
            threads.emplace_back([&, t] {
                for (int i = 0; i < rounds; ++i) {
                    log.AddAction(action::FileUploaded, QString::number(t));
                    if (i % 3 == 0)
                        log.Flush();
                    else if (i % 3 == 1)
                        log.GetAllActions();
                    else
                        log.ManageLogSize();
                }
                --left;
            });
        while (left > 0)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        for (std::thread& t : threads)
            t.join();
    }
    EXPECT_EQ(Inspector(path).ids().size(), threadCount * rounds);
    EXPECT_EQ(announced.load(), threadCount * rounds);
}

namespace {

/// Starts the helper, waits for @p line on its output, then SIGKILLs it at once
/// or after @p delayMs; gives the last batch it reported committed, -2 on trouble.
int killAfter(const QString& path, const QString& prefix, const char* mode, const QByteArray& line,
    int delayMs)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(testutil::builtExecutable(QStringLiteral("actionlogflushhelper")),
        { path, prefix, QStringLiteral("2000"), QString::fromLatin1(mode) });
    QByteArray output;
    while (!output.contains(line) && child.waitForReadyRead(60000))
        output += child.readAllStandardOutput();
    QThread::msleep(delayMs);
    child.kill(); // no destructor, no final flush, no clean close
    child.waitForFinished(30000);
    output += child.readAllStandardOutput();
    if (!output.contains(line) || child.exitStatus() != QProcess::CrashExit)
        return -2;
    return output.mid(output.lastIndexOf("committed ") + 10).split('\n').value(0).toInt();
}

/// Whether SQLite finds the file sound, and batch name -> row count.
QString integrity(const QString& path, QHash<QString, int>* batches)
{
    Inspector db(path);
    batches->clear();
    for (const QString& row : db.column(QStringLiteral(
             "SELECT relatedItemName || ' ' || count(*) FROM ActionLog GROUP BY relatedItemName")))
        batches->insert(
            row.section(QLatin1Char(' '), 0, 0), row.section(QLatin1Char(' '), 1).toInt());
    return db.text(QStringLiteral("PRAGMA integrity_check"));
}

} // namespace

TEST(ActionLogDurabilityTest, KilledInTheMiddleOfAFlushLeavesWholeBatches)
{
    testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("durable.sqlite"));
    QHash<QString, int> batches;

    // Stopped for certain inside batch 1's transaction.
    ASSERT_NE(killAfter(path, QStringLiteral("p"), "pause", "paused", 0), -2);
    EXPECT_EQ(integrity(path, &batches), QStringLiteral("ok"));
    EXPECT_EQ(batches.value(QStringLiteral("pb0")), 2000);
    EXPECT_FALSE(batches.contains(QStringLiteral("pb1"))) << "half a batch survived";

    // Killed at varying moments of a stream of flushes, each run on the file the last one left.
    const int delays[] = { 0, 1, 3, 7, 12, 20, 33, 50 };
    for (int round = 0; round < 8; ++round) {
        SCOPED_TRACE(round);
        const QString prefix = QStringLiteral("r%1b").arg(round);
        const int lastCommitted
            = killAfter(path, prefix.chopped(1), "run", "committed 1", delays[round]);
        ASSERT_GE(lastCommitted, 1);
        ASSERT_EQ(integrity(path, &batches), QStringLiteral("ok"));
        int count = 0;
        for (auto it = batches.cbegin(); it != batches.cend(); ++it) {
            if (it.key().startsWith(prefix)) {
                EXPECT_EQ(it.value(), 2000) << qPrintable(it.key()) << " is torn";
                EXPECT_TRUE(it.key().mid(prefix.size()).toInt() <= lastCommitted + 1);
                ++count;
            }
        }
        // Every batch reported committed is there; at most the one after it too.
        EXPECT_GE(count, lastCommitted + 1);
        EXPECT_LE(count, lastCommitted + 2);
    }
    EXPECT_EQ(batches.value(QStringLiteral("pb0")), 2000);
}
