// The action log's value types, and the anchor of IActionLog's virtual table.

#include "interfaces/ActionLogTypes.h"
#include "interfaces/IActionLog.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

SyncDetails::SyncDetails(const QString& details)
    : details(details)
{ }

ActionLogEntry::ActionLogEntry(action::ActionType actionType, const QString& relatedItemInfo,
    const QString& relatedItemName, const SyncDetails& details)
    : actionType(actionType)
    , relatedItemInfo(relatedItemInfo)
    , relatedItemName(relatedItemName)
    , details(details)
    // The current instant, in UTC. Read straight as UTC: going through local
    // time gives the same instant but costs a time-zone lookup per action.
    , timestamp(QDateTime::currentDateTimeUtc())
{ }

SyncAction::SyncAction() = default;

// A fresh QObject each time: parent, name and thread affinity are identity, not data.
SyncAction::SyncAction(const SyncAction& other)
    : QObject()
{
    _CopyMembers(other);
}

SyncAction& SyncAction::operator=(const SyncAction& other)
{
    if (this != &other)
        _CopyMembers(other);
    return *this;
}

SyncAction::~SyncAction() = default;

void SyncAction::_CopyMembers(const SyncAction& other)
{
    id = other.id;
    actionType = other.actionType;
    relatedItemName = other.relatedItemName;
    relatedItemInfo = other.relatedItemInfo;
    details = other.details;
    timestamp = other.timestamp;
}

} // namespace core

namespace interf {

IActionLog::IActionLog(QObject* parent)
    : QObject(parent)
{
    // ActionAdded is usually received on another thread: the queued copy needs the type registered.
    qRegisterMetaType<sync::core::SyncAction>("sync::core::SyncAction");
}

IActionLog::~IActionLog() = default;

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
