#pragma once

#include "Sync/Mirror/MirrorPass.h"

#include <functional>
#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace mirror {

/**
 * @brief Keeps a mirror up to date by following the source with inotify.
 *
 * Run() blocks on the calling thread: a full pass first, then a watch on every
 * folder of the source. A change is mirrored once the source has been quiet
 * for MirrorOptions::settleMs (so a file being written is not copied midway;
 * a file that never settles is still taken after ten settle times, the pass's
 * own change check guarding the copy), by a pass over only the changed names.
 * A full pass runs again on RequestFullPass() (a wake-up), when the kernel's
 * event queue overflowed, and every MirrorOptions::intervalSeconds.
 *
 * Stop() (any thread), Cancel on the pass, or the exit controller given to the
 * constructor ends Run() between passes; a pass in progress stops between
 * files. Each pass's result goes to the result callback, on the Run() thread.
 */
class KVSYNCMIRROR_EXPORT MirrorWatcher
{
public:
    /// Takes the same arguments as MirrorPass, which it runs; all must outlive the watcher.
    MirrorWatcher(MirrorOptions options, sync::interf::IActionLog* log,
        std::shared_ptr<sync::core::SqliteDatabaseFactory> database,
        const sync::core::FileNameMatcher* matcher, sync::interf::ICheckForExit* exit);
    ~MirrorWatcher();

    MirrorWatcher(const MirrorWatcher&) = delete;
    MirrorWatcher& operator=(const MirrorWatcher&) = delete;

    /// The pass the watcher runs, for its callbacks.
    MirrorPass& Pass();
    /// Called after every pass with its result and whether it was a full one.
    void SetResultCallback(std::function<void(const MirrorResult&, bool full)> callback);

    /**
     * Watches until stopped. Returns an empty string, or why watching was
     * impossible (inotify unavailable); a pass that fails does not end it.
     */
    QString Run();
    /// Asks for a full pass as soon as possible; from any thread.
    void RequestFullPass();
    /// Ends Run() after the pass in progress; from any thread.
    void Stop();

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace mirror
} // namespace sync
} // namespace KvSync_6_0
