// sync: the one-way mirror, once or as a service woken by `synccore wake`.

#include "ActionLogText.h"
#include "Command.h"
#include "SyncPass.h"

#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/ExitManager.h"
#include "Sync/SyncCore/FileNameMatcher.h"
#include "Sync/SyncCore/LoggingConfigurator.h"
#include "Sync/SyncCore/ScopeLogger.h"
#include "Sync/SyncCore/WakeupSignalsWrapper.h"
#include "database/SqliteDatabaseFactory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTimer>

#include <log4cplus/hierarchy.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <csignal>
#include <cstdio>
#include <pthread.h>
#include <thread>

namespace {

QString sizeText(qint64 bytes)
{
    if (bytes < 1024)
        return QStringLiteral("%1 B").arg(bytes);
    if (bytes < 1024 * 1024)
        return QStringLiteral("%1 KiB").arg(double(bytes) / 1024.0, 0, 'f', 1);
    if (bytes < 1024ll * 1024 * 1024)
        return QStringLiteral("%1 MiB").arg(double(bytes) / (1024.0 * 1024.0), 0, 'f', 1);
    return QStringLiteral("%1 GiB").arg(double(bytes) / (1024.0 * 1024.0 * 1024.0), 0, 'f', 2);
}

void drawProgress(const tool::SyncProgress& p)
{
    const QString line = QStringLiteral("\r%1/%2 files, %3 of %4")
                             .arg(p.filesDone)
                             .arg(p.filesTotal)
                             .arg(sizeText(p.bytesDone), sizeText(p.bytesTotal));
    const QByteArray bytes = line.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

QJsonObject summaryJson(const QString& source, const QString& target, const tool::SyncSummary& s)
{
    QJsonObject o;
    o.insert(QStringLiteral("source"), source);
    o.insert(QStringLiteral("target"), target);
    o.insert(QStringLiteral("files"), s.files);
    o.insert(QStringLiteral("copied"), s.copied);
    o.insert(QStringLiteral("unchanged"), s.unchanged);
    o.insert(QStringLiteral("excluded"), s.excluded);
    o.insert(QStringLiteral("failed"), s.failed);
    o.insert(QStringLiteral("bytesTotal"), double(s.bytesTotal));
    o.insert(QStringLiteral("bytesCopied"), double(s.bytesCopied));
    o.insert(QStringLiteral("elapsedMs"), double(s.elapsedMs));
    o.insert(QStringLiteral("interrupted"), s.interrupted);
    o.insert(QStringLiteral("failures"), QJsonArray::fromStringList(s.failures));
    return o;
}

void printSummary(const tool::SyncSummary& s)
{
    tool::out(QStringLiteral("%1 files: %2 copied (%3), %4 unchanged, %5 failed; %6 excluded; %7 ms%8")
                  .arg(s.files)
                  .arg(s.copied)
                  .arg(sizeText(s.bytesCopied))
                  .arg(s.unchanged)
                  .arg(s.failed)
                  .arg(s.excluded)
                  .arg(s.elapsedMs)
                  .arg(s.interrupted ? QStringLiteral(" (interrupted)") : QString()));
    for (const QString& f : s.failures)
        tool::err(QStringLiteral("failed: %1").arg(f));
}

// SIGINT and SIGTERM are blocked in every thread and taken by one thread with
// sigwait(), which may call into the library safely (a signal handler may not).
class SignalWatcher
{
public:
    explicit SignalWatcher(sync::core::ExitManager& exitManager)
    {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGINT);
        sigaddset(&set, SIGTERM);
        sigaddset(&set, SIGUSR2); // our own stop request when the service ends by itself
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
        _thread = std::thread([set, &exitManager] {
            int sig = 0;
            while (sigwait(&set, &sig) == 0) {
                if (sig == SIGUSR2)
                    return;
                exitManager.Exit();
            }
        });
    }
    ~SignalWatcher()
    {
        pthread_kill(_thread.native_handle(), SIGUSR2);
        _thread.join();
    }

private:
    std::thread _thread;
};

} // namespace

