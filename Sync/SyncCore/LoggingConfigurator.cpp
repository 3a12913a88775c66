#include "Sync/SyncCore/LoggingConfigurator.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/hierarchy.h>
#include <log4cplus/helpers/property.h>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {
const char* const kConversionPattern = "%d{%Y-%m-%dT%H:%M:%S.%qZ} [%t] [%c %p] %m%n";
}

LoggingConfigurator::LoggingConfigurator(QString logFilePath, QString level, QString appenderName,
    QString maxFileSize, QString maxBackupIndex, log4cplus::Hierarchy& hierarchy)
    : log4cplus::PropertyConfigurator(log4cplus::tstring(), hierarchy, 0)
{
    if (logFilePath.isEmpty())
        return;
    if (level.isEmpty())
        level = QStringLiteral("INFO");
    if (appenderName.isEmpty())
        appenderName = QStringLiteral("FILE");

    properties.setProperty(
        "rootLogger", QStringLiteral("%0, %1").arg(level, appenderName).toStdString());
    properties.setProperty("appender.FILE.layout", "log4cplus::PatternLayout");
    properties.setProperty("appender.FILE.layout.ConversionPattern", kConversionPattern);
    properties.setProperty("appender.FILE.MaxBackupIndex", maxBackupIndex.toStdString());
    properties.setProperty("appender.FILE.MaxFileSize", maxFileSize.toStdString());
    properties.setProperty("appender.FILE.File", logFilePath.toStdString());

    // The key prefix and the table name are "FILE" whatever appenderName says.
    const log4cplus::helpers::Properties subset = properties.getPropertySubset("appender.FILE.");
    log4cplus::SharedAppenderPtr appender(new log4cplus::RollingFileAppender(subset));
    appender->setName("FILE");
    appenders["FILE"] = appender;
}

LoggingConfigurator::~LoggingConfigurator() = default;

const log4cplus::helpers::Properties& LoggingConfigurator::Properties() const
{
    return properties;
}

bool LoggingConfigurator::HasFileAppender() const
{
    return appenders.count("FILE") != 0;
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
