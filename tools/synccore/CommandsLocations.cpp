// paths, autostart, user-agent: the application locations and login items as
// the library sees them.

#include "Command.h"

#include "CloudUtil/GeneralUtil.h"

#include <QFile>
#include <QFileInfo>
#include <QUrl>

#include <cstdlib>

using Tessaron::CloudUtil::GeneralUtil;

namespace {

void printLocation(const QString& key, const QString& value)
{
    tool::out(QStringLiteral("%1: %2").arg(key, value));
}

} // namespace

SYNCCORE_COMMAND(
    "paths", "", "Print every application, data and system location", [](const QStringList& args) {
        if (!args.isEmpty())
            return tool::usageError(QStringLiteral("paths takes no arguments"));
        printLocation(QStringLiteral("app file"), GeneralUtil::GetAppFilePath());
        printLocation(QStringLiteral("app folder"), GeneralUtil::GetAppDirPath());
        printLocation(QStringLiteral("app data"), GeneralUtil::GetAppDataPath());
        printLocation(QStringLiteral("local app data"), GeneralUtil::GetLocalAppDataPath());
        printLocation(QStringLiteral("common app data"), GeneralUtil::GetCommonAppDataPath());
        printLocation(QStringLiteral("program data"), GeneralUtil::GetProgramDataPath());
        printLocation(QStringLiteral("desktop"), GeneralUtil::GetDesktopPath());
        printLocation(QStringLiteral("favorites"), GeneralUtil::GetFavoritesPath());
        printLocation(QStringLiteral("system"), GeneralUtil::GetSystemDirectory());
        printLocation(QStringLiteral("plugins"), GeneralUtil::GetPluginsPath());
        printLocation(QStringLiteral("autostart"), GeneralUtil::GetAutostartPath());
        printLocation(QStringLiteral("core library"),
            GeneralUtil::GetModulePath(QStringLiteral("libKvSyncCore-6_0")));
        printLocation(QStringLiteral("Qt core library"),
            GeneralUtil::GetModulePath(QStringLiteral("libQt6Core")));
        printLocation(QStringLiteral("service (%1)").arg(GeneralUtil::GetNimbAppName()),
            GeneralUtil::GetNimbAppDirPath());
        printLocation(QStringLiteral("desktop app (%1)").arg(GeneralUtil::GetNimbDesktopAppName()),
            GeneralUtil::GetNimbDesktopAppDirPath());
        return 0;
    });

SYNCCORE_COMMAND("autostart", "enable|disable [PATH] [--config-home DIR]",
    "Add or remove the XDG autostart entry of PATH (default: this tool) in your autostart "
    "folder, or under DIR/autostart",
    [](const QStringList& argsIn) {
        QStringList args = argsIn;
        bool haveConfigHome = false;
        const QString configHome
            = tool::takeOption(args, QStringLiteral("config-home"), &haveConfigHome);
        if (args.isEmpty() || args.size() > 2 || args.last().startsWith(QLatin1String("--"))
            || (args.first() != QLatin1String("enable")
                && args.first() != QLatin1String("disable")))
            return tool::usageError(QStringLiteral(
                "usage: autostart enable|disable [PATH] [--config-home DIR]"));
        if (haveConfigHome) {
            if (configHome.isEmpty())
                return tool::usageError(QStringLiteral("--config-home needs a folder"));
            ::setenv("XDG_CONFIG_HOME",
                QFile::encodeName(QFileInfo(configHome).absoluteFilePath()).constData(), 1);
        }
        const bool enable = args.first() == QLatin1String("enable");
        const QString folder = GeneralUtil::GetAutostartPath();

        bool done = false;
        if (args.size() == 2) {
            const QString path = QFileInfo(args.at(1)).absoluteFilePath();
            done = GeneralUtil::BundleAppLaunchOnStartup(
                enable, QString::fromUtf8(QUrl::fromLocalFile(path).toEncoded()));
        } else {
            done = GeneralUtil::BundleAppLaunchOnStartup(enable);
        }
        if (!done) {
            return tool::failure(enable
                    ? QStringLiteral("could not write an autostart entry in %1").arg(folder)
                    : QStringLiteral("no matching autostart entry in %1").arg(folder));
        }
        tool::out(enable ? QStringLiteral("autostart entry written in %1").arg(folder)
                         : QStringLiteral("autostart entries removed from %1").arg(folder));
        return 0;
    });

SYNCCORE_COMMAND("user-agent", "", "Print the platform and build texts of the user agent",
    [](const QStringList& args) {
        if (!args.isEmpty())
            return tool::usageError(QStringLiteral("user-agent takes no arguments"));
        tool::out(QStringLiteral("platform: %1").arg(GeneralUtil::GetPlatformInfoForUserAgent()));
        tool::out(QStringLiteral("build: %1").arg(GeneralUtil::GetBuild()));
        return 0;
    });
