#include "ActionLogText.h"

#include "Command.h"

#include "Sync/SyncCore/SyncException.h"
#include "database/SqliteDatabaseFactory.h"

#include <QFileInfo>

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

std::unique_ptr<ActionLog> openLog(QStringList& args, bool mustExist, int* exitCode)
{
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

QString localTime(const SyncAction& action)
{
    return action.timestamp.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}


} // namespace tool
