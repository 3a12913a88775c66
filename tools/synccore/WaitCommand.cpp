// wait: the service's wake-up thread, from a terminal.

#include "Command.h"
#include "Signals.h"

#include "Sync/SyncCore/ExitManager.h"
#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include <QCoreApplication>

#include <atomic>
#include <memory>

using sync::syncService::WakeupSignalsWrapper;

namespace {

int run(const tool::Invocation&)
{
    auto exitManager = std::make_shared<sync::core::ExitManager>();
    tool::SignalWatcher stopSignals([&exitManager](int) {
        exitManager->Exit();
        // Our own post ends the thread's current wait slice at once.
        WakeupSignalsWrapper::WakeService(QCoreApplication::applicationPid());
    });
    WakeupSignalsWrapper wrapper(exitManager);
    int wakeups = 0;
    QObject::connect(&wrapper, &WakeupSignalsWrapper::Awaken, qApp, [&] {
        // The call we post ourselves to cut the last wait short is no wake-up.
        if (!exitManager->IsExiting())
            tool::out(QStringLiteral("woken %1").arg(++wakeups));
    });
    QObject::connect(&wrapper, &QThread::finished, qApp, &QCoreApplication::quit);
    // QThread::wait() joins through Qt's own futex-based wait condition; this
    // flag makes the end of the thread's work visible to ThreadSanitizer too.
    std::atomic<bool> finished { false };
    QObject::connect(
        &wrapper, &QThread::finished, &wrapper, [&finished] { finished = true; },
        Qt::DirectConnection);
    wrapper.start();
    tool::out(QStringLiteral("process %1 waits for wake-up calls on /%2 (stop with Ctrl+C)")
                  .arg(QCoreApplication::applicationPid())
                  .arg(WakeupSignalsWrapper::SharedMemoryName));
    QCoreApplication::exec();
    wrapper.wait();
    if (!finished.load())
        tool::err(QStringLiteral("wait: the wake-up thread did not end"));
    tool::out(QStringLiteral("stopped after %1 wake-up calls").arg(wakeups));
    return stopSignals.exitStatus(tool::ExitSuccess);
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("wait");
    c.synopsis = QString();
    c.summary = QStringLiteral("Stand in for the service: print each wake-up call");
    c.description = QStringLiteral(
        "Publish this process's wake-up semaphore as the service does and print a line for "
        "each wake-up call ('synccore wake --pid PID') until SIGINT or SIGTERM.");
    c.examples = { QStringLiteral("synccore wait &  synccore wake --pid $!") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
