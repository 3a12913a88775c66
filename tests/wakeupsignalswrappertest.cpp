// WakeupSignalsWrapper with real threads, real named semaphores and real
// second processes (the test helper and the synccore tool).

#include "Sync/SyncCore/ExitManager.h"
#include "Sync/SyncCore/SessionToken.h"
#include "Sync/SyncCore/SyncException.h"
#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include "TestUtil.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <mutex>
#include <semaphore.h>
#include <sys/stat.h>
#include <unistd.h>

using sync::core::ExitManager;
using sync::syncService::WakeupSignalsWrapper;
using WakeResult = WakeupSignalsWrapper::WakeResult;

namespace {
// The tool is built with the same sanitizer and needs the same suppressions.
void giveChildrenOurSanitizerOptions()
{
#if defined(__SANITIZE_THREAD__)
    if (qEnvironmentVariableIsEmpty("TSAN_OPTIONS"))
        qputenv("TSAN_OPTIONS", "die_after_fork=0:suppressions=" SYNCCORE_SOURCE_DIR "/tests/tsan.supp");
#endif
}
} // namespace

namespace {

const QString kPrefix = QStringLiteral("syncSharedMemoryForWakeupSemaphore");

qint64 ownPid()
{
    return QCoreApplication::applicationPid();
}

// Where glibc keeps a named semaphore.
QString semaphoreFile(const QString& sharedMemoryName)
{
    return QStringLiteral("/dev/shm/sem.") + sharedMemoryName;
}

QString ownSemaphoreFile()
{
    return semaphoreFile(WakeupSignalsWrapper::SharedMemoryName);
}

// Runs the event loop until @p done (called once per round) says yes, at most
// @p timeoutMs; returns its last answer.
bool waitUntil(const std::function<bool()>& done, int timeoutMs = 10000)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (done())
            return true;
        if (std::chrono::steady_clock::now() >= end)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(5);
    }
}

QString processHelper()
{
    return testutil::builtExecutable(QStringLiteral("processtesthelper"));
}

// The login-name part of our own semaphore name.
QString ownLoginName()
{
    const QString suffix = QLatin1Char('-') + QString::number(ownPid());
    QString name = WakeupSignalsWrapper::SharedMemoryName.mid(kPrefix.size());
    name.chop(suffix.size());
    return name;
}

// Counts Awaken() on the emitting (wrapper) thread. With the gate closed the
// wrapper thread is held inside its first Awaken() until the gate opens, so
// posts made meanwhile arrive while the thread is busy.
class AwakenCounter
{
public:
    explicit AwakenCounter(WakeupSignalsWrapper& wrapper)
    {
        QObject::connect(
            &wrapper, &WakeupSignalsWrapper::Awaken, &wrapper,
            [this] {
                std::unique_lock<std::mutex> lock(_mutex);
                ++_count;
                _changed.notify_all();
                _changed.wait(lock, [this] { return _gateOpen; });
            },
            Qt::DirectConnection);
    }

    int count() const
    {
        std::lock_guard<std::mutex> lock(_mutex);
        return _count;
    }

    /// Waits (bounded) until at least @p n Awaken() were seen; returns the count then.
    int waitFor(int n, int timeoutMs = 10000)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _changed.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return _count >= n; });
        return _count;
    }

    void setGateOpen(bool open)
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _gateOpen = open;
        _changed.notify_all();
    }

private:
    mutable std::mutex _mutex;
    std::condition_variable _changed;
    int _count = 0;
    bool _gateOpen = true;
};

// Collects the events of one logger.
class CaptureAppender : public log4cplus::Appender
{
public:
    struct Event
    {
        log4cplus::LogLevel level;
        std::string message, file, function;
    };

    ~CaptureAppender() override { destructorImpl(); }
    void close() override { }

    std::vector<Event> events() const
    {
        std::lock_guard<std::mutex> lock(_mutex);
        return _events;
    }

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& e) override
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _events.push_back({ e.getLogLevel(), e.getMessage(), e.getFile(), e.getFunction() });
    }

private:
    mutable std::mutex _mutex;
    std::vector<Event> _events;
};

