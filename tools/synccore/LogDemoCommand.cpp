// log-demo: the log file set-up and the scope tracer at work.

#include "Command.h"

#include "Sync/SyncCore/LoggingConfigurator.h"
#include "Sync/SyncCore/ScopeLogger.h"

#include <QFile>
#include <QTemporaryDir>

#include <log4cplus/hierarchy.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace {

int run(const tool::Invocation& in)
{
    QTemporaryDir dir;
    if (!dir.isValid())
        return tool::failure(QStringLiteral("cannot create a temporary folder"));
    dir.setAutoRemove(!in.isSet(QStringLiteral("keep")));
    const QString path = dir.filePath(QStringLiteral("synccore.log"));
    log4cplus::Hierarchy& hierarchy = log4cplus::Logger::getDefaultHierarchy();
    sync::core::LoggingConfigurator configurator(
        path, QString(), QString(), QStringLiteral("1MB"), QStringLiteral("3"), hierarchy);
    configurator.configure();
    log4cplus::Logger logger = log4cplus::Logger::getInstance("SyncCore");
    {
        sync::core::ScopeLogger scope(logger, QStringLiteral("log-demo"));
        LOG4CPLUS_INFO(logger, "a line inside the traced scope");
    }
    hierarchy.shutdown();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return tool::failure(QStringLiteral("cannot read %1").arg(path));
    tool::out(QStringLiteral("%1:").arg(path));
    tool::out(QString::fromUtf8(file.readAll()).trimmed());
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("log-demo");
    c.synopsis = QStringLiteral("[OPTIONS]");
    c.summary = QStringLiteral("Show the rolling log file and the scope tracer at work");
    c.description = QStringLiteral(
        "Set up the library's rolling log file in a temporary folder, trace a scope into it "
        "and print the file, so that its line format can be seen.");
    c.options = { { QStringLiteral("keep"),
        QStringLiteral("Keep the temporary folder and its log file.") } };
    c.examples = { QStringLiteral("synccore log-demo --keep") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
