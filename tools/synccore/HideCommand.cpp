// hide: the folder's .hidden list, from the command line.

#include "Command.h"
#include "Visibility.h"

namespace {

int run(const tool::Invocation& in)
{
    return tool::setVisibility(in, false);
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("hide");
    c.synopsis = QStringLiteral("PATH");
    c.summary = QStringLiteral("Hide a file or folder in file managers");
    c.description = QStringLiteral(
        "Add PATH's name to the .hidden list of its folder, which GNOME Files, KDE Dolphin and "
        "GLib honour. A name starting with '.' is hidden already.");
    c.arguments = { { QStringLiteral("PATH"), QStringLiteral("The file or folder.") } };
    c.minArguments = c.maxArguments = 1;
    c.examples = { QStringLiteral("synccore hide ~/Documents/notes.txt") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