// Reaches the protected members that a caller never needs.
class TestableWrapper : public WakeupSignalsWrapper
{
public:
    using WakeupSignalsWrapper::_CalculateWaitEndTime;
    using WakeupSignalsWrapper::WakeupSignalsWrapper;

    /// When set, replaces the next waits: each call takes the next thrower, then the real wait
    /// follows.
    std::vector<std::function<void()>> throwers;

protected:
    void _WaitForWakeupCall(int milliseconds) override
    {
        const std::size_t n = _calls.fetch_add(1);
        if (n < throwers.size())
            throwers[n]();
        WakeupSignalsWrapper::_WaitForWakeupCall(milliseconds);
    }

private:
    std::atomic<std::size_t> _calls { 0 };
};

class WakeupTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        _exit = std::make_shared<ExitManager>();
        _wrapper = std::make_unique<TestableWrapper>(_exit);
    }

    void TearDown() override
    {
        stop();
        _wrapper.reset();
        // Whatever happened, no test leaves its semaphore behind.
        ::sem_unlink(('/' + WakeupSignalsWrapper::SharedMemoryName.toUtf8()).constData());
    }

    /// Starts the thread and waits until its semaphore can be found.
    void startAndWaitForSemaphore()
    {
        _wrapper->start();
        ASSERT_TRUE(waitUntil([] { return QFileInfo::exists(ownSemaphoreFile()); }))
            << "the wake-up semaphore never appeared";
    }

    /// Raises the exit flag and waits for the thread to end (within one slice).
    bool stop()
    {
        _exit->Exit();
        return _wrapper->wait(3 * WakeupSignalsWrapper::WAIT_SLICE_MS);
    }

    std::shared_ptr<ExitManager> _exit;
    std::unique_ptr<TestableWrapper> _wrapper;
};

} // namespace

TEST(WakeupNameTest, BuiltFromTheSessionToken)
{
    EXPECT_EQ(WakeupSignalsWrapper::SharedMemoryName,
        kPrefix + sync::core::GetSessionAndUserUniqueToken());
    EXPECT_TRUE(WakeupSignalsWrapper::SharedMemoryName.endsWith(
        QLatin1Char('-') + QString::number(ownPid())));
    // The waking side computes the very name the service publishes.
    EXPECT_EQ(WakeupSignalsWrapper::SharedMemoryNameFor(ownPid()),
        WakeupSignalsWrapper::SharedMemoryName);
    EXPECT_EQ(WakeupSignalsWrapper::SharedMemoryNameFor(4711),
        kPrefix + ownLoginName() + QStringLiteral("-4711"));
    EXPECT_EQ(WakeupSignalsWrapper::SharedMemoryNameFor(4711, QStringLiteral("user1")),
        kPrefix + QStringLiteral("user1-4711"));
    EXPECT_EQ(WakeupSignalsWrapper::SharedMemoryNameFor(9, QStringLiteral("dom/ann")),
        kPrefix + QStringLiteral("dom-ann-9"));
}

TEST(WakeupEndTimeTest, CountsWholeSecondsOnly)
{
    TestableWrapper wrapper(std::make_shared<ExitManager>());
    const struct
    {
        int milliseconds;
        int seconds;
    } rows[] = { { 0, 0 }, { 999, 0 }, { 2000, 2 }, { 2500, 2 }, { 61999, 61 } };
    for (const auto& row : rows) {
        const auto before = boost::posix_time::microsec_clock::universal_time();
        const auto end = wrapper._CalculateWaitEndTime(row.milliseconds);
        const auto after = boost::posix_time::microsec_clock::universal_time();
        EXPECT_GE(end, before + boost::posix_time::seconds(row.seconds)) << row.milliseconds;
        EXPECT_LE(end, after + boost::posix_time::seconds(row.seconds)) << row.milliseconds;
    }
}

TEST_F(WakeupTest, WakingWithoutServiceFailsClearly)
{
    QString reason;
    EXPECT_EQ(
        WakeupSignalsWrapper::WakeService(ownPid(), QString(), &reason), WakeResult::NoService);
    EXPECT_FALSE(reason.isEmpty());
    // Process 1 runs, but not as a service of ours.
    EXPECT_EQ(WakeupSignalsWrapper::WakeService(1), WakeResult::NoService);
}

