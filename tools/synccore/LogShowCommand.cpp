// log show: one action with its stored details document.

#include "ActionLogText.h"
#include "Command.h"
#include "Format.h"
#include "LogDatabase.h"

#include <QJsonDocument>

namespace {

void printAction(sync::core::ActionLog& log, const sync::core::SyncAction& a)
{
    tool::out(QStringLiteral("id:       %1").arg(a.id));
    tool::out(QStringLiteral("time:     %1").arg(tool::isoTime(a.timestamp)));
    tool::out(QStringLiteral("type:     %1 (%2)")
                  .arg(tool::actionTypeName(a.actionType))
                  .arg(a.actionType));
    tool::out(QStringLiteral("info:     %1").arg(a.relatedItemInfo));
    tool::out(QStringLiteral("name:     %1").arg(a.relatedItemName));
    tool::out(QStringLiteral("details:  %1").arg(a.details));
    tool::out(QStringLiteral("text:     %1").arg(tool::detailsText(log, a.details)));
}

int run(const tool::Invocation& in)
{
    const int id = tool::actionId(in.argument(0));
    if (id < 0)
        return tool::usageError(QStringLiteral("'%1' is not an action id").arg(in.argument(0)));
    int status = tool::ExitSuccess;
    auto db = tool::LogDatabase::OpenForReading(tool::databasePath(in), &status);
    if (!db)
        return status;
    const sync::core::SyncAction a = db->log().GetAction(id);
    if ((status = db->Check()) != tool::ExitSuccess)
        return status;
    if (a.actionType == sync::core::action::NoAction)
        return tool::failure(QStringLiteral("no action with id %1").arg(id));
    if (in.isSet(QStringLiteral("json")))
        tool::out(QString::fromUtf8(
            QJsonDocument(tool::actionJson(db->log(), a, true)).toJson(QJsonDocument::Compact)));
    else
        printAction(db->log(), a);
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("log show");
    c.synopsis = QStringLiteral("[OPTIONS] ID");
    c.summary = QStringLiteral("Show one action with its stored details document");
    c.description = QStringLiteral(
        "Print one action field by field: id, time (ISO 8601 with offset), type, item, name, the "
        "details document as stored and the details as English text.");
    c.options = { tool::dbOption(), tool::jsonOption() };
    c.arguments = { { QStringLiteral("ID"),
        QStringLiteral("The action's row id, as log list shows it.") } };
    c.minArguments = c.maxArguments = 1;
    c.examples = { QStringLiteral("synccore log show 42") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
