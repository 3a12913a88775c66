// log remove: one action taken out of the log.

#include "ActionLogText.h"
#include "Command.h"
#include "LogDatabase.h"

namespace {

int run(const tool::Invocation& in)
{
    const int id = tool::actionId(in.argument(0));
    if (id < 0)
        return tool::usageError(QStringLiteral("'%1' is not an action id").arg(in.argument(0)));
    int status = tool::ExitSuccess;
    auto db = tool::LogDatabase::OpenForReading(tool::databasePath(in), &status);
    if (!db)
        return status;
    // The log itself reports success for a missing row; the tool tells the user.
    const bool exists = db->log().GetAction(id).actionType != sync::core::action::NoAction;
    if ((status = db->Check()) != tool::ExitSuccess)
        return status;
    if (!exists)
        return tool::failure(QStringLiteral("no action with id %1").arg(id));
    const bool removed = db->log().RemoveAction(id);
    if ((status = db->Check()) != tool::ExitSuccess)
        return status;
    if (!removed)
        return tool::failure(QStringLiteral("could not remove action %1").arg(id));
    tool::out(QStringLiteral("removed action %1").arg(id));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("log remove");
    c.synopsis = QStringLiteral("[OPTIONS] ID");
    c.summary = QStringLiteral("Remove one action");
    c.description = QStringLiteral("Delete the action with row id ID from the log. An id that is "
                                   "not in the log is a failure.");
    c.options = { tool::dbOption() };
    c.arguments = { { QStringLiteral("ID"),
        QStringLiteral("The action's row id, as log list shows it.") } };
    c.minArguments = c.maxArguments = 1;
    c.examples = { QStringLiteral("synccore log remove 42") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
