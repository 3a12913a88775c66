#pragma once

// Runs the library's mirror engine for `synccore sync`: one pass, or a watch
// woken by inotify, by `synccore wake` and by a timer. The one place that
// knows which engine runs.

#include <QString>
#include <QStringList>

namespace tool {

class LogDatabase;

struct SyncOptions
{
    QString source; ///< absolute and clean, checked by the engine
    QString target; ///< absolute and clean, checked (and created) by the engine
    bool watch = false;
    int intervalSeconds = 60;
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    bool deleteExtra = false; ///< --delete
    bool dryRun = false; ///< --dry-run
    bool checksum = false; ///< --checksum
    QStringList excludes; ///< --exclude, one pattern each
};

/**
 * Runs the passes and prints their summaries. Returns the exit status: 0, 23
 * when a pass had per-entry failures, 1 when the log lost rows or its database
 * failed, 128 + N when signal N stopped it (after the log was flushed).
 */
int runSync(const SyncOptions& options, LogDatabase& db);

} // namespace tool
