// log add|list|show|remove|trim|clear: the action log of a database file. The
// tool is a display side of the log, so it ships its own English templates for
// the details documents.

#include "ActionLogText.h"
#include "Command.h"

#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/SyncException.h"
#include "database/SqliteDatabaseFactory.h"

#include <QFileInfo>

#include <memory>

using sync::core::ActionLog;
using sync::core::SyncAction;
using sync::core::SyncDetails;
namespace action = sync::core::action;
namespace actionDetails = sync::core::actionDetails;

using namespace tool;

namespace {

/// The one remaining argument as a row id; false after printing the error.
bool takeId(const QStringList& args, int* id, int* exitCode)
{
    if (args.size() != 1) {
        *exitCode = tool::usageError(QStringLiteral("expected one action id"));
        return false;
    }
    bool ok = false;
    *id = args.first().toInt(&ok);
    if (!ok || *id <= 0) {
        *exitCode = tool::usageError(QStringLiteral("'%1' is not an action id").arg(args.first()));
        return false;
    }
    return true;
}

} // namespace

SYNCCORE_COMMAND("log add",
    "[--db FILE] [--http CODE [--message TEXT] | --details TYPE [--arg TEXT]...] ACTIONTYPE [INFO "
    "[NAME]]",
    "Add an action to the log (ACTIONTYPE is a number or a name such as FileUploaded)",
    [](const QStringList& argsIn) {
        QStringList args = argsIn;
        int exitCode = 0;
        bool isHttp = false;
        const QString httpText = tool::takeOption(args, QStringLiteral("http"), &isHttp);
        bool hasMessage = false;
        const QString message = tool::takeOption(args, QStringLiteral("message"), &hasMessage);
        bool hasDetails = false;
        const QString detailsTypeText
            = tool::takeOption(args, QStringLiteral("details"), &hasDetails);
        QVector<QString> detailArgs;
        for (bool more = true; more;) {
            const QString value = tool::takeOption(args, QStringLiteral("arg"), &more);
            if (more)
                detailArgs.append(value);
        }
        bool dbGiven = false;
        const QString dbPath = tool::takeOption(args, QStringLiteral("db"), &dbGiven);
        if (isHttp && hasDetails)
            return tool::usageError(QStringLiteral("--http and --details exclude each other"));
        if (hasMessage && !isHttp)
            return tool::usageError(QStringLiteral("--message goes with --http"));
        if (!detailArgs.isEmpty() && !hasDetails)
            return tool::usageError(QStringLiteral("--arg goes with --details"));
        if (args.isEmpty() || args.size() > 3)
            return tool::usageError(QStringLiteral("expected ACTIONTYPE [INFO [NAME]]"));
        for (const QString& a : std::as_const(args))
            if (a.startsWith(QLatin1String("--")))
                return tool::usageError(QStringLiteral("unknown option %1").arg(a));

        int type = 0;
        if (!parseActionType(args.at(0), &type))
            return tool::usageError(QStringLiteral("'%1' is not an action type").arg(args.at(0)));
        bool ok = true;
        const int httpCode = isHttp ? httpText.toInt(&ok) : 0;
        if (!ok)
            return tool::usageError(
                QStringLiteral("'%1' is not an HTTP status code").arg(httpText));
        const int detailsType = hasDetails ? detailsTypeText.toInt(&ok) : 0;
        if (!ok)
            return tool::usageError(
                QStringLiteral("'%1' is not a details type").arg(detailsTypeText));

        QStringList dbArgs;
        if (dbGiven)
            dbArgs << QStringLiteral("--db") << dbPath;
        std::unique_ptr<ActionLog> log = openLog(dbArgs, false, &exitCode);
        if (!log)
            return exitCode;
        int addedId = -1;
        QObject::connect(log.get(), &sync::interf::IActionLog::ActionAdded,
            [&addedId](const SyncAction& added) { addedId = added.id; });

        const auto actionType = action::ActionType(type);
        const QString info = args.value(1);
        const QString name = args.value(2);
        if (isHttp) {
            log->AddHttpError(actionType, httpCode, info, name, message);
        } else {
            const QString details = hasDetails
                ? log->BuildDetailsXml(actionDetails::DetailsType(detailsType), detailArgs)
                : QString();
            log->AddAction(actionType, info, name, SyncDetails(details));
        }
        log->Flush();
        if (addedId < 0)
            return tool::failure(QStringLiteral("the action could not be written"));
        tool::out(QStringLiteral("added action %1").arg(addedId));
        return 0;
    });

