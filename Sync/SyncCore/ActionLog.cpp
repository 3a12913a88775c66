#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/Logger_p.h"

#include "Sync/SyncCore/SyncException.h"
#include "interfaces/IDatabaseFactory.h"
#include "interfaces/IQSqlDatabaseWrapper.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include <QCoreApplication>
#include <QDomDocument>
#include <QDomElement>
#include <QDomNodeList>
#include <QList>
#include <QPointer>
#include <QThread>
#include <QTimerEvent>

#include <log4cplus/loggingmacros.h>

#include <condition_variable>
#include <exception>
#include <mutex>
#include <utility>
#include <vector>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {

SYNCCORE_LOGGER(logger, "SyncCore")

const QString INSERT_ACTION = QStringLiteral(
    "INSERT INTO ActionLog (actionType, relatedItemName, relatedItemInfo, timestamp, details) "
    "VALUES (:actionType, :relatedItemName, :relatedItemInfo, :timestamp, :details);");
const QString SELECT_ALL_ACTIONS = QStringLiteral(
    "SELECT id, actionType, relatedItemName, relatedItemInfo, timestamp, details FROM ActionLog "
    "ORDER BY id ASC");
const QString SELECT_ACTION = QStringLiteral(
    "SELECT id, actionType, relatedItemName, relatedItemInfo, timestamp, details FROM ActionLog "
    "WHERE id = :id");
const QString DELETE_ACTION = QStringLiteral("DELETE FROM ActionLog WHERE Id = :id");
const QString DELETE_ALL_ACTIONS = QStringLiteral("DELETE FROM ActionLog;");
const QString SELECT_MAX_ID = QStringLiteral("SELECT MAX(id) FROM ActionLog");
const QString DELETE_UP_TO_ID = QStringLiteral("DELETE FROM ActionLog WHERE id <= %0");

const QString TOO_MANY_ARGUMENTS
    = QStringLiteral("We do not currently support sync action detail arguments of greater than 9.");

// Whether QString::arg() would find a place marker ("%n" or "%Ln", n an ASCII
// digit) in @p text. Calling arg() on a string without one changes nothing but
// prints a warning, and the library must not write to stderr.
bool hasArgMarker(const QString& text)
{
    const qsizetype size = text.size();
    for (qsizetype i = 0; i < size; ++i) {
        if (text.at(i) != QLatin1Char('%'))
            continue;
        qsizetype j = i + 1;
        if (j < size && text.at(j) == QLatin1Char('L'))
            ++j;
        if (j < size && text.at(j) >= QLatin1Char('0') && text.at(j) <= QLatin1Char('9'))
            return true;
    }
    return false;
}

QDateTime utcToLocal(QDateTime stamp)
{
    stamp.setTimeSpec(Qt::UTC);
    // Every conversion to local time makes Qt call tzset(), which re-reads the
    // zone file's status: that dominated a flush. Actions queued in a burst share
    // their instant, so the last result is kept per thread and reused for the
    // same instant.
    thread_local QDateTime lastUtc;
    thread_local QDateTime lastLocal;
    if (!stamp.isValid() || stamp != lastUtc) {
        lastLocal = stamp.toLocalTime();
        lastUtc = stamp;
    }
    return lastLocal;
}

SyncAction actionFromEntry(const ActionLogEntry& entry, int id)
{
    SyncAction action;
    action.id = id;
    action.actionType = entry.actionType;
    action.relatedItemName = entry.relatedItemName;
    action.relatedItemInfo = entry.relatedItemInfo;
    action.details = entry.details.details;
    action.timestamp = utcToLocal(entry.timestamp);
    return action;
}

void populateSyncAction(interf::IQSqlQueryWrapper& query, SyncAction& action)
{
    if (!query.isValid())
        return;
    action.id = query.value(0).toInt();
    action.actionType = query.value(1).toInt();
    action.relatedItemName = query.value(2).toString();
    action.relatedItemInfo = query.value(3).toString();
    action.timestamp = utcToLocal(query.value(4).toDateTime());
    action.details = query.value(5).toString();
}

QVector<SyncAction> populateSyncActions(interf::IQSqlQueryWrapper& query)
{
    QVector<SyncAction> actions;
    while (query.next()) {
        SyncAction action;
        populateSyncAction(query, action);
        actions.append(action);
    }
    return actions;
}