TEST_F(WakeupTest, ExitBeforeStartStillReplacesAndRemovesTheSemaphore)
{
    // A semaphore left under our name shows that the thread got as far as
    // replacing it before it saw the exit flag and removed its own.
    const QByteArray name = '/' + WakeupSignalsWrapper::SharedMemoryName.toUtf8();
    sem_t* left = ::sem_open(name.constData(), O_CREAT, S_IRUSR | S_IWUSR, 1u);
    ASSERT_NE(left, SEM_FAILED);
    ::sem_close(left);
    ASSERT_TRUE(QFileInfo::exists(ownSemaphoreFile()));

    AwakenCounter counter(*_wrapper);
    _exit->Exit();
    _wrapper->start();
    ASSERT_TRUE(_wrapper->wait(3 * WakeupSignalsWrapper::WAIT_SLICE_MS));
    EXPECT_FALSE(QFileInfo::exists(ownSemaphoreFile()));
    EXPECT_EQ(counter.count(), 0);
}

TEST_F(WakeupTest, AnotherProcessWakesTheOwnersEventLoop)
{
    QObject owner; // lives in this thread, whose event loop receives Awaken()
    int received = 0;
    bool onOwnerThread = true;
    QObject::connect(_wrapper.get(), &WakeupSignalsWrapper::Awaken, &owner, [&] {
        onOwnerThread = onOwnerThread && QThread::currentThread() == owner.thread();
        ++received;
    });
    startAndWaitForSemaphore();

    struct stat info
    {
    };
    ASSERT_EQ(::stat(QFile::encodeName(ownSemaphoreFile()).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u) << "only the service's user may open it";
    EXPECT_EQ(info.st_uid, ::geteuid());

    const auto r
        = testutil::run(processHelper(), { QStringLiteral("wake"), QString::number(ownPid()) });
    ASSERT_EQ(r.exitCode, 0) << r.out.constData() << r.err.constData();
    ASSERT_TRUE(waitUntil([&] { return received >= 1; }));
    EXPECT_TRUE(onOwnerThread);

    ASSERT_TRUE(stop());
    QCoreApplication::processEvents();
    EXPECT_EQ(received, 1);
    EXPECT_FALSE(QFileInfo::exists(ownSemaphoreFile()));
    EXPECT_EQ(WakeupSignalsWrapper::WakeService(ownPid()), WakeResult::NoService);
}

TEST_F(WakeupTest, EveryPostWhileBusyGivesItsOwnAwaken)
{
    AwakenCounter counter(*_wrapper);
    startAndWaitForSemaphore();

    counter.setGateOpen(false);
    ASSERT_EQ(WakeupSignalsWrapper::WakeService(ownPid()), WakeResult::Woken);
    ASSERT_EQ(counter.waitFor(1), 1);
    // The thread is now held inside its first Awaken(): these three are counted, not lost.
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(WakeupSignalsWrapper::WakeService(ownPid()), WakeResult::Woken);
    counter.setGateOpen(true);
    EXPECT_EQ(counter.waitFor(4), 4);

    ASSERT_TRUE(stop());
    EXPECT_EQ(counter.count(), 4);
}

TEST_F(WakeupTest, FailedWaitsAreLoggedAndTheLoopGoesOn)
{
    log4cplus::Logger logger = log4cplus::Logger::getInstance("sync");
    auto* capture = new CaptureAppender;
    log4cplus::SharedAppenderPtr appender(capture);
    logger.addAppender(appender);

    _wrapper->throwers = { [] { throw sync::core::SyncException(QStringLiteral("disk on fire")); },
        [] { throw 42; } };
    AwakenCounter counter(*_wrapper);
    startAndWaitForSemaphore();
    ASSERT_EQ(WakeupSignalsWrapper::WakeService(ownPid()), WakeResult::Woken);
    EXPECT_EQ(counter.waitFor(1), 1) << "the thread did not survive the failures";
    ASSERT_TRUE(stop());
    logger.removeAppender(appender);

    const auto events = capture->events();
    ASSERT_EQ(events.size(), 2u);
    // Kept on purpose: the message is that of the base class, never "disk on fire".
    EXPECT_EQ(events[0].message,
        "Error occurred waiting for shared wakeup semaphore.  Error:  std::exception");
    EXPECT_EQ(events[1].message, "Caught unknown, unexpected exception.  Swallowing exception.");
    for (const auto& e : events) {
        EXPECT_EQ(e.level, log4cplus::ERROR_LOG_LEVEL);
        EXPECT_EQ(e.file, "Sync/SyncCore/WakeupSignalsWrapper");
        EXPECT_NE(e.function.find("WakeupSignalsWrapper::run()"), std::string::npos) << e.function;
    }
    EXPECT_FALSE(QFileInfo::exists(ownSemaphoreFile()));
}

// Something that is not a semaphore sits under our name and cannot be
// removed: creating fails, is logged, and the thread still runs its slices
// until the exit.
TEST_F(WakeupTest, FailureToCreateIsLoggedAndSurvived)
{
    ASSERT_TRUE(QDir().mkdir(ownSemaphoreFile()));
    log4cplus::Logger logger = log4cplus::Logger::getInstance("sync");
    auto* capture = new CaptureAppender;
    log4cplus::SharedAppenderPtr appender(capture);
    logger.addAppender(appender);

    AwakenCounter counter(*_wrapper);
    _wrapper->start();
    EXPECT_TRUE(waitUntil([&] { return capture->events().size() >= 2; }));
    EXPECT_TRUE(_wrapper->isRunning());
    EXPECT_EQ(WakeupSignalsWrapper::WakeService(ownPid()), WakeResult::Failed);
    EXPECT_TRUE(stop());
    logger.removeAppender(appender);
    QDir().rmdir(ownSemaphoreFile());

    const auto events = capture->events();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].message, "Failed to create shared wakeup semaphore:");
    EXPECT_EQ(
        QString::fromStdString(events[1].message), QString::fromLocal8Bit(std::strerror(EEXIST)));
    EXPECT_EQ(counter.count(), 0);
}

