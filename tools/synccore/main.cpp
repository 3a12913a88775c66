// synccore: the command-line face of the SyncCore library.

#include "Command.h"
#include "Help.h"

#include <QCoreApplication>

#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

namespace {

bool isHelpWord(const QString& arg)
{
    return arg == QLatin1String("--help") || arg == QLatin1String("-h");
}

/// The command the arguments start with (the longest name wins: "log add" before "log").
const tool::Command* matchCommand(const QStringList& args, int* words)
{
    const tool::Command* best = nullptr;
    *words = 0;
    for (const tool::Command& c : tool::commands()) {
        const QStringList name = c.name.split(QLatin1Char(' '));
        if (name.size() <= args.size() && args.mid(0, name.size()) == name
            && name.size() > *words) {
            best = &c;
            *words = int(name.size());
        }
    }
    return best;
}

/// True when a help option comes before any "--" that ends the options.
bool asksForHelp(const QStringList& args)
{
    for (const QString& arg : args) {
        if (arg == QLatin1String("--"))
            return false;
        if (isHelpWord(arg))
            return true;
    }
    return false;
}

/// "synccore help [COMMAND...]".
int help(const QStringList& words)
{
    if (words.isEmpty()) {
        tool::printOverview();
        return tool::ExitSuccess;
    }
    const QString name = words.join(QLatin1Char(' '));
    if (const tool::Command* c = tool::findCommand(name)) {
        tool::printCommandHelp(*c);
        return tool::ExitSuccess;
    }
    if (!tool::groupMembers(name).isEmpty()) {
        tool::printGroupHelp(name);
        return tool::ExitSuccess;
    }
    tool::setCurrentCommand(QStringLiteral("help"));
    return tool::usageError(QStringLiteral("unknown command '%1'").arg(name));
}

/// A command group without its subcommand: "synccore log", "synccore log --help".
int group(const QStringList& args)
{
    const QString name = args.first();
    tool::setCurrentCommand(name);
    if (args.size() > 1 && asksForHelp(args.mid(1))) {
        tool::printGroupHelp(name);
        return tool::ExitSuccess;
    }
    const QString members = tool::groupMembers(name)
                                .replaceInStrings(name + QLatin1Char(' '), QString())
                                .join(QStringLiteral(", "));
    if (args.size() == 1)
        return tool::usageError(QStringLiteral("missing command (one of: %1)").arg(members));
    return tool::usageError(
        QStringLiteral("unknown command '%1' (one of: %2)").arg(args.at(1), members));
}

int parseError(const QCommandLineParser& parser)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (!unknown.isEmpty()) {
        const QString& name = unknown.first();
        return tool::usageError(
            QStringLiteral("unknown option '%1%2'")
                .arg(name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--"), name));
    }
    QString text = parser.errorText();
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    if (!text.isEmpty())
        text[0] = text[0].toLower();
    return tool::usageError(text);
}

int countError(const tool::Command& c, int given)
{
    if (given < c.minArguments) {
        const QString missing = c.arguments.value(given).name;
        return tool::usageError(QStringLiteral("missing argument %1").arg(missing));
    }
    if (c.maxArguments == 0)
        return tool::usageError(QStringLiteral("unexpected argument (this command takes none)"));
    return tool::usageError(QStringLiteral("too many arguments (at most %1)").arg(c.maxArguments));
}

int runCommand(const tool::Command& c, const QStringList& args)
{
    tool::setCurrentCommand(c.name);
    if (asksForHelp(args)) {
        tool::printCommandHelp(c);
        return tool::ExitSuccess;
    }
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsCompactedShortOptions);
    parser.addOptions(tool::parserOptions(c));
    if (!parser.parse(QStringList { QStringLiteral("synccore") } + args))
        return parseError(parser);
    // A file or folder option given an empty name is a typo, not a request.
    for (const QCommandLineOption& option : c.options)
        if (!option.valueName().isEmpty() && option.valueName() != QLatin1String("TEXT")
            && parser.isSet(option.names().last()) && parser.value(option.names().last()).isEmpty())
            return tool::usageError(
                QStringLiteral("--%1: the value is empty").arg(option.names().last()));
    const int given = int(parser.positionalArguments().size());
    if (given < c.minArguments || (c.maxArguments >= 0 && given > c.maxArguments))
        return countError(c, given);
    try {
        return c.run(tool::Invocation(c, parser));
    } catch (const std::exception& e) {
        return tool::failure(QString::fromUtf8(e.what()));
    }
}

int dispatch(const QStringList& args)
{
    if (args.isEmpty()) {
        tool::printBriefUsage();
        return tool::ExitUsage;
    }
    const QString& first = args.first();
    if (isHelpWord(first) || first == QLatin1String("help"))
        return help(args.mid(1));
    if (first == QLatin1String("--version")) {
        tool::printVersion();
        return tool::ExitSuccess;
    }
    if (first == QLatin1String("__options")) {
        tool::printOptionTable();
        return tool::ExitSuccess;
    }
    int words = 0;
    if (const tool::Command* c = matchCommand(args, &words))
        return runCommand(*c, args.mid(words));
    if (!tool::groupMembers(first).isEmpty())
        return group(args);
    if (first.startsWith(QLatin1Char('-')))
        return tool::usageError(QStringLiteral("unknown option '%1'").arg(first));
    return tool::usageError(QStringLiteral("unknown command '%1'").arg(first));
}

} // namespace

int main(int argc, char** argv)
{
    log4cplus::Initializer logging;
    // The library logs; the tool has no log file unless a command sets one up.
    // Until then the lines go nowhere instead of a "no appenders" warning.
    log4cplus::Logger::getRoot().addAppender(
        log4cplus::SharedAppenderPtr(new log4cplus::NullAppender()));

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("synccore"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SYNCCORE_VERSION));
    return dispatch(QCoreApplication::arguments().mid(1));
}
