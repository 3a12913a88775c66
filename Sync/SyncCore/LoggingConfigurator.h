#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QString>

#include <log4cplus/configurator.h>

namespace log4cplus {
class Hierarchy;
}

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief Sets up the one rolling log file of a process.
 *
 * Make one at start-up, on the starting thread and before other threads log,
 * then call the inherited `configure()`. Nothing is read from disk: every
 * property comes from the constructor's arguments. Each line of the file reads
 * `2014-05-27T08:15:02.123Z [thread] [logger LEVEL] message`, the time in UTC.
 *
 * The appender is always built and registered under the name "FILE"; only the
 * "rootLogger" value uses @p appenderName. Kept on purpose: a caller passing
 * another name gets a root logger that refers to an appender that was never
 * made. Callers pass an empty name or "FILE".
 */
class KVSYNCCORE_EXPORT LoggingConfigurator : public log4cplus::PropertyConfigurator
{
public:
    /**
     * @param logFilePath    full path of the log file; empty disables the whole set-up
     * @param level          root level as log4cplus spells it; empty means "INFO"
     * @param appenderName   appender named in "rootLogger"; empty means "FILE"
     * @param maxFileSize    log4cplus size text for one file (e.g. "5MB"), passed on as given
     * @param maxBackupIndex number of rolled-over files kept, as text, passed on as given
     * @param hierarchy      the logger hierarchy that `configure()` sets up
     */
    LoggingConfigurator(QString logFilePath, QString level, QString appenderName,
        QString maxFileSize, QString maxBackupIndex, log4cplus::Hierarchy& hierarchy);
    ~LoggingConfigurator() override;

    /// The property set that `configure()` will apply (for inspection).
    const log4cplus::helpers::Properties& Properties() const;
    /// True when the "FILE" appender was made (a non-empty log path).
    bool HasFileAppender() const;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
