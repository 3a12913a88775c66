// WakeupSignalsWrapper with real threads, real named semaphores and real
// second processes (the test helper and the synccore tool).

#include "Sync/SyncCore/ExitManager.h"
#include "Sync/SyncCore/SessionToken.h"
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
#include <fcntl.h>
#include <functional>
#include <semaphore.h>
#include <sys/stat.h>
#include <unistd.h>

using sync::core::ExitManager;
using sync::syncService::WakeupSignalsWrapper;
using WakeResult = WakeupSignalsWrapper::WakeResult;

namespace {

const QString kPrefix = QStringLiteral("syncSharedMemoryForWakeupSemaphore");
const qint64 ownPid = QCoreApplication::applicationPid();

// Where glibc keeps a named semaphore.
QString semaphoreFile(const QString& name = WakeupSignalsWrapper::SharedMemoryName)
{
    return QStringLiteral("/dev/shm/sem.") + name;
}

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
    QList<QByteArray> lines() const
    {
        return testutil::readFile(_path).split('\n').mid(0, testutil::readFile(_path).count('\n'));
    }

private:
    testutil::TempDir _dir;
    QString _path = _dir.filePath(QStringLiteral("sync.log"));
    log4cplus::SharedAppenderPtr _appender { new log4cplus::FileAppender(_path.toStdString()) };
};

// Reaches the protected members; each of the first waits can be made to throw.
class TestableWrapper : public WakeupSignalsWrapper
{
public:
    using WakeupSignalsWrapper::_CalculateWaitEndTime;
    using WakeupSignalsWrapper::WakeupSignalsWrapper;
    std::vector<std::function<void()>> throwers;

protected:
    void _WaitForWakeupCall(int milliseconds) override
    {
        if (const std::size_t n = _calls++; n < throwers.size())
            throwers[n]();
        WakeupSignalsWrapper::_WaitForWakeupCall(milliseconds);
    }

private:
    std::atomic<std::size_t> _calls { 0 };
};

