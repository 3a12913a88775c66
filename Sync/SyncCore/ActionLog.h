#pragma once

#include "interfaces/SyncNamespace.h"
#include "interfaces/IActionLog.h"
#include "kvsynccore_export.h"

#include <memory>

class QTimerEvent;

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {
namespace factory {
class IDatabaseFactory;
}
} // namespace interf

namespace core {

/**
 * @brief The action log: queues actions from any thread and writes them to the
 * `ActionLog` table in batches.
 *
 * Each AddAction call stamps the action with the current time and queues it; the
 * first action queued while no timer runs starts a 2000 ms timer on the log's own
 * thread (the thread the object lives in, which must run an event loop for timed
 * flushes). When it fires, every queued action is written in one transaction,
 * and once it is committed ActionAdded is emitted per row (with its id) and
 * Committed() once, and the timer stops; actions that arrived during the write
 * get a timer of their own. Flush(), the queries and the destructor write the
 * queue on the calling thread instead, so nothing queued is lost on orderly
 * destruction, whichever thread destroys the log.
 *
 * The database comes from the factory given to the constructor, which must
 * already hold the `ActionLog` table. Database failures are not reported by the
 * log itself (the factory may tell them): a failed insert drops its row; a
 * batch whose transaction cannot start (another process holds the database)
 * goes back to the queue for the next timer, after one busy wait rather than
 * one per row; a batch whose commit fails is lost. ActionAdded is emitted only
 * for rows that were committed, so a caller that counts the actions it added
 * against the ActionAdded it received learns about every lost row. A failed
 * read returns an empty result.
 *
 * Thread safety: AddAction, AddHttpError, Flush, the queries and the detail
 * operations may be called from any thread. Flushes never overlap: one asked
 * for on another thread waits until the running one has committed (additions
 * never wait for the database). Signals are emitted on the thread that writes,
 * with no lock of the log held, so a slot may wait for another thread that
 * adds actions or reads the log.
 */
class KVSYNCCORE_EXPORT ActionLog : public interf::IActionLog
{
    Q_OBJECT

public:
    /// Number of newest ids that ManageLogSize() keeps.
    static constexpr qint32 MaxRows = 5000;
    /// Interval of the batch timer, in milliseconds.
    static constexpr int FlushIntervalMsec = 2000;

