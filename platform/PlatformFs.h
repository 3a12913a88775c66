#pragma once

// File-system calls below Qt for code that walks and copies whole trees: names
// are raw bytes (any byte but '/' and NUL, valid UTF-8 or not), folders are
// reached through descriptors (openat and friends) so that a link swapped in
// mid-walk is never followed, and nothing allocates a QString per entry.
//
// Every function returns 0 (or a descriptor) on success and a negative errno
// value on failure; ErrorText() in Platform.h turns -result into a text.
// Not installed: this is not part of the library's interface.

#include "interfaces/SyncNamespace.h"

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

inline namespace KvSync_6_0 {
namespace platform {
namespace fs {

/**
 * Memory for read() to fill, aligned to a cache line. The kernel copies file
 * pages out with `rep movsb`, which some processors run several times slower
 * into a destination that is not aligned: on AMD EPYC, reading into a buffer
 * 16 bytes into a page (where a large malloc puts it) took five times as long.
 */
class ReadBuffer
{
public:
    static constexpr std::align_val_t kAlignment { 64 };

    explicit ReadBuffer(size_t size)
        : _data(static_cast<char*>(::operator new(size, kAlignment)))
        , _size(size)
    { }
    ~ReadBuffer() { ::operator delete(_data, kAlignment); }
    ReadBuffer(const ReadBuffer&) = delete;
    ReadBuffer& operator=(const ReadBuffer&) = delete;

    char* data() const { return _data; }
    size_t size() const { return _size; }

private:
    char* const _data;
    const size_t _size;
};

/// What lstat tells about one entry.
struct EntryStat
{
    enum Type : uint8_t { Other = 0, File, Folder, Link, Fifo, Socket, CharDevice, BlockDevice };
    Type type = Other;
    uint32_t mode = 0; ///< permission bits only (07777)
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t size = 0;
    int64_t mtimeNs = 0; ///< modification time, nanoseconds since the epoch
    int64_t ctimeNs = 0; ///< status change time, nanoseconds since the epoch
};

/// One name of a folder, as getdents64 gives it.
struct FolderEntry
{
    std::string name;
    /// From the folder listing; Other when the file system does not say (then lstat).
    EntryStat::Type type = EntryStat::Other;
};

/// The current directory as a folder descriptor for the *At functions.
int CurrentFolder();

/// lstat of @p name in @p folderFd (never follows a final link). 0 or -errno.
int StatAt(int folderFd, const char* name, EntryStat& out);
/// fstat of an open descriptor. 0 or -errno.
int StatFd(int fd, EntryStat& out);

/**
 * @brief Opens the folder @p name in @p folderFd, never through a link.
 * Returns the descriptor (close-on-exec) or -errno: -ELOOP or -ENOTDIR when
 * the name is a link or not a folder.
 */
int OpenFolderAt(int folderFd, const char* name);

/**
 * @brief Opens @p name for reading only when it is a regular file.
 *
 * Opened with O_NOFOLLOW and O_NONBLOCK, so neither a link nor a FIFO or a
 * device can redirect or block the call; then checked with fstat. Returns the
 * descriptor in blocking mode, or -errno: -ELOOP for a link, -ENODEV for
 * anything that is not a regular file.
 */
int OpenFileForReadAt(int folderFd, const char* name);

/**
 * @brief Creates (truncating) @p name for reading and writing, with permission bits @p mode.
 * A link standing at the name is not followed (-ELOOP). Descriptor or -errno.
 */
int CreateFileAt(int folderFd, const char* name, uint32_t mode);

/// Closes @p fd when it is not negative.
void Close(int fd);

/**
 * @brief Lists the folder behind @p folderFd with getdents64, without "." and "..".
 * The listing restarts from the folder's start. 0 or -errno.
 */
int ReadFolder(int folderFd, std::vector<FolderEntry>& out);

/// The text of the link @p name (readlinkat), any length. 0 or -errno.
int ReadLinkAt(int folderFd, const char* name, std::string& text);
/// Creates a link @p name holding @p text (symlinkat). 0 or -errno.
int CreateLinkAt(const std::string& text, int folderFd, const char* name);

/// mkdirat with @p mode. 0 or -errno (-EEXIST when anything stands there).
int CreateFolderAt(int folderFd, const char* name, uint32_t mode);
/// unlinkat of a non-folder. 0 or -errno.
int RemoveFileAt(int folderFd, const char* name);
/// rmdir of an empty folder. 0 or -errno.
int RemoveFolderAt(int folderFd, const char* name);
/// Removes @p name and, for a folder, everything below it, never through a link. 0 or -errno.
int RemoveTreeAt(int folderFd, const char* name);

/**
 * @brief Puts @p fromName of @p fromFolder in the place of @p toName of
 * @p toFolder in one atomic step (renameat): a reader sees either the old or
 * the new entry under @p toName, never neither. Both folders must be on the
 * same file system. The caller flushes the data first (Flush) when the new
 * content must survive a power loss. 0 or -errno.
 */
int ReplaceAt(int fromFolder, const char* fromName, int toFolder, const char* toName);

/// fsync. 0 or -errno.
int Flush(int fd);

/// Sets the permission bits of an open file (fchmod). 0 or -errno.
int SetModeFd(int fd, uint32_t mode);
/// Sets the permission bits of @p name, which must not be a link (fchmodat). 0 or -errno.
int SetModeAt(int folderFd, const char* name, uint32_t mode);
/// Sets access and modification time to @p mtimeNs of an open file (futimens). 0 or -errno.
int SetTimesFd(int fd, int64_t mtimeNs);
/// Sets access and modification time of @p name (the link itself, never its target). 0 or -errno.
int SetTimesAt(int folderFd, const char* name, int64_t mtimeNs);

/**
 * @brief Copies everything from @p in's current offset to its end into @p out.
 *
 * Uses copy_file_range (the kernel copies, or shares extents where the file
 * system can) and falls back to read/write between file systems that cannot.
 * @p shouldStop is asked between chunks of a few MiB; when it returns true
 * the copy stops with -ECANCELED. @p copied receives the bytes written, and
 * is up to date each time @p shouldStop is asked, so that the callback may
 * report progress.
 * 0 or -errno (-ENOSPC when the target's file system is full).
 */
int CopyData(int in, int out, int64_t& copied, bool (*shouldStop)(void*), void* context);

/// The canonical absolute path of an existing @p path (realpath). 0 or -errno.
int RealPath(const std::string& path, std::string& out);

/**
 * @brief A Linux inotify instance, non-blocking and close-on-exec.
 *
 * One instance belongs to one thread. Watch() takes a path (bytes) and
 * returns a watch descriptor or -errno; Read() waits up to @p timeoutMs (or
 * until Interrupt() is called from any thread) and appends the events that
 * arrived.
 */
class Inotify
{
public:
    struct Event
    {
        int watch = -1;
        uint32_t mask = 0;
        std::string name; ///< the entry in the watched folder; empty for the folder itself
    };

    Inotify();
    ~Inotify();
    Inotify(const Inotify&) = delete;
    Inotify& operator=(const Inotify&) = delete;

    /// 0 when the instance could be created, else -errno.
    int Error() const { return _error; }
    /// Adds a watch with the IN_* @p mask on the folder @p path (never through a link).
    int Watch(const std::string& path, uint32_t mask);
    /// Removes a watch.
    void Unwatch(int watch);
    /**
     * Waits up to @p timeoutMs (-1: no bound) for events and appends them.
     * Returns the number appended (0 on timeout or interruption) or -errno.
     * An overflowed queue shows as an event with IN_Q_OVERFLOW.
     */
    int Read(std::vector<Event>& events, int timeoutMs);
    /// Wakes a Read() in progress, from any thread.
    void Interrupt();

private:
    int _fd = -1;
    int _wakeFd = -1;
    int _error = 0;
};

} // namespace fs
} // namespace platform
} // namespace KvSync_6_0
