// Linux implementation of the platform layer. One section per area, in the
// order of Platform.h.

#include "platform/Platform.h"
#include "platform/PlatformFs.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QSysInfo>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include <fcntl.h>
#include <link.h>
#include <linux/fs.h>
#include <pwd.h>
#include <semaphore.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

inline namespace KvSync_6_0 {
namespace platform {

// ---------------------------------------------------------------------------
// Errors
// ---------------------------------------------------------------------------

QString ErrorText(int errorNumber)
{
    char buffer[256] = { 0 };
    // GNU strerror_r may return a static string instead of filling the buffer.
    const char* text = strerror_r(errorNumber, buffer, sizeof buffer);
    return QString::fromLocal8Bit(text ? text : buffer);
}

// ---------------------------------------------------------------------------
// Files (file operations, wrappers, visibility, locks, links)
// ---------------------------------------------------------------------------

namespace {

// A descriptor that closes itself; EINTR on close is not retried (Linux frees it anyway).
struct Descriptor
{
    explicit Descriptor(int fd)
        : fd(fd)
    { }
    ~Descriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int fd;
};

int openForProbe(const QString& path, int flags)
{
    const QByteArray name = QFile::encodeName(path);
    int fd;
    do {
        fd = ::open(name.constData(), flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

const char kHiddenListName[] = ".hidden";

// Folder and name of a path as file managers see it; the name is empty for the root.
void splitForHiddenList(const QString& path, QString& folder, QByteArray& name)
{
    const QFileInfo info(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    folder = info.absolutePath();
    name = QFile::encodeName(info.fileName());
}

int openFolder(const QString& folder)
{
    int fd;
    do {
        fd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// The content of the folder's ".hidden" and its status (st_mode 0 when there is none).
// False when it cannot be read, or when something other than a plain file stands in its
// place: a link is never followed (it could point at any file the user can write) and a
// FIFO or device is never opened for reading (it would block or reach a driver).
bool readHiddenList(int folder, QByteArray& content, struct stat& status)
{
    content.clear();
    std::memset(&status, 0, sizeof status);
    int fd;
    do {
        fd = ::openat(
            folder, kHiddenListName, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0)
        return errno == ENOENT;
    const Descriptor list(fd);
    if (::fstat(list.fd, &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    char buffer[8192];
    for (;;) {
        const ssize_t n = ::read(list.fd, buffer, sizeof buffer);
        if (n == 0)
            return true;
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        content.append(buffer, n);
    }
}

bool writeAll(int fd, const QByteArray& data)
{
    qsizetype done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.constData() + done, size_t(data.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return true;
}

// Puts @p content in place of the folder's ".hidden" in one rename, so that readers see the
// old list or the new one, never a part. A list that exists keeps its mode and, where we
// may, its owner.
bool replaceHiddenList(int folder, const QByteArray& content, const struct stat& existing)
{
    QByteArray temporary;
    int fd = -1;
    for (int attempt = 0; fd < 0 && attempt < 100; ++attempt) {
        temporary = QByteArray(kHiddenListName) + ".tmp-"
            + QByteArray::number(QRandomGenerator::global()->generate64(), 36);
        fd = ::openat(folder, temporary.constData(),
            O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (fd < 0 && errno != EEXIST && errno != EINTR)
            return false;
    }
    if (fd < 0)
        return false;
    const Descriptor file(fd);
    bool ok = writeAll(file.fd, content);
    if (ok && existing.st_mode != 0) {
        // Root may hand the list back to its owner; anyone else keeps it as theirs.
        if (::fchown(file.fd, existing.st_uid, existing.st_gid) != 0) { }
        ok = ::fchmod(file.fd, existing.st_mode & 07777) == 0;
    }
    ok = ok && ::fdatasync(file.fd) == 0
        && ::renameat(folder, temporary.constData(), folder, kHiddenListName) == 0;
    if (!ok)
        ::unlinkat(folder, temporary.constData(), 0);
    return ok;
}

} // namespace

bool IsFileImmutable(const QString& path)
{
    const Descriptor file(openForProbe(path, O_RDONLY));
    if (file.fd < 0)
        return false;
    // FS_IOC_GETFLAGS on a device node would reach its driver: ask only files and folders.
    struct stat status;
    if (::fstat(file.fd, &status) != 0 || !(S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)))
        return false;
    int flags = 0; // the kernel reads and writes an int, whatever the macro's type says
    if (::ioctl(file.fd, FS_IOC_GETFLAGS, &flags) != 0)
        return false;
    return (flags & FS_IMMUTABLE_FL) != 0;
}

bool IsFileLockedByOther(const QString& path)
{
    const Descriptor file(openForProbe(path, O_RDWR));
    if (file.fd < 0)
        return true;
    if (::flock(file.fd, LOCK_EX | LOCK_NB) != 0)
        return true;
    // Record locks (fcntl, lockf, OFD) do not conflict with flock(): ask for them separately.
    struct flock lock;
    std::memset(&lock, 0, sizeof lock);
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (::fcntl(file.fd, F_OFD_GETLK, &lock) != 0) {
        std::memset(&lock, 0, sizeof lock);
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        if (::fcntl(file.fd, F_GETLK, &lock) != 0)
            return false;
    }
    return lock.l_type != F_UNLCK;
}

QString ResolveSymbolicLinks(const QString& path)
{
    if (path.isEmpty())
        return path;
    const QString absolute
        = QDir::isAbsolutePath(path) ? path : QDir::currentPath() + QLatin1Char('/') + path;
    QStringList pending = absolute.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    QString resolved; // empty stands for the root
    int linksFollowed = 0;
    constexpr int maxLinks = 40; // the kernel's own limit (ELOOP)
    while (!pending.isEmpty()) {
        const QString part = pending.takeFirst();
        if (part == QLatin1String("."))
            continue;
        if (part == QLatin1String("..")) {
            resolved.truncate(std::max(0, int(resolved.lastIndexOf(QLatin1Char('/')))));
            continue;
        }
        const QString candidate = resolved + QLatin1Char('/') + part;
        const QByteArray name = QFile::encodeName(candidate);
        struct stat status;
        if (::lstat(name.constData(), &status) != 0) {
            // From here on nothing exists to resolve: keep the rest as written.
            resolved = candidate;
            for (const QString& rest : std::as_const(pending))
                resolved += QLatin1Char('/') + rest;
            break;
        }
        if (!S_ISLNK(status.st_mode)) {
            resolved = candidate;
            continue;
        }
        if (++linksFollowed > maxLinks)
            return QDir::cleanPath(absolute);
        QByteArray target(std::max<qint64>(status.st_size, 0) + 1, '\0');
        ssize_t length;
        while ((length = ::readlink(name.constData(), target.data(), target.size()))
            == ssize_t(target.size())) {
            target.resize(target.size() * 2); // the link grew since lstat
        }
        if (length < 0) {
            resolved = candidate;
            continue;
        }
        target.truncate(length);
        const QString targetText = QFile::decodeName(target);
        if (targetText.startsWith(QLatin1Char('/')))
            resolved.clear();
        pending = targetText.split(QLatin1Char('/'), Qt::SkipEmptyParts) + pending;
    }
    return resolved.isEmpty() ? QStringLiteral("/") : QDir::cleanPath(resolved);
}

bool ExistsAfterLinks(const QString& path)
{
    struct stat status;
    return ::stat(QFile::encodeName(path).constData(), &status) == 0;
}

bool IsFileHidden(const QString& path)
{
    QString folder;
    QByteArray name;
    splitForHiddenList(path, folder, name);
    if (name.isEmpty())
        return false;
    if (name.startsWith('.'))
        return true;
    const Descriptor dir(openFolder(folder));
    QByteArray content;
    struct stat status;
    if (dir.fd < 0 || !readHiddenList(dir.fd, content, status))
        return false;
    return content.split('\n').contains(name);
}

bool SetFileHidden(const QString& path, bool hidden)
{
    QString folder;
    QByteArray name;
    splitForHiddenList(path, folder, name);
    if (name.isEmpty() || name.contains('\n'))
        return false;
    if (name.startsWith('.'))
        return hidden; // a dot-name is hidden by its name alone

    // The folder's lock serialises every change of its list, between threads (each call has
    // its own open file description) and between processes that change lists this way. The
    // lock sits on the folder, not on the list, because the list is replaced by a rename.
    const Descriptor dir(openFolder(folder));
    if (dir.fd < 0)
        return false;
    int locked;
    do {
        locked = ::flock(dir.fd, LOCK_EX);
    } while (locked != 0 && errno == EINTR);
    if (locked != 0)
        return false;

    QByteArray content;
    struct stat status;
    if (!readHiddenList(dir.fd, content, status))
        return false;
    QList<QByteArray> lines = content.split('\n');
    const bool listed = lines.contains(name);
    if (listed == hidden)
        return true;

    QByteArray updated;
    if (hidden) {
        updated = content;
        if (!updated.isEmpty() && !updated.endsWith('\n'))
            updated += '\n';
        updated += name + '\n';
    } else {
        lines.removeAll(name);
        bool anyLeft = false;
        for (const QByteArray& line : std::as_const(lines))
            anyLeft = anyLeft || !line.trimmed().isEmpty();
        if (!anyLeft) // checked above to be a plain file
            return ::unlinkat(dir.fd, kHiddenListName, 0) == 0;
        updated = lines.join('\n');
    }
    return replaceHiddenList(dir.fd, updated, status);
}

namespace {

// Moves all remaining bytes from @p in to @p out, at their current offsets.
bool copyBytes(int in, int out)
{
    if (::ioctl(out, FICLONE, in) == 0)
        return true; // the file system shares the extents: nothing to copy
    // In the kernel, page cache to page cache; also fails over to the loop below where the
    // file systems differ or a file (one of /proc, say) reports no size.
    for (qint64 copied = 0;;) {
        const ssize_t n = ::copy_file_range(in, nullptr, out, nullptr, size_t(1) << 30, 0);
        if (n > 0) {
            copied += n;
            continue;
        }
        if (n == 0 && copied > 0)
            return true;
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && copied > 0)
            return false;
        break; // nothing moved yet: the loop below starts from the same offsets
    }
    constexpr size_t bufferBytes = 256 * 1024;
    const fs::ReadBuffer buffer(bufferBytes);
    for (;;) {
        const ssize_t n = ::read(in, buffer.data(), bufferBytes);
        if (n == 0)
            return true;
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 || !writeAll(out, QByteArray::fromRawData(buffer.data(), qsizetype(n))))
            return false;
    }
}

} // namespace

bool CopyFileContent(const QString& source, const QString& target, QString* error)
{
    const auto fail = [error](int errorNumber) {
        if (error)
            *error = ErrorText(errorNumber);
        return false;
    };
    // Non-blocking open: a FIFO must not hold the copy up before it is refused.
    const Descriptor in(openForProbe(source, O_RDONLY));
    if (in.fd < 0)
        return fail(errno);
    struct stat status;
    if (::fstat(in.fd, &status) != 0)
        return fail(errno);
    if (!S_ISREG(status.st_mode))
        return fail(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    ::fcntl(in.fd, F_SETFL, ::fcntl(in.fd, F_GETFL) & ~O_NONBLOCK);

    const QFileInfo targetInfo(target);
    const QByteArray folder = QFile::encodeName(targetInfo.absolutePath());
    const QByteArray name = QFile::encodeName(targetInfo.absoluteFilePath());
    const mode_t mode = status.st_mode & 07777;

    // Unnamed until complete, then linked in; link() never replaces an existing target.
    Descriptor out(::open(folder.constData(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
    if (out.fd >= 0) {
        if (!copyBytes(in.fd, out.fd) || ::fchmod(out.fd, mode) != 0)
            return fail(errno);
        const QByteArray self = "/proc/self/fd/" + QByteArray::number(out.fd);
        if (::linkat(AT_FDCWD, self.constData(), AT_FDCWD, name.constData(), AT_SYMLINK_FOLLOW)
            != 0)
            return fail(errno);
        return true;
    }
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)
        return fail(errno);

    // A file system without unnamed files: a temporary name beside the target.
    QByteArray temporary;
    for (int attempt = 0; out.fd < 0 && attempt < 100; ++attempt) {
        temporary = folder + "/." + QFile::encodeName(targetInfo.fileName()) + ".copy-"
            + QByteArray::number(QRandomGenerator::global()->generate64(), 36);
        out.fd = ::open(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (out.fd < 0 && errno != EEXIST)
            return fail(errno);
    }
    if (out.fd < 0)
        return fail(EEXIST);
    bool ok = copyBytes(in.fd, out.fd) && ::fchmod(out.fd, mode) == 0;
    if (ok
        && ::renameat2(
               AT_FDCWD, temporary.constData(), AT_FDCWD, name.constData(), RENAME_NOREPLACE)
            != 0) {
        // No such flag on this file system: a hard link refuses an existing target too.
        ok = (errno == EINVAL || errno == ENOSYS)
            && ::link(temporary.constData(), name.constData()) == 0
            && ::unlink(temporary.constData()) == 0;
    }
    const int errorNumber = errno;
    if (!ok) {
        ::unlink(temporary.constData());
        return fail(errorNumber);
    }
    return true;
}

int OpenRegularFileForReading(const QString& path)
{
    // O_NONBLOCK: a FIFO opens at once instead of waiting for a writer, and is refused below.
    const int fd = openForProbe(path, O_RDONLY);
    if (fd < 0)
        return -1;
    struct stat status;
    if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
        ::close(fd);
        return -1;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    return fd;
}

qint64 ReadFile(int fd, char* buffer, qint64 size)
{
    ssize_t n;
    do {
        n = ::read(fd, buffer, size_t(size));
    } while (n < 0 && errno == EINTR);
    return n;
}

void CloseFile(int fd)
{
    if (fd >= 0)
        ::close(fd);
}

// ---------------------------------------------------------------------------
// Security (session token)
// ---------------------------------------------------------------------------

namespace {

// The password-database entry of the effective user, its strings kept in @p buffer; null
// when there is none. Entries with long fields or member lists need more room than the
// size hint says, so the buffer grows until the entry fits.
passwd* effectiveUserEntry(QByteArray& buffer, passwd& entry)
{
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    if (size <= 0)
        size = 16384;
    for (int attempt = 0; attempt < 10; ++attempt, size *= 4) {
        buffer.resize(qsizetype(size));
        passwd* found = nullptr;
        const int rc = getpwuid_r(geteuid(), &entry, buffer.data(), size_t(buffer.size()), &found);
        if (rc == ERANGE)
            continue;
        return rc == 0 ? found : nullptr;
    }
    return nullptr;
}

} // namespace

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
    QByteArray buffer;
    passwd entry {};
    const passwd* found = effectiveUserEntry(buffer, entry);
    return found && found->pw_name ? QByteArray(found->pw_name) : QByteArray();
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

namespace {

// readlink() into a buffer that grows until the whole target fits; "" on failure.
QString readLink(const QByteArray& linkPath)
{
    QByteArray buffer(256, Qt::Uninitialized);
    for (;;) {
        const ssize_t n = ::readlink(linkPath.constData(), buffer.data(), size_t(buffer.size()));
        if (n < 0)
            return QString();
        if (n < buffer.size())
            return QFile::decodeName(buffer.left(n));
        if (buffer.size() >= (1 << 20))
            return QString();
        buffer.resize(buffer.size() * 2);
    }
}

// An XDG variable counts only when it holds an absolute path; relative values
// are to be ignored.
QString absoluteEnvironmentPath(const char* name)
{
    const QString value = qEnvironmentVariable(name);
    return QDir::isAbsolutePath(value) ? value : QString();
}

int collectLibrary(struct dl_phdr_info* info, size_t, void* data)
{
    if (info->dlpi_name && info->dlpi_name[0] == '/')
        static_cast<QStringList*>(data)->append(QFile::decodeName(info->dlpi_name));
    return 0;
}

} // namespace

QString ExecutablePath()
{
    QString path = readLink(QByteArrayLiteral("/proc/self/exe"));
    // The kernel marks a removed (or replaced) executable; the path it ran from is wanted.
    // A file really named so still has links, so only a removed one loses the mark.
    const QLatin1String deleted(" (deleted)");
    struct stat status;
    if (path.endsWith(deleted) && ::stat("/proc/self/exe", &status) == 0 && status.st_nlink == 0)
        path.chop(deleted.size());
    return path;
}

QString HomeFolder()
{
    const QString home = absoluteEnvironmentPath("HOME");
    if (!home.isEmpty())
        return home;
    QByteArray buffer;
    passwd entry {};
    const passwd* found = effectiveUserEntry(buffer, entry);
    return found && found->pw_dir ? QFile::decodeName(found->pw_dir) : QString();
}

QString UserDataFolder()
{
    const QString value = absoluteEnvironmentPath("XDG_DATA_HOME");
    if (!value.isEmpty())
        return value;
    const QString home = HomeFolder();
    return home.isEmpty() ? QString() : home + QStringLiteral("/.local/share");
}

QString SystemDataFolder()
{
    const QStringList dirs
        = qEnvironmentVariable("XDG_DATA_DIRS").split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (const QString& dir : dirs) {
        if (QDir::isAbsolutePath(dir))
            return dir;
    }
    return QStringLiteral("/usr/local/share");
}

QString UserConfigFolder()
{
    const QString value = absoluteEnvironmentPath("XDG_CONFIG_HOME");
    if (!value.isEmpty())
        return value;
    const QString home = HomeFolder();
    return home.isEmpty() ? QString() : home + QStringLiteral("/.config");
}

QString DesktopFolder()
{
    // From user-dirs.dirs as xdg-user-dirs writes it (XDG_DESKTOP_DIR="$HOME/Desktop"), with
    // our own home folder: Qt's lookup takes "/" for the home when HOME is unset.
    const QString home = HomeFolder();
    const QString config = UserConfigFolder();
    const int fd = config.isEmpty()
        ? -1
        : OpenRegularFileForReading(config + QStringLiteral("/user-dirs.dirs"));
    QByteArray content;
    char buffer[4096];
    qint64 got;
    while (fd >= 0 && content.size() < (1 << 20) && (got = ReadFile(fd, buffer, sizeof buffer)) > 0)
        content.append(buffer, got);
    CloseFile(fd);
    QString desktop;
    for (const QByteArray& rawLine : content.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (!line.startsWith("XDG_DESKTOP_DIR="))
            continue;
        QString value = QFile::decodeName(line.mid(int(sizeof "XDG_DESKTOP_DIR=") - 1));
        if (value.size() >= 2 && value.startsWith(QLatin1Char('"'))
            && value.endsWith(QLatin1Char('"')))
            value = value.mid(1, value.size() - 2);
        if (value.startsWith(QLatin1String("$HOME")) && !home.isEmpty())
            value.replace(0, 5, home);
        if (QDir::isAbsolutePath(value))
            desktop = QDir::cleanPath(value);
    }
    if (!desktop.isEmpty())
        return desktop;
    return home.isEmpty() ? QString() : home + QStringLiteral("/Desktop");
}

QString SystemLibraryFolder()
{
    return QStringLiteral("/usr/lib");
}

QStringList LoadedLibraryPaths()
{
    QStringList paths;
    ::dl_iterate_phdr(collectLibrary, &paths);
    return paths;
}

QList<ProcessEntry> RunningProcesses()
{
    QList<ProcessEntry> processes;
    const QStringList names
        = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        bool isNumber = false;
        const qint64 pid = name.toLongLong(&isNumber);
        if (!isNumber || pid <= 0)
            continue;
        // Fails for other users' processes and for zombies: both are left out.
        QString executable = readLink(QByteArrayLiteral("/proc/") + name.toLatin1() + "/exe");
        if (executable.isEmpty())
            continue;
        const QLatin1String deleted(" (deleted)");
        if (executable.endsWith(deleted))
            executable.chop(deleted.size());
        processes.append({ pid, executable });
    }
    std::sort(processes.begin(), processes.end(),
        [](const ProcessEntry& a, const ProcessEntry& b) { return a.pid < b.pid; });
    return processes;
}

char ProcessState(qint64 pid)
{
    if (pid <= 0)
        return 0;
    // /proc/<id> answers for the id of any thread as well; only a thread group leader
    // (Tgid equal to the id) is a process.
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    char state = 0;
    qint64 group = -1;
    for (const QByteArray& line : status.read(16384).split('\n')) {
        if (line.startsWith("State:")) {
            const QByteArray value = line.mid(6).trimmed();
            state = value.isEmpty() ? 0 : value.at(0);
        } else if (line.startsWith("Tgid:"))
            group = line.mid(5).trimmed().toLongLong();
    }
    return group == pid ? state : 0;
}

bool StartDetachedProcess(
    const QString& program, const QStringList& arguments, qint64* pid, QString* error)
{
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    qint64 started = 0;
    if (!process.startDetached(&started)) {
        if (error)
            *error = process.errorString();
        return false;
    }
    if (pid)
        *pid = started;
    return true;
}

qint64 PollChildProcess(qint64 pid)
{
    // 0 and negative values would wait for any child of a group, and larger
    // values do not fit a pid_t: neither names one process.
    if (pid <= 0 || pid > std::numeric_limits<pid_t>::max())
        return -1;
    int status = 0;
    pid_t answer;
    do {
        answer = ::waitpid(pid_t(pid), &status, WNOHANG | WUNTRACED);
    } while (answer < 0 && errno == EINTR);
    return answer;
}

void SleepSeconds(int seconds)
{
    unsigned int left = seconds > 0 ? unsigned(seconds) : 0u;
    while (left > 0)
        left = ::sleep(left);
}

QString SystemName()
{
    return QStringLiteral("Linux");
}

QString SystemPrettyName()
{
    return QSysInfo::prettyProductName();
}

QString BuildArchitecture()
{
#if defined(__x86_64__)
    return QStringLiteral("x64");
#elif defined(__aarch64__)
    return QStringLiteral("arm64");
#else
    return QSysInfo::buildCpuArchitecture();
#endif
}

// Not instrumented: the sanitizers would end the process with a report and
// an exit code instead of the signal that a crash reporter expects.
__attribute__((no_sanitize("address", "undefined"))) void CrashByNullWrite(const wchar_t* text)
{
    // The address goes through a volatile so that the compiler cannot prove
    // the store null and turn it into a trap instruction.
    volatile std::uintptr_t address = 0;
    volatile wchar_t* target = reinterpret_cast<volatile wchar_t*>(address);
    static const wchar_t nothing[] = L"";
    for (const wchar_t* c = text ? text : nothing;; ++c) {
        *target++ = *c;
        if (*c == L'\0')
            break;
    }
    // Reached only if page zero were mapped.
    std::abort();
}

} // namespace platform
} // namespace KvSync_6_0
