// ExitManager: the state table, signal order, racing raises from many threads;
// ConnectedToNetwork's fixed answer.

#include "Sync/SyncCore/ConnectedToNetwork.h"
#include "Sync/SyncCore/ExitManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using sync::core::ExitManager;

namespace {

// Appends "c" for each PrepareToCancel and "q" for each PrepareToQuit, on the emitting thread.
void logSignals(ExitManager& m, std::string& log)
{
    QObject::connect(
        &m, &ExitManager::PrepareToCancel, &m, [&log] { log += 'c'; }, Qt::DirectConnection);
    QObject::connect(
        &m, &ExitManager::PrepareToQuit, &m, [&log] { log += 'q'; }, Qt::DirectConnection);
}

// The two raw flags as "CE" (cancel, exit) bits. IsCanceling() also answers
// true while exiting, so the cancel flag is read with the exit flag lowered.
int rawFlags(ExitManager& m)
{
    const bool exiting = m.IsExiting();
    if (exiting)
        m.ResetExit();
    const bool canceling = m.IsCanceling();
    if (exiting)
        m.Exit();
    return (canceling ? 1 : 0) | (exiting ? 2 : 0);
}

TEST(ExitManagerTest, StateTableAndSignals)
{
    enum { C = 1, E = 2 }; // flags
    enum Op { Cancel, Exit, ResetCancel, ResetExit };
    // clang-format off
    const struct { int from; Op op; int to; const char* emitted; } rows[] = {
        { 0, Cancel, C, "c" }, { 0, Exit, E, "cq" }, { 0, ResetCancel, 0, "" }, { 0, ResetExit, 0, "" },
        { C, Cancel, C, "" }, { C, Exit, C | E, "cq" }, { C, ResetCancel, 0, "" }, { C, ResetExit, C, "" },
        { E, Cancel, C | E, "c" }, { E, Exit, E, "" }, { E, ResetCancel, E, "" }, { E, ResetExit, 0, "" },
        { C | E, Cancel, C | E, "" }, { C | E, Exit, C | E, "" }, { C | E, ResetCancel, E, "" }, { C | E, ResetExit, C, "" },
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "from " << row.from << " op " << row.op);
        ExitManager m;
        if (row.from & C)
            m.Cancel();
        if (row.from & E)
            m.Exit();
        ASSERT_EQ(rawFlags(m), row.from);
        std::string log;
        logSignals(m, log);
        void (ExitManager::*const ops[])() = { &ExitManager::Cancel, &ExitManager::Exit,
            &ExitManager::ResetCancel, &ExitManager::ResetExit };
        (m.*ops[row.op])();
        EXPECT_EQ(log, row.emitted);
        EXPECT_EQ(m.IsExiting(), (row.to & E) != 0);
        EXPECT_EQ(m.IsCanceling(), row.to != 0); // an exiting process counts as canceling
        EXPECT_EQ(rawFlags(m), row.to);
    }
}

TEST(ExitManagerTest, RaiseAfterResetEmitsAgain)
{
    ExitManager m;
    std::string log;
    logSignals(m, log);
    for (void (ExitManager::*op)() : { &ExitManager::Cancel, &ExitManager::Cancel,
             &ExitManager::ResetCancel, &ExitManager::Cancel, &ExitManager::Exit,
             &ExitManager::Exit, &ExitManager::ResetExit, &ExitManager::Exit })
        (m.*op)();
    EXPECT_EQ(log, "cccqcq");
}

// 8 threads raise both flags at once, half of them Exit() first: of each
// racing group exactly one caller emits.
TEST(ExitManagerConcurrencyTest, RacingRaisesEmitOncePerRaise)
{
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        ExitManager m;
        std::atomic<int> cancels { 0 }, quits { 0 };
        QObject::connect(
            &m, &ExitManager::PrepareToCancel, &m, [&] { ++cancels; }, Qt::DirectConnection);
        QObject::connect(
            &m, &ExitManager::PrepareToQuit, &m, [&] { ++quits; }, Qt::DirectConnection);
        std::atomic<int> ready { 0 };
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&, t] {
                for (++ready; ready.load() < 8;)
                    std::this_thread::yield();
                t % 2 ? m.Exit() : m.Cancel();
                t % 2 ? m.Cancel() : m.Exit();
            });
        }
        for (auto& t : threads)
            t.join();
        ASSERT_EQ(cancels.load(), 2);
        ASSERT_EQ(quits.load(), 1);
        EXPECT_TRUE(m.IsExiting());
    }
}

// Kept on purpose: the answer is fixed, whatever the interfaces say.
TEST(ConnectedToNetworkTest, AlwaysConnected)
{
    EXPECT_TRUE(sync::core::ConnectedToNetwork().IsConnected());
}

} // namespace
