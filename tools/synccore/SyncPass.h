#pragma once

// One pass of the one-way mirror behind `synccore sync`: SOURCE plays the
// local folder, TARGET the cloud store. Built on the library's public API only.

#include <QSet>
#include <QString>
#include <QVector>
#include <QStringList>

#include <functional>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {
class IActionLog;
class ICheckForExit;
}
namespace core {
class FileNameMatcher;
}
} // namespace sync
} // namespace KvSync_6_0

namespace tool {

/// What a pass did, for the summary line and --json.
struct SyncSummary
{
    int files = 0; ///< files considered (not excluded)
    int copied = 0; ///< files written to the target
    int unchanged = 0; ///< files whose target had the same MD5
    int excluded = 0; ///< names the exclusion rule skipped (files and folders)
    int failed = 0; ///< files that could not be read or put in place
    qint64 bytesTotal = 0; ///< bytes of all files considered
    qint64 bytesCopied = 0; ///< bytes of the files written
    qint64 elapsedMs = 0;
    bool interrupted = false; ///< the pass stopped early because the process is exiting
    QStringList failures; ///< "path: reason", one per failed file
};

/// Progress after each file: files and bytes done of the totals.
struct SyncProgress
{
    int filesDone = 0;
    int filesTotal = 0;
    qint64 bytesDone = 0;
    qint64 bytesTotal = 0;
};

class SyncPass
{
public:
    SyncPass(sync::interf::IActionLog& log, sync::core::FileNameMatcher& matcher,
        sync::interf::ICheckForExit& exit);

    /// Called as bytes are read and after every file; may be empty.
    void setProgressCallback(std::function<void(const SyncProgress&)> callback);
    /// Called with the relative path of every file written to the target; may be empty.
    void setCopiedCallback(std::function<void(const QString&)> callback);
    /// Actions handed to the log by every Run() of this object so far.
    int actionsAdded() const { return _actionsAdded; }

    /**
     * Cleans both folder paths in place and checks that they can be mirrored:
     * SOURCE is an existing folder, TARGET is not a file, and neither lies
     * inside the other. Returns an error text, empty when all is well.
     * With @p createTarget, TARGET is created when it does not exist.
     */
    static QString PrepareFolders(QString& source, QString& target, bool createTarget = true);

    /// Mirrors @p source into @p target (both prepared). Stops between files once exiting.
    SyncSummary Run(const QString& source, const QString& target);

private:
    struct Item
    {
        QString relative; ///< path below the source, '/'-separated
        qint64 size = 0;
    };

    void _Collect(
        const QString& root, const QString& folder, QList<Item>& items, SyncSummary& summary);
    bool _SyncFile(
        const QString& source, const QString& target, const Item& item, SyncSummary& summary);
    /// The download companion's path for @p to, its working folder created; empty after _Fail().
    QString _Companion(const QString& to, const Item& item, SyncSummary& summary);
    /// Copies @p from to @p partial; the MD5 of what was written, empty on failure.
    QString _WriteCompanion(const QString& from, const QString& partial, QString* error);
    void _Fail(const Item& item, const QString& reason, SyncSummary& summary);
    void _Record(int type, const QString& relative, int detailsType, const QVector<QString>& args);
    void _Read(qint64 bytes);

    sync::interf::IActionLog& _log;
    sync::core::FileNameMatcher& _matcher;
    sync::interf::ICheckForExit& _exit;
    std::function<void(const SyncProgress&)> _progress;
    std::function<void(const QString&)> _copied;
    SyncProgress _done;
    QStringList _workingFolders;
    /// Excluded items already recorded: once per item and object, not on every pass.
    QSet<QString> _excludedRecorded;
    int _actionsAdded = 0;
};

} // namespace tool