TEST_F(WakeupTest, AnotherUserCannotWake)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "running a process under another user id needs root";
    AwakenCounter counter(*_wrapper);
    startAndWaitForSemaphore();

    // The helper starts as root and drops to nobody before it opens the semaphore.
    const auto r = testutil::run(processHelper(),
        { QStringLiteral("wake"), QString::number(ownPid()), ownLoginName(),
            QStringLiteral("65534"), QStringLiteral("65534") });
    EXPECT_EQ(r.exitCode, 4) << r.out.constData() << r.err.constData();
    EXPECT_TRUE(r.out.startsWith("not permitted")) << r.out.constData();

    // The same user still gets through, and nothing else did.
    ASSERT_EQ(WakeupSignalsWrapper::WakeService(ownPid()), WakeResult::Woken);
    EXPECT_EQ(counter.waitFor(1), 1);
    ASSERT_TRUE(stop());
    EXPECT_EQ(counter.count(), 1);
}

// The one long test: 10 s of real waiting. A service of our name that was
// killed left its semaphore with three posts pending; a new service must not
// see them, neither at once nor over five wait slices.
TEST_F(WakeupTest, StaleSemaphoreOfAKilledServiceGivesNoWakeup)
{
    const auto r = testutil::run(processHelper(),
        { QStringLiteral("stale"), WakeupSignalsWrapper::SharedMemoryName, QStringLiteral("3") });
    ASSERT_EQ(r.signal, SIGKILL) << r.err.constData();
    const QByteArray name = '/' + WakeupSignalsWrapper::SharedMemoryName.toUtf8();
    // Held open, the old semaphore shows whether anyone took its posts.
    sem_t* old = ::sem_open(name.constData(), 0);
    ASSERT_NE(old, SEM_FAILED);

    AwakenCounter counter(*_wrapper);
    _wrapper->start();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < end)
        QThread::msleep(100);
    EXPECT_EQ(counter.count(), 0);
    int oldCount = -1;
    ::sem_getvalue(old, &oldCount);
    EXPECT_EQ(oldCount, 3);
    ::sem_close(old);
    EXPECT_TRUE(_wrapper->isRunning());

    ASSERT_EQ(WakeupSignalsWrapper::WakeService(ownPid()), WakeResult::Woken);
    EXPECT_EQ(counter.waitFor(1), 1);
    ASSERT_TRUE(stop());
    EXPECT_EQ(counter.count(), 1);
    EXPECT_FALSE(QFileInfo::exists(ownSemaphoreFile()));
}

