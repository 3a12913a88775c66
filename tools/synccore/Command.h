#pragma once

// The commands of the synccore tool. Each area of the library contributes its
// commands from its own Commands<Area>.cpp with a static SYNCCORE_COMMAND
// registration; main() only dispatches. This folder is the only code of the
// project that prints to a terminal.

#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

namespace tool {

/// Runs a command with its arguments (the words after the command name); returns the exit code.
using CommandFunction = std::function<int(const QStringList& args)>;

struct Command
{
    QString name;     ///< the word typed after "synccore"; "log add" style names are allowed
    QString usage;    ///< one line: arguments and options
    QString summary;  ///< one line: what it does
    CommandFunction run;
};

/// Every registered command, sorted by name.
std::vector<Command>& commands();

/// Registers a command; used through SYNCCORE_COMMAND at namespace scope.
struct Registrar
{
    Registrar(const QString& name, const QString& usage, const QString& summary, CommandFunction run);
};

// --- output helpers: everything goes through these ----------------------

/// Writes a line (UTF-8) to standard output.
void out(const QString& line);
/// Writes "synccore: <message>" to standard error.
void err(const QString& message);
/// Prints the error and returns the exit code for bad usage (2).
int usageError(const QString& message);
/// Prints the error and returns the exit code for a failure (1).
int failure(const QString& message);
/// True when standard output is a terminal (progress lines are drawn only then).
bool stdoutIsTerminal();

// --- argument helpers -------------------------------------------------------

/// Removes "--name VALUE" (or "--name=VALUE") from @p args and returns VALUE; @p found tells whether it was there.
QString takeOption(QStringList& args, const QString& name, bool* found = nullptr);
/// Removes a "--name" flag from @p args and returns whether it was there.
bool takeFlag(QStringList& args, const QString& name);
/// The settings key under which the tool's commands read the exclusion override.
inline constexpr char kExclusionSettingsKey[] = "UploadDownloadExclusions";

/// Default database file of the tool: under the user's data folder.
QString defaultDatabasePath();

} // namespace tool

#define SYNCCORE_CONCAT_(a, b) a##b
#define SYNCCORE_CONCAT(a, b) SYNCCORE_CONCAT_(a, b)
/// SYNCCORE_COMMAND("name", "usage", "summary", [](const QStringList& args) { ... });
#define SYNCCORE_COMMAND(name, usage, summary, ...)                                     \
    static const ::tool::Registrar SYNCCORE_CONCAT(synccoreCommand_, __LINE__)(         \
        QStringLiteral(name), QStringLiteral(usage), QStringLiteral(summary), __VA_ARGS__)
