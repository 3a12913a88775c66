#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsyncinterfaces_export.h"

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

class IQSqlDatabaseWrapper;
class IQSqlQueryWrapper;

namespace factory {

/**
 * @brief Where the library's database work comes from.
 *
 * The action log reaches its database only through this factory. Both
 * operations may be called from any thread; what they return belongs to the
 * calling thread.
 */
class KVSYNCINTERFACES_EXPORT IDatabaseFactory
{
public:
    virtual ~IDatabaseFactory();

    /// The database handle of the calling thread (for transaction control).
    virtual std::shared_ptr<IQSqlDatabaseWrapper> GetDatabase() = 0;
    /// A new query on the calling thread's connection, one per statement.
    virtual std::shared_ptr<IQSqlQueryWrapper> CreateQuery() = 0;
};

} // namespace factory
} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