SYNCCORE_COMMAND("log list", "[--db FILE]",
    "List every action, oldest first: id, local time, type, item, name and details",
    [](const QStringList& argsIn) {
        QStringList args = argsIn;
        int exitCode = 0;
        std::unique_ptr<ActionLog> log = openLog(args, true, &exitCode);
        if (!log)
            return exitCode;
        if (!args.isEmpty())
            return tool::usageError(QStringLiteral("log list takes no arguments"));
        for (const SyncAction& a : log->GetAllActions()) {
            tool::out(QStringLiteral("%1  %2  %3  %4  %5  %6")
                          .arg(QString::number(a.id), localTime(a), actionTypeName(a.actionType),
                              a.relatedItemInfo.isEmpty() ? QStringLiteral("-") : a.relatedItemInfo,
                              a.relatedItemName.isEmpty() ? QStringLiteral("-") : a.relatedItemName,
                              detailsText(*log, a.details)));
        }
        return 0;
    });

SYNCCORE_COMMAND("log show", "[--db FILE] ID", "Show one action with its stored details document",
    [](const QStringList& argsIn) {
        QStringList args = argsIn;
        int exitCode = 0;
        std::unique_ptr<ActionLog> log = openLog(args, true, &exitCode);
        if (!log)
            return exitCode;
        int id = 0;
        if (!takeId(args, &id, &exitCode))
            return exitCode;
        const SyncAction a = log->GetAction(id);
        if (a.actionType == action::NoAction)
            return tool::failure(QStringLiteral("no action with id %1").arg(id));
        tool::out(QStringLiteral("id:       %1").arg(a.id));
        tool::out(QStringLiteral("time:     %1").arg(a.timestamp.toString(Qt::ISODateWithMs)));
        tool::out(QStringLiteral("type:     %1 (%2)")
                      .arg(actionTypeName(a.actionType))
                      .arg(a.actionType));
        tool::out(QStringLiteral("info:     %1").arg(a.relatedItemInfo));
        tool::out(QStringLiteral("name:     %1").arg(a.relatedItemName));
        tool::out(QStringLiteral("details:  %1").arg(a.details));
        tool::out(QStringLiteral("text:     %1").arg(detailsText(*log, a.details)));
        return 0;
    });

SYNCCORE_COMMAND(
    "log remove", "[--db FILE] ID", "Remove one action", [](const QStringList& argsIn) {
        QStringList args = argsIn;
        int exitCode = 0;
        std::unique_ptr<ActionLog> log = openLog(args, true, &exitCode);
        if (!log)
            return exitCode;
        int id = 0;
        if (!takeId(args, &id, &exitCode))
            return exitCode;
        // The log itself reports success for a missing row; the tool tells the user.
        if (log->GetAction(id).actionType == action::NoAction)
            return tool::failure(QStringLiteral("no action with id %1").arg(id));
        if (!log->RemoveAction(id))
            return tool::failure(QStringLiteral("could not remove action %1").arg(id));
        tool::out(QStringLiteral("removed action %1").arg(id));
        return 0;
    });

SYNCCORE_COMMAND("log trim", "[--db FILE]",
    "Delete the actions whose id lies 5000 or more below the newest",
    [](const QStringList& argsIn) {
        QStringList args = argsIn;
        int exitCode = 0;
        std::unique_ptr<ActionLog> log = openLog(args, true, &exitCode);
        if (!log)
            return exitCode;
        if (!args.isEmpty())
            return tool::usageError(QStringLiteral("log trim takes no arguments"));
        const int before = int(log->GetAllActions().size());
        if (!log->ManageLogSize())
            return tool::failure(QStringLiteral("trimming failed"));
        const int after = int(log->GetAllActions().size());
        tool::out(QStringLiteral("removed %1 actions, %2 kept").arg(before - after).arg(after));
        return 0;
    });

SYNCCORE_COMMAND("log clear", "[--db FILE]", "Remove every action", [](const QStringList& argsIn) {
    QStringList args = argsIn;
    int exitCode = 0;
    std::unique_ptr<ActionLog> log = openLog(args, true, &exitCode);
    if (!log)
        return exitCode;
    if (!args.isEmpty())
        return tool::usageError(QStringLiteral("log clear takes no arguments"));
    const QVector<SyncAction> all = log->GetAllActions();
    // One transaction, so that a large log is cleared at once or not at all.
    if (!log->transaction())
        return tool::failure(QStringLiteral("cannot start a transaction"));
    for (const SyncAction& a : all) {
        if (!log->RemoveAction(a.id)) {
            log->rollback();
            return tool::failure(QStringLiteral("could not remove action %1").arg(a.id));
        }
    }
    if (!log->commit())
        return tool::failure(QStringLiteral("could not commit the removal"));
    tool::out(QStringLiteral("removed %1 actions").arg(all.size()));
    return 0;
});
