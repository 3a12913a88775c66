#pragma once

/**
 * @file ActionLogTypes.h
 * @brief The values that travel through the action log: kinds of action, kinds of
 * details payload, a queued entry and a written row.
 *
 * Both enumerations are stored as plain numbers in the `ActionLog` table and in
 * details documents, so every member has a fixed value that must never change.
 */

#include "interfaces/SyncNamespace.h"
#include "kvsyncinterfaces_export.h"

#include <QDateTime>
#include <QMetaType>
#include <QObject>
#include <QString>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace action {

/**
 * @brief What the sync engine did; the `actionType` column.
 *
 * The log never interprets the value: it stores it and hands it back. Values are
 * stored, so they are fixed; new members get new numbers.
 */
enum ActionType : qint32 {
    NoAction = -1, ///< nothing set (a default SyncAction)
    FileUploaded = 1,
    FileDownloaded = 2,
    LocalItemDeleted = 3,
    RemoteItemDeleted = 4,
    LocalItemMoved = 5,
    RemoteItemMoved = 6,
    LocalFolderCreated = 7,
    RemoteFolderCreated = 8,
    ConflictCopyCreated = 9,
    UploadFailed = 10,
    DownloadFailed = 11,
    DeleteFailed = 12,
    MoveFailed = 13,
    ItemSkipped = 14,
    SyncStarted = 15,
    SyncCompleted = 16,
    SyncFailed = 17,
};

} // namespace action

namespace actionDetails {

/**
 * @brief Which message a details document stands for; the key of the display templates.
 *
 * Written as a decimal number into details documents, so the values are fixed.
 * The values of the HTTP error records (0, 2, 3, 4, 5, 15, 18, 21, 22) are those
 * that ActionLog::AddHttpError writes; the comment names the HTTP status and the
 * arguments each carries.
 */
enum DetailsType : qint32 {
    HttpError = 0, ///< any other HTTP status; no arguments
    PathTooLong = 1, ///< arg 0: the item path
    HttpUnauthorized = 2, ///< 401; no arguments
    HttpNotFound = 3, ///< 404; arg 0: caller's text (message or item path)
    HttpForbidden = 4, ///< 403; arg 0: caller's text
    HttpLocked = 5, ///< 423; arg 0: caller's text
    InvalidItemName = 6, ///< arg 0: the item name
    TransferFailed = 7, ///< arg 0: the item, arg 1: the reason
    ItemExcluded = 8, ///< arg 0: the item name
    ConflictCopy = 9, ///< arg 0: the item, arg 1: the name of the copy
    LocalDiskFull = 10, ///< arg 0: the folder
    FileInUse = 11, ///< arg 0: the item path
    FileTransferred = 12, ///< arg 0: the item path, arg 1: its size in bytes
    HttpServerError = 15, ///< 400, 500, 503; arg 0: the status code in decimal
    HttpInsufficientStorage = 18, ///< 507; arg 0: caller's text
    HttpMethodNotAllowed = 21, ///< 405; arg 0: caller's text
    HttpConflict = 22, ///< 409; arg 0: caller's text
};

} // namespace actionDetails

/**
 * @brief The details text of an action: empty, or a document made by
 * IActionLog::BuildDetailsXml(). Implicitly shared, like the string it holds.
 */
class KVSYNCINTERFACES_EXPORT SyncDetails
{
public:
    SyncDetails() = default;
    /// Wraps @p details as given; nothing checks that it is a details document.
    explicit SyncDetails(const QString& details);

    /// The document (or the empty string).
    QString details;
};

/**
 * @brief One queued action, not yet written to the table.
 *
 * The timestamp is taken when the entry is made (the moment of queueing), in UTC.
 * Kept on purpose: the constructor's first string is the item information and the
 * second the item name, the order every AddAction overload relies on.
 */
class KVSYNCINTERFACES_EXPORT ActionLogEntry
{
public:
    /// Makes an entry stamped with the current time (in UTC). Note the order: the
    /// item information comes before the item name.
    ActionLogEntry(action::ActionType actionType, const QString& relatedItemInfo,
        const QString& relatedItemName, const SyncDetails& details);

    action::ActionType actionType; ///< kind of action; stored as a number, never interpreted
    QString relatedItemInfo; ///< the first string given to AddAction
    QString relatedItemName; ///< the second string given to AddAction
    SyncDetails details; ///< details document, or empty
    QDateTime timestamp; ///< UTC
};

/**
 * @brief One written action, as handed to callers.
 *
 * A QObject only by descent (no signals or slots of its own) but used as a value:
 * copying makes a fresh QObject and copies the six data fields; parent and object
 * name are never copied. A default SyncAction has actionType NoAction (-1), which
 * is how "no such row" is recognised. Registered as a meta type, so that it can be
 * queued across threads.
 */
class KVSYNCINTERFACES_EXPORT SyncAction : public QObject
{
public:
    SyncAction();
    /// Copies the six data fields into a fresh QObject without a parent.
    SyncAction(const SyncAction& other);
    /// Copies the six data fields; this object's parent and object name stay as they are.
    SyncAction& operator=(const SyncAction& other);
    ~SyncAction() override;

    qint32 id = 0; ///< row id in the table; 0 (no row) in a default action
    qint32 actionType = action::NoAction; ///< an action::ActionType; NoAction (-1) means no row
    QString relatedItemName; ///< item name as logged; empty by default
    QString relatedItemInfo; ///< item information as logged; empty by default
    QDateTime timestamp; ///< local time; null in a default action
    QString details; ///< the stored document, not resolved

private:
    void _CopyMembers(const SyncAction& other);
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0

Q_DECLARE_METATYPE(sync::core::SyncAction)
