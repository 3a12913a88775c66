// autostart: the XDG autostart entry of a program.

#include "Command.h"

#include "CloudUtil/GeneralUtil.h"

#include <QFile>
#include <QFileInfo>
#include <QUrl>

#include <cstdlib>

using Tessaron::CloudUtil::GeneralUtil;

namespace {

int run(const tool::Invocation& in)
{
    const QString verb = in.argument(0);
    if (verb != QLatin1String("enable") && verb != QLatin1String("disable"))
        return tool::usageError(QStringLiteral("'%1' is neither enable nor disable").arg(verb));
    if (in.isSet(QStringLiteral("config-home")))
        ::setenv("XDG_CONFIG_HOME",
            QFile::encodeName(QFileInfo(in.value(QStringLiteral("config-home"))).absoluteFilePath())
                .constData(),
            1);
    const bool enable = verb == QLatin1String("enable");
    const QString folder = GeneralUtil::GetAutostartPath();
    const bool done = in.arguments().size() == 2
        ? GeneralUtil::BundleAppLaunchOnStartup(enable,
            QString::fromUtf8(
                QUrl::fromLocalFile(QFileInfo(in.argument(1)).absoluteFilePath()).toEncoded()))
        : GeneralUtil::BundleAppLaunchOnStartup(enable);
    if (!done)
        return tool::failure(enable
                ? QStringLiteral("could not write an autostart entry in %1").arg(folder)
                : QStringLiteral("no matching autostart entry in %1").arg(folder));
    tool::out(enable ? QStringLiteral("autostart entry written in %1").arg(folder)
                     : QStringLiteral("autostart entries removed from %1").arg(folder));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("autostart");
    c.synopsis = QStringLiteral("[OPTIONS] enable|disable [PATH]");
    c.summary = QStringLiteral("Add or remove the XDG autostart entry of a program");
    c.description = QStringLiteral(
        "Write (enable) or remove (disable) the desktop entry in the autostart folder "
        "($XDG_CONFIG_HOME/autostart) that starts PATH, default this tool, when you log in. "
        "An entry that runs another program is never overwritten or removed.");
    c.options = { { QStringLiteral("config-home"),
        QStringLiteral("Use DIR/autostart instead of your autostart folder."),
        QStringLiteral("DIR") } };
    c.arguments = { { QStringLiteral("enable|disable"),
                        QStringLiteral("Add or remove the entry.") },
        { QStringLiteral("PATH"), QStringLiteral("The program to start (default: this tool).") } };
    c.minArguments = 1;
    c.maxArguments = 2;
    c.examples = { QStringLiteral("synccore autostart enable \"/opt/Nimb Apps/Nimb Desktop\"") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