SYNCCORE_COMMAND("sync", "SOURCE TARGET [--db FILE] [--watch] [--interval SECONDS] [--log FILE] [--json]",
                 "Mirror SOURCE into TARGET once (or, with --watch, again on every wake-up or period)",
                 [](const QStringList& argsIn) {
    QStringList args = argsIn;
    bool haveDb = false, haveInterval = false, haveLog = false;
    QString dbPath = tool::takeOption(args, QStringLiteral("db"), &haveDb);
    const QString intervalText = tool::takeOption(args, QStringLiteral("interval"), &haveInterval);
    QString logPath = tool::takeOption(args, QStringLiteral("log"), &haveLog);
    const bool watch = tool::takeFlag(args, QStringLiteral("watch"));
    const bool json = tool::takeFlag(args, QStringLiteral("json"));
    if (args.size() != 2 || args.first().startsWith(QLatin1String("--")))
        return tool::usageError(QStringLiteral("usage: synccore sync SOURCE TARGET [--db FILE] [--watch] [--interval SECONDS] [--log FILE] [--json]"));
    int interval = 60;
    if (haveInterval) {
        bool ok = false;
        interval = intervalText.toInt(&ok);
        if (!ok || interval < 1)
            return tool::usageError(QStringLiteral("--interval takes a whole number of seconds (1 or more)"));
    }
    if (!haveDb)
        dbPath = tool::defaultDatabasePath();

    QString source = args.at(0), target = args.at(1);
    const QString folderError = tool::SyncPass::PrepareFolders(source, target);
    if (!folderError.isEmpty())
        return tool::failure(folderError);

    QString dbError;
    auto factory = sync::core::SqliteDatabaseFactory::Open(dbPath, &dbError);
    if (!factory)
        return tool::failure(dbError);
    if (!factory->CreateActionLogTable())
        return tool::failure(QStringLiteral("cannot create the action log in %1: %2").arg(dbPath, factory->LastError()));

    // The service's own log file.
    if (!haveLog) {
        const QString dir = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/synccore");
        QDir().mkpath(dir);
        logPath = dir + QStringLiteral("/sync.log");
    }
    log4cplus::Hierarchy& hierarchy = log4cplus::Logger::getDefaultHierarchy();
    sync::core::LoggingConfigurator logging(logPath, QString(), QString(), QStringLiteral("5MB"), QStringLiteral("3"), hierarchy);
    logging.configure();
    log4cplus::Logger logger = log4cplus::Logger::getInstance("synccore");

    auto exitManager = std::make_shared<sync::core::ExitManager>();
    SignalWatcher signalWatcher(*exitManager);
    sync::core::FileNameMatcher matcher(QString::fromLatin1(tool::kExclusionSettingsKey), sync::core::uploadDownloadExclusionsRegex);
    int status = 0;
    {
        sync::core::ActionLog log(factory);
        tool::SyncPass pass(log, matcher, *exitManager);
        if (!json && tool::stdoutIsTerminal())
            pass.setProgressCallback(drawProgress);

        auto runPass = [&] {
            sync::core::ScopeLogger scope(logger, QStringLiteral("Sync pass"));
            const tool::SyncSummary s = pass.Run(source, target);
            if (!json && tool::stdoutIsTerminal() && s.files > 0)
                std::fputs("\n", stdout);
            if (json)
                tool::out(QString::fromUtf8(QJsonDocument(summaryJson(source, target, s)).toJson(QJsonDocument::Compact)));
            else
                printSummary(s);
            LOG4CPLUS_INFO(logger, QStringLiteral("%1 copied, %2 unchanged, %3 failed, %4 excluded")
                                       .arg(s.copied).arg(s.unchanged).arg(s.failed).arg(s.excluded).toStdString());
            if (s.failed > 0)
                status = 1;
        };

        if (!watch) {
            runPass();
        } else {
            // A service: a pass, then wait for a wake-up or the period, again, until told to stop.
            sync::syncService::WakeupSignalsWrapper wakeup(exitManager);
            QTimer timer;
            timer.setSingleShot(true);
            timer.setInterval(interval * 1000);
            bool passQueued = false;
            auto queuePass = [&] {
                if (passQueued)
                    return;
                passQueued = true;
                QTimer::singleShot(0, &timer, [&] {
                    passQueued = false;
                    timer.stop();
                    if (exitManager->IsExiting())
                        return;
                    status = 0;
                    runPass();
                    timer.start();
                });
            };
            // Awaken() comes from the wake-up thread; the timer as context queues it here.
            QObject::connect(&wakeup, &sync::syncService::WakeupSignalsWrapper::Awaken, &timer, queuePass);
            QObject::connect(&timer, &QTimer::timeout, &timer, queuePass);
            QObject::connect(exitManager.get(), &sync::core::ExitManager::PrepareToQuit,
                             QCoreApplication::instance(), &QCoreApplication::quit, Qt::QueuedConnection);
            wakeup.start();
            if (!json)
                tool::out(QStringLiteral("watching %1 (pid %2); wake with: synccore wake --pid %2")
                              .arg(source).arg(QCoreApplication::applicationPid()));
            queuePass();
            if (!exitManager->IsExiting())
                QCoreApplication::exec();
            exitManager->Exit();
            // Our own post ends the thread's current wait slice at once.
            sync::syncService::WakeupSignalsWrapper::WakeService(QCoreApplication::applicationPid());
            wakeup.wait();
            status = 0;
        }
    } // the action log's destructor flushes what is left
    hierarchy.shutdown();
    return status;
});

