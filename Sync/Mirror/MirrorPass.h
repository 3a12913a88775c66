#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsyncmirror_export.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

#include <atomic>
#include <functional>
#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {
class IActionLog;
class ICheckForExit;
} // namespace interf
namespace core {
class FileNameMatcher;
class SqliteDatabaseFactory;
} // namespace core
namespace mirror {

/// What a caller asks of a pass.
struct KVSYNCMIRROR_EXPORT MirrorOptions
{
    QString source; ///< the folder mirrored; must exist
    QString target; ///< the mirror; created when missing
    bool deleteExtra = false; ///< remove from the target what the source no longer has
    bool dryRun = false; ///< decide and report, change nothing (journal and action log included)
    bool checksum = false; ///< compare the content of every file, not only its metadata
    QStringList excludes; ///< patterns added to the exclusion rule for this run (case-insensitive)
    int changeRetries = 3; ///< copies of a file that keeps changing before it is reported
    int settleMs = 300; ///< watch: quiet time after a change before it is mirrored
    int intervalSeconds = 60; ///< watch: a full pass at least this often
    /**
     * Run() first counts the source's files and bytes, so that progress
     * carries totals. The count is one more walk of the source (lstat only,
     * the exclusion rule applied, links never followed), which is why it is
     * off unless someone shows the totals. RunPaths() never counts.
     */
    bool countAhead = false;
};

/// Which way an entry went; the per-entry callback and the failures carry it.
enum class EntryAction {
    Copied, ///< a file's content was put in place
    Linked, ///< a symbolic link was put in place
    FolderMade, ///< a folder was created
    Updated, ///< only permissions or times were set
    Deleted, ///< removed from the target (--delete)
    Excluded, ///< left out by the exclusion rule
    Failed, ///< could not be mirrored; see MirrorFailure
};

/// One entry the pass could not mirror.
struct KVSYNCMIRROR_EXPORT MirrorFailure
{
    QByteArray path; ///< relative to the source, raw bytes
    QString display; ///< the path for people: invalid UTF-8 bytes shown as \\xNN
    QString cause; ///< why, in one line (the system's error text where there is one)
};

/// One entry the pass acted on, for the per-entry callback.
struct KVSYNCMIRROR_EXPORT MirrorEntry
{
    EntryAction action = EntryAction::Copied; ///< what was done
    QByteArray path; ///< relative to the source, raw bytes
    QString display; ///< the path for people, as in MirrorFailure
    qint64 bytes = 0; ///< bytes written for a copy, 0 otherwise
    QString cause; ///< the failure's cause, empty otherwise
};

/// What a pass did.
struct KVSYNCMIRROR_EXPORT MirrorResult
{
    int files = 0; ///< regular files considered (not excluded)
    int copied = 0; ///< files whose content was written (or, dry run, would be)
    int unchanged = 0; ///< files left as they were
    int deleted = 0; ///< entries removed from the target
    int excluded = 0; ///< names the exclusion rule left out
    int failed = 0; ///< entries that could not be mirrored (== failures.size())
    int links = 0; ///< symbolic links considered
    int folders = 0; ///< folders considered, the top one excepted
    qint64 bytes = 0; ///< bytes of all files considered
    qint64 bytesCopied = 0; ///< bytes written
    qint64 elapsedMs = 0; ///< wall-clock time of the pass, in milliseconds
    bool interrupted = false; ///< stopped early (cancel or exit), between files
    /// Set when the pass could not run at all (folders refused, source unreadable).
    QString fatalError;
    /// Set when the history is not whole: action rows lost or the database damaged.
    QString historyError;
    /// One per entry not mirrored, in walk order but for small files, which come when
    /// their copy or comparison ends.
    QVector<MirrorFailure> failures;