// The tool's stand-in service and its waking command, as two processes.
TEST(WakeupToolTest, WaitPrintsEachWakeupAndStopsOnSigterm)
{
    const QString tool = testutil::builtExecutable(QStringLiteral("synccore"));
    if (!QFileInfo::exists(tool))
        GTEST_SKIP() << "the synccore tool is not built";
    giveChildrenOurSanitizerOptions();

    QProcess service;
    service.start(tool, { QStringLiteral("wait") });
    ASSERT_TRUE(service.waitForStarted());
    QByteArray output;
    ASSERT_TRUE(waitUntil([&] {
        service.waitForReadyRead(50);
        output += service.readAllStandardOutput();
        return output.contains("waits for wake-up calls");
    })) << output.constData();
    const QString pid = QString::number(service.processId());

    // The line comes as the thread starts; its semaphore may take a moment longer.
    testutil::ProcessResult woke;
    waitUntil([&] {
        woke = testutil::run(tool, { QStringLiteral("wake"), QStringLiteral("--pid"), pid });
        return woke.exitCode != 1;
    });
    EXPECT_EQ(woke.exitCode, 0) << woke.err.constData();
    EXPECT_EQ(woke.out.trimmed(), "woke process " + pid.toUtf8());
    ASSERT_TRUE(waitUntil([&] {
        service.waitForReadyRead(50);
        output += service.readAllStandardOutput();
        return output.contains("woken 1\n");
    })) << output.constData();

    service.terminate();
    ASSERT_TRUE(service.waitForFinished(3 * WakeupSignalsWrapper::WAIT_SLICE_MS));
    output += service.readAllStandardOutput();
    EXPECT_EQ(service.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(service.exitCode(), 0) << service.readAllStandardError().constData();
    EXPECT_TRUE(output.contains("stopping on signal 15\n")) << output.constData();
    EXPECT_TRUE(output.endsWith("stopped after 1 wake-up calls\n")) << output.constData();
    EXPECT_FALSE(QFileInfo::exists(
        semaphoreFile(WakeupSignalsWrapper::SharedMemoryNameFor(service.processId()))));

    const auto gone = testutil::run(tool, { QStringLiteral("wake"), QStringLiteral("--pid"), pid });
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_TRUE(gone.err.contains("no service waits for wake-up calls as process " + pid.toUtf8()))
        << gone.err.constData();
}

struct BadWakeRow
{
    const char* name;
    QStringList args;
    const char* message;
};

class WakeupToolUsageTest : public ::testing::TestWithParam<BadWakeRow>
{
};

TEST_P(WakeupToolUsageTest, BadInputIsOneLineAndExitCodeTwo)
{
    const QString tool = testutil::builtExecutable(QStringLiteral("synccore"));
    if (!QFileInfo::exists(tool))
        GTEST_SKIP() << "the synccore tool is not built";
    const auto r = testutil::run(tool, GetParam().args);
    EXPECT_EQ(r.exitCode, 2);
    EXPECT_EQ(r.err, QByteArray("synccore: ") + GetParam().message + '\n');
    EXPECT_TRUE(r.out.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Rows, WakeupToolUsageTest,
    ::testing::Values(BadWakeRow { "noPid", { QStringLiteral("wake") }, "wake needs --pid PID" },
        BadWakeRow { "pidWithoutValue", { QStringLiteral("wake"), QStringLiteral("--pid") },
            "unexpected argument '--pid'" },
        BadWakeRow { "notANumber",
            { QStringLiteral("wake"), QStringLiteral("--pid"), QStringLiteral("abc") },
            "not a process id: 'abc'" },
        BadWakeRow { "negative", { QStringLiteral("wake"), QStringLiteral("--pid=-5") },
            "not a process id: '-5'" },
        BadWakeRow { "extra",
            { QStringLiteral("wake"), QStringLiteral("--pid"), QStringLiteral("5"),
                QStringLiteral("x") },
            "unexpected argument 'x'" },
        BadWakeRow { "waitArgs", { QStringLiteral("wait"), QStringLiteral("now") },
            "wait takes no arguments" }),
    [](const auto& info) { return std::string(info.param.name); });
