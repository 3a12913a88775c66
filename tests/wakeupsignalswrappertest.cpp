// WakeupSignalsWrapper with real threads, real named semaphores and real
// second processes (the test helper and the synccore tool).

#include "Sync/SyncCore/ExitManager.h"
#include "Sync/SyncCore/SyncException.h"
#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include "TestUtil.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QSemaphore>
#include <QThread>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <functional>
#include <semaphore.h>
#include <unistd.h>

using sync::core::ExitManager;
using sync::syncService::WakeupSignalsWrapper;
using WakeResult = WakeupSignalsWrapper::WakeResult;

namespace {

const QString kPrefix = QStringLiteral("syncSharedMemoryForWakeupSemaphore");
const qint64 ownPid = QCoreApplication::applicationPid();

// Where glibc keeps our named semaphore.
const QString kSemaphoreFile
    = QStringLiteral("/dev/shm/sem.") + WakeupSignalsWrapper::SharedMemoryName;

// Runs the event loop until @p done says yes, at most @p timeoutMs; returns its last answer.
bool waitUntil(const std::function<bool()>& done, int timeoutMs = 10000)
{
    for (QDeadlineTimer deadline(timeoutMs); !done(); QThread::msleep(5)) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    return true;
}

// Copies the "sync" logger's events, as "level|file|function|message" lines, while it lives.
class LogFile
{
public:
    LogFile()
    {
        _appender->setLayout(std::make_unique<log4cplus::PatternLayout>("%p|%F|%M|%m%n"));
        log4cplus::Logger::getInstance("sync").addAppender(_appender);
    }
    ~LogFile() { log4cplus::Logger::getInstance("sync").removeAppender(_appender); }
    QList<QByteArray> lines() const { return testutil::readFile(_path).trimmed().split('\n'); }

private:
    testutil::TempDir _dir;
    QString _path = _dir.filePath(QStringLiteral("sync.log"));
    log4cplus::SharedAppenderPtr _appender { new log4cplus::FileAppender(_path.toStdString()) };
};

// Reaches the protected members; the first two waits can be made to throw.
class TestableWrapper : public WakeupSignalsWrapper
{
public:
    using WakeupSignalsWrapper::_CalculateWaitEndTime;
    using WakeupSignalsWrapper::WakeupSignalsWrapper;
    std::atomic<int> throwsLeft { 0 }; // 2: a SyncException, then an int

protected:
    void _WaitForWakeupCall(int milliseconds) override
    {
        if (const int left = throwsLeft.fetch_sub(1); left == 2)
            throw sync::core::SyncException(QStringLiteral("disk on fire"));
        else if (left == 1)
            throw 42;
        WakeupSignalsWrapper::_WaitForWakeupCall(milliseconds);
    }
};

// Counts Awaken() on the wrapper thread. With the gate closed that thread is
// held inside its Awaken(), so posts made meanwhile arrive while it is busy.
class WakeupTest : public ::testing::Test
{
protected:
    WakeupTest()
    {
        QObject::connect(&_wrapper, &WakeupSignalsWrapper::Awaken, [this] {
            ++_count;
            _seen.release();
            _gate.acquire(); // the test holds it to keep the thread busy
            _gate.release();
        });
        // Qt's futex-based wait() is invisible to ThreadSanitizer; this gives it the edge.
        QObject::connect(&_wrapper, &QThread::finished, [this] { _finished = true; });
    }
    /// Waits (bounded) until at least @p n Awaken() were seen; returns the count then.
    int waitFor(int n)
    {
        if (_seen.tryAcquire(n, 10000))
            _seen.release(n);
        return _count;
    }
    void TearDown() override
    {
        stop();
        // Whatever happened, no test leaves its semaphore (or what stood in its way) behind.
        ::sem_unlink(('/' + _name.toUtf8()).constData());
        QDir().rmdir(kSemaphoreFile);
    }
    void startAndWaitForSemaphore()
    {
        _wrapper.start();
        ASSERT_TRUE(waitUntil([] { return QFileInfo::exists(kSemaphoreFile); })) << "no semaphore";
    }
    /// Raises the exit flag and waits for the thread to end (within one slice).
    bool stop()
    {
        _exit->Exit();
        return _wrapper.wait(3 * WakeupSignalsWrapper::WAIT_SLICE_MS)
            && (!_wrapper.isFinished() || _finished.load());
    }
    WakeResult wake() { return WakeupSignalsWrapper::WakeService(ownPid); }
    testutil::ProcessResult helper(const QStringList& args)
    {
        return testutil::run(testutil::builtExecutable(QStringLiteral("processtesthelper")), args);
    }
    /// Leaves a semaphore of our name with three posts, as a service killed before it cleaned up.
    int leaveStale() { return helper({ QStringLiteral("stale"), _name }).signal; }

