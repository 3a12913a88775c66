#include "SyncRunner.h"

#include "Command.h"
#include "Format.h"
#include "LogDatabase.h"
#include "Signals.h"

#include "Sync/Mirror/MirrorPass.h"
#include "Sync/Mirror/MirrorWatcher.h"
#include "Sync/SyncCore/ExitManager.h"
#include "Sync/SyncCore/FileNameMatcher.h"
#include "Sync/SyncCore/ScopeLogger.h"
#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <atomic>
#include <memory>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace tool {

namespace {

using sync::mirror::EntryAction;
using sync::mirror::MirrorEntry;
using sync::mirror::MirrorOptions;
using sync::mirror::MirrorPass;
using sync::mirror::MirrorResult;
using sync::mirror::MirrorWatcher;
using sync::syncService::WakeupSignalsWrapper;

QJsonObject summaryJson(const SyncOptions& o, const MirrorResult& r)
{
    QJsonArray failures;
    for (const auto& f : r.failures)
        failures.append(QJsonObject {
            { QStringLiteral("path"), f.display }, { QStringLiteral("cause"), f.cause } });
    return QJsonObject {
        { QStringLiteral("source"), o.source },
        { QStringLiteral("target"), o.target },
        { QStringLiteral("dryRun"), o.dryRun },
        { QStringLiteral("files"), r.files },
        { QStringLiteral("copied"), r.copied },
        { QStringLiteral("unchanged"), r.unchanged },
        { QStringLiteral("deleted"), r.deleted },
        { QStringLiteral("excluded"), r.excluded },
        { QStringLiteral("failed"), r.failed },
        { QStringLiteral("links"), r.links },
        { QStringLiteral("folders"), r.folders },
        { QStringLiteral("bytesTotal"), double(r.bytes) },
        { QStringLiteral("bytesCopied"), double(r.bytesCopied) },
        { QStringLiteral("elapsedMs"), double(r.elapsedMs) },
        { QStringLiteral("interrupted"), r.interrupted },
        { QStringLiteral("failures"), failures },
    };
}

void printSummary(const SyncOptions& o, const MirrorResult& r)
{
    if (o.json) {
        out(QString::fromUtf8(QJsonDocument(summaryJson(o, r)).toJson(QJsonDocument::Compact)));
        return;
    }
    if (o.quiet)
        return;
    out(QStringLiteral("%1 files: %2 copied (%3), %4 unchanged, %5 deleted, %6 failed; "
                       "%7 excluded; %8 ms%9%10")
            .arg(r.files)
            .arg(r.copied)
            .arg(formatSize(r.bytesCopied))
            .arg(r.unchanged)
            .arg(r.deleted)
            .arg(r.failed)
            .arg(r.excluded)
            .arg(r.elapsedMs)
            .arg(o.dryRun ? QStringLiteral(" (dry run)") : QString(),
                r.interrupted ? QStringLiteral(" (interrupted)") : QString()));
}

/// One line per action, as `rsync -v` prints them; excluded and unchanged entries are silent.
QString actionLine(const MirrorEntry& e)
{
    switch (e.action) {
    case EntryAction::Copied:
    case EntryAction::Linked:
        return e.display;
    case EntryAction::FolderMade:
        return e.display + QLatin1Char('/');
    case EntryAction::Deleted:
        return QStringLiteral("deleting ") + e.display;
    case EntryAction::Updated:
    case EntryAction::Excluded:
    case EntryAction::Failed:
        break;
    }
    return QString();
}

MirrorOptions mirrorOptions(const SyncOptions& o)
{
    MirrorOptions m;
    m.source = o.source;
    m.target = o.target;
    m.deleteExtra = o.deleteExtra;
    m.dryRun = o.dryRun;
    m.checksum = o.checksum;
    m.excludes = o.excludes;
    m.intervalSeconds = o.intervalSeconds;
    return m;
}

/// The engine and what its passes need around them: printing, progress and the exit status.
class Engine
{
public:
    Engine(const SyncOptions& options, LogDatabase& db, sync::core::ExitManager& exitManager)
        : _options(options)
        , _db(db)
        , _matcher(
              QString::fromLatin1(kExclusionSettingsKey), sync::core::uploadDownloadExclusionsRegex)
        , _progress(Progress::wanted() && !options.quiet && !options.json)
        , _logger(log4cplus::Logger::getInstance("synccore"))
    {
        MirrorOptions mirror = mirrorOptions(options);
        // Totals for the line cost a second walk of the source: worth it once, not before each
        // of a watcher's periodic passes, which mostly find nothing to do.
        mirror.countAhead = _progress.enabled() && !options.watch;
        // A single pass runs without the watcher, which would add an inotify watch per folder.
        if (options.watch) {
            _watcher = std::make_unique<MirrorWatcher>(
                mirror, &db.log(), db.factory(), &_matcher, &exitManager);
            _pass = &_watcher->Pass();
            _watcher->SetResultCallback([this](const MirrorResult& r, bool full) {
                _Finished(r, full);
                // A history that goes nowhere stops the service.
                if (_failed)
                    _watcher->Stop();
            });
        } else {
            _single = std::make_unique<MirrorPass>(
                mirror, &db.log(), db.factory(), &_matcher, &exitManager);
            _pass = _single.get();
        }
        _pass->SetProgressCallback([this](const sync::mirror::MirrorProgress& p) {
            // The totals arrive once, before anything is done; the same again cost nothing.
            _progress.setTotals(p.bytesTotal, p.filesTotal);
            _progress.setDone(p.bytesDone, p.filesDone);
        });
        _pass->SetEntryCallback([this](const MirrorEntry& e) { _Entry(e); });
    }

