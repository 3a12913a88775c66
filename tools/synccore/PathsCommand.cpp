// paths: the application, data and system locations as the library sees them.

#include "Command.h"

#include "CloudUtil/GeneralUtil.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <utility>
#include <vector>

using Tessaron::CloudUtil::GeneralUtil;

namespace {

std::vector<std::pair<QString, QString>> locations()
{
    return {
        { QStringLiteral("app file"), GeneralUtil::GetAppFilePath() },
        { QStringLiteral("app folder"), GeneralUtil::GetAppDirPath() },
        { QStringLiteral("app data"), GeneralUtil::GetAppDataPath() },
        { QStringLiteral("local app data"), GeneralUtil::GetLocalAppDataPath() },
        { QStringLiteral("common app data"), GeneralUtil::GetCommonAppDataPath() },
        { QStringLiteral("program data"), GeneralUtil::GetProgramDataPath() },
        { QStringLiteral("desktop"), GeneralUtil::GetDesktopPath() },
        { QStringLiteral("favorites"), GeneralUtil::GetFavoritesPath() },
        { QStringLiteral("system"), GeneralUtil::GetSystemDirectory() },
        { QStringLiteral("plugins"), GeneralUtil::GetPluginsPath() },
        { QStringLiteral("autostart"), GeneralUtil::GetAutostartPath() },
        { QStringLiteral("core library"),
            GeneralUtil::GetModulePath(QStringLiteral("libKvSyncCore-6_0")) },
        { QStringLiteral("Qt core library"),
            GeneralUtil::GetModulePath(QStringLiteral("libQt6Core")) },
        { QStringLiteral("service (%1)").arg(GeneralUtil::GetNimbAppName()),
            GeneralUtil::GetNimbAppDirPath() },
        { QStringLiteral("desktop app (%1)").arg(GeneralUtil::GetNimbDesktopAppName()),
            GeneralUtil::GetNimbDesktopAppDirPath() },
    };
}

int run(const tool::Invocation& in)
{
    const bool json = in.isSet(QStringLiteral("json"));
    QJsonObject object;
    for (const auto& [key, value] : locations()) {
        if (json)
            object.insert(key, value);
        else
            tool::out(QStringLiteral("%1: %2").arg(key, value));
    }
    if (json)
        tool::out(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("paths");
    c.synopsis = QStringLiteral("[OPTIONS]");
    c.summary = QStringLiteral("Print every application, data and system location");
    c.description = QStringLiteral(
        "Print each location the library computes, one 'name: path' per line: this program, "
        "the data folders under $XDG_DATA_HOME, the desktop, plug-ins, the autostart folder, "
        "the loaded libraries and the companion applications.");
    c.options = { tool::jsonOption() };
    c.examples = { QStringLiteral("synccore paths"), QStringLiteral("synccore paths --json") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
