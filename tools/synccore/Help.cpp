#include "Help.h"

#include "CloudUtil/GeneralUtil.h"

#include <QDir>

namespace tool {

namespace {

constexpr int kWidth = 80;
constexpr int kOptionColumn = 24;

const char kExitStatuses[]
    = "Exit status: 0 success, 1 failure, 2 usage error, 23 partial (some entries failed), "
      "128+N stopped by signal N (130 for SIGINT, 143 for SIGTERM).";

QCommandLineOption helpOption()
{
    return QCommandLineOption({ QStringLiteral("h"), QStringLiteral("help") },
        QStringLiteral("Show this help and exit."));
}

/// @p text wrapped to the width, every line indented by @p indent.
QString wrap(const QString& text, int indent)
{
    const QStringList words = text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    QString result;
    QString line(indent, QLatin1Char(' '));
    bool lineEmpty = true;
    for (const QString& word : words) {
        if (!lineEmpty && line.size() + 1 + word.size() > kWidth) {
            result += line + QLatin1Char('\n');
            line = QString(indent, QLatin1Char(' '));
            lineEmpty = true;
        }
        line += (lineEmpty ? QString() : QStringLiteral(" ")) + word;
        lineEmpty = false;
    }
    return result + line + QLatin1Char('\n');
}

QString optionNames(const QCommandLineOption& option)
{
    QStringList names;
    for (const QString& name : option.names())
        names.append((name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name);
    QString text = names.join(QStringLiteral(", "));
    if (!option.valueName().isEmpty())
        text += QLatin1Char(' ') + option.valueName();
    return text;
}

QString optionDescription(const QCommandLineOption& option)
{
    QString text = option.description();
    if (!option.defaultValues().isEmpty())
        text += QStringLiteral(" (default: %1)").arg(option.defaultValues().join(QLatin1Char(',')));
    return text;
}

/// A two-column entry: the term, then its wrapped description.
QString entry(const QString& term, const QString& description)
{
    const QString head = QStringLiteral("  ") + term;
    const QString body = wrap(description, kOptionColumn);
    if (head.size() + 2 <= kOptionColumn)
        return head.leftJustified(kOptionColumn) + body.mid(kOptionColumn);
    return head + QLatin1Char('\n') + body;
}

/// The library's version as the file that is loaded tells it ("libKvSyncCore-6_0.so.6.0.0").
QString libraryVersion()
{
    const QString folder
        = Tessaron::CloudUtil::GeneralUtil::GetModulePath(QStringLiteral("libKvSyncCore-6_0"));
    const QStringList files
        = QDir(folder).entryList({ QStringLiteral("libKvSyncCore-6_0.so.*.*.*") }, QDir::Files);
    if (folder.isEmpty() || files.isEmpty())
        return QStringLiteral("unknown");
    return files.first().mid(int(qstrlen("libKvSyncCore-6_0.so.")));
}

} // namespace

QList<QCommandLineOption> parserOptions(const Command& command)
{
    return command.options + QList<QCommandLineOption> { helpOption() };
}

void printOverview()
{
    QString text = QStringLiteral("Usage: synccore COMMAND [OPTIONS] [ARGUMENTS...]\n"
                                  "       synccore help [COMMAND...] | --help | --version\n\n");
    text += wrap(QStringLiteral("The command-line face of the SyncCore library: a one-way "
                                "mirror with an action log, and the library's utilities."),
        0);
    text += QStringLiteral("\nCommands:\n");
    for (const Command& c : commands())
        text += entry(c.name, c.summary);
    text += QStringLiteral("\nRun 'synccore COMMAND --help' for a command's options.\n");
    text += wrap(QString::fromLatin1(kExitStatuses), 0);
    out(text.chopped(1));
}

void printBriefUsage()
{
    errRaw(QStringLiteral("Usage: synccore COMMAND [OPTIONS] [ARGUMENTS...]\n"
                          "Try 'synccore --help' for the list of commands.\n"));
}

void printCommandHelp(const Command& command)
{
    QString text = QStringLiteral("Usage: synccore %1 %2\n\n").arg(command.name, command.synopsis);
    text += wrap(command.description, 0);
    if (!command.arguments.isEmpty()) {
        text += QStringLiteral("\nArguments:\n");
        for (const Argument& a : command.arguments)
            text += entry(a.name, a.description);
    }
    text += QStringLiteral("\nOptions:\n");
    for (const QCommandLineOption& option : parserOptions(command))
        if (!(option.flags() & QCommandLineOption::HiddenFromHelp))
            text += entry(optionNames(option), optionDescription(option));
    if (!command.examples.isEmpty()) {
        text += QStringLiteral("\nExamples:\n");
        for (const QString& example : command.examples)
            text += QStringLiteral("  ") + example + QLatin1Char('\n');
    }
    text += QLatin1Char('\n') + wrap(QString::fromLatin1(kExitStatuses), 0);
    out(text.chopped(1));
}

void printGroupHelp(const QString& group)
{
    QString text = QStringLiteral("Usage: synccore %1 COMMAND [OPTIONS] [ARGUMENTS...]\n\n"
                                  "Commands:\n")
                       .arg(group);
    for (const QString& name : groupMembers(group))
        text += entry(name, findCommand(name)->summary);
    text
        += QStringLiteral("\nRun 'synccore %1 COMMAND --help' for a command's options.").arg(group);
    out(text);
}

void printVersion()
{
    out(QStringLiteral("synccore %1").arg(QStringLiteral(SYNCCORE_VERSION)));
    out(QStringLiteral("libKvSyncCore %1").arg(libraryVersion()));
}

void printOptionTable()
{
    for (const Command& c : commands()) {
        QStringList fields { c.name };
        for (const QCommandLineOption& option : parserOptions(c))
            for (const QString& name : option.names())
                fields.append(
                    (name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name);
        out(fields.join(QLatin1Char('\t')));
    }
}

} // namespace tool
