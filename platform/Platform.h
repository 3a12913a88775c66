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
QString ErrorText(int errorNumber);

// ---------------------------------------------------------------------------
// Files (file operations, wrappers, visibility, locks, links)
// ---------------------------------------------------------------------------

/// True when the inode carries the immutable flag (FS_IMMUTABLE_FL, set by `chattr +i`).
/// False when the flag cannot be read (missing file, file system without flags).
bool IsFileImmutable(const QString& path);

/// Probes whether another holder keeps @p path from being written: opens it read-write
/// without blocking, takes a non-blocking exclusive flock() and asks for conflicting
/// POSIX/OFD record locks. True when the open or the lock fails or a record lock is held.
/// The probe descriptor is closed at once; note that by POSIX rules this also drops
/// fcntl() record locks that the calling process itself holds on the same file.
bool IsFileLockedByOther(const QString& path);

/// @p path with every symbolic link along it resolved (relative paths against the
/// working folder); the part from the first missing component on is kept as written.
/// The result is cleaned; a link loop leaves @p path cleaned but unresolved.
QString ResolveSymbolicLinks(const QString& path);

/// True when @p path names something that exists once every link is followed: false for
/// a dangling link or a loop of links, as for a missing path.
bool ExistsAfterLinks(const QString& path);

/// True when file managers hide @p path: its name starts with "." or it is listed in
/// the freedesktop ".hidden" file of its folder.
bool IsFileHidden(const QString& path);

/// Hides @p path by listing its name in its folder's ".hidden" file, or shows it by
/// taking the name out (an emptied ".hidden" is removed). A name starting with "."
/// is always hidden: showing it fails. The change runs under an advisory lock (flock)
/// on the folder, so concurrent changes from any thread or process that uses this
/// function keep each other's names. The list is written to a temporary file in the
/// folder and renamed into place, keeping the mode of the list it replaces. False,
/// with nothing changed, when a link, FIFO, device or anything but a plain file
/// stands in the place of ".hidden".
bool SetFileHidden(const QString& path, bool hidden);

/**
 * Copies the bytes of the regular file @p source (after links) to the new file @p target,
 * with the source's permission bits. The data moves inside the kernel: a reflink where the
 * file system shares extents (FICLONE), else copy_file_range(), else a read/write loop
 * through one fixed buffer. The copy is built unnamed (or under a temporary name) and
 * linked in as @p target only when complete, and never over an existing @p target. On
 * failure returns false with the system's error text in @p error, leaving no file behind.
 */
bool CopyFileContent(const QString& source, const QString& target, QString* error);

/// Opens @p path for reading when it is, after links, a regular file: a descriptor for
/// ReadFile() and CloseFile(), or -1 for anything else (missing, a folder, a FIFO, a
/// device). Never blocks in the open. The kernel is told that reading is sequential.
int OpenRegularFileForReading(const QString& path);
/// read() that goes on after signals: the bytes read, 0 at the end, -1 on an error.
qint64 ReadFile(int fd, char* buffer, qint64 size);
/// Closes a descriptor of OpenRegularFileForReading().
void CloseFile(int fd);

// ---------------------------------------------------------------------------
// Security (session token)
// ---------------------------------------------------------------------------

/// Login name of the calling process's session (getlogin_r); empty when the
/// process has no login session (no controlling terminal and no audit login
/// id: services, CI jobs, processes after setsid).
QByteArray SessionLoginName();

/// Name of the effective user (getpwuid_r of geteuid); empty when the user
/// has no entry in the user database.
QByteArray EffectiveUserName();

/// Number of the calling process (getpid).
qint64 CurrentProcessId();

// ---------------------------------------------------------------------------
// Process coordination (wake-up semaphores)
// ---------------------------------------------------------------------------

/// Outcome of one bounded wait on a semaphore.
enum class SemaphoreWait {
    Signalled, ///< the count was above zero and has been taken down by one
    TimedOut, ///< the time ran out first
    Failed ///< the wait itself failed; see the error number
};

