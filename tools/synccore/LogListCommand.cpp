// log list: every action of the log, oldest first.

#include "ActionLogText.h"
#include "Command.h"
#include "LogDatabase.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

QString dash(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

int run(const tool::Invocation& in)
{
    int status = tool::ExitSuccess;
    auto db = tool::LogDatabase::OpenForReading(tool::databasePath(in), &status);
    if (!db)
        return status;
    const QVector<sync::core::SyncAction> actions = db->log().GetAllActions();
    if ((status = db->Check()) != tool::ExitSuccess)
        return status;
    if (in.isSet(QStringLiteral("json"))) {
        QJsonArray rows;
        for (const sync::core::SyncAction& a : actions)
            rows.append(tool::actionJson(db->log(), a, true));
        tool::out(QString::fromUtf8(QJsonDocument(rows).toJson(QJsonDocument::Compact)));
        return tool::ExitSuccess;
    }
    for (const sync::core::SyncAction& a : actions)
        tool::out(QStringLiteral("%1  %2  %3  %4  %5  %6")
                      .arg(QString::number(a.id), tool::localTime(a),
                          tool::actionTypeName(a.actionType), dash(a.relatedItemInfo),
                          dash(a.relatedItemName), tool::detailsText(db->log(), a.details)));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("log list");
    c.synopsis = QStringLiteral("[OPTIONS]");
    c.summary = QStringLiteral("List every action, oldest first");
    c.description = QStringLiteral(
        "Print every action of the log, oldest first, one per line: id, local time, type, item, "
        "name and the details as English text ('-' for an empty field). Nothing is printed for "
        "an empty log. The file is only read.");
    c.options = { tool::dbOption(), tool::jsonOption() };
    c.examples = { QStringLiteral("synccore log list --db ~/sync/actionlog.sqlite"),
        QStringLiteral("synccore log list --json") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
