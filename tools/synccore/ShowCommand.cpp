// show: the folder's .hidden list, from the command line.

#include "Command.h"
#include "Visibility.h"

namespace {

int run(const tool::Invocation& in)
{
    return tool::setVisibility(in, true);
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("show");
    c.synopsis = QStringLiteral("PATH");
    c.summary = QStringLiteral("Show a file or folder hidden by 'hide' again");
    c.description
        = QStringLiteral("Take PATH's name out of the .hidden list of its folder (and remove the "
                         "list when it becomes empty). A name starting with '.' cannot be shown.");
    c.arguments = { { QStringLiteral("PATH"), QStringLiteral("The file or folder.") } };
    c.minArguments = c.maxArguments = 1;
    c.examples = { QStringLiteral("synccore show ~/Documents/notes.txt") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
