// user-agent: the platform and build texts of the client's user agent.

#include "Command.h"

#include "CloudUtil/GeneralUtil.h"

namespace {

int run(const tool::Invocation&)
{
    tool::out(QStringLiteral("platform: %1")
                  .arg(Tessaron::CloudUtil::GeneralUtil::GetPlatformInfoForUserAgent()));
    tool::out(QStringLiteral("build: %1").arg(Tessaron::CloudUtil::GeneralUtil::GetBuild()));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("user-agent");
    c.synopsis = QString();
    c.summary = QStringLiteral("Print the platform and build texts of the user agent");
    c.description = QStringLiteral(
        "Print the platform text (\"Linux/\" and the distribution's name) and the build text "
        "(architecture/configuration) that the client puts in its user agent.");
    c.examples = { QStringLiteral("synccore user-agent") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
