#pragma once

#include "interfaces/SyncNamespace.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief Kind of drive a synchronised folder lives on.
 *
 * Systems that classify drives report more kinds; Linux has no such
 * classification, so the library only ever reports DRIVE_TYPE_UNKNOWN.
 */
enum DriveType {
    DRIVE_TYPE_UNKNOWN = 0, ///< no classification available
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