template <typename Function> void runGuarded(const char* what, Function&& function) noexcept
{
    // Event handlers and destructors must not let an exception out.
    try {
        function();
    } catch (const std::exception& e) {
        LOG4CPLUS_ERROR(logger(), what << " failed: " << e.what());
    } catch (...) {
        LOG4CPLUS_ERROR(logger(), what << " failed with an unknown exception");
    }
}

} // namespace

// --- private state ------------------------------------------------------------------

class Q_DECL_HIDDEN ActionLog::Private
{
public:
    /**
     * Lets calls that arrive on the log's own thread (timer events, timer
     * requests, the end of that thread) reach the log only while it lives. The
     * log may be destroyed on another thread; Close() then waits for a call
     * under way.
     */
    class Gate
    {
    public:
        explicit Gate(Private* d)
            : _d(d)
        { }

        template <typename Function> bool Run(Function&& function)
        {
            {
                std::lock_guard<std::mutex> lock(_mutex);
                if (!_d)
                    return false;
                ++_busy;
            }
            runGuarded("An action log timer call", [&] { function(*_d); });
            std::lock_guard<std::mutex> lock(_mutex);
            if (--_busy == 0)
                _idle.notify_all();
            return true;
        }

        /// Lets nothing through any more; waits for a call under way unless
        /// @p onOwnThread (it would be the caller's own).
        void Close(bool onOwnThread)
        {
            std::unique_lock<std::mutex> lock(_mutex);
            _d = nullptr;
            if (!onOwnThread)
                _idle.wait(lock, [this] { return _busy == 0; });
        }

    private:
        std::mutex _mutex;
        std::condition_variable _idle;
        Private* _d;
        int _busy = 0;
    };

    /**
     * Holds the batch timer. A timer can only be stopped on the thread it runs
     * in, so it lives in an object of its own (a child, moving with the log):
     * when the log is destroyed on another thread, this object goes back to
     * its thread and stops the timer there.
     */
    class BatchTimer : public QObject
    {
    public:
        explicit BatchTimer(std::shared_ptr<Gate> gate, QObject* parent)
            : QObject(parent)
            , _gate(std::move(gate))
        {
            setObjectName(QStringLiteral("ActionLogBatchTimer"));
        }

    protected:
        void timerEvent(QTimerEvent* event) override
        {
            if (!_gate->Run([event](Private& d) { d.q->timerEvent(event); }))
                killTimer(event->timerId()); // the log is gone
        }

    private:
        std::shared_ptr<Gate> _gate;
    };

    /// Marks a flush of this log on the calling thread, so that commit() leaves
    /// Committed() to the flush, which emits it after the batch's ActionAdded.
    struct FlushScope
    {
        explicit FlushScope(const Private* d)
            : log(d)
            , outer(current)
        {
            current = this;
        }
        ~FlushScope() { current = outer; }
        FlushScope(const FlushScope&) = delete;
        FlushScope& operator=(const FlushScope&) = delete;

        static FlushScope* For(const Private* d)
        {
            for (FlushScope* scope = current; scope; scope = scope->outer) {
                if (scope->log == d)
                    return scope;
            }
            return nullptr;
        }

        const Private* log;
        FlushScope* outer;
        bool committedPending = false;
        static thread_local FlushScope* current;
    };

    Private(ActionLog* log, std::shared_ptr<interf::factory::IDatabaseFactory> factory)
        : q(log)
        , databaseFactory(std::move(factory))
        , gate(std::make_shared<Gate>(this))
        , timer(new BatchTimer(gate, log))
    { }

    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery()
    {
        return databaseFactory ? databaseFactory->CreateQuery() : nullptr;
    }

    /// Whether a timer must be asked for now; called with the mutex held.
    bool TimerWanted() const
    {
        // While a stop request is on its way, the running timer will not write
        // what is queued now: a new one is needed after it.
        return !pendingEntries.isEmpty() && (timerId == 0 || stopRequested);
    }

    void RequestTimer()
    {
        // Several requests may be queued before the slot runs; it starts one timer.
        Q_EMIT q->RequestStartTimer(FlushIntervalMsec);
    }

    int InsertRow(const ActionLogEntry& entry);
    void FlushEventsToDb();
    bool EndTransaction(bool commitIt);
    void WatchOwnThread();

    ActionLog* const q;
    const std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory;

