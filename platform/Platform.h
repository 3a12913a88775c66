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

/// True when the inode carries the immutable flag (FS_IMMUTABLE_FL, set by `chattr +i`).
/// False when the flag cannot be read (missing file, file system without flags).
KVSYNCCORE_EXPORT bool IsFileImmutable(const QString& path);

/// Probes whether another holder keeps @p path from being written: opens it read-write
/// without blocking, takes a non-blocking exclusive flock() and asks for conflicting
/// POSIX/OFD record locks. True when the open or the lock fails or a record lock is held.
/// The probe descriptor is closed at once; note that by POSIX rules this also drops
/// fcntl() record locks that the calling process itself holds on the same file.
KVSYNCCORE_EXPORT bool IsFileLockedByOther(const QString& path);

/// @p path with every symbolic link along it resolved (relative paths against the
/// working folder); the part from the first missing component on is kept as written.
/// The result is cleaned; a link loop leaves @p path cleaned but unresolved.
KVSYNCCORE_EXPORT QString ResolveSymbolicLinks(const QString& path);

/// True when file managers hide @p path: its name starts with "." or it is listed in
/// the freedesktop ".hidden" file of its folder.
KVSYNCCORE_EXPORT bool IsFileHidden(const QString& path);

/// Hides @p path by listing its name in its folder's ".hidden" file, or shows it by
/// taking the name out (an emptied ".hidden" is removed). A name starting with "."
/// is always hidden: showing it fails. The ".hidden" file is replaced atomically.
KVSYNCCORE_EXPORT bool SetFileHidden(const QString& path, bool hidden);

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
