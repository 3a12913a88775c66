#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/Logger_p.h"

#include "Sync/SyncCore/SyncException.h"
#include "interfaces/IDatabaseFactory.h"
#include "interfaces/IQSqlDatabaseWrapper.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include <QDomDocument>
#include <QDomElement>
#include <QDomNodeList>
#include <QTimerEvent>

#include <log4cplus/loggingmacros.h>

#include <exception>
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

} // namespace

ActionLog::ActionLog(std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory)
    : _databaseFactory(std::move(databaseFactory))
{
    // The timer belongs to the thread that owns this object; other threads only ask.
    connect(this, &IActionLog::RequestStartTimer, this, &ActionLog::StartTimerSlot,
        Qt::QueuedConnection);
    connect(
        this, &IActionLog::RequestKillTimer, this, &ActionLog::KillTimerSlot, Qt::QueuedConnection);
}

ActionLog::~ActionLog()
{
    {
        std::lock_guard<std::recursive_mutex> lock(_mutex);
        if (_timerId != 0) {
            killTimer(_timerId);
            _timerId = 0;
        }
    }
    _FlushEventsToDb();
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
    std::lock_guard<std::recursive_mutex> lock(_mutex);
    _pendingEntries.append(ActionLogEntry(type, relatedItemInfo, relatedItemName, details));
    _RequestTimer();
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
    return _AddActionToDb(ActionLogEntry(type, relatedItemInfo, relatedItemName, details));
}

// --- the batch timer ------------------------------------------------------------

void ActionLog::_RequestTimer()
{
    std::lock_guard<std::recursive_mutex> lock(_mutex);
    // Several requests may be queued before the slot runs; it starts one timer.
    if (_timerId == 0)
        Q_EMIT RequestStartTimer(FlushIntervalMsec);
}

void ActionLog::StartTimerSlot(int timerIntervalMsec)
{
    std::lock_guard<std::recursive_mutex> lock(_mutex);
    if (_timerId == 0)
        _timerId = startTimer(timerIntervalMsec);
}

void ActionLog::KillTimerSlot(int timerId)
{
    std::lock_guard<std::recursive_mutex> lock(_mutex);
    if (timerId != 0 && _timerId != 0) {
        killTimer(_timerId);
        _timerId = 0;
    }
}

void ActionLog::timerEvent(QTimerEvent*)
{
    // An event handler must not throw into the event loop.
    try {
        _FlushEventsToDb();
    } catch (const std::exception& e) {
        LOG4CPLUS_ERROR(logger(), "Flushing the action log failed: " << e.what());
    } catch (...) {
        LOG4CPLUS_ERROR(logger(), "Flushing the action log failed with an unknown exception");
    }
}

// --- writing ----------------------------------------------------------------------

void ActionLog::Flush()
{
    _FlushEventsToDb();
}

void ActionLog::_FlushEventsToDb()
{
    std::lock_guard<std::recursive_mutex> flushLock(_flushMutex);
    QList<ActionLogEntry> batch;
    {
        std::lock_guard<std::recursive_mutex> lock(_mutex);
        if (_pendingEntries.isEmpty())
            return;
        batch.swap(_pendingEntries);
    }
    // Additions made from here on go into the next batch. Failures are not
    // reported: a failed insert loses only its own row.
    transaction();
    for (const ActionLogEntry& entry : std::as_const(batch))
        _AddActionToDb(entry);
    commit();
}

int ActionLog::_AddActionToDb(const ActionLogEntry& entry)
{
    SyncAction action;
    {
        std::shared_ptr<interf::IQSqlQueryWrapper> query = _CreateQuery();
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
        action.id = query->lastInsertId().toInt();
    }
    action.actionType = entry.actionType;
    action.relatedItemName = entry.relatedItemName;
    action.relatedItemInfo = entry.relatedItemInfo;
    action.details = entry.details.details;
    action.timestamp = utcToLocal(entry.timestamp);
    Q_EMIT ActionAdded(action);
    return action.id;
}

// --- transactions -------------------------------------------------------------------

std::shared_ptr<interf::IQSqlQueryWrapper> ActionLog::_CreateQuery()
{
    return _databaseFactory ? _databaseFactory->CreateQuery() : nullptr;
}

bool ActionLog::transaction()
{
    _database = _databaseFactory ? _databaseFactory->GetDatabase() : nullptr;
    return _database && _database->transaction();
}

bool ActionLog::commit()
{
    return _EndTransaction(true);
}

bool ActionLog::rollback()
{
    return _EndTransaction(false);
}

bool ActionLog::_EndTransaction(bool commitIt)
{
    std::lock_guard<std::recursive_mutex> lock(_mutex);
    if (_timerId != 0)
        Q_EMIT RequestKillTimer(_timerId);
    if (!_database)
        return false;
    bool result;
    if (commitIt) {
        result = _database->commit();
        Q_EMIT Committed();
    } else {
        result = _database->rollback();
    }
    _database.reset();
    return result;
}

// --- reading, deleting, trimming --------------------------------------------------

QVector<SyncAction> ActionLog::GetAllActions()
{
    Flush();
    std::shared_ptr<interf::IQSqlQueryWrapper> query = _CreateQuery();
    if (!query)
        return {};
    query->prepare(SELECT_ALL_ACTIONS);
    if (!query->exec())
        return {};
    return _PopulateSyncActions(*query);
}

SyncAction ActionLog::GetAction(int id)
{
    SyncAction action;
    std::shared_ptr<interf::IQSqlQueryWrapper> query = _CreateQuery();
    if (!query)
        return action;
    query->prepare(SELECT_ACTION);
    query->bindValue(QStringLiteral(":id"), id);
    if (!query->exec())
        return action;
    query->next();
    _PopulateSyncAction(*query, action);
    return action;
}

bool ActionLog::RemoveAction(int id)
{
    std::shared_ptr<interf::IQSqlQueryWrapper> query = _CreateQuery();
    if (!query)
        return false;
    query->prepare(DELETE_ACTION);
    query->bindValue(QStringLiteral(":id"), id);
    return query->exec();
}

bool ActionLog::__TEST_ONLY_ClearAllActionsFromLog()
{
    Flush();
    std::shared_ptr<interf::IQSqlQueryWrapper> query = _CreateQuery();
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
        std::shared_ptr<interf::IQSqlQueryWrapper> query = _CreateQuery();
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
    std::shared_ptr<interf::IQSqlQueryWrapper> query = _CreateQuery();
    if (!query)
        return false;
    query->prepare(statement);
    const bool deleted = query->exec();
    if (!deleted)
        LOG4CPLUS_ERROR(
            logger(), "Trimming the action log below id " << (maxId - MaxRows) << " failed");
    return deleted;
}

QVector<SyncAction> ActionLog::_PopulateSyncActions(interf::IQSqlQueryWrapper& query)
{
    QVector<SyncAction> actions;
    while (query.next()) {
        SyncAction action;
        _PopulateSyncAction(query, action);
        actions.append(action);
    }
    return actions;
}

void ActionLog::_PopulateSyncAction(interf::IQSqlQueryWrapper& query, SyncAction& action)
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
