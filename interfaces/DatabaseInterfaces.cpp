// Out-of-line destructors: they anchor each interface's virtual table (and
// type information) in the interface library.

#include "interfaces/IDatabaseFactory.h"
#include "interfaces/IQSqlDatabaseWrapper.h"
#include "interfaces/IQSqlQueryWrapper.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

IQSqlQueryWrapper::~IQSqlQueryWrapper() = default;
IQSqlDatabaseWrapper::~IQSqlDatabaseWrapper() = default;

namespace factory {
IDatabaseFactory::~IDatabaseFactory() = default;
}

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
