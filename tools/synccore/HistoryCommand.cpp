// history: the action log as a user reads it.

#include "ActionLogText.h"
#include "Command.h"
#include "LogDatabase.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <limits>

namespace {

/// The type name padded to its column, in red for failures and green for work done.
QString typeColumn(int type)
{
    const QString name = tool::actionTypeName(type).leftJustified(13);
    if (!tool::useColour())
        return name;
    const bool failed = type == sync::core::action::UploadFailed
        || type == sync::core::action::DownloadFailed || type == sync::core::action::DeleteFailed
        || type == sync::core::action::MoveFailed || type == sync::core::action::SyncFailed;
    return QStringLiteral("\x1b[%1m%2\x1b[0m").arg(failed ? 31 : 32).arg(name);
}

void printText(
    sync::core::ActionLog& log, const QVector<sync::core::SyncAction>& actions, bool withDocument)
{
    for (const sync::core::SyncAction& a : actions) {
        // The details name the item already; the bare item only when there are none.
        const QString details = tool::detailsText(log, a.details);
        tool::out(QStringLiteral("%1  %2  %3  %4")
                      .arg(a.id, 5)
                      .arg(tool::localTime(a), typeColumn(a.actionType),
                          details.isEmpty() ? a.relatedItemInfo : details));
        if (withDocument && !a.details.isEmpty())
            tool::out(QStringLiteral("       %1").arg(a.details));
    }
    if (actions.isEmpty())
        tool::out(QStringLiteral("(no actions)"));
}

int run(const tool::Invocation& in)
{
    qint64 limit = -1;
    int status = tool::ExitSuccess;
    if (in.isSet(QStringLiteral("limit"))
        && !in.intValue(
            QStringLiteral("limit"), 0, std::numeric_limits<int>::max(), &limit, &status))
        return status;
    auto db = tool::LogDatabase::OpenForReading(tool::databasePath(in), &status);
    if (!db)
        return status;
    QVector<sync::core::SyncAction> actions = db->log().GetAllActions();
    if ((status = db->Check()) != tool::ExitSuccess)
        return status;
    // The most recent N, still oldest first.
    if (limit >= 0 && actions.size() > limit)
        actions.remove(0, actions.size() - limit);
    const bool withDocument = in.isSet(QStringLiteral("details"));
    if (!in.isSet(QStringLiteral("json"))) {
        printText(db->log(), actions, withDocument);
        return tool::ExitSuccess;
    }
    QJsonArray rows;
    for (const sync::core::SyncAction& a : std::as_const(actions))
        rows.append(tool::actionJson(db->log(), a, withDocument));
    tool::out(QString::fromUtf8(QJsonDocument(rows).toJson(QJsonDocument::Compact)));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("history");
    c.synopsis = QStringLiteral("[OPTIONS]");
    c.summary = QStringLiteral("Show the action log with local times and English details");
    c.description = QStringLiteral(
        "Show what the sync engine did, oldest first: id, local time, type and the details as "
        "English text. A damaged or unreadable database is an error, never an empty history. "
        "The file is only read.");
    c.options = {
        tool::dbOption(),
        tool::jsonOption(),
        { QStringLiteral("limit"), QStringLiteral("Show only the newest N actions."),
            QStringLiteral("N") },
        { QStringLiteral("details"),
            QStringLiteral("Show each action's stored details document too.") },
    };
    c.examples = { QStringLiteral("synccore history --limit 20"),
        QStringLiteral(
            "synccore history --json | jq '.[] | select(.typeName == \"UploadFailed\")'") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
