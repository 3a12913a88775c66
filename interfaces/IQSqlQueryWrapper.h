#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsyncinterfaces_export.h"

#include <QString>
#include <QVariant>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief One SQL statement: prepare, bind named values, execute, read rows.
 *
 * Made by IDatabaseFactory::CreateQuery(), one per statement, and used on the
 * thread that made it. The operations mirror QSqlQuery's.
 */
class KVSYNCINTERFACES_EXPORT IQSqlQueryWrapper
{
public:
    virtual ~IQSqlQueryWrapper();

    /// Prepares @p query (named placeholders such as ":id"); false when it does not compile.
    virtual bool prepare(const QString& query) = 0;
    /// Binds @p value to the named @p placeholder of the prepared statement.
    virtual void bindValue(const QString& placeholder, const QVariant& value) = 0;
    /// Executes the prepared statement; false on failure.
    virtual bool exec() = 0;
    /// Row id of the row the last INSERT made; invalid when there is none.
    virtual QVariant lastInsertId() const = 0;
    /// Moves to the next row of the result; false when there is none.
    virtual bool next() = 0;
    /// Moves to the first row of the result; false when there is none.
    virtual bool first() = 0;
    /// True when positioned on a row.
    virtual bool isValid() const = 0;
    /// Column @p index of the current row; invalid when there is no such column or row.
    virtual QVariant value(int index) const = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
