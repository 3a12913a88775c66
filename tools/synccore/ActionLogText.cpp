#include "ActionLogText.h"

#include "Command.h"
#include "Format.h"

#include "Sync/SyncCore/SyncException.h"

using sync::core::ActionLog;
using sync::core::SyncAction;
namespace action = sync::core::action;
namespace actionDetails = sync::core::actionDetails;

namespace tool {

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

} // namespace

QString actionTypeName(int type)
{
    for (const ActionTypeName& t : kActionTypes)
        if (int(t.type) == type)
            return QString::fromLatin1(t.name);
    return QString::number(type);
}

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
        { FileTransferred, QStringLiteral("%1 (%2 bytes) was copied.") },
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

QJsonObject actionJson(ActionLog& log, const SyncAction& a, bool withDocument)
{
    QJsonObject o;
    o.insert(QStringLiteral("id"), a.id);
    o.insert(QStringLiteral("time"), isoTime(a.timestamp));
    o.insert(QStringLiteral("type"), a.actionType);
    o.insert(QStringLiteral("typeName"), actionTypeName(a.actionType));
    o.insert(QStringLiteral("item"), a.relatedItemInfo);
    o.insert(QStringLiteral("name"), a.relatedItemName);
    o.insert(QStringLiteral("details"), detailsText(log, a.details));
    if (withDocument)
        o.insert(QStringLiteral("detailsDocument"), a.details);
    return o;
}

int actionId(const QString& text)
{
    bool ok = false;
    const int id = text.toInt(&ok);
    return ok && id > 0 ? id : -1;
}

QString localTime(const SyncAction& action)
{
    return action.timestamp.toLocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

} // namespace tool
