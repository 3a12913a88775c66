#pragma once

// The mirror's memory of what it last put in place, one row per entry, kept in
// the tool's database beside the action log. Never installed.

#include "interfaces/SyncNamespace.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {
class SqliteDatabaseFactory;
}
namespace mirror {

/// Both sides of one entry as they were when it was last copied or verified.
struct JournalRow
{
    int type = 0; ///< platform::fs::EntryStat::Type
    int64_t size = 0;
    int64_t mtimeNs = 0;
    uint32_t mode = 0;
    uint64_t sourceDevice = 0;
    uint64_t sourceInode = 0;
    uint64_t targetDevice = 0;
    uint64_t targetInode = 0;
    int64_t targetSize = 0;
    int64_t targetMtimeNs = 0;
    std::string link; ///< a link's text
    std::string digest; ///< MD5 of the content when it was read, else empty
};

using JournalFolder = std::unordered_map<std::string, JournalRow>;

/**
 * Rows are keyed by (source and target pair, folder, name), so one database
 * serves any number of mirrors and a folder's rows come back in one query.
 * Writes are batched into transactions on the calling thread's connection; a
 * row is only written after the entry it describes is in place, so a crash
 * loses at most rows (a later full comparison), never claims a copy. What the
 * before-commit hook writes on the same connection (the action rows of the
 * same entries) commits in the same transaction.
 */
class MirrorJournal
{
public:
    explicit MirrorJournal(std::shared_ptr<sync::core::SqliteDatabaseFactory> database);
    ~MirrorJournal();

    /// Creates the tables when missing and finds (or adds) the pair. False with error() set.
    bool Open(const std::string& source, const std::string& target);
    bool IsOpen() const { return _pair >= 0; }

    /// The rows of @p folder ("" for the top). False (and an empty map) on a failed read.
    bool LoadFolder(const std::string& folder, JournalFolder& out);
    void Put(const std::string& folder, const std::string& name, const JournalRow& row);
    /// Removes the row of @p name and every row below it.
    void Remove(const std::string& folder, const std::string& name);
    /// Commits what is pending. False when a write or the commit failed.
    bool Finish();
    /// Runs inside each transaction just before it commits.
    void SetBeforeCommit(std::function<void()> hook) { _beforeCommit = std::move(hook); }

    /// The first failure, empty when none.
    QString Error() const { return _error; }

private:
    void _Begin();
    void _Fail(const QString& what);

    std::shared_ptr<sync::core::SqliteDatabaseFactory> _database;
    qint64 _pair = -1;
    bool _inTransaction = false;
    int _pending = 0;
    QString _error;
    std::function<void()> _beforeCommit;
};

} // namespace mirror
} // namespace sync
} // namespace KvSync_6_0
