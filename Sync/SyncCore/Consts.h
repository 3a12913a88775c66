#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QString>

#include <cstdint>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {
/**
 * @brief Names and limits that are part of a synchronised folder's on-disk layout.
 *
 * The folder names start with a dot (hidden) and carry braces so that they can
 * never collide with a user's folder; they are exact, case-sensitive names.
 * Extensions are stored without the dot; whoever forms a file name adds it.
 */
namespace consts {

KVSYNCCORE_EXPORT extern const QString TEMP_FOLDER_NAME; ///< ".{SyncTemp}"
KVSYNCCORE_EXPORT extern const QString BASE_FOLDER_NAME; ///< ".{SyncBackup}"
KVSYNCCORE_EXPORT extern const QString BASE_FILE_EXTN; ///< "BASE"
KVSYNCCORE_EXPORT extern const QString TEMP_FILE_EXTN; ///< "TMP"
KVSYNCCORE_EXPORT extern const QString DELTA_FILE_EXTN; ///< "DELTA"

/// Longest local folder path, in characters.
constexpr std::int32_t LOCAL_FOLDER_MAX_PATH = 256;
/// Longest local file path, in characters.
constexpr std::int32_t LOCAL_FILE_MAX_PATH = 256;

} // namespace consts
} // namespace core
} // namespace sync
} // namespace KvSync_6_0
