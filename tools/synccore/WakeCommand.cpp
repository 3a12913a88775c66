// wake: the waking side of the service's wake-up thread.

#include "Command.h"

#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include <limits>

using sync::syncService::WakeupSignalsWrapper;

namespace {

int run(const tool::Invocation& in)
{
    if (!in.isSet(QStringLiteral("pid")))
        return tool::usageError(QStringLiteral("missing option --pid PID"));
    qint64 pid = 0;
    int status = tool::ExitSuccess;
    if (!in.intValue(QStringLiteral("pid"), 1, std::numeric_limits<int>::max(), &pid, &status))
        return status;
    QString reason;
    switch (WakeupSignalsWrapper::WakeService(pid, in.value(QStringLiteral("user")), &reason)) {
    case WakeupSignalsWrapper::WakeResult::Woken:
        tool::out(QStringLiteral("woke process %1").arg(pid));
        return tool::ExitSuccess;
    case WakeupSignalsWrapper::WakeResult::NoService:
        return tool::failure(
            QStringLiteral("no service waits for wake-up calls as process %1").arg(pid));
    case WakeupSignalsWrapper::WakeResult::NotPermitted:
        return tool::failure(
            QStringLiteral("not allowed to wake process %1: it belongs to another user").arg(pid));
    case WakeupSignalsWrapper::WakeResult::Failed:
        break;
    }
    return tool::failure(QStringLiteral("cannot wake process %1: %2").arg(pid).arg(reason));
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("wake");
    c.synopsis = QStringLiteral("--pid PID [OPTIONS]");
    c.summary = QStringLiteral("Wake the service with process id PID once");
    c.description = QStringLiteral(
        "Post the wake-up semaphore of the service running as process PID once, so that it "
        "starts a pass now ('synccore sync --watch' and 'synccore wait' listen for it).");
    c.options = {
        { QStringLiteral("pid"), QStringLiteral("The service's process id (required)."),
            QStringLiteral("PID") },
        { QStringLiteral("user"), QStringLiteral("The login the service runs as (default: yours)."),
            QStringLiteral("LOGIN") },
    };
    c.examples = { QStringLiteral("synccore wake --pid 4242") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
