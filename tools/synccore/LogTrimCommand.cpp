// log trim: the log's own size cap, applied now.

#include "Command.h"
#include "LogDatabase.h"

namespace {

int run(const tool::Invocation& in)
{
    int status = tool::ExitSuccess;
    auto db = tool::LogDatabase::OpenForReading(tool::databasePath(in), &status);
    if (!db)
        return status;
    const int before = int(db->log().GetAllActions().size());
    if ((status = db->Check()) != tool::ExitSuccess)
        return status;
    const bool trimmed = db->log().ManageLogSize();
    const int after = int(db->log().GetAllActions().size());
    if ((status = db->Check()) != tool::ExitSuccess)
        return status;
    if (!trimmed)
        return tool::failure(QStringLiteral("%1: trimming failed").arg(db->path()));
    tool::out(QStringLiteral("removed %1 actions, %2 kept").arg(before - after).arg(after));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("log trim");
    c.synopsis = QStringLiteral("[OPTIONS]");
    c.summary = QStringLiteral("Delete the actions 5000 or more below the newest");
    c.description = QStringLiteral(
        "Apply the log's size cap now: delete every action whose id lies 5000 or more below "
        "the newest id, as the service does from time to time. Prints how many were removed "
        "and how many are kept.");
    c.options = { tool::dbOption() };
    c.examples = { QStringLiteral("synccore log trim") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
