// duration: an ISO 8601 duration split as the library reads it.

#include "Command.h"

#include "CloudUtil/GeneralUtil.h"

using Tessaron::CloudUtil::GeneralUtil;

namespace {

int run(const tool::Invocation& in)
{
    const QString text = in.argument(0);
    int years, months, days, hours, minutes;
    double seconds, total;
    if (!GeneralUtil::ParseDuration(text, years, months, days, hours, minutes, seconds)
        || !GeneralUtil::ParseDuration(text, total))
        return tool::failure(
            QStringLiteral("not an ISO 8601 duration (PnYnMnDTnHnMnS, the T required): %1")
                .arg(text));
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
        tool::out(QStringLiteral("display: %1")
                      .arg(GeneralUtil::MilliSecondsToDisplayString(qint64(ms))));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("duration");
    c.synopsis = QStringLiteral("ISO8601");
    c.summary = QStringLiteral("Split an ISO 8601 duration into its fields");
    c.description = QStringLiteral(
        "Read an ISO 8601 duration as the library does and print its fields, its total in "
        "seconds and the display text the user interface shows for it.");
    c.arguments = { { QStringLiteral("ISO8601"),
        QStringLiteral("A duration such as P1DT2H30M (the T is required).") } };
    c.minArguments = c.maxArguments = 1;
    c.examples = { QStringLiteral("synccore duration P1DT2H30M") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
