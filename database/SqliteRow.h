#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QtGlobal>

#include <string_view>

struct sqlite3_stmt;

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief One row handed to SqliteDatabaseFactory::ReadRows()'s callback.
 *
 * Columns are read as SQLite stores them, without a QVariant per value; the
 * row and every view it gives are valid until the callback returns.
 */
class KVSYNCCORE_EXPORT SqliteRow
{
public:
    /// Column @p column (from 0) as an integer; 0 for NULL.
    qint64 Integer(int column) const;
    /// The bytes of a BLOB or TEXT column; empty for NULL.
    std::string_view Bytes(int column) const;

private:
    friend class SqliteStatement;
    explicit SqliteRow(sqlite3_stmt* statement)
        : _statement(statement)
    { }

    sqlite3_stmt* _statement;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
