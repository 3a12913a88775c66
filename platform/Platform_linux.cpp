// Linux implementation of the platform layer. One section per area, in the
// order of Platform.h.

#include "platform/Platform.h"

#include <cerrno>
#include <cstring>

#include <pwd.h>
#include <sys/types.h>
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

// ---------------------------------------------------------------------------
// Locations and processes
// ---------------------------------------------------------------------------

} // namespace platform
} // namespace KvSync_6_0
