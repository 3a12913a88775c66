#pragma once

#include "interfaces/SyncNamespace.h"
#include "interfaces/ActionLogTypes.h"
#include "kvsyncinterfaces_export.h"

#include <QMap>
#include <QObject>
#include <QString>
#include <QVector>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief The persistent history of sync actions, shared by the service and the desktop application.
 *
 * Writers on any thread queue actions with the AddAction family or AddHttpError;
 * the implementation writes them in batches and announces each written row with
 * ActionAdded. Readers get rows back with GetAllActions and GetAction, and turn a
 * row's details document into text with ResolveSyncActionDetails.
 *
 * The order of the virtual operations is part of the interface's binary layout:
 * add new ones at the end only.
 */
class KVSYNCINTERFACES_EXPORT IActionLog : public QObject
{
    Q_OBJECT

public:
    /// Creates the interface's QObject part with the given Qt @p parent (none by default).
    explicit IActionLog(QObject* parent = nullptr);
    ~IActionLog() override;

    /// Queues an action with no strings and empty details; returns 0.
    virtual int AddAction(core::action::ActionType type) = 0;
    /// Queues an action with details only; returns 0.
    virtual int AddAction(core::action::ActionType type, core::SyncDetails details) = 0;
    /// Queues an action whose item information is @p relatedItemInfo; returns 0.
    virtual int AddAction(core::action::ActionType type, QString relatedItemInfo) = 0;
    /// Queues an action with item information and item name, in that order; returns 0.
    virtual int AddAction(
        core::action::ActionType type, QString relatedItemInfo, QString relatedItemName)
        = 0;
    /// Queues an action with item information and details; returns 0.
    virtual int AddAction(
        core::action::ActionType type, QString relatedItemInfo, core::SyncDetails details)
        = 0;
    /// The full form that every other AddAction overload calls; returns 0.
    virtual int AddAction(core::action::ActionType type, QString relatedItemInfo,
        QString relatedItemName, core::SyncDetails details)
        = 0;
    /// Queues an action whose details describe the failed HTTP exchange @p httpCode; returns 0.
    virtual int AddHttpError(core::action::ActionType type, int httpCode, QString relatedItemInfo,
        QString relatedItemName, QString message)
        = 0;
    /// Every written row, oldest (lowest id) first; empty on failure.
    virtual QVector<core::SyncAction> GetAllActions() = 0;
    /// The row @p id; a default action (actionType -1) when there is none.
    virtual core::SyncAction GetAction(int id) = 0;
    /// Deletes the row @p id; false only when the statement fails.
    virtual bool RemoveAction(int id) = 0;
    /// A details document of @p type without arguments.
    virtual QString BuildDetailsXml(core::actionDetails::DetailsType type) = 0;
    /// A details document of @p type with @p args, in order.
    virtual QString BuildDetailsXml(core::actionDetails::DetailsType type, QVector<QString> args)
        = 0;
    /// The display text of a details document, filled into the template of its type.
    virtual QString ResolveSyncActionDetails(
        const QString& detailsXml, const QMap<core::actionDetails::DetailsType, QString>& templates)
        = 0;
    /// Deletes old rows so that at most the newest ids remain; false on failure.
    virtual bool ManageLogSize() = 0;
    /// Writes the queued actions now, on the calling thread.
    virtual void Flush() = 0;
    /// Deletes every row; for tests only.
    virtual bool __TEST_ONLY_ClearAllActionsFromLog() = 0;
    /// Begins a database transaction on the calling thread's connection.
    virtual bool transaction() = 0;
    /// Commits the transaction begun with transaction().
    virtual bool commit() = 0;
    /// Rolls back the transaction begun with transaction().
    virtual bool rollback() = 0;
    /// Starts the flush timer (@p timerIntervalMsec milliseconds) unless one runs.
    virtual void StartTimerSlot(int timerIntervalMsec) = 0;
    /// Stops the flush timer when @p timerId is not 0.
    virtual void KillTimerSlot(int timerId) = 0;

Q_SIGNALS:
    /// One written row, with its database id; emitted on the thread that wrote it.
    void ActionAdded(const sync::core::SyncAction& action);
    /// Asks the log's own thread to start the flush timer.
    void RequestStartTimer(int timerIntervalMsec);
    /// Asks the log's own thread to stop the flush timer.
    void RequestKillTimer(int timerId);
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
