#include "Command.h"

#include <QStandardPaths>

#include <algorithm>
#include <limits>
#include <cstdio>
#include <unistd.h>

namespace tool {

namespace {

std::vector<Command>& registry()
{
    static std::vector<Command> all;
    return all;
}

QString& currentCommandName()
{
    static QString name;
    return name;
}

void writeTo(FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

QString programAndCommand()
{
    const QString& name = currentCommandName();
    return name.isEmpty() ? QStringLiteral("synccore") : QStringLiteral("synccore ") + name;
}

} // namespace

Invocation::Invocation(const Command&, const QCommandLineParser& parser)
    : _parser(parser)
    , _arguments(parser.positionalArguments())
{ }

bool Invocation::isSet(const QString& option) const
{
    return _parser.isSet(option);
}

QString Invocation::value(const QString& option) const
{
    return _parser.value(option);
}

QStringList Invocation::values(const QString& option) const
{
    return _parser.values(option);
}

bool Invocation::intValue(
    const QString& option, qint64 min, qint64 max, qint64* result, int* status) const
{
    const QString text = _parser.value(option);
    bool ok = false;
    *result = text.toLongLong(&ok);
    if (ok && *result >= min && *result <= max)
        return true;
    const QString range = max >= std::numeric_limits<int>::max()
        ? QStringLiteral("%1 or more").arg(min)
        : QStringLiteral("from %1 to %2").arg(min).arg(max);
    *status = usageError(
        QStringLiteral("--%1: '%2' is not a whole number %3").arg(option, text, range));
    return false;
}

const std::vector<Command>& commands()
{
    return registry();
}

const Command* findCommand(const QString& name)
{
    for (const Command& c : registry())
        if (c.name == name)
            return &c;
    return nullptr;
}

QStringList groupMembers(const QString& group)
{
    QStringList names;
    const QString prefix = group + QLatin1Char(' ');
    for (const Command& c : registry())
        if (c.name.startsWith(prefix))
            names.append(c.name);
    return names;
}

Registrar::Registrar(Command (*definition)())
{
    auto& all = registry();
    all.push_back(definition());
    std::sort(
        all.begin(), all.end(), [](const Command& a, const Command& b) { return a.name < b.name; });
}

QCommandLineOption dbOption()
{
    return QCommandLineOption(QStringLiteral("db"),
        QStringLiteral("The action log database (default: $SYNCCORE_DB, else "
                       "$XDG_DATA_HOME/synccore/actionlog.sqlite)."),
        QStringLiteral("FILE"));
}

QCommandLineOption jsonOption()
{
    return QCommandLineOption(QStringLiteral("json"),
        QStringLiteral("Print JSON instead of text: times in ISO 8601 "
                       "with their offset, sizes in bytes."));
}

QString databasePath(const Invocation& in, bool* isDefault)
{
    if (isDefault)
        *isDefault = false;
    if (in.isSet(QStringLiteral("db")))
        return in.value(QStringLiteral("db"));
    const QString fromEnvironment = qEnvironmentVariable("SYNCCORE_DB");
    if (!fromEnvironment.isEmpty())
        return fromEnvironment;
    if (isDefault)
        *isDefault = true;
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/synccore/actionlog.sqlite");
}

void out(const QString& line)
{
    writeTo(stdout, line + QLatin1Char('\n'));
}

void errRaw(const QString& text)
{
    writeTo(stderr, text);
}

void err(const QString& message)
{
    writeTo(stderr, QStringLiteral("%1: %2\n").arg(programAndCommand(), message));
}

int usageError(const QString& message)
{
    err(message);
    writeTo(
        stderr, QStringLiteral("Try '%1 --help' for more information.\n").arg(programAndCommand()));
    return ExitUsage;
}

int failure(const QString& message)
{
    err(message);
    return ExitFailure;
}

bool stdoutIsTerminal()
{
    return ::isatty(STDOUT_FILENO) == 1;
}

bool stderrIsTerminal()
{
    return ::isatty(STDERR_FILENO) == 1;
}

bool useColour()
{
    return stdoutIsTerminal() && qEnvironmentVariableIsEmpty("NO_COLOR");
}

void setCurrentCommand(const QString& name)
{
    currentCommandName() = name;
}

QString currentCommand()
{
    return currentCommandName();
}

} // namespace tool
