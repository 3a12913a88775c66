// duration, size: the value conversions of GeneralUtil from the command line.

#include "Command.h"

#include "CloudUtil/GeneralUtil.h"

using Tessaron::CloudUtil::GeneralUtil;

SYNCCORE_COMMAND("duration", "ISO8601",
                 "Split an ISO 8601 duration (such as P1DT2H30M) into its fields and total seconds",
                 [](const QStringList& args) {
    if (args.size() != 1)
        return tool::usageError(QStringLiteral("usage: synccore duration ISO8601"));
    int years, months, days, hours, minutes;
    double seconds, total;
    if (!GeneralUtil::ParseDuration(args.first(), years, months, days, hours, minutes, seconds)
        || !GeneralUtil::ParseDuration(args.first(), total))
        return tool::failure(QStringLiteral("not an ISO 8601 duration (PnYnMnDTnHnMnS, the T required): %1")
                                 .arg(args.first()));
    tool::out(QStringLiteral("years: %1").arg(years));
    tool::out(QStringLiteral("months: %1").arg(months));
    tool::out(QStringLiteral("days: %1").arg(days));
    tool::out(QStringLiteral("hours: %1").arg(hours));
    tool::out(QStringLiteral("minutes: %1").arg(minutes));
    tool::out(QStringLiteral("seconds: %1").arg(seconds, 0, 'g', 17));
    tool::out(QStringLiteral("total seconds: %1").arg(total, 0, 'f', -128));
    // The display text takes whole milliseconds; a total beyond their range is
    // not a duration anyone displays.
    const double ms = total * 1000.0;
    if (ms > -9.0e18 && ms < 9.0e18)
        tool::out(QStringLiteral("display: %1").arg(GeneralUtil::MilliSecondsToDisplayString(qint64(ms))));
    return 0;
});

SYNCCORE_COMMAND("size", "BYTES [--precision N]",
                 "Show a byte count as the user interface does (units of 1024, default precision 2)",
                 [](const QStringList& argsIn) {
    QStringList args = argsIn;
    bool hasPrecision = false;
    const QString precisionText = tool::takeOption(args, QStringLiteral("precision"), &hasPrecision);
    if (args.size() != 1)
        return tool::usageError(QStringLiteral("usage: synccore size BYTES [--precision N]"));
    bool ok = false;
    const qint64 bytes = args.first().toLongLong(&ok);
    if (!ok)
        return tool::usageError(QStringLiteral("not a number of bytes: %1").arg(args.first()));
    int precision = 2;
    if (hasPrecision) {
        precision = precisionText.toInt(&ok);
        if (!ok || precision < 0 || precision > 30)
            return tool::usageError(QStringLiteral("precision must be a whole number from 0 to 30: %1")
                                        .arg(precisionText));
    }
    tool::out(GeneralUtil::BytesToString(bytes, precision));
    return 0;
});