    // The queue, the timer state and the transaction handle. Recursive: a
    // subclass's overrides may call back into the log while it is held. A std
    // mutex rather than QRecursiveMutex so that ThreadSanitizer, which cannot
    // see Qt's futex-based mutexes, checks the locking. Never held while the
    // database works or a signal is emitted.
    std::recursive_mutex mutex;
    QList<ActionLogEntry> pendingEntries;
    int timerId = 0;
    bool stopRequested = false;
    std::shared_ptr<interf::IQSqlDatabaseWrapper> database;

    // Serialises whole flushes (transaction, inserts, commit): the transaction
    // handle is one, so two flushes on different threads would otherwise
    // commit each other's connection. Never held while a signal is emitted.
    std::mutex flushMutex;

    std::shared_ptr<Gate> gate;
    BatchTimer* timer;
    QPointer<QThread> watchedThread;
    QMetaObject::Connection threadFinished;
};

thread_local ActionLog::Private::FlushScope* ActionLog::Private::FlushScope::current = nullptr;

ActionLog::ActionLog(std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory)
    : _d(std::make_unique<Private>(this, std::move(databaseFactory)))
{
    // The timer belongs to the thread that owns this object; other threads only
    // ask. The requests go to the timer's holder, which lives in that thread and
    // lets them through only while the log lives.
    const std::shared_ptr<Private::Gate> gate = _d->gate;
    connect(
        this, &IActionLog::RequestStartTimer, _d->timer,
        [gate](
            int interval) { gate->Run([interval](Private& d) { d.q->StartTimerSlot(interval); }); },
        Qt::QueuedConnection);
    connect(
        this, &IActionLog::RequestKillTimer, _d->timer,
        [gate](int id) { gate->Run([id](Private& d) { d.q->KillTimerSlot(id); }); },
        Qt::QueuedConnection);
}

ActionLog::~ActionLog()
{
    const bool onOwnThread = thread() == QThread::currentThread();
    // No timer event or timer request reaches the log from here on.
    _d->gate->Close(onOwnThread);
    QObject::disconnect(_d->threadFinished);
    bool timerRuns = false;
    {
        std::lock_guard<std::recursive_mutex> lock(_d->mutex);
        if (_d->timerId != 0) {
            if (onOwnThread)
                _d->timer->killTimer(_d->timerId);
            else
                timerRuns = true;
            _d->timerId = 0;
        }
    }
    if (timerRuns) {
        // Only its own thread may stop the timer: the holder goes back there and
        // stops it when it fires or is deleted, whichever comes first.
        _d->timer->setParent(nullptr);
        _d->timer->deleteLater();
        _d->timer = nullptr;
    }
    runGuarded("The final flush of the action log", [this] { _d->FlushEventsToDb(); });
    std::lock_guard<std::recursive_mutex> lock(_d->mutex);
    if (!_d->pendingEntries.isEmpty())
        LOG4CPLUS_ERROR(logger(),
            _d->pendingEntries.size() << " queued actions were lost: the database could not be "
                                         "written when the action log was destroyed");
}

// --- queueing -----------------------------------------------------------------

int ActionLog::AddAction(action::ActionType type)
{
    return AddAction(type, QString(), QString(), SyncDetails(QString()));
}

int ActionLog::AddAction(action::ActionType type, SyncDetails details)
{
    return AddAction(type, QString(), QString(), details);
}

int ActionLog::AddAction(action::ActionType type, QString relatedItemInfo)
{
    return AddAction(type, relatedItemInfo, QString(), SyncDetails(QString()));
}

int ActionLog::AddAction(action::ActionType type, QString relatedItemInfo, QString relatedItemName)
{
    return AddAction(type, relatedItemInfo, relatedItemName, SyncDetails(QString()));
}

int ActionLog::AddAction(action::ActionType type, QString relatedItemInfo, SyncDetails details)
{
    return AddAction(type, relatedItemInfo, QString(), details);
}

int ActionLog::AddAction(
    action::ActionType type, QString relatedItemInfo, QString relatedItemName, SyncDetails details)
{
    // Stamped before the lock: reading the clock is the costly part.
    ActionLogEntry entry(type, relatedItemInfo, relatedItemName, details);
    bool requestTimer = false;
    {
        std::lock_guard<std::recursive_mutex> lock(_d->mutex);
        _d->pendingEntries.append(std::move(entry));
        requestTimer = _d->TimerWanted();
    }
    if (requestTimer)
        _d->RequestTimer();
    return 0;
}

