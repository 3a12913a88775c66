// log-demo: shows the log file set-up and the scope tracer at work.

#include "Command.h"

#include "Sync/SyncCore/LoggingConfigurator.h"
#include "Sync/SyncCore/ScopeLogger.h"

#include <QFile>
#include <QTemporaryDir>

#include <log4cplus/hierarchy.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

SYNCCORE_COMMAND("log-demo", "[--keep]",
                 "Set up the rolling log file in a temporary folder, trace a scope and print the file",
                 [](const QStringList& argsIn) {
    QStringList args = argsIn;
    const bool keep = tool::takeFlag(args, QStringLiteral("keep"));
    if (!args.isEmpty())
        return tool::usageError(QStringLiteral("log-demo takes no arguments"));

    QTemporaryDir dir;
    if (!dir.isValid())
        return tool::failure(QStringLiteral("cannot create a temporary folder"));
    dir.setAutoRemove(!keep);
    const QString path = dir.filePath(QStringLiteral("synccore.log"));

    log4cplus::Hierarchy& hierarchy = log4cplus::Logger::getDefaultHierarchy();
    sync::core::LoggingConfigurator configurator(path, QString(), QString(),
                                                 QStringLiteral("1MB"), QStringLiteral("3"),
                                                 hierarchy);
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
    return 0;
});
