// exclude: which file names the sync engine would leave out.

#include "Command.h"

#include "Sync/SyncCore/FileNameMatcher.h"

namespace {

// The setting the tool reads its override from unless told otherwise.
const char* const defaultExclusionKey = tool::kExclusionSettingsKey;

} // namespace

SYNCCORE_COMMAND("exclude", "[--key SETTING] NAME...",
                 "Tell for each file name whether it is excluded from upload and download "
                 "(the default patterns, or the override in the Tessaron Sync setting SETTING, "
                 "default UploadDownloadExclusions)",
                 [](const QStringList& argsIn) {
    QStringList args = argsIn;
    bool haveKey = false;
    QString key = tool::takeOption(args, QStringLiteral("key"), &haveKey);
    if (haveKey && key.isEmpty())
        return tool::usageError(QStringLiteral("exclude: --key needs a setting name"));
    if (!haveKey)
        key = QString::fromLatin1(defaultExclusionKey);
    if (args.isEmpty())
        return tool::usageError(QStringLiteral("exclude: give at least one file name"));
    for (const QString& arg : args) {
        if (arg.startsWith(QLatin1String("--")))
            return tool::usageError(QStringLiteral("exclude: unknown option '%1'").arg(arg));
    }

    const sync::core::FileNameMatcher matcher(key, sync::core::uploadDownloadExclusionsRegex);
    for (const QString& name : args)
        tool::out(QStringLiteral("%1\t%2").arg(matcher.Match(name) ? QStringLiteral("excluded")
                                                                   : QStringLiteral("kept"),
                                               name));
    return 0;
});
