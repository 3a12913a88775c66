#pragma once

#include "interfaces/SyncNamespace.h"
#include "interfaces/IQSqlDatabaseWrapper.h"

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

class SqliteConnection;

/**
 * IQSqlDatabaseWrapper over one thread's connection. transaction() starts an
 * immediate transaction (BEGIN IMMEDIATE): the write lock is taken at once,
 * waiting for another writer if need be, so a transaction never fails half-way
 * because a second writer got the lock between its reads and its writes.
 */
class SqliteDatabaseWrapper : public sync::interf::IQSqlDatabaseWrapper
{
public:
    explicit SqliteDatabaseWrapper(std::shared_ptr<SqliteConnection> connection);
    ~SqliteDatabaseWrapper() override;

    bool transaction() override;
    bool commit() override;
    bool rollback() override;

private:
    std::shared_ptr<SqliteConnection> _connection;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