    /// Keeps @p databaseFactory for its life. Without one (an empty pointer) every
    /// database operation fails as a failed statement would.
    explicit ActionLog(std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    /**
     * Stops the timer and writes whatever is still queued, on the destroying
     * thread, which need not be the log's own. A batch that cannot be written
     * then (its transaction cannot start) is lost, with a log line.
     */
    ~ActionLog() override;

    /// Forwards to the full form with empty strings and empty details.
    int AddAction(action::ActionType type) override;
    /// Forwards to the full form with empty strings.
    int AddAction(action::ActionType type, SyncDetails details) override;
    /// Forwards to the full form: @p relatedItemInfo, an empty name, empty details.
    int AddAction(action::ActionType type, QString relatedItemInfo) override;
    /// Forwards to the full form with empty details.
    int AddAction(
        action::ActionType type, QString relatedItemInfo, QString relatedItemName) override;
    /// Forwards to the full form with an empty name.
    int AddAction(action::ActionType type, QString relatedItemInfo, SyncDetails details) override;
    /**
     * Queues one action and asks for the batch timer; never touches the database.
     * Returns 0, never a row id: the id reaches listeners through ActionAdded.
     * Kept on purpose: the first string is stored as relatedItemInfo, the second
     * as relatedItemName.
     */
    int AddAction(action::ActionType type, QString relatedItemInfo, QString relatedItemName,
        SyncDetails details) override;

    /**
     * Queues an action whose details document is chosen by @p httpCode: 400, 500
     * and 503 give type 15 with the code as argument; 401 type 2 without
     * arguments; 403, 404, 405, 409, 423 and 507 give types 4, 3, 21, 22, 5 and 18
     * with @p message as argument; any other code type 0 without arguments.
     * Returns 0.
     */
    int AddHttpError(action::ActionType type, int httpCode, QString relatedItemInfo,
        QString relatedItemName, QString message) override;

    /// Flushes the queue, then returns every row in ascending id order; empty on failure.
    QVector<SyncAction> GetAllActions() override;
    /**
     * The row @p id, timestamp in local time; a default action (actionType -1)
     * when there is none. Kept on purpose: does not flush, so an action still
     * queued is not found (its id does not exist before ActionAdded announced it).
     */
    SyncAction GetAction(int id) override;
    /// Deletes row @p id without flushing; true also when there was no such row.
    bool RemoveAction(int id) override;

    /// The document of @p type with no arguments.
    QString BuildDetailsXml(actionDetails::DetailsType type) override;
    /**
     * The details document of @p type, on one line: the opening
     * `<SyncActionDetails detailType="T"><DetailType>T</DetailType>`, then one
     * `<arg position="i">text</arg>` per argument, then `</SyncActionDetails>`.
     * Kept on purpose: arguments are inserted as they stand, without XML
     * escaping; an argument holding markup makes a document that no longer
     * parses (see ResolveSyncActionDetails).
     */
    QString BuildDetailsXml(actionDetails::DetailsType type, QVector<QString> args) override;
    /**
     * Fills the template of the document's type with its arguments, ordered by
     * their position attribute, one QString::arg() call per argument.
     *
     * Returns a null string for an empty document or an empty map, the empty
     * string for a type missing from @p templates. A document that does not parse
     * reads as type 0 without arguments. Arguments at a position of N or above
     * (N = number of arg elements) are ignored, of two at the same position only
     * the first counts, and a missing position closes the gap.
     *
     * @throws SyncException when 10, 11 or more than 12 arguments were collected.
     * Kept on purpose: exactly 12 arguments are accepted, like 0 to 9.
     */
    QString ResolveSyncActionDetails(const QString& detailsXml,
        const QMap<actionDetails::DetailsType, QString>& templates) override;

    /**
     * Flushes, then deletes every row whose id is MaxRows or more below the
     * highest id. Kept on purpose: trims by id arithmetic, not by counting rows,
     * so fewer than MaxRows remain when ids have gaps. Returns false when a
     * statement fails. The log never calls this itself.
     */
    bool ManageLogSize() override;
    /// Writes every queued action now, in one transaction, on the calling thread.
    void Flush() override;
    /**
     * Runs the timer requests queued for this log, when called on its own
     * thread; does nothing on another. For a long job that adds actions on
     * the log's thread without returning to its event loop: every addition
     * while no timer runs queues a request, and only the event loop would
     * take them off the queue, so they would pile up for the whole job.
     */
    void DeliverTimerRequests();
    /// Flushes, then deletes every row.
    bool __TEST_ONLY_ClearAllActionsFromLog() override;

    /**
     * Begins a transaction on the calling thread's connection and keeps its
     * handle for commit() or rollback(). One transaction at a time: the handle is
     * a single member, so transaction() and its commit() or rollback() belong on
     * one thread while no other thread does the same (flushes take care of that
     * among themselves).
     */
    bool transaction() override;
    /// Asks for the timer to stop, commits the held transaction and emits Committed()
    /// (even when the commit failed; during a flush, after the batch's ActionAdded);
    /// false when no transaction is held.
    bool commit() override;
    /// Like commit(), but rolls back and emits nothing.
    bool rollback() override;

    /// Writes one action at once, outside the queue and any transaction; its row id or -1.
    int __TEST_ONLY_AddActionCommitImmediate(action::ActionType type, QString relatedItemInfo,
        QString relatedItemName, SyncDetails details);

public Q_SLOTS:
    /// Starts the batch timer unless one runs. Connected to RequestStartTimer (queued).
    void StartTimerSlot(int timerIntervalMsec) override;
    /**
     * Stops the running batch timer when @p timerId is not 0. Connected to
     * RequestKillTimer (queued). Kept on purpose: the argument is only tested for
     * 0; the timer that runs now is the one stopped, so a request made for an
     * earlier timer still stops the current one.
     */
    void KillTimerSlot(int timerId) override;

Q_SIGNALS:
    /// One batch was written (emitted after every commit(), even a failed one).
    void Committed();

protected:
    /// The batch timer: writes the queue, whatever the event's timer id.
    void timerEvent(QTimerEvent* event) override;

private:
    class Private;
    std::unique_ptr<Private> _d;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
