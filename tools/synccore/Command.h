#pragma once

// The commands of the synccore tool. Each command lives in its own file with
// its parser definition beside it and registers itself with SYNCCORE_COMMAND;
// main() only finds the command, parses its options with QCommandLineParser
// and prints help. This folder is the only code of the project that prints to
// a terminal.

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

namespace tool {

/// Exit statuses of every command, as the manual page documents them.
enum ExitStatus : int {
    ExitSuccess = 0,
    ExitFailure = 1,
    ExitUsage = 2, ///< bad arguments, found before anything was opened or created
    ExitPartial = 23, ///< the work completed, but some entries failed (as rsync)
    ExitSignalBase = 128, ///< plus the signal number, after the log was flushed
};

/// One positional argument as the help shows it.
struct Argument
{
    QString name; ///< "FILE...", "[NAME]"
    QString description;
};

class Invocation;

/// What a command is: its parser definition, its help and its work.
struct Command
{
    QString name; ///< the words typed after "synccore": "history", "log add"
    QString synopsis; ///< arguments after the name in the usage line: "[OPTIONS] FILE..."
    QString summary; ///< one line for the command list
    QString description; ///< a paragraph for the command's own help
    QList<QCommandLineOption> options; ///< -h/--help is added to every command
    QList<Argument> arguments;
    int minArguments = 0;
    int maxArguments = 0; ///< -1: any number
    QStringList examples;
    std::function<int(const Invocation&)> run;
};

/// A command's parsed command line; handed to Command::run.
class Invocation
{
public:
    Invocation(const Command& command, const QCommandLineParser& parser);

    bool isSet(const QString& option) const;
    QString value(const QString& option) const;
    QStringList values(const QString& option) const;
    /// The positional arguments, already counted against the command's limits.
    const QStringList& arguments() const { return _arguments; }
    QString argument(int index) const { return _arguments.value(index); }

    /**
     * The whole number given to @p option, within [@p min, @p max]; the option's
     * default when it is not given. False after printing a usage error (then
     * @p status holds ExitUsage).
     */
    bool intValue(const QString& option, qint64 min, qint64 max, qint64* result, int* status) const;

private:
    const QCommandLineParser& _parser;
    QStringList _arguments;
};

/// Every registered command, sorted by name.
const std::vector<Command>& commands();
/// The command named exactly @p name, or null.
const Command* findCommand(const QString& name);
/// Names of the commands that start with the group word @p group ("log" -> "log add", ...).
QStringList groupMembers(const QString& group);

/// Registers the command a definition function returns; used through SYNCCORE_COMMAND.
struct Registrar
{
    explicit Registrar(Command (*definition)());
};

// --- options several commands share -------------------------------------

QCommandLineOption dbOption();
QCommandLineOption jsonOption();

/// The database file: --db, else $SYNCCORE_DB, else the one under $XDG_DATA_HOME;
/// @p isDefault tells whether it is the last (whose folder may be created).
QString databasePath(const Invocation& in, bool* isDefault = nullptr);

// --- output: everything goes through these -------------------------------

/// Writes a line (UTF-8) to standard output.
void out(const QString& line);
/// Writes raw text (UTF-8) to standard error, without a newline.
void errRaw(const QString& text);
/// Writes "synccore COMMAND: <message>" to standard error.
void err(const QString& message);
/// Prints the error and the hint to the command's help; returns ExitUsage.
int usageError(const QString& message);
/// Prints the error and returns ExitFailure.
int failure(const QString& message);
/// True when standard output / standard error is a terminal.
bool stdoutIsTerminal();
bool stderrIsTerminal();
/// True when colour may be used on standard output: a terminal and no NO_COLOR.
bool useColour();

/// The command whose name errors carry ("synccore history: ..."); set by main().
void setCurrentCommand(const QString& name);
QString currentCommand();

/// The settings key under which the tool's commands read the exclusion override.
inline constexpr char kExclusionSettingsKey[] = "UploadDownloadExclusions";

} // namespace tool

#define SYNCCORE_CONCAT_(a, b) a##b
#define SYNCCORE_CONCAT(a, b) SYNCCORE_CONCAT_(a, b)
/// SYNCCORE_COMMAND(definitionFunction); at namespace scope in the command's file.
#define SYNCCORE_COMMAND(definition)                                                               \
    static const ::tool::Registrar SYNCCORE_CONCAT(synccoreCommand_, __LINE__)(definition)
