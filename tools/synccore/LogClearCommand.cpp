// log clear: every action removed, at once or not at all.

#include "Command.h"
#include "LogDatabase.h"

namespace {

/// Removes every one of @p all in one transaction; false when it was rolled back.
bool removeAll(sync::core::ActionLog& log, const QVector<sync::core::SyncAction>& all)
{
    if (!log.transaction())
        return false;
    for (const sync::core::SyncAction& a : all) {
        if (!log.RemoveAction(a.id)) {
            log.rollback();
            return false;
        }
    }
    return log.commit();
}

int run(const tool::Invocation& in)
{
    int status = tool::ExitSuccess;
    auto db = tool::LogDatabase::OpenForReading(tool::databasePath(in), &status);
    if (!db)
        return status;
    const QVector<sync::core::SyncAction> all = db->log().GetAllActions();
    if ((status = db->Check()) != tool::ExitSuccess)
        return status;
    const bool removed = removeAll(db->log(), all);
    if ((status = db->Check()) != tool::ExitSuccess)
        return status;
    if (!removed)
        return tool::failure(
            QStringLiteral("%1: the actions could not be removed").arg(db->path()));
    tool::out(QStringLiteral("removed %1 actions").arg(all.size()));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("log clear");
    c.synopsis = QStringLiteral("[OPTIONS]");
    c.summary = QStringLiteral("Remove every action");
    c.description = QStringLiteral(
        "Delete every action of the log in one transaction, so that a large log is cleared at "
        "once or not at all.");
    c.options = { tool::dbOption() };
    c.examples = { QStringLiteral("synccore log clear --db /tmp/test.sqlite") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
