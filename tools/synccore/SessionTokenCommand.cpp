// session-token: the token that names this user's wake-up semaphore.

#include "Command.h"

#include "Sync/SyncCore/SessionToken.h"

namespace {

int run(const tool::Invocation&)
{
    tool::out(sync::core::GetSessionAndUserUniqueToken());
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("session-token");
    c.synopsis = QString();
    c.summary = QStringLiteral("Print this process's session token");
    c.description = QStringLiteral(
        "Print the session token of this process, made of the login name and the process "
        "number, as the service builds the name of its wake-up semaphore from it.");
    c.examples = { QStringLiteral("synccore session-token") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