    /// 0 success, 1 failure (fatal or history), 23 completed with per-entry failures.
    /// An interrupted pass is the caller's to map (128 + the signal).
    int ExitStatus() const;
};

/// Files and bytes done so far, and the totals when the pass counted them ahead.
struct KVSYNCMIRROR_EXPORT MirrorProgress
{
    int filesDone = 0; ///< files handled so far (copied, compared or failed)
    /// Bytes of the files handled so far, the file in progress included as it is read.
    qint64 bytesDone = 0;
    /// Regular files in the source, not excluded; 0 when not counted (MirrorOptions::countAhead).
    int filesTotal = 0;
    /// Their bytes; 0 when not counted. Files that change during the pass may move
    /// bytesDone past it.
    qint64 bytesTotal = 0;
};

/**
 * @brief One pass of a one-way mirror of a source folder into a target folder.
 *
 * The pass walks both trees once below Qt (descriptors, raw-byte names,
 * lstat only: links are mirrored as links and never followed, FIFOs, sockets
 * and devices are never opened but reported). A file is written to a download
 * companion in the target folder's ".{SyncTemp}" (a short derived name when
 * the usual one would not fit), checked against the source's size and times
 * before and after the copy, and put in place with one atomic rename, after
 * an fsync when it replaces an older file: a kill at any instant leaves either
 * the old or the new content under the real name. Stale companions of an
 * interrupted pass are removed by the next one.
 *
 * With a database factory the pass keeps a journal (table MirrorJournal in the
 * same database file): one row per mirrored entry with both sides' metadata,
 * so that a pass after no change only stats the trees. A missing or lost
 * journal costs one full comparison of the files, never a wrong result. Every
 * action goes to the action log; a pass whose rows were not all written, or
 * whose database reports damage, says so in MirrorResult::historyError.
 *
 * Run() is synchronous and runs on the calling thread; callbacks run on it
 * too. In a large folder the target's entries are stat'ed on a short-lived
 * second thread, which then helps with the source's, while the calling thread
 * reads the journal. Files below 1 MiB are copied (and, when their content is
 * compared, compared) on a worker thread of the pass while the calling thread
 * walks on (which copies some too rather than wait for the worker); each is
 * reported (callbacks, history, failures) on the calling thread when its copy
 * ends, so after entries that follow it in the walk, but always before its
 * folder's walk ends. Cancel() may be called from any thread; the pass then
 * stops between files (a large copy in progress is abandoned, and so are
 * small copies not yet begun; no companion is left behind).
 */
class KVSYNCMIRROR_EXPORT MirrorPass
{
public:
    /// Points of a file's replacement, for the test hook.
    enum class Stage { CompanionOpened, CompanionWritten, Replaced, JournalWritten };

    /**
     * @p log and @p database may be null (no history, no journal); @p matcher
     * is the exclusion rule (null: nothing excluded but the options' patterns);
     * @p exit, when given, is polled between files like Cancel().
     * All must outlive the pass.
     */
    MirrorPass(MirrorOptions options, sync::interf::IActionLog* log,
        std::shared_ptr<sync::core::SqliteDatabaseFactory> database,
        const sync::core::FileNameMatcher* matcher, sync::interf::ICheckForExit* exit);
    ~MirrorPass();

    MirrorPass(const MirrorPass&) = delete;
    MirrorPass& operator=(const MirrorPass&) = delete;

    /**
     * @brief Checks the two folders: the source is an existing folder, the
     * target is a folder or missing, and neither lies inside the other once
     * links are resolved (real paths, and device and inode of every folder
     * above each). Creates the target unless @p createTarget is false (a dry
     * run changes nothing). Empty on success, else the reason.
     */
    static QString CheckFolders(
        const QString& source, const QString& target, bool createTarget = true);

    /**
     * @brief Called after every file, at every chunk of a file being copied or
     * compared, and once after the count when MirrorOptions::countAhead is
     * set; may be empty. It runs inside the copy loop, so it must be cheap:
     * throttling what it draws is the caller's.
     */
    void SetProgressCallback(std::function<void(const MirrorProgress&)> callback);
    /// Called for every entry acted on (copied, deleted, failed...); may be empty.
    void SetEntryCallback(std::function<void(const MirrorEntry&)> callback);
    /// Test hook: called at each point of a file's replacement.
    void __TEST_ONLY_SetStageHook(std::function<void(Stage, const QByteArray&)> hook);

    /// A full pass over both trees.
    MirrorResult Run();
    /**
     * @brief A pass over only the given source paths (relative, raw bytes):
     * each is mirrored, or deleted from the target (--delete) when it is gone,
     * and folders among them are walked whole. For the watcher.
     */
    MirrorResult RunPaths(const QVector<QByteArray>& paths);

    /// Asks a running pass to stop between files; from any thread.
    void Cancel();

    /// Folders walked by the last pass (relative, raw bytes), when asked for; for the watcher.
    void SetFolderCallback(std::function<void(const QByteArray&)> callback);

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace mirror
} // namespace sync
} // namespace KvSync_6_0