/**
 * Creates the named semaphore @p name (a "/" and then the name, UTF-8) afresh,
 * with count 0, readable and writable by the owner only (0600). A semaphore
 * left under that name (by a process that died before removing it) is removed
 * first, so its count can never leak into the new one. Returns an opaque
 * handle, or null with @p errorNumber set.
 */
void* CreateNamedSemaphore(const QByteArray& name, int* errorNumber);

/// Closes @p semaphore and removes @p name; 0, or the errno of the first step that failed.
int DestroyNamedSemaphore(void* semaphore, const QByteArray& name);

/**
 * Waits at most @p milliseconds (measured on the monotonic clock) for the
 * semaphore's count to rise above zero, and takes it down by one. Interruptions
 * by signals go on waiting until the same deadline.
 */
SemaphoreWait WaitNamedSemaphore(void* semaphore, int milliseconds, int* errorNumber);

/**
 * Opens the existing semaphore @p name and raises its count by one. Returns 0,
 * or the errno: ENOENT when no semaphore of that name exists, EACCES when it
 * belongs to another user.
 */
int PostNamedSemaphore(const QByteArray& name);

// ---------------------------------------------------------------------------
// Locations and processes
// ---------------------------------------------------------------------------

/// Target of /proc/self/exe, without the " (deleted)" mark of an executable removed or
/// replaced while it runs; "" when it cannot be read.
QString ExecutablePath();
/// The user's home folder: $HOME, else the password-database entry of the effective user
/// (however large that entry is).
QString HomeFolder();
/// $XDG_DATA_HOME when it is absolute, else ~/.local/share.
QString UserDataFolder();
/// First absolute entry of $XDG_DATA_DIRS, else /usr/local/share.
QString SystemDataFolder();
/// $XDG_CONFIG_HOME when it is absolute, else ~/.config.
QString UserConfigFolder();
/// The desktop folder of user-dirs.dirs (XDG_DESKTOP_DIR), else ~/Desktop; "~" is
/// HomeFolder(), so an unset HOME never makes it "/Desktop".
QString DesktopFolder();
/// The system library folder.
QString SystemLibraryFolder();

/// Paths of the shared objects loaded into this process as the loader
/// reports them, in load order (dl_iterate_phdr). Objects without an absolute
/// path (the main program, the vDSO) are left out.
QStringList LoadedLibraryPaths();

/// A process and the path of its executable.
struct ProcessEntry
{
    qint64 pid = 0;
    QString executable;
};
/// Every process whose executable link (/proc/<pid>/exe) this process may
/// read, by ascending pid. A " (deleted)" mark of a replaced executable is
/// taken off.
QList<ProcessEntry> RunningProcesses();
/// State letter of the process ('R', 'S', 'Z', ... from /proc/<pid>/status);
/// 0 when there is no such process, also when @p pid names a thread that is not
/// the first of its process.
char ProcessState(qint64 pid);
/// Starts @p program with @p arguments as a process that is not a child of
/// this one (double fork, so it never stays a zombie here). On success sets
/// @p pid and returns true; on failure sets @p error and returns false.
bool StartDetachedProcess(
    const QString& program, const QStringList& arguments, qint64* pid, QString* error);
/// One waitpid(pid, WNOHANG | WUNTRACED): 0 while the child runs, @p pid when
/// it ended (or stopped), -1 when the call fails (not a child, for example).
qint64 PollChildProcess(qint64 pid);
/// Blocks the calling thread for whole seconds.
void SleepSeconds(int seconds);

/// Name of the operating system for the user agent ("Linux").
QString SystemName();
/// Readable name and version of the installed system ("Debian GNU/Linux 12 (bookworm)").
QString SystemPrettyName();
/// Architecture of this build: "x64", "arm64", or the compiler's own name of it.
QString BuildArchitecture();
/// Writes @p text to a null address, so the process dies of SIGSEGV through
/// whatever crash handler is installed. Never returns.
[[noreturn]] void CrashByNullWrite(const wchar_t* text);

} // namespace platform
} // namespace KvSync_6_0
