#include "database/SqliteConnection_p.h"
#include "database/SqliteRow.h"

#include <QDateTime>
#include <QSqlError>
#include <QSqlQuery>

#include <sqlite3.h>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {

// The one storage form of a date-time: ISO 8601 UTC text with milliseconds,
// "yyyy-MM-ddTHH:mm:ss.zzzZ", as Qt::ISODateWithMs writes a UTC date-time.
// Qt's driver would write a local time without its offset and lose the
// instant. Formatted by hand: QDateTime::toString() costs more than the
// insert it is bound to.
constexpr int kStampLength = 24;

// False for years outside 0000-9999, which the fixed layout cannot hold.
bool formatUtc(qint64 msecs, char* out)
{
    constexpr qint64 msPerDay = 86400000;
    qint64 days = msecs / msPerDay;
    qint64 msOfDay = msecs % msPerDay;
    if (msOfDay < 0) {
        msOfDay += msPerDay;
        --days;
    }
    // Days since 1970-01-01 to a proleptic Gregorian date (H. Hinnant's method).
    days += 719468;
    const qint64 era = (days >= 0 ? days : days - 146096) / 146097;
    const qint64 dayOfEra = days - era * 146097;
    const qint64 yearOfEra
        = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const qint64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 shiftedMonth = (5 * dayOfYear + 2) / 153;
    const int day = int(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
    const int month = int(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
    const qint64 year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    if (year < 0 || year > 9999)
        return false;

    const auto put = [&out](int at, qint64 value, int width) {
        for (int i = width - 1; i >= 0; --i) {
            out[at + i] = char('0' + value % 10);
            value /= 10;
        }
    };
    put(0, year, 4);
    out[4] = '-';
    put(5, month, 2);
    out[7] = '-';
    put(8, day, 2);
    out[10] = 'T';
    put(11, msOfDay / 3600000, 2);
    out[13] = ':';
    put(14, msOfDay / 60000 % 60, 2);
    out[16] = ':';
    put(17, msOfDay / 1000 % 60, 2);
    out[19] = '.';
    put(20, msOfDay % 1000, 3);
    out[23] = 'Z';
    return true;
}

// The stored form of @p value: date-times become their UTC text (NULL when
// invalid); everything else is stored as given.
QVariant storable(const QVariant& value)
{
    if (value.metaType().id() != QMetaType::QDateTime)
        return value;
    const QDateTime dateTime = value.toDateTime();
    if (!dateTime.isValid())
        return QVariant();
    char text[kStampLength];
    if (formatUtc(dateTime.toMSecsSinceEpoch(), text))
        return QString::fromLatin1(text, kStampLength);
    return dateTime.toUTC().toString(Qt::ISODateWithMs);
}

} // namespace

SqliteStatement::SqliteStatement(const QString& text, sqlite3* database, sqlite3_stmt* statement)
    : _text(text)
    , _database(database)
    , _statement(statement)
    , _textBuffers(std::size_t(sqlite3_bind_parameter_count(statement)))
{ }

SqliteStatement::SqliteStatement(const QString& text, std::unique_ptr<QSqlQuery> query)
    : _text(text)
    , _query(std::move(query))
{ }

SqliteStatement::~SqliteStatement()
{
    if (_statement)
        sqlite3_finalize(_statement);
}

int SqliteStatement::_ParameterIndex(const QString& placeholder)
{
    for (const auto& known : _parameters) {
        if (known.first == placeholder)
            return known.second;
    }
    const int index = sqlite3_bind_parameter_index(_statement, placeholder.toUtf8().constData());
    _parameters.emplace_back(placeholder, index);
    return index;
}

void SqliteStatement::Bind(const QString& placeholder, const QVariant& value)
{
    if (_query) {
        _query->bindValue(placeholder, storable(value));
        if (!_boundNames.contains(placeholder))
            _boundNames.append(placeholder);
        return;
    }
    // An unknown placeholder is ignored, as QSqlQuery ignores it.
    const int index = _ParameterIndex(placeholder);
    if (index > 0)
        _BindDirect(index, value);
}

void SqliteStatement::BindAt(int index, const QVariant& value)
{
    if (_statement && index > 0 && index <= int(_textBuffers.size()))
        _BindDirect(index, value);
}

// Binds as Qt's SQLite driver does: a null string or byte array is NULL,
// numbers stay numbers, anything else is stored as its text.
int SqliteStatement::_BindDirect(int index, const QVariant& value)
{
    switch (value.metaType().id()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        return sqlite3_bind_null(_statement, index);
    case QMetaType::QDateTime: {
        const QDateTime* dateTime = static_cast<const QDateTime*>(value.constData());
        char text[kStampLength];
        if (!dateTime->isValid())
            return sqlite3_bind_null(_statement, index);
        if (formatUtc(dateTime->toMSecsSinceEpoch(), text))
            return _BindLatin1(index, text, kStampLength);
        return _BindText(index, storable(value).toString());
    }
    case QMetaType::QString: {
        const QString* text = static_cast<const QString*>(value.constData());
        if (text->isNull())
            return sqlite3_bind_null(_statement, index);
        return _BindText(index, *text);
    }
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return sqlite3_bind_int64(_statement, index, value.toLongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return sqlite3_bind_double(_statement, index, value.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray* bytes = static_cast<const QByteArray*>(value.constData());
        if (bytes->isNull())
            return sqlite3_bind_null(_statement, index);
        return sqlite3_bind_blob(
            _statement, index, bytes->constData(), int(bytes->size()), SQLITE_TRANSIENT);
    }
    default: {
        const QString text = value.toString();
        if (text.isNull())
            return sqlite3_bind_null(_statement, index);
        return _BindText(index, text);
    }
    }
}

int SqliteStatement::_BindText(int index, QStringView text)
{
    std::string& buffer = _textBuffers[std::size_t(index - 1)];
    buffer.resize(std::size_t(_utf8.requiredSpace(text.size())));
    char* const begin = buffer.data();
    const char* const end = _utf8.appendToBuffer(begin, text);
    return sqlite3_bind_text(_statement, index, begin, int(end - begin), SQLITE_STATIC);
}

int SqliteStatement::_BindLatin1(int index, const char* text, int length)
{
    std::string& buffer = _textBuffers[std::size_t(index - 1)];
    buffer.assign(text, std::size_t(length));
    return sqlite3_bind_text(_statement, index, buffer.data(), length, SQLITE_STATIC);
}

bool SqliteStatement::Exec(QString* error, int* code)
{
    _lastInsertId = QVariant();
    if (_query) {
        if (_query->exec()) {
            _lastInsertId = _query->lastInsertId();
            return true;
        }
        const QSqlError failure = _query->lastError();
        *error = failure.databaseText().isEmpty() ? failure.driverText() : failure.databaseText();
        bool numeric = false;
        const int native = failure.nativeErrorCode().toInt(&numeric);
        *code = numeric && native != 0 ? native & 0xff : SQLITE_ERROR;
        return false;
    }
    sqlite3_reset(_statement);
    const int result = sqlite3_step(_statement);
    if (result == SQLITE_DONE || result == SQLITE_ROW) {
        const sqlite3_int64 rowId = sqlite3_last_insert_rowid(_database);
        if (rowId != 0)
            _lastInsertId = qlonglong(rowId);
        sqlite3_reset(_statement);
        return true;
    }
    *error = QString::fromUtf8(sqlite3_errmsg(_database));
    *code = result & 0xff;
    sqlite3_reset(_statement);
    return false;
}

bool SqliteStatement::ReadRows(
    const std::function<void(const SqliteRow&)>& onRow, QString* error, int* code)
{
    if (!_statement) {
        *error = QStringLiteral("the statement is not run on SQLite directly");
        *code = SQLITE_MISUSE;
        return false;
    }
    struct Reset
    {
        sqlite3_stmt* statement;
        ~Reset() { sqlite3_reset(statement); }
    } reset { _statement };
    sqlite3_reset(_statement);
    const SqliteRow row(_statement);
    int result;
    while ((result = sqlite3_step(_statement)) == SQLITE_ROW)
        onRow(row);
    if (result == SQLITE_DONE)
        return true;
    *error = QString::fromUtf8(sqlite3_errmsg(_database));
    *code = result & 0xff;
    return false;
}

QVariant SqliteStatement::LastInsertId() const
{
    return _lastInsertId;
}

void SqliteStatement::ClearBindings()
{
    _lastInsertId = QVariant();
    if (_query) {
        for (const QString& name : std::as_const(_boundNames))
            _query->bindValue(name, QVariant());
        _boundNames.clear();
        return;
    }
    sqlite3_reset(_statement);
    sqlite3_clear_bindings(_statement);
}

void SqliteStatement::Finish()
{
    if (_query)
        _query->finish();
    else
        sqlite3_reset(_statement);
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
