#include "database/SqliteQueryWrapper_p.h"

#include "database/SqliteConnection_p.h"

#include <QDateTime>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

namespace sync {
namespace core {

namespace {

// The one storage form of a date-time: ISO 8601 UTC text with milliseconds.
// Qt's driver would write a local time without its offset and lose the
// instant; an invalid date-time becomes NULL.
QVariant storable(const QVariant& value)
{
    if (value.metaType().id() != QMetaType::QDateTime)
        return value;
    const QDateTime dateTime = value.toDateTime();
    if (!dateTime.isValid())
        return QVariant();
    return dateTime.toUTC().toString(Qt::ISODateWithMs);
}

} // namespace

SqliteQueryWrapper::SqliteQueryWrapper(std::shared_ptr<SqliteConnection> connection)
    : _connection(std::move(connection))
{
}

SqliteQueryWrapper::~SqliteQueryWrapper()
{
    _Release();
}

void SqliteQueryWrapper::_Release()
{
    if (_query)
        _connection->ReturnStatement(_text, std::move(_query), std::move(_boundNames));
    _query.reset();
    _text.clear();
    _boundNames.clear();
    _columnCount = -1;
}

bool SqliteQueryWrapper::prepare(const QString& query)
{
    _Release();
    _query = _connection->TakeStatement(query);
    if (!_query)
        return false;
    _text = query;
    return true;
}

void SqliteQueryWrapper::bindValue(const QString& placeholder, const QVariant& value)
{
    if (!_query)
        return;
    _query->bindValue(placeholder, storable(value));
    if (!_boundNames.contains(placeholder))
        _boundNames.append(placeholder);
}

bool SqliteQueryWrapper::exec()
{
    _columnCount = -1;
    if (!_query) {
        _connection->SetError(QStringLiteral("exec() without a prepared statement"));
        return false;
    }
    if (!_query->exec()) {
        _connection->SetError(_query->lastError());
        return false;
    }
    return true;
}

QVariant SqliteQueryWrapper::lastInsertId() const
{
    return _query ? _query->lastInsertId() : QVariant();
}

bool SqliteQueryWrapper::next()
{
    return _query && _query->next();
}

bool SqliteQueryWrapper::first()
{
    return _query && _query->first();
}

bool SqliteQueryWrapper::isValid() const
{
    return _query && _query->isValid();
}

QVariant SqliteQueryWrapper::value(int index) const
{
    // QSqlQuery::value() warns on stderr when not on a row; the library never prints.
    if (!_query || !_query->isValid() || index < 0)
        return QVariant();
    if (_columnCount < 0)
        _columnCount = _query->record().count();
    if (index >= _columnCount)
        return QVariant();
    return _query->value(index);
}

} // namespace core
} // namespace sync
