// sync: the one-way mirror, once or as a service woken by `synccore wake`.

#include "Command.h"
#include "LogDatabase.h"
#include "SyncRunner.h"

#include "Sync/Mirror/MirrorPass.h"
#include "Sync/SyncCore/LoggingConfigurator.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
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
    o->deleteExtra = in.isSet(QStringLiteral("delete"));
    o->dryRun = in.isSet(QStringLiteral("dry-run"));
    o->checksum = in.isSet(QStringLiteral("checksum"));
    for (const QString& pattern : in.values(QStringLiteral("exclude"))) {
        if (pattern.isEmpty() || pattern.contains(QLatin1Char('/')))
            return (*status = tool::usageError(
                        QStringLiteral("--exclude '%1': a pattern matches one name, without '/'")
                            .arg(pattern))),
                   false;
        // The engine takes regular expressions; people write shell wildcards, as for rsync.
        o->excludes.append(QRegularExpression::wildcardToRegularExpression(pattern));
    }
    o->source = QDir::cleanPath(QFileInfo(in.argument(0)).absoluteFilePath());
    o->target = QDir::cleanPath(QFileInfo(in.argument(1)).absoluteFilePath());
    return true;
}

/// The folders above and at @p path that do not exist yet, deepest first.
QStringList missingFolders(QString path)
{
    QStringList missing;
    while (!QFileInfo::exists(path) && !QFileInfo(path).isSymLink() && path != QDir::rootPath()) {
        missing.append(path);
        path = QFileInfo(path).path();
    }
    return missing;
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
    // The engine refuses nested folders before it creates the target; what it created goes
    // again when the database cannot be opened, so that a failed command leaves nothing behind.
    const QStringList created = missingFolders(options.target);
    const QString folderError
        = sync::mirror::MirrorPass::CheckFolders(options.source, options.target, !options.dryRun);
    if (!folderError.isEmpty())
        return tool::failure(folderError);
    bool defaultLocation = false;
    const QString dbPath = tool::databasePath(in, &defaultLocation);
    auto db = tool::LogDatabase::OpenForWriting(dbPath, defaultLocation, &status);
    if (!db) {
        for (const QString& folder : created)
            QDir().rmdir(folder);
        return status;
    }
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
        "Mirror SOURCE into TARGET: files, symbolic links (as links, never followed), empty "
        "folders, modification times and permission bits, leaving out the names the exclusion "
        "rule skips (temporary, backup, lock and system files) and those given with --exclude. "
        "A file is written beside its target first and put in place with one rename, so a "
        "reader never sees half a file. A journal in the database remembers what was mirrored, "
        "so an unchanged file is not read again (--checksum compares every file's content). "
        "Every action, failure and exclusion goes to the action log ('synccore history'), each "
        "pass framed by a start and an end record; an exclusion is recorded once per run. "
        "Entries that cannot be mirrored (special files, unreadable ones) are named on standard "
        "error and make the status 23. With --watch the command stays: it follows SOURCE with "
        "inotify and mirrors a change within a second, and passes in full on start, when woken "
        "by 'synccore wake --pid PID', and every --interval seconds, until stopped by SIGINT or "
        "SIGTERM (which stop between files). Progress is drawn on standard error when it is a "
        "terminal.");
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
            QStringLiteral("Print one line per action: each file or link put in place, each "
                           "folder made ('NAME/'), each removal ('deleting NAME').") },
        { QStringLiteral("delete"),
            QStringLiteral("Remove from TARGET what SOURCE no longer has (never without it).") },
        { { QStringLiteral("n"), QStringLiteral("dry-run") },
            QStringLiteral("Report what a pass would do; change nothing, history included.") },
        { QStringLiteral("exclude"),
            QStringLiteral("Leave out names matching PATTERN (shell wildcards, any case) for "
                           "this run, beside the exclusion rule; repeatable."),
            QStringLiteral("PATTERN") },
        { { QStringLiteral("c"), QStringLiteral("checksum") },
            QStringLiteral("Compare the content of every file, not only size and times.") },
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
        QStringLiteral(
            "synccore sync -v --delete --exclude '*.iso' ~/Documents /mnt/backup/Documents"),
        QStringLiteral("synccore sync --watch --interval 300 ~/Documents /mnt/cloud/Documents &"),
    };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