int ActionLog::AddHttpError(action::ActionType type, int httpCode, QString relatedItemInfo,
    QString relatedItemName, QString message)
{
    using namespace actionDetails;
    DetailsType detailsType = HttpError;
    QVector<QString> args;
    switch (httpCode) {
    case 400:
    case 500:
    case 503:
        detailsType = HttpServerError;
        args.append(QString::number(httpCode));
        break;
    case 401:
        detailsType = HttpUnauthorized;
        break;
    case 403:
        detailsType = HttpForbidden;
        args.append(message);
        break;
    case 404:
        detailsType = HttpNotFound;
        args.append(message);
        break;
    case 405:
        detailsType = HttpMethodNotAllowed;
        args.append(message);
        break;
    case 409:
        detailsType = HttpConflict;
        args.append(message);
        break;
    case 423:
        detailsType = HttpLocked;
        args.append(message);
        break;
    case 507:
        detailsType = HttpInsufficientStorage;
        args.append(message);
        break;
    default:
        break;
    }
    const QString document
        = args.isEmpty() ? BuildDetailsXml(detailsType) : BuildDetailsXml(detailsType, args);
    return AddAction(type, relatedItemInfo, relatedItemName, SyncDetails(document));
}

int ActionLog::__TEST_ONLY_AddActionCommitImmediate(
    action::ActionType type, QString relatedItemInfo, QString relatedItemName, SyncDetails details)
{
    const ActionLogEntry entry(type, relatedItemInfo, relatedItemName, details);
    const int id = _d->InsertRow(entry);
    if (id >= 0)
        Q_EMIT ActionAdded(actionFromEntry(entry, id));
    return id;
}

// --- the batch timer ------------------------------------------------------------

void ActionLog::StartTimerSlot(int timerIntervalMsec)
{
    std::lock_guard<std::recursive_mutex> lock(_d->mutex);
    if (_d->timerId == 0 && _d->timer) {
        _d->timerId = _d->timer->startTimer(timerIntervalMsec);
        _d->WatchOwnThread();
    }
}

void ActionLog::Private::WatchOwnThread()
{
    // A thread that ends takes its timers with it, but the log would still
    // count its timer as running and, destroyed later on another thread, try
    // to stop it there. Stop it as the thread ends, on that thread.
    QThread* const own = QThread::currentThread();
    if (watchedThread == own)
        return;
    QObject::disconnect(threadFinished);
    watchedThread = own;
    const std::shared_ptr<Gate> theGate = gate;
    threadFinished = QObject::connect(
        own, &QThread::finished, timer,
        [theGate] {
            theGate->Run([](Private& d) {
                std::lock_guard<std::recursive_mutex> lock(d.mutex);
                if (d.timerId != 0 && d.timer->thread() == QThread::currentThread()) {
                    d.timer->killTimer(d.timerId);
                    d.timerId = 0;
                    d.stopRequested = false;
                }
            });
        },
        Qt::DirectConnection);
}

void ActionLog::KillTimerSlot(int timerId)
{
    std::lock_guard<std::recursive_mutex> lock(_d->mutex);
    if (timerId != 0 && _d->timerId != 0) {
        _d->timer->killTimer(_d->timerId);
        _d->timerId = 0;
        _d->stopRequested = false;
    }
}

void ActionLog::timerEvent(QTimerEvent*)
{
    runGuarded("Flushing the action log", [this] { _d->FlushEventsToDb(); });
}

void ActionLog::DeliverTimerRequests()
{
    // Only the timer holder's queued calls: anything else of the thread runs when its
    // owner returns to the event loop, as it expects.
    if (thread() == QThread::currentThread())
        QCoreApplication::sendPostedEvents(_d->timer, QEvent::MetaCall);
}

// --- writing ----------------------------------------------------------------------

void ActionLog::Flush()
{
    _d->FlushEventsToDb();
}