// Counts Awaken() on the wrapper thread. With the gate closed that thread is
// held inside its Awaken(), so posts made meanwhile arrive while it is busy.
class WakeupTest : public ::testing::Test
{
protected:
    WakeupTest()
    {
        QObject::connect(
            &_wrapper, &WakeupSignalsWrapper::Awaken, &_wrapper,
            [this] {
                ++_count;
                _seen.release();
                _gate.acquire(); // the test holds it to keep the thread busy
                _gate.release();
            },
            Qt::DirectConnection);
        // Qt's futex-based wait() is invisible to ThreadSanitizer; this gives it the edge.
        QObject::connect(
            &_wrapper, &QThread::finished, &_wrapper, [this] { _finished = true; },
            Qt::DirectConnection);
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
        // Whatever happened, no test leaves its semaphore behind.
        ::sem_unlink(('/' + WakeupSignalsWrapper::SharedMemoryName.toUtf8()).constData());
    }
    void startAndWaitForSemaphore()
    {
        _wrapper.start();
        ASSERT_TRUE(waitUntil([] { return QFileInfo::exists(semaphoreFile()); })) << "no semaphore";
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

    std::shared_ptr<ExitManager> _exit = std::make_shared<ExitManager>();
    TestableWrapper _wrapper { _exit };
    std::atomic<int> _count { 0 };
    std::atomic<bool> _finished { false };
    QSemaphore _seen, _gate { 1 };
};

TEST(WakeupNameTest, BuiltFromTheSessionTokenOnBothSides)
{
    const QString& name = WakeupSignalsWrapper::SharedMemoryName;
    EXPECT_EQ(name, kPrefix + sync::core::GetSessionAndUserUniqueToken());
    EXPECT_EQ(WakeupSignalsWrapper::SharedMemoryNameFor(ownPid), name);
    EXPECT_EQ(WakeupSignalsWrapper::SharedMemoryNameFor(9, QStringLiteral("dom/ann")),
        kPrefix + "dom-ann-9");
}

TEST(WakeupEndTimeTest, CountsWholeSecondsOnly)
{
    TestableWrapper wrapper(std::make_shared<ExitManager>());
    for (const auto& [ms, seconds] :
        { std::pair { 0, 0 }, { 999, 0 }, { 2500, 2 }, { 61999, 61 } }) {
        const auto before = boost::posix_time::microsec_clock::universal_time();
        const auto end = wrapper._CalculateWaitEndTime(ms) - boost::posix_time::seconds(seconds);
        EXPECT_TRUE(end >= before && end <= boost::posix_time::microsec_clock::universal_time())
            << ms;
    }
}

TEST_F(WakeupTest, ExitBeforeStartStillReplacesAndRemovesTheSemaphore)
{
    // A semaphore left under our name shows that the thread got as far as
    // replacing it before it saw the exit flag and removed its own.
    sem_t* left = ::sem_open(('/' + WakeupSignalsWrapper::SharedMemoryName.toUtf8()).constData(),
        O_CREAT, S_IRUSR | S_IWUSR, 1u);
    ASSERT_NE(left, SEM_FAILED);
    ::sem_close(left);
    _exit->Exit();
    _wrapper.start();
    ASSERT_TRUE(stop());
    EXPECT_FALSE(QFileInfo::exists(semaphoreFile()));
    EXPECT_EQ(_count.load(), 0);
}

TEST_F(WakeupTest, AnotherProcessWakesTheOwnersEventLoop)
{
    EXPECT_EQ(WakeupSignalsWrapper::WakeService(1), WakeResult::NoService); // runs, but no service
    QObject owner; // lives in this thread, whose event loop receives Awaken()
    int received = 0;
    QObject::connect(&_wrapper, &WakeupSignalsWrapper::Awaken, &owner, [&] {
        EXPECT_EQ(QThread::currentThread(), owner.thread());
        ++received;
    });
    startAndWaitForSemaphore();
    struct stat info = {};
    ASSERT_EQ(::stat(QFile::encodeName(semaphoreFile()).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u) << "only the service's user may open it";
    EXPECT_EQ(info.st_uid, ::geteuid());

    const auto r = helper({ QStringLiteral("wake"), QString::number(ownPid) });
    ASSERT_EQ(r.exitCode, 0) << r.out.constData() << r.err.constData();
    ASSERT_TRUE(waitUntil([&] { return received >= 1; }));
    ASSERT_TRUE(stop());
    QCoreApplication::processEvents();
    EXPECT_EQ(received, 1);
    EXPECT_FALSE(QFileInfo::exists(semaphoreFile()));
    EXPECT_EQ(wake(), WakeResult::NoService);
}

TEST_F(WakeupTest, EveryPostWhileBusyGivesItsOwnAwaken)
{
    startAndWaitForSemaphore();
    _gate.acquire();
    ASSERT_EQ(wake(), WakeResult::Woken);
    ASSERT_EQ(waitFor(1), 1);
    // The thread is now held inside its first Awaken(): these three are counted, not lost.
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(wake(), WakeResult::Woken);
    _gate.release();
    EXPECT_EQ(waitFor(4), 4);
    ASSERT_TRUE(stop());
    EXPECT_EQ(_count.load(), 4);
}

TEST_F(WakeupTest, FailedWaitsAreLoggedAndTheLoopGoesOn)
{
    LogFile log;
    _wrapper.throwers = { [] { throw sync::core::SyncException(QStringLiteral("disk on fire")); },
        [] { throw 42; } };
    startAndWaitForSemaphore();
    ASSERT_EQ(wake(), WakeResult::Woken);
    EXPECT_EQ(waitFor(1), 1) << "the thread did not survive the failures";
    ASSERT_TRUE(stop());
    const QList<QByteArray> lines = log.lines();
    ASSERT_EQ(lines.size(), 2);
    // Kept on purpose: the message is that of the base class, never "disk on fire".
    EXPECT_TRUE(lines[0].endsWith(
        "|Error occurred waiting for shared wakeup semaphore.  Error:  std::exception"));
    EXPECT_TRUE(lines[1].endsWith("|Caught unknown, unexpected exception.  Swallowing exception."));
    for (const QByteArray& line : lines)
        EXPECT_TRUE(line.startsWith("ERROR|Sync/SyncCore/WakeupSignalsWrapper|")
            && line.contains("WakeupSignalsWrapper::run()|"))
            << line.constData();
    EXPECT_FALSE(QFileInfo::exists(semaphoreFile()));
}

// Something that is not a semaphore sits under our name and cannot be removed:
// creating fails, is logged, and the thread still runs its slices until the exit.
TEST_F(WakeupTest, FailureToCreateIsLoggedAndSurvived)
{
    ASSERT_TRUE(QDir().mkdir(semaphoreFile()));
    LogFile log;
    _wrapper.start();
    EXPECT_TRUE(waitUntil([&] { return log.lines().size() >= 2; }));
    EXPECT_TRUE(_wrapper.isRunning());
    EXPECT_EQ(wake(), WakeResult::Failed);
    EXPECT_TRUE(stop());
    QDir().rmdir(semaphoreFile());
    const QList<QByteArray> lines = log.lines();
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines[0].endsWith("|Failed to create shared wakeup semaphore:"))
        << lines[0].constData();
    EXPECT_TRUE(lines[1].endsWith(QByteArray("|") + std::strerror(EEXIST))) << lines[1].constData();
    EXPECT_EQ(_count.load(), 0);
}

TEST_F(WakeupTest, AnotherUserCannotWake)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "running a process under another user id needs root";
    startAndWaitForSemaphore();
    // The helper starts as root and drops to nobody before it opens the semaphore.
    const QString ownLogin = WakeupSignalsWrapper::SharedMemoryName.mid(kPrefix.size())
                                 .section(QLatin1Char('-'), 0, -2);
    const auto r = helper(
        { QStringLiteral("wake"), QString::number(ownPid), ownLogin, QStringLiteral("65534") });
    EXPECT_EQ(r.exitCode, 4) << r.out.constData() << r.err.constData();
    EXPECT_TRUE(r.out.startsWith("not permitted")) << r.out.constData();
    ASSERT_TRUE(stop());
    EXPECT_EQ(_count.load(), 0);
}

