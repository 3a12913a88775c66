// log add: one action written to the log, as the sync engine would write it.

#include "ActionLogText.h"
#include "Command.h"
#include "LogDatabase.h"

namespace action = sync::core::action;
namespace actionDetails = sync::core::actionDetails;

namespace {

struct AddRequest
{
    int type = 0;
    int httpCode = 0;
    int detailsType = 0;
    QVector<QString> detailArgs;
};

/// The options checked against each other and parsed; false after a usage error.
bool parseRequest(const tool::Invocation& in, AddRequest* request, int* status)
{
    const bool http = in.isSet(QStringLiteral("http"));
    const bool details = in.isSet(QStringLiteral("details"));
    if (http && details)
        return (*status
                   = tool::usageError(QStringLiteral("--http and --details exclude each other"))),
               false;
    if (in.isSet(QStringLiteral("message")) && !http)
        return (*status = tool::usageError(QStringLiteral("--message needs --http"))), false;
    if (in.isSet(QStringLiteral("arg")) && !details)
        return (*status = tool::usageError(QStringLiteral("--arg needs --details"))), false;
    if (!tool::parseActionType(in.argument(0), &request->type))
        return (*status = tool::usageError(
                    QStringLiteral("'%1' is not an action type").arg(in.argument(0)))),
               false;
    qint64 number = 0;
    if (http && !in.intValue(QStringLiteral("http"), 100, 599, &number, status))
        return false;
    request->httpCode = int(number);
    if (details && !in.intValue(QStringLiteral("details"), 0, 1000000, &number, status))
        return false;
    request->detailsType = int(number);
    // The log puts the arguments into its document as they stand.
    for (const QString& arg : in.values(QStringLiteral("arg")))
        request->detailArgs.append(arg.toHtmlEscaped());
    return true;
}

int run(const tool::Invocation& in)
{
    AddRequest request;
    int status = tool::ExitSuccess;
    if (!parseRequest(in, &request, &status))
        return status;
    bool defaultLocation = false;
    const QString path = tool::databasePath(in, &defaultLocation);
    auto db = tool::LogDatabase::OpenForWriting(path, defaultLocation, &status);
    if (!db)
        return status;
    int addedId = -1;
    QObject::connect(&db->log(), &sync::interf::IActionLog::ActionAdded,
        [&addedId](const sync::core::SyncAction& added) { addedId = added.id; });
    const auto type = action::ActionType(request.type);
    if (in.isSet(QStringLiteral("http"))) {
        db->log().AddHttpError(type, request.httpCode, in.argument(1), in.argument(2),
            in.value(QStringLiteral("message")));
    } else {
        const QString details = in.isSet(QStringLiteral("details"))
            ? db->log().BuildDetailsXml(
                actionDetails::DetailsType(request.detailsType), request.detailArgs)
            : QString();
        db->log().AddAction(type, in.argument(1), in.argument(2), sync::core::SyncDetails(details));
    }
    db->CountAdded(1);
    if ((status = db->Finish()) != tool::ExitSuccess)
        return status;
    tool::out(QStringLiteral("added action %1").arg(addedId));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("log add");
    c.synopsis = QStringLiteral("[OPTIONS] ACTIONTYPE [INFO [NAME]]");
    c.summary = QStringLiteral("Add an action to the log");
    c.description = QStringLiteral(
        "Write one action to the action log, stamped with the current time, as the sync engine "
        "records its work. With --http the action is an HTTP error record whose details the "
        "status code chooses; with --details it carries a details document of that type whose "
        "arguments are given with --arg (escaped, so any text round-trips). Prints the new "
        "row's id.");
    c.options = {
        tool::dbOption(),
        { QStringLiteral("http"),
            QStringLiteral("Record an HTTP error with this status code (100-599)."),
            QStringLiteral("CODE") },
        { QStringLiteral("message"),
            QStringLiteral("The text of the HTTP error record (with --http)."),
            QStringLiteral("TEXT") },
        { QStringLiteral("details"),
            QStringLiteral("Attach a details document of this type (a number)."),
            QStringLiteral("TYPE") },
        { QStringLiteral("arg"),
            QStringLiteral(
                "One argument of the details document; repeat for more (with --details)."),
            QStringLiteral("TEXT") },
    };
    c.arguments = {
        { QStringLiteral("ACTIONTYPE"),
            QStringLiteral("A number or a name such as FileUploaded or DownloadFailed.") },
        { QStringLiteral("INFO"),
            QStringLiteral("The item the action concerns, usually its path.") },
        { QStringLiteral("NAME"), QStringLiteral("The item's display name.") },
    };
    c.minArguments = 1;
    c.maxArguments = 3;
    c.examples = {
        QStringLiteral("synccore log add FileUploaded /home/me/a.txt a.txt"),
        QStringLiteral("synccore log add --details 7 --arg 'b & c.txt' --arg timeout UploadFailed"),
    };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