SYNCCORE_COMMAND("history", "[--db FILE] [--json] [--limit N]",
                 "Show the action log, oldest first, with local times and the details in English",
                 [](const QStringList& argsIn) {
    QStringList args = argsIn;
    const bool json = tool::takeFlag(args, QStringLiteral("json"));
    bool haveLimit = false;
    const QString limitText = tool::takeOption(args, QStringLiteral("limit"), &haveLimit);
    int limit = -1;
    if (haveLimit) {
        bool ok = false;
        limit = limitText.toInt(&ok);
        if (!ok || limit < 0)
            return tool::usageError(QStringLiteral("--limit takes a number of actions (0 or more)"));
    }
    int exitCode = 0;
    std::unique_ptr<sync::core::ActionLog> log = tool::openLog(args, true, &exitCode);
    if (!log)
        return exitCode;
    if (!args.isEmpty())
        return tool::usageError(QStringLiteral("history takes no arguments besides its options"));

    QVector<sync::core::SyncAction> actions = log->GetAllActions();
    // The most recent N, still oldest first.
    if (limit >= 0 && actions.size() > limit)
        actions.remove(0, actions.size() - limit);

    if (json) {
        QJsonArray rows;
        for (const sync::core::SyncAction& a : std::as_const(actions)) {
            QJsonObject o;
            o.insert(QStringLiteral("id"), a.id);
            o.insert(QStringLiteral("time"), a.timestamp.toString(Qt::ISODateWithMs));
            o.insert(QStringLiteral("type"), a.actionType);
            o.insert(QStringLiteral("typeName"), tool::actionTypeName(a.actionType));
            o.insert(QStringLiteral("item"), a.relatedItemInfo);
            o.insert(QStringLiteral("name"), a.relatedItemName);
            o.insert(QStringLiteral("details"), tool::detailsText(*log, a.details));
            rows.append(o);
        }
        tool::out(QString::fromUtf8(QJsonDocument(rows).toJson(QJsonDocument::Compact)));
        return 0;
    }
    for (const sync::core::SyncAction& a : std::as_const(actions)) {
        // The details name the item already; the bare item only when there are none.
        const QString details = tool::detailsText(*log, a.details);
        tool::out(QStringLiteral("%1  %2  %3  %4")
                      .arg(a.id, 5)
                      .arg(tool::localTime(a), tool::actionTypeName(a.actionType).leftJustified(13),
                           details.isEmpty() ? a.relatedItemInfo : details));
    }
    if (actions.isEmpty())
        tool::out(QStringLiteral("(no actions)"));
    return 0;
});
