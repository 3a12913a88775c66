// sync: the one-way mirror, once or as a service woken by `synccore wake`.

#include "Command.h"
#include "LogDatabase.h"
#include "SyncPass.h"
#include "SyncRunner.h"

#include "Sync/SyncCore/LoggingConfigurator.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <log4cplus/hierarchy.h>
#include <log4cplus/logger.h>

namespace {

/// The options checked against each other; false after a usage error.
bool parseOptions(const tool::Invocation& in, tool::SyncOptions* o, int* status)
{
    o->watch = in.isSet(QStringLiteral("watch"));
    o->json = in.isSet(QStringLiteral("json"));
    o->quiet = in.isSet(QStringLiteral("quiet"));
    o->verbose = in.isSet(QStringLiteral("verbose"));
    if (o->quiet && o->verbose)
        return (*status
                   = tool::usageError(QStringLiteral("--quiet and --verbose exclude each other"))),
               false;
    if (in.isSet(QStringLiteral("interval")) && !o->watch)
        return (*status = tool::usageError(QStringLiteral("--interval needs --watch"))), false;
    qint64 interval = 0;
    if (!in.intValue(QStringLiteral("interval"), 1, 24 * 3600 * 365, &interval, status))
        return false;
    o->intervalSeconds = int(interval);
    o->source = in.argument(0);
    o->target = in.argument(1);
    return true;
}

QString serviceLogPath(const tool::Invocation& in)
{
    if (in.isSet(QStringLiteral("log")))
        return in.value(QStringLiteral("log"));
    const QString dir = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/synccore");
    QDir().mkpath(dir);
    return dir + QStringLiteral("/sync.log");
}

int run(const tool::Invocation& in)
{
    tool::SyncOptions options;
    int status = tool::ExitSuccess;
    if (!parseOptions(in, &options, &status))
        return status;
    // Nothing is created before both folders and the database have been checked.
    const QString folderError
        = tool::SyncPass::PrepareFolders(options.source, options.target, false);
    if (!folderError.isEmpty())
        return tool::failure(folderError);
    bool defaultLocation = false;
    const QString dbPath = tool::databasePath(in, &defaultLocation);
    auto db = tool::LogDatabase::OpenForWriting(dbPath, defaultLocation, &status);
    if (!db)
        return status;
    if (!QDir().mkpath(options.target))
        return tool::failure(QStringLiteral("cannot create target folder %1").arg(options.target));
    log4cplus::Hierarchy& hierarchy = log4cplus::Logger::getDefaultHierarchy();
    sync::core::LoggingConfigurator logging(serviceLogPath(in), QString(), QString(),
        QStringLiteral("5MB"), QStringLiteral("3"), hierarchy);
    logging.configure();
    status = tool::runSync(options, *db);
    db.reset();
    hierarchy.shutdown();
    return status;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("sync");
    c.synopsis = QStringLiteral("[OPTIONS] SOURCE TARGET");
    c.summary = QStringLiteral("Mirror SOURCE into TARGET, once or as a service");
    c.description = QStringLiteral(
        "Copy every file of SOURCE that is missing or different in TARGET, leaving out the "
        "names the exclusion rule skips (temporary, backup, lock and system files). A file is "
        "written beside its target first and put in place with one rename, so a reader never "
        "sees half a file; SIGINT and SIGTERM stop between files. Every copy, failure and "
        "exclusion goes to the action log ('synccore history'); an exclusion is recorded once "
        "per item and run. With --watch the command stays, passing again when woken by "
        "'synccore wake --pid PID' and every --interval seconds, until stopped by a signal. "
        "Progress is drawn on standard error when it is a terminal.");
    c.options = {
        tool::dbOption(),
        { QStringLiteral("log"),
            QStringLiteral(
                "The service's own log file (default: $XDG_DATA_HOME/synccore/sync.log)."),
            QStringLiteral("FILE") },
        { QStringLiteral("watch"),
            QStringLiteral("Stay and pass again on every wake-up call and period.") },
        { QStringLiteral("interval"), QStringLiteral("Seconds between passes with --watch."),
            QStringLiteral("SECONDS"), QStringLiteral("60") },
        { { QStringLiteral("q"), QStringLiteral("quiet") },
            QStringLiteral("Print nothing but errors.") },
        { { QStringLiteral("v"), QStringLiteral("verbose") },
            QStringLiteral("Print each file copied, one line each.") },
        tool::jsonOption(),
    };
    c.arguments = {
        { QStringLiteral("SOURCE"), QStringLiteral("The folder to mirror; it must exist.") },
        { QStringLiteral("TARGET"),
            QStringLiteral(
                "The mirror; created when missing. Neither folder may lie inside the other.") },
    };
    c.minArguments = c.maxArguments = 2;
    c.examples = {
        QStringLiteral("synccore sync -v ~/Documents /mnt/backup/Documents"),
        QStringLiteral("synccore sync --watch --interval 300 ~/Documents /mnt/cloud/Documents &"),
    };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
