#include "database/SqliteRow.h"

#include <sqlite3.h>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

qint64 SqliteRow::Integer(int column) const
{
    return sqlite3_column_int64(_statement, column);
}

std::string_view SqliteRow::Bytes(int column) const
{
    // The pointer first, then the length: SQLite's documented order, as asking for
    // the bytes may convert the value.
    const void* data = sqlite3_column_blob(_statement, column);
    const int size = sqlite3_column_bytes(_statement, column);
    return data ? std::string_view(static_cast<const char*>(data), size_t(size))
                : std::string_view();
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
