#pragma once

// The help texts of the tool, all built from the commands' parser definitions,
// so that help, manual page and completion name the same options.

#include "Command.h"

namespace tool {

/// "synccore --help": every command with its summary.
void printOverview();
/// The short reminder printed on standard error when no command is given.
void printBriefUsage();
/// "synccore COMMAND --help": usage, description, options, arguments, examples.
void printCommandHelp(const Command& command);
/// "synccore log --help": the commands of a group.
void printGroupHelp(const QString& group);
/// "--version": the tool's and the loaded library's versions.
void printVersion();
/// Hidden "__options": one line per command, its name then every option's names,
/// tab-separated ("log add\t--db\t--http..."); the tests check manual and completion with it.
void printOptionTable();

/// The options of @p command as a parser knows them, -h/--help included.
QList<QCommandLineOption> parserOptions(const Command& command);

} // namespace tool
