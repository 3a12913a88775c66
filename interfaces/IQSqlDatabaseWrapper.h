#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsyncinterfaces_export.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief The database handle: transaction control on the calling thread's connection.
 *
 * Obtained from IDatabaseFactory::GetDatabase(). A transaction, the statements
 * inside it and its commit run on one thread.
 */
class KVSYNCINTERFACES_EXPORT IQSqlDatabaseWrapper
{
public:
    virtual ~IQSqlDatabaseWrapper();

    /// Begins a transaction; false when one cannot be started.
    virtual bool transaction() = 0;
    /// Commits the open transaction; false on failure or when none is open.
    virtual bool commit() = 0;
    /// Rolls the open transaction back; false on failure or when none is open.
    virtual bool rollback() = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
