#pragma once

// The action log database of the commands that use one: opened only after the
// arguments were checked, checked before anything is written to it, and
// checked again after the work, so that a damaged file is reported instead of
// read as an empty log, and rows that never arrived are counted.

#include "Sync/SyncCore/ActionLog.h"

#include <QString>

#include <atomic>
#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {
class SqliteDatabaseFactory;
}
} // namespace sync
} // namespace KvSync_6_0

namespace tool {

class LogDatabase
{
public:
    /**
     * Opens @p path for reading: the file must exist and hold an action log;
     * nothing is created or written. Null after printing one error line; then
     * @p status holds the exit status.
     */
    static std::unique_ptr<LogDatabase> OpenForReading(const QString& path, int* status);
    /**
     * Opens @p path for writing, creating the file (and, for the default
     * location, its folder). An existing file must read cleanly before the
     * action log table is created in it.
     */
    static std::unique_ptr<LogDatabase> OpenForWriting(
        const QString& path, bool defaultLocation, int* status);
    ~LogDatabase();

    sync::core::ActionLog& log() { return *_log; }
    const QString& path() const { return _path; }
    /// The database itself, for the engine's journal kept in the same file.
    const std::shared_ptr<sync::core::SqliteDatabaseFactory>& factory() const { return _factory; }

    /// Tells how many actions the command handed to the log (compared by Finish()).
    void CountAdded(int actions) { _added += actions; }

    /**
     * ExitSuccess when the database layer reported no error on this thread since
     * opening; otherwise prints one line naming the file and the cause and
     * returns ExitFailure. Call after every piece of database work and before
     * printing its results.
     */
    int Check() const;
    /**
     * Flushes the log, then Check(), then compares the actions added with the
     * ActionAdded signals received; a difference is printed and gives ExitFailure.
     */
    int Finish();

private:
    LogDatabase(const QString& path, std::shared_ptr<sync::core::SqliteDatabaseFactory> factory);
    static std::shared_ptr<sync::core::SqliteDatabaseFactory> _Open(
        const QString& path, int* status);
    bool _Query(const QString& sql, QString* firstValue) const;
    /// Check(), or @p fallback as the cause when the database layer gave none.
    int _Failed(const QString& fallback) const;

    QString _path;
    std::shared_ptr<sync::core::SqliteDatabaseFactory> _factory;
    std::unique_ptr<sync::core::ActionLog> _log;
    int _added = 0;
    mutable bool _reported = false; ///< the error line is printed once
    std::atomic<int> _written { 0 };
};

} // namespace tool
