// wait, wake: the service's wake-up thread and the waking side, from a terminal.

#include "Command.h"

#include "Sync/SyncCore/ExitManager.h"
#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include <QCoreApplication>
#include <QTimer>

#include <atomic>
#include <csignal>
#include <memory>

using sync::syncService::WakeupSignalsWrapper;

namespace {

std::atomic<int> s_stopSignal { 0 };

extern "C" void onStopSignal(int signalNumber)
{
    s_stopSignal.store(signalNumber);
}

} // namespace

SYNCCORE_COMMAND("wait", "",
    "Stand in for the service: print a line for each wake-up call until SIGINT or SIGTERM",
    [](const QStringList& args) {
        if (!args.isEmpty())
            return tool::usageError(QStringLiteral("wait takes no arguments"));

        auto exitManager = std::make_shared<sync::core::ExitManager>();
        WakeupSignalsWrapper wrapper(exitManager);
        int wakeups = 0;
        QObject::connect(&wrapper, &WakeupSignalsWrapper::Awaken, qApp, [&] {
            // The call we post ourselves to cut the last wait short is no wake-up.
            if (exitManager->IsExiting())
                return;
            tool::out(QStringLiteral("woken %1").arg(++wakeups));
        });
        QObject::connect(&wrapper, &QThread::finished, qApp, &QCoreApplication::quit);

        static_assert(std::atomic<int>::is_always_lock_free, "set from a signal handler");
        std::signal(SIGINT, onStopSignal);
        std::signal(SIGTERM, onStopSignal);
        QTimer stopPoll;
        QObject::connect(&stopPoll, &QTimer::timeout, qApp, [&] {
            const int signalNumber = s_stopSignal.load();
            if (signalNumber == 0 || exitManager->IsExiting())
                return;
            tool::out(QStringLiteral("stopping on signal %1").arg(signalNumber));
            exitManager->Exit();
            WakeupSignalsWrapper::WakeService(QCoreApplication::applicationPid());
        });
        stopPoll.start(50);

        wrapper.start();
        tool::out(QStringLiteral("process %1 waits for wake-up calls on /%2 (stop with Ctrl+C)")
                      .arg(QCoreApplication::applicationPid())
                      .arg(WakeupSignalsWrapper::SharedMemoryName));
        QCoreApplication::exec();
        wrapper.wait();
        std::signal(SIGINT, SIG_DFL);
        std::signal(SIGTERM, SIG_DFL);
        tool::out(QStringLiteral("stopped after %1 wake-up calls").arg(wakeups));
        return 0;
    });

SYNCCORE_COMMAND("wake", "--pid PID [--user LOGIN]",
    "Wake the service with process id PID (of user LOGIN, default: yours) once",
    [](const QStringList& argsIn) {
        QStringList args = argsIn;
        bool havePid = false;
        const QString pidText = tool::takeOption(args, QStringLiteral("pid"), &havePid);
        const QString user = tool::takeOption(args, QStringLiteral("user"));
        if (!args.isEmpty())
            return tool::usageError(QStringLiteral("unexpected argument '%1'").arg(args.first()));
        if (!havePid)
            return tool::usageError(QStringLiteral("wake needs --pid PID"));
        bool ok = false;
        const qint64 pid = pidText.toLongLong(&ok);
        if (!ok || pid <= 0)
            return tool::usageError(QStringLiteral("not a process id: '%1'").arg(pidText));

        QString reason;
        switch (WakeupSignalsWrapper::WakeService(pid, user, &reason)) {
        case WakeupSignalsWrapper::WakeResult::Woken:
            tool::out(QStringLiteral("woke process %1").arg(pid));
            return 0;
        case WakeupSignalsWrapper::WakeResult::NoService:
            return tool::failure(
                QStringLiteral("no service waits for wake-up calls as process %1").arg(pid));
        case WakeupSignalsWrapper::WakeResult::NotPermitted:
            return tool::failure(
                QStringLiteral("not allowed to wake process %1: it belongs to another user")
                    .arg(pid));
        case WakeupSignalsWrapper::WakeResult::Failed:
            break;
        }
        return tool::failure(QStringLiteral("cannot wake process %1: %2").arg(pid).arg(reason));
    });
