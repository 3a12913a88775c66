// Linux implementation of the platform layer. One section per area, in the
// order of Platform.h.

#include "platform/Platform.h"

#include <cerrno>
#include <cstring>

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

// ---------------------------------------------------------------------------
// Process coordination (wake-up semaphores)
// ---------------------------------------------------------------------------

// ---------------------------------------------------------------------------
// Locations and processes
// ---------------------------------------------------------------------------

} // namespace platform
} // namespace KvSync_6_0