void ActionLog::Private::FlushEventsToDb()
{
    std::unique_lock<std::mutex> flushLock(flushMutex);
    QList<ActionLogEntry> batch;
    {
        std::lock_guard<std::recursive_mutex> lock(mutex);
        if (pendingEntries.isEmpty())
            return;
        batch.swap(pendingEntries);
    }
    // Additions made from here on go into the next batch.
    std::vector<int> ids;
    bool committed = false;
    bool announceCommit = false;
    {
        FlushScope scope(this);
        if (!q->transaction()) {
            // Another connection holds the database, or it cannot be written.
            // Writing row by row would wait once per row and commit nothing
            // as a whole: the batch goes back to the head of the queue, for
            // the timer to try again.
            bool requestTimer = false;
            {
                std::lock_guard<std::recursive_mutex> lock(mutex);
                database.reset();
                batch.append(pendingEntries);
                pendingEntries.swap(batch);
                requestTimer = TimerWanted();
            }
            if (requestTimer)
                RequestTimer();
            return;
        }
        ids.reserve(size_t(batch.size()));
        for (const ActionLogEntry& entry : std::as_const(batch))
            ids.push_back(InsertRow(entry));
        committed = q->commit();
        announceCommit = scope.committedPending;
    }
    flushLock.unlock();
    // Announced only once committed: an id announced is a row that stays.
    if (committed) {
        for (qsizetype i = 0; i < batch.size(); ++i) {
            if (ids[size_t(i)] >= 0)
                Q_EMIT q->ActionAdded(actionFromEntry(batch.at(i), ids[size_t(i)]));
        }
    }
    if (announceCommit)
        Q_EMIT q->Committed();
}

int ActionLog::Private::InsertRow(const ActionLogEntry& entry)
{
    std::shared_ptr<interf::IQSqlQueryWrapper> query = CreateQuery();
    if (!query)
        return -1;
    query->prepare(INSERT_ACTION);
    query->bindValue(QStringLiteral(":actionType"), int(entry.actionType));
    query->bindValue(QStringLiteral(":relatedItemName"), entry.relatedItemName);
    query->bindValue(QStringLiteral(":relatedItemInfo"), entry.relatedItemInfo);
    query->bindValue(QStringLiteral(":timestamp"), entry.timestamp);
    query->bindValue(QStringLiteral(":details"), entry.details.details);
    if (!query->exec())
        return -1;
    return query->lastInsertId().toInt();
}

// --- transactions -------------------------------------------------------------------

bool ActionLog::transaction()
{
    std::shared_ptr<interf::IQSqlDatabaseWrapper> database
        = _d->databaseFactory ? _d->databaseFactory->GetDatabase() : nullptr;
    {
        std::lock_guard<std::recursive_mutex> lock(_d->mutex);
        _d->database = database;
    }
    return database && database->transaction();
}

bool ActionLog::commit()
{
    return _d->EndTransaction(true);
}

bool ActionLog::rollback()
{
    return _d->EndTransaction(false);
}

bool ActionLog::Private::EndTransaction(bool commitIt)
{
    std::shared_ptr<interf::IQSqlDatabaseWrapper> held;
    {
        std::lock_guard<std::recursive_mutex> lock(mutex);
        if (timerId != 0) {
            Q_EMIT q->RequestKillTimer(timerId);
            stopRequested = true;
        }
        held.swap(database);
    }
    if (!held)
        return false;
    // The database works with no lock of ours held: additions never wait for it.
    const bool result = commitIt ? held->commit() : held->rollback();
    held.reset();
    bool requestTimer = false;
    {
        std::lock_guard<std::recursive_mutex> lock(mutex);
        requestTimer = TimerWanted();
    }
    if (requestTimer)
        RequestTimer(); // for what arrived while the batch was written
    if (commitIt) {
        if (FlushScope* scope = FlushScope::For(this))
            scope->committedPending = true;
        else
            Q_EMIT q->Committed();
    }
    return result;
}

// --- reading, deleting, trimming --------------------------------------------------

QVector<SyncAction> ActionLog::GetAllActions()
{
    Flush();
    std::shared_ptr<interf::IQSqlQueryWrapper> query = _d->CreateQuery();
    if (!query)
        return {};
    query->prepare(SELECT_ALL_ACTIONS);
    if (!query->exec())
        return {};
    return populateSyncActions(*query);
}

SyncAction ActionLog::GetAction(int id)
{
    SyncAction action;
    std::shared_ptr<interf::IQSqlQueryWrapper> query = _d->CreateQuery();
    if (!query)
        return action;
    query->prepare(SELECT_ACTION);
    query->bindValue(QStringLiteral(":id"), id);
    if (!query->exec())
        return action;
    query->next();
    populateSyncAction(*query, action);
    return action;
}

