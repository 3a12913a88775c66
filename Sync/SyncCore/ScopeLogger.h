#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QString>

namespace log4cplus {
class Logger;
}

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief Logs "NAME starting" when made and "NAME ending" when destroyed.
 *
 * Both lines go at INFO to @p logger, only when it is enabled for INFO; no time
 * is measured. A stack object, per thread. The logger must outlive it.
 */
class KVSYNCCORE_EXPORT ScopeLogger
{
public:
    /// Logs "@p scopeName starting" to @p logger, which is kept by reference.
    ScopeLogger(log4cplus::Logger& logger, QString scopeName);
    virtual ~ScopeLogger();

    ScopeLogger(const ScopeLogger&) = delete;
    ScopeLogger& operator=(const ScopeLogger&) = delete;

private:
    log4cplus::Logger& _logger;
    QString _scopeName;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
