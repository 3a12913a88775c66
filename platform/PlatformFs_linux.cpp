#include "platform/PlatformFs.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

inline namespace KvSync_6_0 {
namespace platform {
namespace fs {

namespace {

int64_t toNs(const struct timespec& t)
{
    return int64_t(t.tv_sec) * 1000000000 + t.tv_nsec;
}

struct timespec fromNs(int64_t ns)
{
    struct timespec t;
    t.tv_sec = time_t(ns / 1000000000);
    t.tv_nsec = long(ns % 1000000000);
    if (t.tv_nsec < 0) {
        t.tv_nsec += 1000000000;
        --t.tv_sec;
    }
    return t;
}

EntryStat::Type typeOfMode(mode_t mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG:
        return EntryStat::File;
    case S_IFDIR:
        return EntryStat::Folder;
    case S_IFLNK:
        return EntryStat::Link;
    case S_IFIFO:
        return EntryStat::Fifo;
    case S_IFSOCK:
        return EntryStat::Socket;
    case S_IFCHR:
        return EntryStat::CharDevice;
    case S_IFBLK:
        return EntryStat::BlockDevice;
    default:
        return EntryStat::Other;
    }
}

EntryStat::Type typeOfDirent(unsigned char type)
{
    switch (type) {
    case DT_REG:
        return EntryStat::File;
    case DT_DIR:
        return EntryStat::Folder;
    case DT_LNK:
        return EntryStat::Link;
    case DT_FIFO:
        return EntryStat::Fifo;
    case DT_SOCK:
        return EntryStat::Socket;
    case DT_CHR:
        return EntryStat::CharDevice;
    case DT_BLK:
        return EntryStat::BlockDevice;
    default:
        return EntryStat::Other;
    }
}

void fill(const struct stat& st, EntryStat& out)
{
    out.type = typeOfMode(st.st_mode);
    out.mode = st.st_mode & 07777;
    out.device = st.st_dev;
    out.inode = st.st_ino;
    out.size = st.st_size;
    out.mtimeNs = toNs(st.st_mtim);
    out.ctimeNs = toNs(st.st_ctim);
}

// getdents64's record; glibc 2.36 has no wrapper of its own.
struct LinuxDirent64
{
    uint64_t d_ino;
    int64_t d_off;
    unsigned short d_reclen;
    unsigned char d_type;
    char d_name[];
};

} // namespace

int CurrentFolder()
{
    return AT_FDCWD;
}

int StatAt(int folderFd, const char* name, EntryStat& out)
{
    struct stat st;
    if (fstatat(folderFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0)
        return -errno;
    fill(st, out);
    return 0;
}

int StatFd(int fd, EntryStat& out)
{
    struct stat st;
    if (fstat(fd, &st) != 0)
        return -errno;
    fill(st, out);
    return 0;
}

int OpenFolderAt(int folderFd, const char* name)
{
    const int fd = openat(folderFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    return fd >= 0 ? fd : -errno;
}

int OpenFileForReadAt(int folderFd, const char* name)
{
    const int fd
        = openat(folderFd, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        return -errno;
    struct stat st;
    if (fstat(fd, &st) != 0) {
        const int e = errno;
        close(fd);
        return -e;
    }
    if (!S_ISREG(st.st_mode)) {
        close(fd);
        return -ENODEV;
    }
    const int flags = fcntl(fd, F_GETFL);
    if (flags >= 0)
        fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    return fd;
}

int CreateFileAt(int folderFd, const char* name, uint32_t mode)
{
    const int fd
        = openat(folderFd, name, O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, mode_t(mode));
    return fd >= 0 ? fd : -errno;
}

void Close(int fd)
{
    if (fd >= 0 && fd != AT_FDCWD)
        close(fd);
}

int ReadFolder(int folderFd, std::vector<FolderEntry>& out)
{
    if (lseek(folderFd, 0, SEEK_SET) < 0)
        return -errno;
    alignas(64) char buffer[32768];
    for (;;) {
        const long n = syscall(SYS_getdents64, folderFd, buffer, sizeof buffer);
        if (n < 0)
            return -errno;
        if (n == 0)
            return 0;
        for (long at = 0; at < n;) {
            const auto* d = reinterpret_cast<const LinuxDirent64*>(buffer + at);
            at += d->d_reclen;
            const char* name = d->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            FolderEntry entry;
            entry.name.assign(name);
            entry.type = typeOfDirent(d->d_type);
            out.push_back(std::move(entry));
        }
    }
}

int ReadLinkAt(int folderFd, const char* name, std::string& text)
{
    std::string buffer(256, '\0');
    for (;;) {
        const ssize_t n = readlinkat(folderFd, name, buffer.data(), buffer.size());
        if (n < 0)
            return -errno;
        if (size_t(n) < buffer.size()) {
            buffer.resize(size_t(n));
            text = std::move(buffer);
            return 0;
        }
        if (buffer.size() > 1 << 20)
            return -ENAMETOOLONG;
        buffer.resize(buffer.size() * 4);
    }
}

int CreateLinkAt(const std::string& text, int folderFd, const char* name)
{
    return symlinkat(text.c_str(), folderFd, name) == 0 ? 0 : -errno;
}

int CreateFolderAt(int folderFd, const char* name, uint32_t mode)
{
    return mkdirat(folderFd, name, mode_t(mode)) == 0 ? 0 : -errno;
}

int RemoveFileAt(int folderFd, const char* name)
{
    return unlinkat(folderFd, name, 0) == 0 ? 0 : -errno;
}

int RemoveFolderAt(int folderFd, const char* name)
{
    return unlinkat(folderFd, name, AT_REMOVEDIR) == 0 ? 0 : -errno;
}

int RemoveTreeAt(int folderFd, const char* name)
{
    if (unlinkat(folderFd, name, 0) == 0)
        return 0;
    if (errno != EISDIR && errno != EPERM)
        return -errno;
    const int fd = OpenFolderAt(folderFd, name);
    if (fd < 0)
        return fd;
    std::vector<FolderEntry> entries;
    int result = ReadFolder(fd, entries);
    for (const FolderEntry& e : entries) {
        if (result != 0)
            break;
        result = RemoveTreeAt(fd, e.name.c_str());
    }
    close(fd);
    if (result != 0)
        return result;
    return RemoveFolderAt(folderFd, name);
}

int ReplaceAt(int fromFolder, const char* fromName, int toFolder, const char* toName)
{
    return renameat(fromFolder, fromName, toFolder, toName) == 0 ? 0 : -errno;
}

int Flush(int fd)
{
    return fsync(fd) == 0 ? 0 : -errno;
}

int SetModeFd(int fd, uint32_t mode)
{
    return fchmod(fd, mode_t(mode)) == 0 ? 0 : -errno;
}

int SetModeAt(int folderFd, const char* name, uint32_t mode)
{
    return fchmodat(folderFd, name, mode_t(mode), 0) == 0 ? 0 : -errno;
}

int SetTimesFd(int fd, int64_t mtimeNs)
{
    const struct timespec times[2] = { fromNs(mtimeNs), fromNs(mtimeNs) };
    return futimens(fd, times) == 0 ? 0 : -errno;
}

int SetTimesAt(int folderFd, const char* name, int64_t mtimeNs)
{
    const struct timespec times[2] = { fromNs(mtimeNs), fromNs(mtimeNs) };
    return utimensat(folderFd, name, times, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : -errno;
}

int CopyData(int in, int out, int64_t& copied, bool (*shouldStop)(void*), void* context)
{
    constexpr size_t kChunk = 8 << 20;
    copied = 0;
    bool kernelCopy = true;
    std::unique_ptr<ReadBuffer> buffer;
    for (;;) {
        if (shouldStop && shouldStop(context))
            return -ECANCELED;
        if (kernelCopy) {
            const ssize_t n = copy_file_range(in, nullptr, out, nullptr, kChunk, 0);
            if (n > 0) {
                copied += n;
                continue;
            }
            if (n == 0)
                return 0;
            if (errno == EINTR)
                continue;
            // Between file systems (or where the kernel cannot) copy through user space.
            if (copied == 0
                && (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP
                    || errno == EBADF)) {
                kernelCopy = false;
                buffer = std::make_unique<ReadBuffer>(1 << 20);
                continue;
            }
            return -errno;
        }
        const ssize_t n = read(in, buffer->data(), buffer->size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return -errno;
        }
        if (n == 0)
            return 0;
        for (ssize_t done = 0; done < n;) {
            const ssize_t w = write(out, buffer->data() + done, size_t(n - done));
            if (w < 0) {
                if (errno == EINTR)
                    continue;
                return -errno;
            }
            done += w;
        }
        copied += n;
    }
}

int RealPath(const std::string& path, std::string& out)
{
    char* resolved = realpath(path.c_str(), nullptr);
    if (!resolved)
        return -errno;
    out.assign(resolved);
    free(resolved);
    return 0;
}

Inotify::Inotify()
{
    _fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (_fd < 0) {
        _error = -errno;
        return;
    }
    _wakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (_wakeFd < 0)
        _error = -errno;
}

Inotify::~Inotify()
{
    if (_fd >= 0)
        close(_fd);
    if (_wakeFd >= 0)
        close(_wakeFd);
}

int Inotify::Watch(const std::string& path, uint32_t mask)
{
    if (_fd < 0)
        return _error;
    const int wd = inotify_add_watch(_fd, path.c_str(), mask | IN_DONT_FOLLOW | IN_ONLYDIR);
    return wd >= 0 ? wd : -errno;
}

void Inotify::Unwatch(int watch)
{
    if (_fd >= 0)
        inotify_rm_watch(_fd, watch);
}

int Inotify::Read(std::vector<Event>& events, int timeoutMs)
{
    if (_fd < 0 || _wakeFd < 0)
        return _error;
    struct pollfd fds[2] = { { _fd, POLLIN, 0 }, { _wakeFd, POLLIN, 0 } };
    const int ready = poll(fds, 2, timeoutMs);
    if (ready < 0)
        return errno == EINTR ? 0 : -errno;
    if (fds[1].revents & POLLIN) {
        uint64_t value = 0;
        (void)!read(_wakeFd, &value, sizeof value);
    }
    if (!(fds[0].revents & POLLIN))
        return 0;
    int count = 0;
    alignas(struct inotify_event) char buffer[65536];
    for (;;) {
        const ssize_t n = read(_fd, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EAGAIN || errno == EINTR)
                return count;
            return -errno;
        }
        for (ssize_t at = 0; at < n;) {
            const auto* e = reinterpret_cast<const struct inotify_event*>(buffer + at);
            Event event;
            event.watch = e->wd;
            event.mask = e->mask;
            if (e->len > 0)
                event.name.assign(e->name);
            events.push_back(std::move(event));
            ++count;
            at += ssize_t(sizeof(struct inotify_event) + e->len);
        }
    }
}

void Inotify::Interrupt()
{
    if (_wakeFd >= 0) {
        const uint64_t one = 1;
        (void)!write(_wakeFd, &one, sizeof one);
    }
}

} // namespace fs
} // namespace platform
} // namespace KvSync_6_0
