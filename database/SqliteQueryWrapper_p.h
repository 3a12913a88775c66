#pragma once

#include "interfaces/SyncNamespace.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

class SqliteConnection;
class SqliteStatement;

/**
 * IQSqlQueryWrapper over one thread's connection. The prepared statement
 * comes from the connection's cache and goes back to it when the wrapper is
 * destroyed or prepares another text.
 */
class SqliteQueryWrapper : public sync::interf::IQSqlQueryWrapper
{
public:
    explicit SqliteQueryWrapper(std::shared_ptr<SqliteConnection> connection);
    ~SqliteQueryWrapper() override;

    SqliteQueryWrapper(const SqliteQueryWrapper&) = delete;
    SqliteQueryWrapper& operator=(const SqliteQueryWrapper&) = delete;

    bool prepare(const QString& query) override;
    void bindValue(const QString& placeholder, const QVariant& value) override;
    bool exec() override;
    QVariant lastInsertId() const override;
    bool next() override;
    bool first() override;
    bool isValid() const override;
    QVariant value(int index) const override;

private:
    void _Release();

    std::shared_ptr<SqliteConnection> _connection;
    std::unique_ptr<SqliteStatement> _statement;
    mutable int _columnCount = -1;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
