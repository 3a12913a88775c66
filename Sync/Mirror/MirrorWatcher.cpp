#include "Sync/Mirror/MirrorWatcher.h"

#include "interfaces/ICheckForExit.h"
#include "platform/PlatformFs.h"

#include <QSet>

#include <atomic>
#include <chrono>
#include <sys/inotify.h>
#include <unordered_map>

inline namespace KvSync_6_0 {
namespace sync {
namespace mirror {

namespace fs = platform::fs;
using Clock = std::chrono::steady_clock;

namespace {
constexpr uint32_t kWatchMask = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_CLOSE_WRITE
    | IN_MODIFY | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;
// How often Run() looks at the exit controller while nothing happens.
constexpr int kPollMs = 250;
} // namespace

class Q_DECL_HIDDEN MirrorWatcher::Private
{
public:
    MirrorOptions options;
    sync::interf::ICheckForExit* exit = nullptr;
    std::unique_ptr<MirrorPass> pass;
    std::function<void(const MirrorResult&, bool)> resultCallback;
    fs::Inotify inotify;
    std::unordered_map<int, QByteArray> folders; // watch descriptor -> relative folder
    std::string sourceRoot;
    std::atomic<bool> stop { false };
    std::atomic<bool> fullRequested { false };

    bool Stopping() { return stop || (exit && exit->IsCanceling()); }
    void Watch(const QByteArray& rel)
    {
        const std::string path = rel.isEmpty() ? sourceRoot : sourceRoot + '/' + rel.toStdString();
        const int wd = inotify.Watch(path, kWatchMask);
        if (wd >= 0)
            folders[wd] = rel;
    }
};

MirrorWatcher::MirrorWatcher(MirrorOptions options, sync::interf::IActionLog* log,
    std::shared_ptr<sync::core::SqliteDatabaseFactory> database,
    const sync::core::FileNameMatcher* matcher, sync::interf::ICheckForExit* exit)
    : d(std::make_unique<Private>())
{
    d->options = options;
    d->exit = exit;
    d->pass
        = std::make_unique<MirrorPass>(std::move(options), log, std::move(database), matcher, exit);
    d->pass->SetFolderCallback([this](const QByteArray& rel) { d->Watch(rel); });
}

MirrorWatcher::~MirrorWatcher() = default;

MirrorPass& MirrorWatcher::Pass()
{
    return *d->pass;
}

void MirrorWatcher::SetResultCallback(std::function<void(const MirrorResult&, bool)> callback)
{
    d->resultCallback = std::move(callback);
}

void MirrorWatcher::RequestFullPass()
{
    d->fullRequested = true;
    d->inotify.Interrupt();
}

void MirrorWatcher::Stop()
{
    d->stop = true;
    d->pass->Cancel();
    d->inotify.Interrupt();
}

QString MirrorWatcher::Run()
{
    if (d->inotify.Error() != 0)
        return QStringLiteral("cannot watch the source: %1")
            .arg(QString::fromLocal8Bit(strerror(-d->inotify.Error())));
    const QByteArray source = d->options.source.toLocal8Bit();
    if (fs::RealPath(std::string(source.constData(), size_t(source.size())), d->sourceRoot) != 0)
        return QStringLiteral("source %1 does not exist").arg(d->options.source);

    const auto settle = std::chrono::milliseconds(std::max(0, d->options.settleMs));
    const auto interval = std::chrono::seconds(std::max(1, d->options.intervalSeconds));
    bool full = true;
    QSet<QByteArray> pending;
    Clock::time_point firstChange, lastChange, lastFull;
    std::vector<fs::Inotify::Event> events;

    while (!d->Stopping()) {
        if (d->fullRequested.exchange(false))
            full = true;
        if (full) {
            full = false;
            pending.clear();
            const MirrorResult r = d->pass->Run();
            lastFull = Clock::now();
            if (d->resultCallback)
                d->resultCallback(r, true);
            continue;
        }
        const Clock::time_point now = Clock::now();
        if (!pending.isEmpty()
            && (now - lastChange >= settle || now - firstChange >= settle * 10)) {
            const QVector<QByteArray> paths(pending.begin(), pending.end());
            pending.clear();
            const MirrorResult r = d->pass->RunPaths(paths);
            if (d->resultCallback)
                d->resultCallback(r, false);
            continue;
        }
        if (now - lastFull >= interval) {
            full = true;
            continue;
        }
        auto wait
            = std::chrono::duration_cast<std::chrono::milliseconds>(lastFull + interval - now);
        if (!pending.isEmpty())
            wait = std::min(wait,
                std::chrono::duration_cast<std::chrono::milliseconds>(lastChange + settle - now));
        const int timeout = int(std::clamp<long long>(wait.count(), 1, kPollMs));
        events.clear();
        const int n = d->inotify.Read(events, timeout);
        if (n < 0)
            return QStringLiteral("cannot watch the source: %1")
                .arg(QString::fromLocal8Bit(strerror(-n)));
        for (const fs::Inotify::Event& e : events) {
            if (e.mask & IN_Q_OVERFLOW) {
                // Changes were lost: only a full pass knows what they were.
                full = true;
                break;
            }
            if (e.mask & IN_IGNORED) {
                d->folders.erase(e.watch);
                continue;
            }
            auto it = d->folders.find(e.watch);
            if (it == d->folders.end())
                continue;
            QByteArray path = it->second;
            if (!e.name.empty())
                path = path.isEmpty() ? QByteArray::fromStdString(e.name)
                                      : path + '/' + QByteArray::fromStdString(e.name);
            if (pending.isEmpty())
                firstChange = Clock::now();
            lastChange = Clock::now();
            pending.insert(path);
        }
    }
    return QString();
}

} // namespace mirror
} // namespace sync
} // namespace KvSync_6_0