    std::shared_ptr<ExitManager> _exit = std::make_shared<ExitManager>();
    TestableWrapper _wrapper { _exit };
    std::atomic<int> _count { 0 };
    std::atomic<bool> _finished { false };
    QSemaphore _seen, _gate { 1 };
    const QString _name = WakeupSignalsWrapper::SharedMemoryName;
};

TEST(WakeupQuirkTest, SlashInLoginAndEndTimeInWholeSeconds)
{
    EXPECT_EQ(WakeupSignalsWrapper::SharedMemoryNameFor(9, QStringLiteral("dom/ann")),
        kPrefix + "dom-ann-9");
    TestableWrapper wrapper(std::make_shared<ExitManager>());
    const auto before = boost::posix_time::microsec_clock::universal_time();
    const auto end = wrapper._CalculateWaitEndTime(2999) - boost::posix_time::seconds(2);
    EXPECT_GE(end, before);
    EXPECT_LE(end, boost::posix_time::microsec_clock::universal_time());
}

// The thread still gets as far as replacing the semaphore left under our name
// before it sees the exit flag and removes its own.
TEST_F(WakeupTest, ExitBeforeStartStillReplacesAndRemovesTheSemaphore)
{
    ASSERT_EQ(leaveStale(), SIGKILL);
    _exit->Exit();
    _wrapper.start();
    ASSERT_TRUE(stop());
    EXPECT_FALSE(QFileInfo::exists(kSemaphoreFile));
}

// A post from another process while the thread is idle, then three while it is
// busy with that one: four Awaken(), each delivered into the owner's event loop.
TEST_F(WakeupTest, EveryPostReachesTheOwnersEventLoop)
{
    QObject owner; // lives in this thread
    int received = 0;
    QObject::connect(&_wrapper, &WakeupSignalsWrapper::Awaken, &owner, [&] {
        EXPECT_EQ(QThread::currentThread(), owner.thread());
        ++received;
    });
    startAndWaitForSemaphore();
    _gate.acquire();
    const auto r = helper({ QStringLiteral("wake"), QString::number(ownPid) });
    ASSERT_EQ(r.exitCode, 0) << r.out.constData() << r.err.constData();
    ASSERT_EQ(waitFor(1), 1);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(wake(), WakeResult::Woken);
    _gate.release();
    EXPECT_EQ(waitFor(4), 4);
    EXPECT_TRUE(waitUntil([&] { return received == 4; })) << received;
    ASSERT_TRUE(stop());
    EXPECT_EQ(_count.load(), 4);
    EXPECT_EQ(wake(), WakeResult::NoService);
}

// Something that is not a semaphore sits under our name and cannot be removed,
// and the first two waits throw: each failure is logged, and the thread runs
// its slices until the exit.
TEST_F(WakeupTest, FailuresAreLoggedAndSurvived)
{
    ASSERT_TRUE(QDir().mkdir(kSemaphoreFile));
    LogFile log;
    _wrapper.throwsLeft = 2;
    _wrapper.start();
    EXPECT_TRUE(waitUntil([&] { return log.lines().size() >= 4; }));
    EXPECT_TRUE(_wrapper.isRunning());
    EXPECT_EQ(wake(), WakeResult::Failed);
    EXPECT_TRUE(stop());
    const QList<QByteArray> lines = log.lines();
    ASSERT_EQ(lines.size(), 4);
    // Kept on purpose: the message is that of the base class, never "disk on fire".
    const QByteArray ends[] = { "|Failed to create shared wakeup semaphore:", std::strerror(EEXIST),
        "|Error occurred waiting for shared wakeup semaphore.  Error:  std::exception",
        "|Caught unknown, unexpected exception.  Swallowing exception." };
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(lines[i].startsWith("ERROR|Sync/SyncCore/WakeupSignalsWrapper|")
            && lines[i].endsWith(ends[i]))
            << lines[i].constData();
}

TEST_F(WakeupTest, AnotherUserCannotWake)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "running a process under another user id needs root";
    startAndWaitForSemaphore();
    // The helper starts as root and drops to nobody before it opens the semaphore.
    const QString ownLogin = _name.mid(kPrefix.size()).section(QLatin1Char('-'), 0, -2);
    const auto r = helper(
        { QStringLiteral("wake"), QString::number(ownPid), ownLogin, QStringLiteral("65534") });
    EXPECT_EQ(r.exitCode, 4) << r.out.constData() << r.err.constData(); // not permitted
}

