#pragma once

// The library's operating-system calls, as plain free functions.
//
// Every call into the operating system goes through this header, so that
// callers never carry #ifdefs and another system's implementation
// (Platform_<system>.cpp) can be added beside Platform_linux.cpp and picked
// by CMake. Not installed: this is not part of the library's interface.
//
// The header is split into one section per area of the library; add new
// functions to the section of your area. Keep functions small and free of
// policy: decisions stay in the callers.

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>

inline namespace KvSync_6_0 {
namespace platform {

// ---------------------------------------------------------------------------
// Errors
// ---------------------------------------------------------------------------

/// Text of an errno value (strerror_r), for log lines.
KVSYNCCORE_EXPORT QString ErrorText(int errorNumber);

// ---------------------------------------------------------------------------
// Files (file operations, wrappers, visibility, locks, links)
// ---------------------------------------------------------------------------

// ---------------------------------------------------------------------------
// Security (session token)
// ---------------------------------------------------------------------------

/// Login name of the calling process's session (getlogin_r); empty when the
/// process has no login session (no controlling terminal and no audit login
/// id: services, CI jobs, processes after setsid).
KVSYNCCORE_EXPORT QByteArray SessionLoginName();

/// Name of the effective user (getpwuid_r of geteuid); empty when the user
/// has no entry in the user database.
KVSYNCCORE_EXPORT QByteArray EffectiveUserName();

/// Number of the calling process (getpid).
KVSYNCCORE_EXPORT qint64 CurrentProcessId();

// ---------------------------------------------------------------------------
// Process coordination (wake-up semaphores)
// ---------------------------------------------------------------------------

// ---------------------------------------------------------------------------
// Locations and processes
// ---------------------------------------------------------------------------

} // namespace platform
} // namespace KvSync_6_0
