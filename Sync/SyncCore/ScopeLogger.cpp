#include "Sync/SyncCore/ScopeLogger.h"

#include <log4cplus/logger.h>
#include <log4cplus/loglevel.h>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {
// The location carried by both events, as the rest of the library names its files.
const char* const kFile = "Sync/SyncCore/ScopeLogger";

void logInfo(log4cplus::Logger& logger, const QString& text, int line, const char* function)
{
    if (logger.isEnabledFor(log4cplus::INFO_LOG_LEVEL))
        logger.forcedLog(log4cplus::INFO_LOG_LEVEL, text.toStdString(), kFile, line, function);
}
} // namespace

ScopeLogger::ScopeLogger(log4cplus::Logger& logger, QString scopeName)
    : _logger(logger)
    , _scopeName(std::move(scopeName))
{
    logInfo(_logger, QStringLiteral("%0 starting").arg(_scopeName), __LINE__, __PRETTY_FUNCTION__);
}

ScopeLogger::~ScopeLogger()
{
    logInfo(_logger, QStringLiteral("%0 ending").arg(_scopeName), __LINE__, __PRETTY_FUNCTION__);
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
