// ExitManager: the state table, signal order, racing raises from many threads;
// ConnectedToNetwork in a process without any network.

#include "Sync/SyncCore/ConnectedToNetwork.h"
#include "Sync/SyncCore/ExitManager.h"

#include "TestUtil.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <vector>

using sync::core::ExitManager;

namespace {

// Names of the signals an ExitManager emits, in order, as seen on the emitting thread.
class SignalLog
{
public:
    explicit SignalLog(ExitManager& manager)
    {
        QObject::connect(
            &manager, &ExitManager::PrepareToCancel, &manager,
            [this] { _names.push_back("cancel"); }, Qt::DirectConnection);
        QObject::connect(
            &manager, &ExitManager::PrepareToQuit, &manager, [this] { _names.push_back("quit"); },
            Qt::DirectConnection);
    }
    const std::vector<std::string>& names() const { return _names; }

private:
    std::vector<std::string> _names;
};

enum class Op { Cancel, Exit, ResetCancel, ResetExit };

void apply(ExitManager& m, Op op)
{
    switch (op) {
    case Op::Cancel:
        m.Cancel();
        break;
    case Op::Exit:
        m.Exit();
        break;
    case Op::ResetCancel:
        m.ResetCancel();
        break;
    case Op::ResetExit:
        m.ResetExit();
        break;
    }
}

// The two raw flags. IsCanceling() also answers true while exiting, so the
// cancel flag is read with the exit flag lowered, on a copy of the path.
struct Flags
{
    bool canceling;
    bool exiting;
    bool operator==(const Flags& o) const
    {
        return canceling == o.canceling && exiting == o.exiting;
    }
};

Flags rawFlags(ExitManager& m)
{
    const bool exiting = m.IsExiting();
    if (exiting)
        m.ResetExit();
    const bool canceling = m.IsCanceling();
    if (exiting)
        m.Exit();
    return { canceling, exiting };
}

void PrintTo(const Flags& f, std::ostream* os)
{
    *os << "(" << f.canceling << ", " << f.exiting << ")";
}

} // namespace

struct TransitionRow
{
    const char* name;
    Flags from;
    Op op;
    Flags to;
    std::vector<std::string> emitted;
};

class ExitManagerTransitionTest : public ::testing::TestWithParam<TransitionRow>
{
};

TEST_P(ExitManagerTransitionTest, StateAndSignals)
{
    const TransitionRow& row = GetParam();
    ExitManager m;
    if (row.from.canceling)
        m.Cancel();
    if (row.from.exiting)
        m.Exit();
    ASSERT_EQ(rawFlags(m), row.from);

    SignalLog log(m);
    apply(m, row.op);
    EXPECT_EQ(log.names(), row.emitted);
    EXPECT_EQ(m.IsExiting(), row.to.exiting);
    // An exiting process counts as canceling.
    EXPECT_EQ(m.IsCanceling(), row.to.canceling || row.to.exiting);
    EXPECT_EQ(rawFlags(m), row.to);
}

INSTANTIATE_TEST_SUITE_P(Table, ExitManagerTransitionTest,
    ::testing::Values(
        TransitionRow { "idleCancel", { false, false }, Op::Cancel, { true, false }, { "cancel" } },
        TransitionRow {
            "idleExit", { false, false }, Op::Exit, { false, true }, { "cancel", "quit" } },
        TransitionRow {
            "idleResetCancel", { false, false }, Op::ResetCancel, { false, false }, {} },
        TransitionRow { "idleResetExit", { false, false }, Op::ResetExit, { false, false }, {} },
        TransitionRow { "cancelingCancel", { true, false }, Op::Cancel, { true, false }, {} },
        TransitionRow {
            "cancelingExit", { true, false }, Op::Exit, { true, true }, { "cancel", "quit" } },
        TransitionRow {
            "cancelingResetCancel", { true, false }, Op::ResetCancel, { false, false }, {} },
        TransitionRow { "cancelingResetExit", { true, false }, Op::ResetExit, { true, false }, {} },
        TransitionRow {
            "exitingCancel", { false, true }, Op::Cancel, { true, true }, { "cancel" } },
        TransitionRow { "exitingExit", { false, true }, Op::Exit, { false, true }, {} },
        TransitionRow {
            "exitingResetCancel", { false, true }, Op::ResetCancel, { false, true }, {} },
        TransitionRow { "exitingResetExit", { false, true }, Op::ResetExit, { false, false }, {} },
        TransitionRow { "bothCancel", { true, true }, Op::Cancel, { true, true }, {} },
        TransitionRow { "bothExit", { true, true }, Op::Exit, { true, true }, {} },
        TransitionRow { "bothResetCancel", { true, true }, Op::ResetCancel, { false, true }, {} },
        TransitionRow { "bothResetExit", { true, true }, Op::ResetExit, { true, false }, {} }),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ExitManagerTest, RaiseAfterResetEmitsAgain)
{
    ExitManager m;
    SignalLog log(m);
    m.Cancel();
    m.Cancel();
    m.ResetCancel();
    m.Cancel();
    m.Exit();
    m.Exit();
    m.ResetExit();
    m.Exit();
    EXPECT_EQ(log.names(),
        (std::vector<std::string> { "cancel", "cancel", "cancel", "quit", "cancel", "quit" }));
}

