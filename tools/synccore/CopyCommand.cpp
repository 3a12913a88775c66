// copy: the library's copy and move with its backup protocol.

#include "Command.h"

#include "CloudUtil/GeneralUtil.h"

using Tessaron::CloudUtil::GeneralUtil;

namespace {

int run(const tool::Invocation& in)
{
    const QString source = in.argument(0);
    const QString target = in.argument(1);
    QString error;
    if (!GeneralUtil::CopyFile(source, target, in.isSet(QStringLiteral("move")),
                               in.isSet(QStringLiteral("overwrite")), &error))
        return tool::failure(error.isEmpty()
                                 ? QStringLiteral("cannot copy %1 to %2").arg(source, target)
                                 : error);
    if (!error.isEmpty())
        tool::err(error); // copied, but the backup of the old target could not be removed
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("copy");
    c.synopsis = QStringLiteral("[OPTIONS] SOURCE TARGET");
    c.summary = QStringLiteral("Copy or move a file, replacing a target only via a backup");
    c.description = QStringLiteral(
        "Copy (or with --move, move) the file SOURCE to TARGET with the library's file "
        "operation. An existing TARGET is replaced only with --overwrite: it is first renamed "
        "to a .bak backup, which is removed once the new file is in place and put back when "
        "the copy fails.");
    c.options = {
        { QStringLiteral("move"), QStringLiteral("Move instead of copying (a rename when both lie on one file system).") },
        { QStringLiteral("overwrite"), QStringLiteral("Replace an existing TARGET.") },
    };
    c.arguments = { { QStringLiteral("SOURCE"), QStringLiteral("The file to copy.") },
                    { QStringLiteral("TARGET"), QStringLiteral("The new file's path.") } };
    c.minArguments = c.maxArguments = 2;
    c.examples = { QStringLiteral("synccore copy --overwrite report.pdf /mnt/share/report.pdf") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
