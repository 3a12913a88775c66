// exclude: which file names the sync engine would leave out.

#include "Command.h"

#include "Sync/SyncCore/FileNameMatcher.h"

namespace {

int run(const tool::Invocation& in)
{
    const sync::core::FileNameMatcher matcher(
        in.value(QStringLiteral("key")), sync::core::uploadDownloadExclusionsRegex);
    for (const QString& name : in.arguments())
        tool::out(QStringLiteral("%1\t%2").arg(
            matcher.Match(name) ? QStringLiteral("excluded") : QStringLiteral("kept"), name));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("exclude");
    c.synopsis = QStringLiteral("[OPTIONS] NAME...");
    c.summary = QStringLiteral("Tell which file names are excluded from sync");
    c.description = QStringLiteral(
        "Print 'excluded' or 'kept' and a tab before each NAME, as the sync engine's exclusion "
        "rule judges it: the default patterns (temporary, backup, lock and system files), or "
        "the override stored in the setting SETTING of \"Tessaron Sync\" "
        "(~/.config/Tessaron/Tessaron Sync.conf) when it is there.");
    c.options = { { QStringLiteral("key"), QStringLiteral("The setting that holds the override."),
        QStringLiteral("SETTING"), QString::fromLatin1(tool::kExclusionSettingsKey) } };
    c.arguments = { { QStringLiteral("NAME..."),
        QStringLiteral(
            "File names (not paths) to judge; put -- before a name that starts with '-'.") } };
    c.minArguments = 1;
    c.maxArguments = -1;
    c.examples = { QStringLiteral("synccore exclude Thumbs.db report.docx '~$report.docx'") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
