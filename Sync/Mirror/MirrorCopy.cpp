#include "Sync/Mirror/MirrorCopy_p.h"

#include <QCryptographicHash>

#include <cerrno>
#include <cstring>
#include <chrono>
#include <ctime>
#include <new>
#include <system_error>
#include <unistd.h>

inline namespace KvSync_6_0 {
namespace sync {
namespace mirror {

namespace fs = platform::fs;
using fs::EntryStat;

namespace {

// Files modified more recently than this are verified after the copy.
constexpr int64_t kHotNs = 2000000000;
// Small enough for the buffer to stay in the CPU's cache while the kernel fills it.
constexpr size_t kDigestChunk = 1 << 16;
// Each side of a comparison; the two buffers together still fit the cache.
constexpr size_t kCompareChunk = 1 << 16;

int64_t nowNs()
{
    struct timespec t;
    clock_gettime(CLOCK_REALTIME, &t);
    return int64_t(t.tv_sec) * 1000000000 + t.tv_nsec;
}

// MD5 of a whole open file, read with pread from its start; empty on a read error.
std::string digestFd(int fd)
{
    QCryptographicHash hash(QCryptographicHash::Md5);
    thread_local fs::ReadBuffer buffer(kDigestChunk);
    for (off_t at = 0;;) {
        const ssize_t n = pread(fd, buffer.data(), kDigestChunk, at);
        if (n < 0)
            return std::string();
        if (n == 0)
            break;
        hash.addData(QByteArrayView(buffer.data(), n));
        at += n;
    }
    const QByteArray r = hash.result();
    return std::string(r.constData(), size_t(r.size()));
}

bool changedSince(const EntryStat& before, const EntryStat& now)
{
    return now.size != before.size || now.mtimeNs != before.mtimeNs
        || now.ctimeNs != before.ctimeNs;
}

// What CopyData hands its callback: the hooks and the count it keeps up to date.
struct StepContext
{
    const CopyHooks* hooks;
    const int64_t* copied;
};

bool step(void* context)
{
    const auto* c = static_cast<StepContext*>(context);
    return c->hooks->step && c->hooks->step(c->hooks->context, *c->copied);
}

} // namespace

CopyOutcome CopyFile(const CopyJob& job, const CopyHooks& hooks)
{
    auto stage = [&hooks](MirrorPass::Stage s) {
        if (hooks.stage)
            hooks.stage(hooks.context, s);
    };
    CopyOutcome o;
    auto failed = [&](CopyOutcome::Failure failure, int code) {
        o.failure = failure;
        o.errorCode = code;
    };
    for (int attempt = 0; attempt < job.attempts; ++attempt) {
        o.attempts = attempt + 1;
        if (attempt > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(20 * attempt));
        Fd in(fs::OpenFileForReadAt(job.sourceFd, job.name.c_str()));
        if (in.fd < 0) {
            if (in.fd == -ELOOP || in.fd == -ENODEV)
                failed(CopyOutcome::NotRegular, in.fd);
            else
                failed(CopyOutcome::CannotRead, in.fd);
            if (in.fd == -EACCES || in.fd == -EPERM || in.fd == -ENOENT)
                return o;
            continue;
        }
        fs::StatFd(in.fd, o.before);
        Fd out(fs::CreateFileAt(job.workFd, job.companion.c_str(), 0600));
        if (out.fd < 0) {
            failed(CopyOutcome::CannotCreate, out.fd);
            return o;
        }
        auto drop = [&job] { fs::RemoveFileAt(job.workFd, job.companion.c_str()); };
        stage(MirrorPass::Stage::CompanionOpened);
        o.copied = 0;
        StepContext context { &hooks, &o.copied };
        int r = fs::CopyData(in.fd, out.fd, o.copied, &step, &context);
        if (r == -ECANCELED) {
            drop();
            o.failure = CopyOutcome::None;
            o.interrupted = true;
            return o;
        }
        if (r != 0) {
            drop();
            failed(CopyOutcome::CannotCopy, r);
            return o;
        }
        EntryStat after;
        fs::StatFd(in.fd, after);
        if (changedSince(o.before, after) || o.copied != after.size) {
            drop();
            failed(CopyOutcome::Changed, 0);
            continue;
        }
        // A file written within the last moments may have changed inside the file system's
        // timestamp granularity without its times showing it: the copy is checked against a
        // re-read of the source.
        o.digest.clear();
        if (nowNs() - o.before.mtimeNs < kHotNs) {
            const std::string written = digestFd(out.fd);
            o.digest = digestFd(in.fd);
            EntryStat again;
            fs::StatFd(in.fd, again);
            if (written.empty() || written != o.digest || changedSince(o.before, again)) {
                drop();
                failed(CopyOutcome::Changed, 0);
                continue;
            }
        }
        fs::SetModeFd(out.fd, o.before.mode);
        fs::SetTimesFd(out.fd, o.before.mtimeNs);
        // Replacing an older file: its content must not be lost to a crash, so the new one
        // is on disk before the rename makes it the only one.
        if (job.replacing) {
            r = fs::Flush(out.fd);
            if (r != 0) {
                drop();
                failed(CopyOutcome::CannotFlush, r);
                return o;
            }
        }
        stage(MirrorPass::Stage::CompanionWritten);
        if (job.folderInTheWay)
            fs::RemoveTreeAt(job.targetFd, job.name.c_str());
        r = fs::ReplaceAt(job.workFd, job.companion.c_str(), job.targetFd, job.name.c_str());
        if (r != 0) {
            drop();
            failed(CopyOutcome::CannotPlace, r);
            return o;
        }
        stage(MirrorPass::Stage::Replaced);
        fs::StatFd(out.fd, o.placed);
        o.failure = CopyOutcome::None;
        o.errorCode = 0;
        return o;
    }
    return o;
}

CopyOutcome CompareFile(const CopyJob& job, const CopyHooks& hooks)
{
    CopyOutcome o;
    o.comparison = CopyOutcome::Different;
    Fd a(fs::OpenFileForReadAt(job.sourceFd, job.name.c_str()));
    if (a.fd < 0) {
        o.failure = CopyOutcome::CannotRead;
        o.errorCode = a.fd;
        return o;
    }
    Fd b(job.targetFd >= 0 ? fs::OpenFileForReadAt(job.targetFd, job.name.c_str()) : -1);
    QCryptographicHash hash(QCryptographicHash::Md5);
    // One per thread: fresh buffers per file cost more than reading a small file.
    thread_local fs::ReadBuffer buffer(2 * kCompareChunk);
    char* x = buffer.data();
    char* y = x + kCompareChunk;
    bool same = b.fd >= 0;
    for (int64_t total = 0;;) {
        const ssize_t n = read(a.fd, x, kCompareChunk);
        if (n < 0) {
            o.failure = CopyOutcome::CannotRead;
            o.errorCode = -errno;
            return o;
        }
        if (n == 0)
            break;
        if (job.hashIt)
            hash.addData(QByteArrayView(x, n));
        if (same) {
            ssize_t got = 0;
            while (got < n) {
                const ssize_t m = read(b.fd, y + got, size_t(n - got));
                if (m <= 0)
                    break;
                got += m;
            }
            same = got == n && std::memcmp(x, y, size_t(n)) == 0;
        }
        total += n;
        if (hooks.step && hooks.step(hooks.context, total)) {
            o.interrupted = true;
            return o;
        }
        // Without a digest to finish, the rest of the source tells nothing more.
        if (!same && !job.hashIt)
            break;
    }
    if (same) {
        char extra;
        same = read(b.fd, &extra, 1) == 0;
    }
    if (job.hashIt) {
        const QByteArray r = hash.result();
        o.digest.assign(r.constData(), size_t(r.size()));
    }
    o.comparison = same ? CopyOutcome::Same : CopyOutcome::Different;
    return o;
}

CopyPool::CopyPool(int threads, bool (*shouldStop)(void*), void* context)
    : _threads(threads)
    , _shouldStop(shouldStop)
    , _context(context)
{ }

CopyPool::~CopyPool()
{
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _closing = true;
    }
    _todoReady.notify_all();
    for (std::thread& t : _workers)
        t.join();
}

void CopyPool::Submit(CopyJob job)
{
    auto task = std::make_unique<Task>();
    task->job = std::move(job);
    Task* raw = task.get();
    _order.push_back(std::move(task));
    if (_workers.empty()) {
        try {
            for (int i = 0; i < _threads; ++i)
                _workers.emplace_back([this] { Work(); });
        } catch (const std::system_error&) {
            // The system refused a thread: those started serve; with none, the copy is here.
        }
    }
    if (_workers.empty()) {
        Run(*raw, false);
        raw->done = true;
        return;
    }
    bool wake = false;
    {
        std::lock_guard<std::mutex> lock(_mutex);
        _todo.push_back(raw);
        wake = _idle > 0;
    }
    // A busy worker takes the job from the queue anyway; a wake-up for nothing is a system
    // call per file, which is what this pool exists to save.
    if (wake)
        _todoReady.notify_one();
}

bool CopyPool::TakeDone(bool wait, CopyJob& job, CopyOutcome& outcome)
{
    if (_order.empty())
        return false;
    Task* oldest = _order.front().get();
    {
        std::unique_lock<std::mutex> lock(_mutex);
        while (!oldest->done) {
            if (!wait)
                return false;
            // Rather than sleep, this thread copies too: a job not begun is done sooner here.
            if (!_todo.empty()) {
                RunNext(lock);
                continue;
            }
            _ownerWaits = true;
            _taskDone.wait(lock);
            _ownerWaits = false;
        }
    }
    job = std::move(oldest->job);
    outcome = std::move(oldest->outcome);
    _order.pop_front();
    return true;
}

void CopyPool::Run(Task& task, bool closing)
{
    CopyOutcome outcome;
    if (closing || _shouldStop(_context)) {
        outcome.interrupted = true;
    } else {
        CopyHooks hooks;
        hooks.step = [](void* context, int64_t) {
            auto* pool = static_cast<CopyPool*>(context);
            return pool->_shouldStop(pool->_context);
        };
        hooks.context = this;
        try {
            outcome
                = task.job.compareOnly ? CompareFile(task.job, hooks) : CopyFile(task.job, hooks);
        } catch (...) {
            // Only memory can run out here; the companion, if any, goes with the working
            // folder when the pass closes it.
            outcome = CopyOutcome();
            outcome.failure = CopyOutcome::CannotCopy;
            outcome.errorCode = -ENOMEM;
        }
    }
    task.outcome = std::move(outcome);
}

void CopyPool::RunNext(std::unique_lock<std::mutex>& lock)
{
    Task* task = _todo.front();
    _todo.pop_front();
    const bool closing = _closing;
    lock.unlock();
    Run(*task, closing);
    lock.lock();
    task->done = true;
}

void CopyPool::Work()
{
    std::unique_lock<std::mutex> lock(_mutex);
    for (;;) {
        ++_idle;
        _todoReady.wait(lock, [this] { return _closing || !_todo.empty(); });
        --_idle;
        if (_todo.empty())
            return;
        RunNext(lock);
        if (_ownerWaits)
            _taskDone.notify_one();
    }
}

} // namespace mirror
} // namespace sync
} // namespace KvSync_6_0
