// Linux implementation of the platform layer. One section per area, in the
// order of Platform.h.

#include "platform/Platform.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <pwd.h>
#include <semaphore.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

inline namespace KvSync_6_0 {
namespace platform {

// ---------------------------------------------------------------------------
// Errors
// ---------------------------------------------------------------------------

QString ErrorText(int errorNumber)
{
    char buffer[256] = {0};
    // GNU strerror_r may return a static string instead of filling the buffer.
    const char* text = strerror_r(errorNumber, buffer, sizeof buffer);
    return QString::fromLocal8Bit(text ? text : buffer);
}

// ---------------------------------------------------------------------------
// Files (file operations, wrappers, visibility, locks, links)
// ---------------------------------------------------------------------------

// ---------------------------------------------------------------------------
// Security (session token)
// ---------------------------------------------------------------------------

QByteArray SessionLoginName()
{
    long size = sysconf(_SC_LOGIN_NAME_MAX);
    if (size <= 0)
        size = 256;
    QByteArray buffer(int(size) + 1, '\0');
    if (getlogin_r(buffer.data(), size_t(buffer.size())) != 0)
        return QByteArray();
    return QByteArray(buffer.constData()); // up to the terminating zero
}

QByteArray EffectiveUserName()
{
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    if (size <= 0)
        size = 16384;
    // Entries with long member lists may need more room than the hint says.
    for (int attempt = 0; attempt < 6; ++attempt, size *= 4) {
        QByteArray buffer(int(size), '\0');
        passwd entry{};
        passwd* found = nullptr;
        const int rc = getpwuid_r(geteuid(), &entry, buffer.data(), size_t(buffer.size()), &found);
        if (rc == ERANGE)
            continue;
        if (rc != 0 || !found || !found->pw_name)
            return QByteArray();
        return QByteArray(found->pw_name);
    }
    return QByteArray();
}

qint64 CurrentProcessId()
{
    return qint64(getpid());
}

// ---------------------------------------------------------------------------
// Process coordination (wake-up semaphores)
// ---------------------------------------------------------------------------

void* CreateNamedSemaphore(const QByteArray& name, int* errorNumber)
{
    // O_EXCL after the unlink: should another process create the name in
    // between, fail rather than share its count.
    ::sem_unlink(name.constData());
    sem_t* semaphore = ::sem_open(name.constData(), O_CREAT | O_EXCL, S_IRUSR | S_IWUSR, 0u);
    if (semaphore == SEM_FAILED) {
        if (errorNumber)
            *errorNumber = errno;
        return nullptr;
    }
    return semaphore;
}

int DestroyNamedSemaphore(void* semaphore, const QByteArray& name)
{
    int result = 0;
    if (semaphore && ::sem_close(static_cast<sem_t*>(semaphore)) != 0)
        result = errno;
    if (::sem_unlink(name.constData()) != 0 && result == 0)
        result = errno;
    return result;
}

SemaphoreWait WaitNamedSemaphore(void* semaphore, int milliseconds, int* errorNumber)
{
    // An absolute deadline on the monotonic clock: neither a change of the
    // wall clock nor a restart after a signal stretches the wait.
    timespec deadline {};
    ::clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += milliseconds / 1000;
    deadline.tv_nsec += long(milliseconds % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    for (;;) {
        if (::sem_clockwait(static_cast<sem_t*>(semaphore), CLOCK_MONOTONIC, &deadline) == 0)
            return SemaphoreWait::Signalled;
        const int error = errno;
        if (error == EINTR)
            continue;
        if (error == ETIMEDOUT)
            return SemaphoreWait::TimedOut;
        if (errorNumber)
            *errorNumber = error;
        return SemaphoreWait::Failed;
    }
}

int PostNamedSemaphore(const QByteArray& name)
{
    sem_t* semaphore = ::sem_open(name.constData(), 0);
    if (semaphore == SEM_FAILED)
        return errno;
    const int result = ::sem_post(semaphore) == 0 ? 0 : errno;
    ::sem_close(semaphore);
    return result;
}

// ---------------------------------------------------------------------------
// Locations and processes
// ---------------------------------------------------------------------------

} // namespace platform
} // namespace KvSync_6_0