// The one long test: 10 s of real waiting without a post. The posts left by a
// killed service of our name are seen neither at once nor over five wait slices.
TEST_F(WakeupTest, StaleSemaphoreOfAKilledServiceGivesNoWakeup)
{
    ASSERT_EQ(leaveStale(), SIGKILL);
    _wrapper.start();
    QThread::sleep(10);
    EXPECT_EQ(_count.load(), 0);
    ASSERT_EQ(wake(), WakeResult::Woken);
    EXPECT_EQ(waitFor(1), 1);
}

// The tool's stand-in service and its waking command, as two processes.
TEST(WakeupToolTest, WaitPrintsEachWakeupAndStopsOnSigterm)
{
    const QString tool = testutil::builtExecutable(QStringLiteral("synccore"));
    if (!QFileInfo::exists(tool))
        GTEST_SKIP() << "the synccore tool is not built";
#if defined(__SANITIZE_THREAD__) // the tool is built with it too and needs our suppressions
    if (qEnvironmentVariableIsEmpty("TSAN_OPTIONS"))
        qputenv("TSAN_OPTIONS",
            "die_after_fork=0:suppressions=" SYNCCORE_SOURCE_DIR "/tests/tsan.supp");
#endif
    QProcess service;
    service.start(tool, { QStringLiteral("wait") });
    QByteArray output;
    const auto outputHas = [&](const char* text) {
        return waitUntil([&] {
            service.waitForReadyRead(50);
            output += service.readAllStandardOutput();
            return output.contains(text);
        });
    };
    ASSERT_TRUE(outputHas("waits for wake-up calls")) << output.constData();
    const QString pid = QString::number(service.processId());
    // The line comes as the thread starts; its semaphore may take a moment longer.
    ASSERT_TRUE(waitUntil(
        [&] { return WakeupSignalsWrapper::WakeService(pid.toLongLong()) == WakeResult::Woken; }));
    ASSERT_TRUE(outputHas("woken 1\n")) << output.constData();

    service.terminate();
    ASSERT_TRUE(service.waitForFinished(3 * WakeupSignalsWrapper::WAIT_SLICE_MS));
    EXPECT_EQ(service.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(service.exitCode(), 128 + SIGTERM);
    EXPECT_TRUE(
        (output += service.readAllStandardOutput()).endsWith("stopped after 1 wake-up calls\n"))
        << output.constData();
    const auto gone = testutil::run(tool, { QStringLiteral("wake"), QStringLiteral("--pid"), pid });
    EXPECT_TRUE(gone.exitCode == 1
        && gone.err.contains("no service waits for wake-up calls as process " + pid.toUtf8()))
        << gone.err.constData();

    // Bad input: one line and exit code 2.
    for (const auto& [args, message] : { std::pair { "wake", "wake: missing option --pid PID" },
             { "wake --pid=-5", "wake: --pid: '-5' is not a whole number 1 or more" },
             { "wait now", "wait: unexpected argument (this command takes none)" } }) {
        const auto r = testutil::run(tool, QString::fromLatin1(args).split(QLatin1Char(' ')));
        EXPECT_EQ(r.exitCode, 2) << args;
        EXPECT_EQ(r.out, QByteArray()) << args;
        const QByteArray command = QByteArray(message).left(QByteArray(message).indexOf(':'));
        EXPECT_EQ(r.err,
            QByteArray("synccore ") + message + "\nTry 'synccore " + command
                + " --help' for more information.\n");
    }
}

} // namespace