// Many threads raise both flags at once: of each racing group exactly one
// caller emits, and a receiver living in the main thread gets every signal
// queued into its event loop.
TEST(ExitManagerConcurrencyTest, RacingRaisesEmitOncePerRaise)
{
    constexpr int kThreads = 8;
    constexpr int kRounds = 200;

    for (int round = 0; round < kRounds; ++round) {
        ExitManager m;
        std::atomic<int> cancels { 0 };
        std::atomic<int> quits { 0 };
        std::atomic<bool> quitBeforeCancel { false };
        QObject::connect(
            &m, &ExitManager::PrepareToCancel, &m, [&] { cancels.fetch_add(1); },
            Qt::DirectConnection);
        QObject::connect(
            &m, &ExitManager::PrepareToQuit, &m,
            [&] {
                // Exit() emits its PrepareToCancel first, so by now both raises have signalled.
                if (cancels.load() < 1)
                    quitBeforeCancel.store(true);
                quits.fetch_add(1);
            },
            Qt::DirectConnection);

        // Receiver in this (the main) thread: the signals reach it queued.
        QObject receiver;
        int queuedCancels = 0;
        int queuedQuits = 0;
        QObject::connect(&m, &ExitManager::PrepareToCancel, &receiver, [&] {
            EXPECT_EQ(QThread::currentThread(), receiver.thread());
            ++queuedCancels;
        });
        QObject::connect(&m, &ExitManager::PrepareToQuit, &receiver, [&] { ++queuedQuits; });

        std::mutex mutex;
        std::condition_variable go;
        bool started = false;
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                {
                    std::unique_lock<std::mutex> lock(mutex);
                    go.wait(lock, [&] { return started; });
                }
                // Half the threads start with Exit() so that both orders race.
                if (t % 2) {
                    m.Exit();
                    m.Cancel();
                } else {
                    m.Cancel();
                    m.Exit();
                }
            });
        }
        {
            std::lock_guard<std::mutex> lock(mutex);
            started = true;
        }
        go.notify_all();
        for (auto& t : threads)
            t.join();

        ASSERT_EQ(cancels.load(), 2) << "round " << round;
        ASSERT_EQ(quits.load(), 1) << "round " << round;
        ASSERT_FALSE(quitBeforeCancel.load()) << "round " << round;
        EXPECT_TRUE(m.IsExiting());
        EXPECT_TRUE(m.IsCanceling());

        QCoreApplication::sendPostedEvents(&receiver);
        ASSERT_EQ(queuedCancels, 2) << "round " << round;
        ASSERT_EQ(queuedQuits, 1) << "round " << round;
    }
}

// The answer is fixed on purpose: checked in a process whose only network is a
// fresh namespace with nothing up (not even loopback).
TEST(ConnectedToNetworkTest, ConnectedEvenWithoutAnyNetwork)
{
    EXPECT_TRUE(sync::core::ConnectedToNetwork().IsConnected());

    if (::geteuid() != 0)
        GTEST_SKIP() << "a process without network needs root (a new network namespace)";
    if (!testutil::haveProgram(QStringLiteral("unshare")))
        GTEST_SKIP() << "unshare (util-linux) is not installed";
    const auto r = testutil::run(QStringLiteral("unshare"),
        { QStringLiteral("--net"), testutil::builtExecutable(QStringLiteral("processtesthelper")),
            QStringLiteral("connected") });
    if (r.exitCode != 0 && r.err.contains("unshare failed"))
        GTEST_SKIP() << "new network namespaces are not allowed here: " << r.err.constData();
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(r.out.trimmed(), QByteArray("interfaces up: 0\nconnected: 1")) << r.out.constData();
}
