// size: a byte count as the library's user interface text shows it.

#include "Command.h"
#include "Format.h"

#include "CloudUtil/GeneralUtil.h"

namespace {

int run(const tool::Invocation& in)
{
    bool ok = false;
    const qint64 bytes = in.argument(0).toLongLong(&ok);
    if (!ok)
        return tool::usageError(
            QStringLiteral("'%1' is not a number of bytes").arg(in.argument(0)));
    qint64 precision = 2;
    int status = tool::ExitSuccess;
    if (!in.intValue(QStringLiteral("precision"), 0, 30, &precision, &status))
        return status;
    // The library's text is what this command is for; the tool's own binary
    // units come beside it so that nobody mistakes its "KB" for 1000 bytes.
    tool::out(QStringLiteral("%1 (%2)").arg(
        Tessaron::CloudUtil::GeneralUtil::BytesToString(bytes, int(precision)),
        tool::formatSize(bytes)));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("size");
    c.synopsis = QStringLiteral("[OPTIONS] BYTES");
    c.summary = QStringLiteral("Show a byte count as the user interface does");
    c.description = QStringLiteral(
        "Print the display text the library gives a byte count (its KB and MB are units of "
        "1024 bytes, as the desktop client shows them), followed by the tool's own binary "
        "units in parentheses.");
    c.options
        = { { QStringLiteral("precision"), QStringLiteral("Digits after the decimal point (0-30)."),
            QStringLiteral("N"), QStringLiteral("2") } };
    c.arguments = { { QStringLiteral("BYTES"), QStringLiteral("A whole number of bytes.") } };
    c.minArguments = c.maxArguments = 1;
    c.examples = { QStringLiteral("synccore size 1536          # 1.50 KB (1.50 KiB)") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
