#pragma once

// Runs the sync engine for `synccore sync`: once, or as a service woken by
// `synccore wake` and by a timer. The one place that knows which engine runs.

#include <QString>

namespace tool {

class LogDatabase;

struct SyncOptions
{
    QString source; ///< prepared: absolute, clean, an existing folder
    QString target; ///< prepared: absolute, clean, an existing folder
    bool watch = false;
    int intervalSeconds = 60;
    bool json = false;
    bool quiet = false;
    bool verbose = false;
};

/**
 * Runs the passes and prints their summaries. Returns the exit status: 0, 23
 * when a pass had per-entry failures, 1 when the log lost rows or its database
 * failed, 128 + N when signal N stopped it (after the log was flushed).
 */
int runSync(const SyncOptions& options, LogDatabase& db);

} // namespace tool