// The one long test: 10 s of real waiting without a post. A service of our
// name that was killed left its semaphore with three posts pending; a new
// service must not see them, neither at once nor over five wait slices.
TEST_F(WakeupTest, StaleSemaphoreOfAKilledServiceGivesNoWakeup)
{
    const auto r = helper({ QStringLiteral("stale"), WakeupSignalsWrapper::SharedMemoryName });
    ASSERT_EQ(r.signal, SIGKILL) << r.err.constData();
    // Held open, the old semaphore shows whether anyone took its posts.
    sem_t* old = ::sem_open(('/' + WakeupSignalsWrapper::SharedMemoryName.toUtf8()).constData(), 0);
    ASSERT_NE(old, SEM_FAILED);
    _wrapper.start();
    QThread::sleep(10);
    EXPECT_EQ(_count.load(), 0);
    int oldCount = -1;
    ::sem_getvalue(old, &oldCount);
    ::sem_close(old);
    EXPECT_EQ(oldCount, 3);
    EXPECT_TRUE(_wrapper.isRunning());
    ASSERT_EQ(wake(), WakeResult::Woken);
    EXPECT_EQ(waitFor(1), 1);
    ASSERT_TRUE(stop());
    EXPECT_EQ(_count.load(), 1);
    EXPECT_FALSE(QFileInfo::exists(semaphoreFile()));
}

// The tool's stand-in service and its waking command, as two processes.
TEST(WakeupToolTest, WaitPrintsEachWakeupAndStopsOnSigterm)
{
    const QString tool = testutil::builtExecutable(QStringLiteral("synccore"));
    if (!QFileInfo::exists(tool))
        GTEST_SKIP() << "the synccore tool is not built";
        // The tool is built with the same sanitizer and needs our suppressions.
#if defined(__SANITIZE_THREAD__)
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
    const QStringList wakeArgs { QStringLiteral("wake"), QStringLiteral("--pid"), pid };
    // The line comes as the thread starts; its semaphore may take a moment longer.
    testutil::ProcessResult woke;
    waitUntil([&] { return (woke = testutil::run(tool, wakeArgs)).exitCode != 1; });
    EXPECT_EQ(woke.exitCode, 0) << woke.err.constData();
    EXPECT_EQ(woke.out.trimmed(), "woke process " + pid.toUtf8());
    ASSERT_TRUE(outputHas("woken 1\n")) << output.constData();

    service.terminate();
    ASSERT_TRUE(service.waitForFinished(3 * WakeupSignalsWrapper::WAIT_SLICE_MS));
    output += service.readAllStandardOutput();
    EXPECT_TRUE(service.exitStatus() == QProcess::NormalExit && service.exitCode() == 0)
        << service.readAllStandardError().constData();
    EXPECT_TRUE(output.contains("stopping on signal 15\n")) << output.constData();
    EXPECT_TRUE(output.endsWith("stopped after 1 wake-up calls\n")) << output.constData();
    EXPECT_FALSE(QFileInfo::exists(
        semaphoreFile(WakeupSignalsWrapper::SharedMemoryNameFor(pid.toLongLong()))));
    const auto gone = testutil::run(tool, wakeArgs);
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_TRUE(gone.err.contains("no service waits for wake-up calls as process " + pid.toUtf8()))
        << gone.err.constData();

    // Bad input: one line and exit code 2.
    // clang-format off
    const std::pair<const char*, const char*> bad[] = {
        { "wake", "wake needs --pid PID" }, { "wake --pid", "unexpected argument '--pid'" },
        { "wake --pid abc", "not a process id: 'abc'" }, { "wake --pid=-5", "not a process id: '-5'" },
        { "wake --pid 5 x", "unexpected argument 'x'" }, { "wait now", "wait takes no arguments" } };
    // clang-format on
    for (const auto& [args, message] : bad) {
        const auto r = testutil::run(tool, QString::fromLatin1(args).split(QLatin1Char(' ')));
        EXPECT_EQ(r.exitCode, 2) << args;
        EXPECT_EQ(r.err, QByteArray("synccore: ") + message + '\n');
        EXPECT_TRUE(r.out.isEmpty());
    }
}

} // namespace
