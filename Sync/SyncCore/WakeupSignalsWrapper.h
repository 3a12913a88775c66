#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QString>
#include <QThread>

#include <memory>

namespace boost {
namespace posix_time {
class ptime;
}
} // namespace boost

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {
class ICheckForExit;
}

namespace syncService {

/**
 * @brief The service's wake-up thread: another process of the same user can
 * make the service start a pass at once.
 *
 * While running, the thread owns a named semaphore, readable and writable only
 * by its user, under "/" + SharedMemoryName, and waits on it in slices of
 * 2000 ms. Each post of the semaphore (see WakeService()) gives one Awaken(),
 * emitted from this thread, so receivers living in other threads get it
 * queued into their event loop. Posts made while the thread is busy between
 * two waits are counted and each is seen at a following wait.
 *
 * Before every wait the thread asks the exit controller; once the process is
 * exiting, run() returns within one slice and the semaphore is removed,
 * whichever way run() is left. The owner starts the thread with start(), and
 * at shutdown raises the exit flag and calls wait() before destroying the
 * object: destroying it does not stop the thread.
 *
 * Failures of the operating system are logged on the "sync" logger and
 * survived: without a semaphore the thread still runs its slices, and then
 * only wakes by time-out.
 */
class KVSYNCCORE_EXPORT WakeupSignalsWrapper : public QThread
{
    Q_OBJECT

public:
    /**
     * "syncSharedMemoryForWakeupSemaphore" followed by this process's session
     * token ("<login name>-<process id>"), fixed when the library is loaded.
     * The semaphore is published as "/" followed by these UTF-8 bytes.
     */
    static const QString SharedMemoryName;

    /// Length of one wait, in milliseconds: the longest time before an exit is seen.
    static constexpr int WAIT_SLICE_MS = 2000;

    /**
     * Makes the thread object (no parent, not started).
     * @param checkForExit asked before every wait whether the process is
     *        exiting; a null pointer counts as "exiting", so such a thread
     *        ends at once.
     */
    explicit WakeupSignalsWrapper(std::shared_ptr<sync::interf::ICheckForExit> checkForExit);
    /// Releases the exit controller. Does not stop the thread: the owner waits for it first.
    ~WakeupSignalsWrapper() override;

    /// What WakeService() achieved.
    enum class WakeResult {
        Woken, ///< the service's semaphore was posted once
        NoService, ///< no semaphore of that name: no such service runs (or it has ended)
        NotPermitted, ///< the semaphore belongs to another user
        Failed ///< any other failure of the operating system
    };

    /**
     * The SharedMemoryName that the service with process id @p servicePid
     * publishes. An empty @p loginName means this process's own login name,
     * as the session token gives it; a "/" in a login name is written as "-".
     */
    static QString SharedMemoryNameFor(qint64 servicePid, const QString& loginName = QString());

    /**
     * The waking side: posts the wake-up semaphore of the service with process
     * id @p servicePid once, so that its thread emits Awaken(). Safe from any
     * thread and any process of the service's user; never blocks.
     * @param servicePid the process id of the service to wake
     * @param loginName the service's login name; empty means the caller's own
     * @param errorText on failure, the system's text for the reason
     */
    static WakeResult WakeService(
        qint64 servicePid, const QString& loginName = QString(), QString* errorText = nullptr);

Q_SIGNALS:
    /// Emitted from this thread once for each post of the semaphore.
    void Awaken();

protected:
    /// Creates the semaphore, then waits slice by slice until the process is exiting.
    void run() override;

    /**
     * Removes whatever semaphore is held, then creates and publishes a fresh
     * one with count 0. A semaphore left under the same name by a process
     * that died is replaced, so its count cannot cause a wake-up. Failures are
     * logged, not thrown.
     */
    void _CreateSharedWakeupSemaphore();
    /// Closes and unpublishes the semaphore; 0 or the system's error number (0 when none was held).
    int _RemoveSharedMemory();
    /**
     * One wait of at most @p milliseconds; emits Awaken() when the semaphore
     * was posted. Returns at once when the process is exiting. Virtual so that
     * a test can make it fail.
     */
    virtual void _WaitForWakeupCall(int milliseconds);
    /**
     * Now (UTC) plus @p milliseconds counted in whole seconds: kept on purpose,
     * the part below one second is dropped. run() does not use it.
     */
    boost::posix_time::ptime _CalculateWaitEndTime(int milliseconds);
    /// Has no effect; a hook kept for platforms that must check the semaphore.
    void _ValidateWakeupSemaphore();

private:
    bool _IsExiting() const;

    std::shared_ptr<sync::interf::ICheckForExit> _checkForExit;
    /// Opaque handle of the platform layer; used only on this thread; null until created.
    void* _semaphore = nullptr;
};

} // namespace syncService
} // namespace sync
} // namespace KvSync_6_0
