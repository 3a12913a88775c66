#include "database/SqliteQueryWrapper_p.h"

#include "database/SqliteConnection_p.h"

#include <QSqlQuery>
#include <QSqlRecord>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

SqliteQueryWrapper::SqliteQueryWrapper(std::shared_ptr<SqliteConnection> connection)
    : _connection(std::move(connection))
{ }

SqliteQueryWrapper::~SqliteQueryWrapper()
{
    _Release();
}

void SqliteQueryWrapper::_Release()
{
    if (_statement)
        _connection->ReturnStatement(std::move(_statement));
    _statement.reset();
    _columnCount = -1;
}

bool SqliteQueryWrapper::prepare(const QString& query)
{
    _Release();
    _statement = _connection->TakeStatement(query);
    return _statement != nullptr;
}

void SqliteQueryWrapper::bindValue(const QString& placeholder, const QVariant& value)
{
    if (_statement)
        _statement->Bind(placeholder, value);
}

bool SqliteQueryWrapper::exec()
{
    _columnCount = -1;
    if (!_statement) {
        _connection->SetError(QStringLiteral("exec() without a prepared statement"));
        return false;
    }
    if (!_connection->TransactionIntact())
        return false;
    QString error;
    int code = 0;
    if (!_statement->Exec(&error, &code)) {
        _connection->SetError(error, code);
        return false;
    }
    return true;
}

QVariant SqliteQueryWrapper::lastInsertId() const
{
    return _statement ? _statement->LastInsertId() : QVariant();
}

bool SqliteQueryWrapper::next()
{
    QSqlQuery* query = _statement ? _statement->Query() : nullptr;
    return query && query->next();
}

bool SqliteQueryWrapper::first()
{
    QSqlQuery* query = _statement ? _statement->Query() : nullptr;
    return query && query->first();
}

bool SqliteQueryWrapper::isValid() const
{
    QSqlQuery* query = _statement ? _statement->Query() : nullptr;
    return query && query->isValid();
}

QVariant SqliteQueryWrapper::value(int index) const
{
    // QSqlQuery::value() warns on stderr when not on a row; the library never prints.
    QSqlQuery* query = _statement ? _statement->Query() : nullptr;
    if (!query || !query->isValid() || index < 0)
        return QVariant();
    if (_columnCount < 0)
        _columnCount = query->record().count();
    if (index >= _columnCount)
        return QVariant();
    return query->value(index);
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
