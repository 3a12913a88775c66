#include "SyncRunner.h"

#include "Command.h"
#include "Format.h"
#include "LogDatabase.h"
#include "Signals.h"
#include "SyncPass.h"

#include "Sync/SyncCore/ExitManager.h"
#include "Sync/SyncCore/FileNameMatcher.h"
#include "Sync/SyncCore/ScopeLogger.h"
#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace tool {

namespace {

using sync::syncService::WakeupSignalsWrapper;

QJsonObject summaryJson(const SyncOptions& o, const SyncSummary& s)
{
    return QJsonObject {
        { QStringLiteral("source"), o.source },
        { QStringLiteral("target"), o.target },
        { QStringLiteral("files"), s.files },
        { QStringLiteral("copied"), s.copied },
        { QStringLiteral("unchanged"), s.unchanged },
        { QStringLiteral("excluded"), s.excluded },
        { QStringLiteral("failed"), s.failed },
        { QStringLiteral("bytesTotal"), double(s.bytesTotal) },
        { QStringLiteral("bytesCopied"), double(s.bytesCopied) },
        { QStringLiteral("elapsedMs"), double(s.elapsedMs) },
        { QStringLiteral("interrupted"), s.interrupted },
        { QStringLiteral("failures"), QJsonArray::fromStringList(s.failures) },
    };
}

void printSummary(const SyncOptions& o, const SyncSummary& s)
{
    for (const QString& f : s.failures)
        err(QStringLiteral("failed: %1").arg(f));
    if (o.json) {
        out(QString::fromUtf8(QJsonDocument(summaryJson(o, s)).toJson(QJsonDocument::Compact)));
        return;
    }
    if (o.quiet)
        return;
    out(QStringLiteral("%1 files: %2 copied (%3), %4 unchanged, %5 failed; %6 excluded; %7 ms%8")
            .arg(s.files)
            .arg(s.copied)
            .arg(formatSize(s.bytesCopied))
            .arg(s.unchanged)
            .arg(s.failed)
            .arg(s.excluded)
            .arg(s.elapsedMs)
            .arg(s.interrupted ? QStringLiteral(" (interrupted)") : QString()));
}

/// The engine and what a pass needs around it.
class Engine
{
public:
    Engine(const SyncOptions& options, LogDatabase& db, sync::core::ExitManager& exitManager)
        : _options(options)
        , _matcher(
              QString::fromLatin1(kExclusionSettingsKey), sync::core::uploadDownloadExclusionsRegex)
        , _pass(db.log(), _matcher, exitManager)
        , _progress(Progress::wanted() && !options.quiet && !options.json)
        , _logger(log4cplus::Logger::getInstance("synccore"))
    {
        _pass.setProgressCallback([this](const SyncProgress& p) {
            _progress.setTotals(p.bytesTotal, p.filesTotal);
            _progress.setDone(p.bytesDone, p.filesDone);
        });
        if (options.verbose && !options.json)
            _pass.setCopiedCallback([](const QString& relative) { out(relative); });
    }

    /// One pass; false when it had per-entry failures.
    bool Pass()
    {
        sync::core::ScopeLogger scope(_logger, QStringLiteral("Sync pass"));
        const SyncSummary s = _pass.Run(_options.source, _options.target);
        _progress.finish();
        printSummary(_options, s);
        LOG4CPLUS_INFO(_logger,
            QStringLiteral("%1 copied, %2 unchanged, %3 failed, %4 excluded")
                .arg(s.copied)
                .arg(s.unchanged)
                .arg(s.failed)
                .arg(s.excluded)
                .toStdString());
        return s.failed == 0;
    }

    int ActionsAdded() const { return _pass.actionsAdded(); }

private:
    const SyncOptions& _options;
    sync::core::FileNameMatcher _matcher;
    SyncPass _pass;
    Progress _progress;
    log4cplus::Logger _logger;
};

/// Passes on every wake-up call and every period until the process is told to stop.
void watch(const SyncOptions& options, Engine& engine, LogDatabase& db,
    const std::shared_ptr<sync::core::ExitManager>& exitManager)
{
    WakeupSignalsWrapper wakeup(exitManager);
    QTimer timer;
    timer.setSingleShot(true);
    timer.setInterval(options.intervalSeconds * 1000);
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
            engine.Pass();
            // A database that fails stops the service: its history would go nowhere.
            if (db.Check() != ExitSuccess)
                exitManager->Exit();
            timer.start();
        });
    };
    // Awaken() comes from the wake-up thread; the timer as context queues it here.
    QObject::connect(&wakeup, &WakeupSignalsWrapper::Awaken, &timer, queuePass);
    QObject::connect(&timer, &QTimer::timeout, &timer, queuePass);
    QObject::connect(exitManager.get(), &sync::core::ExitManager::PrepareToQuit,
        QCoreApplication::instance(), &QCoreApplication::quit, Qt::QueuedConnection);
    wakeup.start();
    if (!options.quiet && !options.json)
        out(QStringLiteral("watching %1 (pid %2); wake with: synccore wake --pid %2")
                .arg(options.source)
                .arg(QCoreApplication::applicationPid()));
    queuePass();
    if (!exitManager->IsExiting())
        QCoreApplication::exec();
    exitManager->Exit();
    // Our own post ends the thread's current wait slice at once.
    WakeupSignalsWrapper::WakeService(QCoreApplication::applicationPid());
    wakeup.wait();
}

} // namespace

int runSync(const SyncOptions& options, LogDatabase& db)
{
    auto exitManager = std::make_shared<sync::core::ExitManager>();
    SignalWatcher stopSignals([&exitManager](int) { exitManager->Exit(); });
    Engine engine(options, db, *exitManager);
    bool complete = true;
    if (options.watch)
        watch(options, engine, db, exitManager);
    else
        complete = engine.Pass();
    db.CountAdded(engine.ActionsAdded());
    const int logStatus = db.Finish();
    if (stopSignals.received() != 0)
        return stopSignals.exitStatus(ExitSuccess);
    if (logStatus != ExitSuccess)
        return logStatus;
    return complete ? ExitSuccess : ExitPartial;
}

} // namespace tool
