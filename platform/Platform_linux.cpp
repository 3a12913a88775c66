// Linux implementation of the platform layer. One section per area, in the
// order of Platform.h.

#include "platform/Platform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
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

namespace {

// A descriptor that closes itself; EINTR on close is not retried (Linux frees it anyway).
struct Descriptor
{
    explicit Descriptor(int fd) : fd(fd) {}
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

const QByteArray kHiddenListName = QByteArrayLiteral(".hidden");

// Folder and name of a path as file managers see it; the name is empty for the root.
void splitForHiddenList(const QString& path, QString& folder, QByteArray& name)
{
    const QFileInfo info(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
    folder = info.absolutePath();
    name = QFile::encodeName(info.fileName());
}

// The lines of a ".hidden" file; false when it exists but cannot be read.
bool readHiddenList(const QString& folder, QByteArray& content)
{
    QFile list(QDir(folder).filePath(QLatin1String(kHiddenListName)));
    content.clear();
    if (!list.exists())
        return true;
    if (!list.open(QIODevice::ReadOnly))
        return false;
    content = list.readAll();
    return list.error() == QFileDevice::NoError;
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
    const QString absolute = QDir::isAbsolutePath(path)
        ? path
        : QDir::currentPath() + QLatin1Char('/') + path;
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

bool IsFileHidden(const QString& path)
{
    QString folder;
    QByteArray name;
    splitForHiddenList(path, folder, name);
    if (name.isEmpty())
        return false;
    if (name.startsWith('.'))
        return true;
    QByteArray content;
    if (!readHiddenList(folder, content))
        return false;
    const QList<QByteArray> lines = content.split('\n');
    return lines.contains(name);
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
    QByteArray content;
    if (!readHiddenList(folder, content))
        return false;
    QList<QByteArray> lines = content.split('\n');
    const bool listed = lines.contains(name);
    if (listed == hidden)
        return true;

    const QString listPath = QDir(folder).filePath(QLatin1String(kHiddenListName));
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
        if (!anyLeft)
            return QFile::remove(listPath);
        updated = lines.join('\n');
    }
    // Replaced as a whole, so that a crash never leaves file managers a half-written list.
    QSaveFile list(listPath);
    if (!list.open(QIODevice::WriteOnly))
        return false;
    if (list.write(updated) != updated.size()) {
        list.cancelWriting();
        return false;
    }
    return list.commit();
}

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
