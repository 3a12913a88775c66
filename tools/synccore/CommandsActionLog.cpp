// log add|list|show|remove|trim|clear: the action log of a database file. The
// tool is a display side of the log, so it ships its own English templates for
// the details documents.

#include "Command.h"

#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/SyncException.h"
#include "database/SqliteDatabaseFactory.h"

#include <QFileInfo>

#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <memory>

using sync::core::ActionLog;
using sync::core::SyncAction;
using sync::core::SyncDetails;
namespace action = sync::core::action;
namespace actionDetails = sync::core::actionDetails;

namespace {

struct ActionTypeName
{
    action::ActionType type;
    const char* name;
};

const ActionTypeName kActionTypes[] = {
    { action::FileUploaded, "FileUploaded" },
    { action::FileDownloaded, "FileDownloaded" },
    { action::LocalItemDeleted, "LocalItemDeleted" },
    { action::RemoteItemDeleted, "RemoteItemDeleted" },
    { action::LocalItemMoved, "LocalItemMoved" },
    { action::RemoteItemMoved, "RemoteItemMoved" },
    { action::LocalFolderCreated, "LocalFolderCreated" },
    { action::RemoteFolderCreated, "RemoteFolderCreated" },
    { action::ConflictCopyCreated, "ConflictCopyCreated" },
    { action::UploadFailed, "UploadFailed" },
    { action::DownloadFailed, "DownloadFailed" },
    { action::DeleteFailed, "DeleteFailed" },
    { action::MoveFailed, "MoveFailed" },
    { action::ItemSkipped, "ItemSkipped" },
    { action::SyncStarted, "SyncStarted" },
    { action::SyncCompleted, "SyncCompleted" },
    { action::SyncFailed, "SyncFailed" },
};

QString actionTypeName(int type)
{
    for (const ActionTypeName& t : kActionTypes)
        if (int(t.type) == type)
            return QString::fromLatin1(t.name);
    return QString::number(type);
}

/// A number or one of the names above (any case); false when it is neither.
bool parseActionType(const QString& text, int* type)
{
    bool ok = false;
    *type = text.toInt(&ok);
    if (ok)
        return true;
    for (const ActionTypeName& t : kActionTypes) {
        if (text.compare(QLatin1String(t.name), Qt::CaseInsensitive) == 0) {
            *type = int(t.type);
            return true;
        }
    }
    return false;
}

/// The English display texts of the details documents.
const QMap<actionDetails::DetailsType, QString>& englishTemplates()
{
    using namespace actionDetails;
    static const QMap<DetailsType, QString> templates = {
        { HttpError, QStringLiteral("The server reported an unexpected error.") },
        { PathTooLong, QStringLiteral("The path %1 is too long.") },
        { HttpUnauthorized,
            QStringLiteral("The server did not accept your sign-in. Please sign in again.") },
        { HttpNotFound, QStringLiteral("Not found on the server: %1") },
        { HttpForbidden, QStringLiteral("Access denied by the server: %1") },
        { HttpLocked, QStringLiteral("Locked on the server: %1") },
        { InvalidItemName, QStringLiteral("The name %1 is not allowed.") },
        { TransferFailed, QStringLiteral("Transfer of %1 failed: %2") },
        { ItemExcluded, QStringLiteral("%1 is excluded from synchronisation.") },
        { ConflictCopy,
            QStringLiteral("%1 was changed in two places; your copy was saved as %2.") },
        { LocalDiskFull, QStringLiteral("There is not enough space in %1.") },
        { FileInUse, QStringLiteral("%1 is in use by another program.") },
        { HttpServerError,
            QStringLiteral("The server reported error %1. Please try again later.") },
        { HttpInsufficientStorage, QStringLiteral("Your cloud storage is full: %1") },
        { HttpMethodNotAllowed, QStringLiteral("The server does not allow this operation: %1") },
        { HttpConflict, QStringLiteral("The item was changed on the server at the same time: %1") },
    };
    return templates;
}

QString detailsText(ActionLog& log, const QString& details)
{
    try {
        return log.ResolveSyncActionDetails(details, englishTemplates());
    } catch (const sync::core::SyncException& e) {
        return QStringLiteral("(details not shown: %1)").arg(e.message());
    }
}

/// The log of the chosen database; null after printing the error.
std::unique_ptr<ActionLog> openLog(QStringList& args, bool mustExist, int* exitCode)
{
    // The library's log lines have no file here, and log4cplus would complain
    // about that on stderr; the error the user needs is printed below.
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    if (root.getAllAppenders().empty())
        root.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender()));
    bool given = false;
    QString path = tool::takeOption(args, QStringLiteral("db"), &given);
    if (!given)
        path = tool::defaultDatabasePath();
    if (path.isEmpty()) {
        *exitCode = tool::usageError(QStringLiteral("--db needs a file name"));
        return nullptr;
    }
    if (mustExist && !QFileInfo::exists(path)) {
        *exitCode = tool::failure(QStringLiteral("no action log at %1").arg(path));
        return nullptr;
    }
    QString error;
    auto factory = sync::core::SqliteDatabaseFactory::Open(path, &error);
    if (!factory) {
        *exitCode = tool::failure(error);
        return nullptr;
    }
    if (!factory->CreateActionLogTable()) {
        *exitCode
            = tool::failure(QStringLiteral("cannot use %1: %2").arg(path, factory->LastError()));
        return nullptr;
    }
    return std::make_unique<ActionLog>(factory);
}

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

QString localTime(const SyncAction& action)
{
    return action.timestamp.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
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
