#pragma once

// The kernel half of a file's copy (companion written, checked, renamed into
// place), apart from the pass's bookkeeping, so that small files can be copied
// on worker threads while the pass walks on. Never installed.

#include "Sync/Mirror/MirrorPass.h"
#include "platform/PlatformFs.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

inline namespace KvSync_6_0 {
namespace sync {
namespace mirror {

/// A descriptor closed when it goes out of scope.
struct Fd
{
    int fd = -1;
    Fd() = default;
    explicit Fd(int f)
        : fd(f)
    { }
    ~Fd() { platform::fs::Close(fd); }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    void reset(int f)
    {
        platform::fs::Close(fd);
        fd = f;
    }
};

/// What copying one file needs. The descriptors are the pass's and stay open until the
/// copy's outcome has been applied.
struct CopyJob
{
    int sourceFd = -1; ///< the source folder
    int targetFd = -1; ///< the target folder
    int workFd = -1; ///< the target folder's working folder, where the companion is written
    std::string rel; ///< the folder, relative to the roots
    std::string name;
    std::string companion;
    platform::fs::EntryStat source; ///< the source's lstat when the walk met it
    bool replacing = false; ///< something stands under the name in the target
    bool folderInTheWay = false; ///< and it is a folder, removed just before the rename
    int attempts = 1; ///< copies of a file that keeps changing before giving up
    /// Only compare the source with the target's file of the same name (CompareFile()).
    bool compareOnly = false;
    bool hashIt = false; ///< and take the source's MD5 on the way
    /// Opaque to the copy: what the pass needs to go on after a comparison.
    platform::fs::EntryStat target;
    const void* row = nullptr;
    /// Opaque to the copy: the pass's own handle on the target folder, to count its jobs.
    void* folder = nullptr;
};

/// How a copy ended.
struct CopyOutcome
{
    enum Failure {
        None,
        NotRegular, ///< the name stopped being a regular file
        CannotRead, ///< errorCode from opening the source
        CannotCreate, ///< errorCode from creating the companion
        CannotCopy, ///< errorCode from copying the data
        Changed, ///< the source kept changing through every attempt
        CannotFlush, ///< errorCode from the fsync before replacing
        CannotPlace, ///< errorCode from the rename
    };
    /// What a comparison found; Different also when the target could not be opened.
    enum Comparison { NotCompared, Same, Different };
    Failure failure = None;
    Comparison comparison = NotCompared;
    int errorCode = 0; ///< -errno
    int attempts = 0; ///< attempts made
    bool interrupted = false; ///< stopped by a cancel; the companion is gone
    int64_t copied = 0;
    platform::fs::EntryStat before; ///< the source's fstat when the copy began
    platform::fs::EntryStat placed; ///< the new file's fstat once under its name
    /// MD5 of the content when it was verified by a re-read or hashed by a comparison, else empty.
    std::string digest;
};

/// What the copy calls back on the thread that runs it.
struct CopyHooks
{
    /// Between chunks, with the bytes copied so far: true stops the copy (interrupted).
    bool (*step)(void* context, int64_t copied) = nullptr;
    /// At each point of the replacement; null when nobody watches.
    void (*stage)(void* context, MirrorPass::Stage stage) = nullptr;
    void* context = nullptr;
};

/**
 * Copies @p job's file to its companion, checks it against the source before
 * and after, and renames it into place: a kill at any instant leaves the old
 * or the new content under the name. Only system calls and the file's own
 * memory: safe on any thread. Never throws but std::bad_alloc.
 */
CopyOutcome CopyFile(const CopyJob& job, const CopyHooks& hooks);

/**
 * Compares @p job's source with the file of the same name in the target
 * folder, byte for byte (outcome's comparison), taking the source's MD5 when
 * @p job asks for it: comparing costs less than hashing, so the digest is
 * taken once and later passes only compare. A source that cannot be read is
 * CannotRead. Safe on any thread, like CopyFile().
 */
CopyOutcome CompareFile(const CopyJob& job, const CopyHooks& hooks);

/**
 * @brief A few threads that run CopyFile() (or CompareFile()) on jobs handed over by one thread,
 * which takes the outcomes back in the order it handed the jobs over.
 *
 * Everything but the copy stays on the owning thread: it submits, takes the
 * outcomes back and applies them, so the pass's database connection and
 * callbacks never leave it. The threads start with the first job (when none
 * can start, Submit() copies on the calling thread) and are joined by the
 * destructor; jobs not begun by then are not copied. A worker never lets an
 * exception out: a job that throws ends as a failure with -ENOMEM.
 */
class CopyPool
{
public:
    /// @p shouldStop is asked by the workers before and during each copy; it must be
    /// callable from any thread.
    CopyPool(int threads, bool (*shouldStop)(void*), void* context);
    ~CopyPool();

    CopyPool(const CopyPool&) = delete;
    CopyPool& operator=(const CopyPool&) = delete;

    /// Jobs handed over and not yet taken back.
    size_t InFlight() const { return _order.size(); }

    void Submit(CopyJob job);
    /// The oldest job and its outcome when it is done; false when there is none, or it is not
    /// done and @p wait is false. With @p wait, the calling thread copies jobs not yet begun
    /// until the oldest is done, rather than sleep.
    bool TakeDone(bool wait, CopyJob& job, CopyOutcome& outcome);

private:
    struct Task
    {
        CopyJob job;
        CopyOutcome outcome;
        bool done = false; ///< guarded by _mutex
    };

    void Work();
    /// Copies @p task's file, or only marks it interrupted when the pass stops or @p closing.
    void Run(Task& task, bool closing);
    /// Runs the oldest job not begun, with @p lock (on _mutex) released meanwhile.
    void RunNext(std::unique_lock<std::mutex>& lock);

    const int _threads;
    bool (*const _shouldStop)(void*);
    void* const _context;
    std::vector<std::thread> _workers;
    std::mutex _mutex;
    std::condition_variable _todoReady;
    std::condition_variable _taskDone;
    std::deque<Task*> _todo; ///< guarded by _mutex
    bool _closing = false; ///< guarded by _mutex
    int _idle = 0; ///< workers waiting for a job; guarded by _mutex
    bool _ownerWaits = false; ///< the owning thread waits for a job; guarded by _mutex
    /// Every task handed over, oldest first; the owning thread's alone.
    std::deque<std::unique_ptr<Task>> _order;
};

} // namespace mirror
} // namespace sync
} // namespace KvSync_6_0
