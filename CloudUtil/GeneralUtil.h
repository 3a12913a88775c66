#pragma once

#include "kvsynccore_export.h"

#include <QString>
#include <QStringList>
#include <QVariant>

#include <cstdint>

namespace Tessaron {
namespace CloudUtil {

/**
 * @brief Static utilities of the sync client: path algebra, file operations,
 * durations, sizes and enumeration names, application locations and processes.
 *
 * Holds only static operations; every operation runs on the caller's thread.
 * Failures are plain results (false, an empty string or list, -1), often with
 * a log line. The implementation is split by topic over GeneralUtil_paths.cpp,
 * GeneralUtil_files.cpp, GeneralUtil_values.cpp and GeneralUtil_locations.cpp.
 */
class KVSYNCCORE_EXPORT GeneralUtil
{
public:
    GeneralUtil() = delete;

    // -----------------------------------------------------------------------
    // Path algebra (GeneralUtil_paths.cpp)
    // -----------------------------------------------------------------------

    // (end of path algebra)

    // -----------------------------------------------------------------------
    // File operations (GeneralUtil_files.cpp)
    // -----------------------------------------------------------------------

    // (end of file operations)

    // -----------------------------------------------------------------------
    // Durations, sizes and enumerations (GeneralUtil_values.cpp)
    // -----------------------------------------------------------------------

    // (end of durations, sizes and enumerations)

    // -----------------------------------------------------------------------
    // Application locations and processes (GeneralUtil_locations.cpp)
    // -----------------------------------------------------------------------

    // (end of application locations and processes)
};

} // namespace CloudUtil
} // namespace Tessaron