bool ActionLog::RemoveAction(int id)
{
    std::shared_ptr<interf::IQSqlQueryWrapper> query = _d->CreateQuery();
    if (!query)
        return false;
    query->prepare(DELETE_ACTION);
    query->bindValue(QStringLiteral(":id"), id);
    return query->exec();
}

bool ActionLog::__TEST_ONLY_ClearAllActionsFromLog()
{
    Flush();
    std::shared_ptr<interf::IQSqlQueryWrapper> query = _d->CreateQuery();
    if (!query)
        return false;
    query->prepare(DELETE_ALL_ACTIONS);
    return query->exec();
}

bool ActionLog::ManageLogSize()
{
    Flush();
    qint64 maxId = 0;
    {
        std::shared_ptr<interf::IQSqlQueryWrapper> query = _d->CreateQuery();
        if (!query)
            return false;
        query->prepare(SELECT_MAX_ID);
        if (!query->exec())
            return false;
        query->first();
        maxId = query->value(0).toLongLong(); // NULL for an empty table reads as 0
    }
    if (maxId < MaxRows)
        return true;

    QString statement = DELETE_UP_TO_ID;
    statement.replace(QLatin1String("%0"), QString::number(maxId - MaxRows));
    std::shared_ptr<interf::IQSqlQueryWrapper> query = _d->CreateQuery();
    if (!query)
        return false;
    query->prepare(statement);
    const bool deleted = query->exec();
    if (!deleted)
        LOG4CPLUS_ERROR(
            logger(), "Trimming the action log below id " << (maxId - MaxRows) << " failed");
    return deleted;
}

// --- details documents --------------------------------------------------------------

QString ActionLog::BuildDetailsXml(actionDetails::DetailsType type)
{
    return BuildDetailsXml(type, QVector<QString>());
}

QString ActionLog::BuildDetailsXml(actionDetails::DetailsType type, QVector<QString> args)
{
    const QString typeText = QString::number(qint32(type));
    QString document = QStringLiteral("<SyncActionDetails detailType=\"") + typeText
        + QStringLiteral("\"><DetailType>") + typeText + QStringLiteral("</DetailType>");
    for (qsizetype i = 0; i < args.size(); ++i) {
        // Not escaped, on purpose: stored documents are read back by the same rule.
        document += QStringLiteral("<arg position=\"") + QString::number(i) + QStringLiteral("\">")
            + args.at(i) + QStringLiteral("</arg>");
    }
    document += QStringLiteral("</SyncActionDetails>");
    return document;
}

QString ActionLog::ResolveSyncActionDetails(
    const QString& detailsXml, const QMap<actionDetails::DetailsType, QString>& templates)
{
    if (detailsXml.isEmpty() || templates.isEmpty())
        return QString();

    QDomDocument document;
    if (!document.setContent(detailsXml))
        document = QDomDocument(); // a document that does not parse reads as empty, not half-read

    // Arguments are ordered by their position attribute; for each position in
    // 0..N-1 the first element carrying it counts, and a missing position closes
    // the gap. One pass finds the first element of every position.
    const QDomNodeList elements = document.elementsByTagName(QStringLiteral("arg"));
    const int count = elements.count();
    std::vector<int> firstAtPosition(size_t(count), -1);
    for (int i = 0; i < count; ++i) {
        const int position
            = elements.item(i).toElement().attribute(QStringLiteral("position")).toInt();
        if (position >= 0 && position < count && firstAtPosition[size_t(position)] < 0)
            firstAtPosition[size_t(position)] = i;
    }
    QVector<QString> args;
    for (int position = 0; position < count; ++position) {
        const int index = firstAtPosition[size_t(position)];
        if (index < 0)
            continue;
        args.append(elements.item(index).firstChild().nodeValue());
        if (args.size() > 12) // refused whatever follows
            break;
    }

    const int typeValue = document.documentElement()
                              .attribute(QStringLiteral("detailType"), QStringLiteral("0"))
                              .toInt();
    QString text = templates.value(actionDetails::DetailsType(typeValue));

    // Kept on purpose: twelve arguments are accepted beside zero to nine.
    if (args.size() > 9 && args.size() != 12)
        throw SyncException(TOO_MANY_ARGUMENTS);
    for (const QString& arg : std::as_const(args)) {
        if (!hasArgMarker(text))
            break; // arg() would change nothing (and warn)
        text = text.arg(arg);
    }
    return text;
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
