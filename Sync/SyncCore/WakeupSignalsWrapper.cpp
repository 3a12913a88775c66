#include "Sync/SyncCore/WakeupSignalsWrapper.h"
#include "Sync/SyncCore/Logger_p.h"

#include "Sync/SyncCore/Finally.h"
#include "Sync/SyncCore/SessionToken.h"
#include "interfaces/ICheckForExit.h"
#include "platform/Platform.h"

#include <QCoreApplication>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <log4cplus/loglevel.h>

#include <cerrno>
#include <exception>

inline namespace KvSync_6_0 {
namespace sync {
namespace syncService {

namespace {

const char* const kFile = "Sync/SyncCore/WakeupSignalsWrapper";
const QString kNamePrefix = QStringLiteral("syncSharedMemoryForWakeupSemaphore");

SYNCCORE_LOGGER(logger, "sync")

void logError(const QString& text, int line, const char* function)
{
    if (logger().isEnabledFor(log4cplus::ERROR_LOG_LEVEL))
        logger().forcedLog(log4cplus::ERROR_LOG_LEVEL, text.toStdString(), kFile, line, function);
}

// The semaphore's name in the system: a leading slash makes it portable.
QByteArray systemName(const QString& sharedMemoryName)
{
    return '/' + sharedMemoryName.toUtf8();
}

} // namespace

const QString WakeupSignalsWrapper::SharedMemoryName
    = kNamePrefix + sync::core::GetSessionAndUserUniqueToken();

WakeupSignalsWrapper::WakeupSignalsWrapper(
    std::shared_ptr<sync::interf::ICheckForExit> checkForExit)
    : QThread(nullptr)
    , _checkForExit(std::move(checkForExit))
{ }

WakeupSignalsWrapper::~WakeupSignalsWrapper() = default;

QString WakeupSignalsWrapper::SharedMemoryNameFor(qint64 servicePid, const QString& loginName)
{
    const QString pid = QString::number(servicePid);
    if (!loginName.isEmpty()) {
        QString name = loginName;
        name.replace(QLatin1Char('/'), QLatin1Char('-'));
        return kNamePrefix + name + QLatin1Char('-') + pid;
    }
    // Our own token with our process id swapped for the service's: whatever
    // the token makes of the login name, both sides then agree on it.
    const QString token = sync::core::GetSessionAndUserUniqueToken();
    const QString ownPid = QString::number(QCoreApplication::applicationPid());
    return kNamePrefix + token.left(token.size() - ownPid.size()) + pid;
}

WakeupSignalsWrapper::WakeResult WakeupSignalsWrapper::WakeService(
    qint64 servicePid, const QString& loginName, QString* errorText)
{
    const int error
        = platform::PostNamedSemaphore(systemName(SharedMemoryNameFor(servicePid, loginName)));
    if (error == 0)
        return WakeResult::Woken;
    if (errorText)
        *errorText = platform::ErrorText(error);
    switch (error) {
    case ENOENT:
        return WakeResult::NoService;
    case EACCES:
    case EPERM:
        return WakeResult::NotPermitted;
    default:
        return WakeResult::Failed;
    }
}

void WakeupSignalsWrapper::run()
{
    // Nothing may leave a thread's body: an escaping exception ends the process.
    try {
        sync::core::Finally removeSemaphore([this] { _RemoveSharedMemory(); });
        _CreateSharedWakeupSemaphore();
        for (;;) {
            if (_IsExiting())
                return;
            try {
                _WaitForWakeupCall(WAIT_SLICE_MS);
            } catch (const std::exception& e) {
                // Kept on purpose: the text logged is that of a plain
                // std::exception copy, never the thrown object's own message.
                const std::exception sliced(e);
                logError(QStringLiteral(
                             "Error occurred waiting for shared wakeup semaphore.  Error:  %0")
                             .arg(QString::fromLatin1(sliced.what())),
                    __LINE__, __PRETTY_FUNCTION__);
                // Has no effect without an event loop; the loop goes on all the same.
                quit();
            } catch (...) {
                logError(
                    QStringLiteral("Caught unknown, unexpected exception.  Swallowing exception."),
                    __LINE__, __PRETTY_FUNCTION__);
            }
        }
    } catch (...) {
        logError(QStringLiteral("Caught unknown, unexpected exception.  Swallowing exception."),
            __LINE__, __PRETTY_FUNCTION__);
    }
}

void WakeupSignalsWrapper::_CreateSharedWakeupSemaphore()
{
    _RemoveSharedMemory();
    int error = 0;
    _semaphore = platform::CreateNamedSemaphore(systemName(SharedMemoryName), &error);
    if (!_semaphore) {
        logError(QStringLiteral("Failed to create shared wakeup semaphore:"), __LINE__,
            __PRETTY_FUNCTION__);
        logError(platform::ErrorText(error), __LINE__, __PRETTY_FUNCTION__);
    }
}

int WakeupSignalsWrapper::_RemoveSharedMemory()
{
    if (!_semaphore)
        return 0;
    const int result = platform::DestroyNamedSemaphore(_semaphore, systemName(SharedMemoryName));
    _semaphore = nullptr;
    return result;
}

void WakeupSignalsWrapper::_WaitForWakeupCall(int milliseconds)
{
    if (_IsExiting())
        return;
    if (!_semaphore) {
        // Nobody can post a semaphore that was never made: only a time-out ends the slice.
        QThread::msleep(static_cast<unsigned long>(milliseconds));
        return;
    }
    int error = 0;
    switch (platform::WaitNamedSemaphore(_semaphore, milliseconds, &error)) {
    case platform::SemaphoreWait::Signalled:
        Q_EMIT Awaken();
        break;
    case platform::SemaphoreWait::TimedOut:
        break;
    case platform::SemaphoreWait::Failed:
        // A wait that fails at once would otherwise spin the loop; let the slice pass.
        QThread::msleep(static_cast<unsigned long>(milliseconds));
        break;
    }
}

boost::posix_time::ptime WakeupSignalsWrapper::_CalculateWaitEndTime(int milliseconds)
{
    return boost::posix_time::microsec_clock::universal_time()
        + boost::posix_time::seconds(milliseconds / 1000);
}

void WakeupSignalsWrapper::_ValidateWakeupSemaphore() { }

bool WakeupSignalsWrapper::_IsExiting() const
{
    return !_checkForExit || _checkForExit->IsExiting();
}

} // namespace syncService
} // namespace sync
} // namespace KvSync_6_0
