#include "database/SqliteDatabaseWrapper_p.h"

#include "database/SqliteConnection_p.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

SqliteDatabaseWrapper::SqliteDatabaseWrapper(std::shared_ptr<SqliteConnection> connection)
    : _connection(std::move(connection))
{ }

SqliteDatabaseWrapper::~SqliteDatabaseWrapper() = default;

bool SqliteDatabaseWrapper::transaction()
{
    return _connection->Begin();
}

bool SqliteDatabaseWrapper::commit()
{
    return _connection->Commit();
}

bool SqliteDatabaseWrapper::rollback()
{
    return _connection->Rollback();
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