    /// One full pass.
    void Pass() { _Finished(_pass->Run(), true); }

    /// Watches until stopped; prints why when watching was impossible.
    void Watch()
    {
        const QString error = _watcher->Run();
        if (error.isEmpty())
            return;
        _failed = true;
        failure(error);
    }

    /// From any thread.
    void RequestFullPass()
    {
        if (_watcher)
            _watcher->RequestFullPass();
    }
    void Stop()
    {
        if (_watcher)
            _watcher->Stop();
        else
            _pass->Cancel();
    }

    /// 1 after a fatal or history error, else 23 after per-entry failures, else 0.
    int Status() const { return _failed ? ExitFailure : _partial ? ExitPartial : ExitSuccess; }

private:
    void _Entry(const MirrorEntry& e)
    {
        if (e.action == EntryAction::Failed) {
            _progress.finish();
            err(QStringLiteral("%1: %2").arg(e.display, e.cause));
            return;
        }
        if (!_options.verbose || _options.json)
            return;
        const QString line = actionLine(e);
        if (line.isEmpty())
            return;
        _progress.finish();
        out(line);
    }

    void _Finished(const MirrorResult& r, bool full)
    {
        _progress.finish();
        if (!r.fatalError.isEmpty()) {
            _failed = true;
            failure(r.fatalError);
            return;
        }
        printSummary(_options, r);
        LOG4CPLUS_INFO(_logger,
            QStringLiteral("%1 pass: %2 copied, %3 unchanged, %4 deleted, %5 failed, %6 excluded")
                .arg(full ? QStringLiteral("Full") : QStringLiteral("Partial"))
                .arg(r.copied)
                .arg(r.unchanged)
                .arg(r.deleted)
                .arg(r.failed)
                .arg(r.excluded)
                .toStdString());
        if (!r.historyError.isEmpty()) {
            _failed = true;
            // The database layer's own cause first; the engine's words when it has none.
            if (_db.Check() == ExitSuccess)
                failure(QStringLiteral("%1: %2").arg(_db.path(), r.historyError));
        }
        if (r.failed > 0)
            _partial = true;
    }

    const SyncOptions& _options;
    LogDatabase& _db;
    sync::core::FileNameMatcher _matcher;
    std::unique_ptr<MirrorWatcher> _watcher; ///< with --watch
    std::unique_ptr<MirrorPass> _single; ///< without it
    MirrorPass* _pass = nullptr; ///< the one that runs
    Progress _progress;
    log4cplus::Logger _logger;
    bool _failed = false;
    bool _partial = false;
};

/// Watches until a signal or a failed history stops it; wake-up calls ask for a full pass.
void watch(const SyncOptions& options, Engine& engine,
    const std::shared_ptr<sync::core::ExitManager>& exitManager)
{
    WakeupSignalsWrapper wakeup(exitManager);
    // Awaken() comes from the wake-up thread; the request only sets a flag and interrupts.
    QObject::connect(
        &wakeup, &WakeupSignalsWrapper::Awaken, [&engine] { engine.RequestFullPass(); });
    // QThread::wait() joins through Qt's own futex-based wait condition; this
    // flag makes the end of the thread's work visible to ThreadSanitizer too.
    std::atomic<bool> finished { false };
    QObject::connect(
        &wakeup, &QThread::finished, &wakeup, [&finished] { finished = true; },
        Qt::DirectConnection);
    wakeup.start();
    if (!options.quiet && !options.json)
        out(QStringLiteral("watching %1 (pid %2); wake with: synccore wake --pid %2")
                .arg(options.source)
                .arg(QCoreApplication::applicationPid()));
    engine.Watch();
    exitManager->Exit();
    // Our own post ends the thread's current wait slice at once.
    WakeupSignalsWrapper::WakeService(QCoreApplication::applicationPid());
    wakeup.wait();
    if (!finished.load())
        err(QStringLiteral("sync: the wake-up thread did not end"));
}

} // namespace

int runSync(const SyncOptions& options, LogDatabase& db)
{
    auto exitManager = std::make_shared<sync::core::ExitManager>();
    Engine engine(options, db, *exitManager);
    SignalWatcher stopSignals([&exitManager, &engine](int) {
        exitManager->Exit();
        engine.Stop();
    });
    {
        log4cplus::Logger logger = log4cplus::Logger::getInstance("synccore");
        sync::core::ScopeLogger scope(
            logger, options.watch ? QStringLiteral("Sync watch") : QStringLiteral("Sync pass"));
        if (options.watch)
            watch(options, engine, exitManager);
        else
            engine.Pass();
    }
    // The engine checks each pass's rows itself; this flushes and checks the database once more.
    const int logStatus = db.Finish();
    if (stopSignals.received() != 0)
        return stopSignals.exitStatus(ExitSuccess);
    if (logStatus != ExitSuccess)
        return logStatus;
    return engine.Status();
}

} // namespace tool
