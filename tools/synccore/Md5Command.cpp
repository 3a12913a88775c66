// md5: MD5 checksums as md5sum prints them.

#include "Command.h"
#include "Digest.h"

#include "CloudUtil/GeneralUtil.h"

namespace {

int run(const tool::Invocation& in)
{
    return tool::printDigests(in, QCryptographicHash::Md5, [](const QString& path) {
        return Tessaron::CloudUtil::GeneralUtil::GenerateCheckSumMD5(path);
    });
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("md5");
    c.synopsis = QStringLiteral("[OPTIONS] FILE...");
    c.summary = QStringLiteral("Print each file's MD5 checksum as md5sum does");
    c.description = QStringLiteral(
        "Print the MD5 checksum of each FILE followed by two spaces and its name, the format "
        "of md5sum (so 'md5sum -c' reads it). A file that cannot be read is reported and makes "
        "the exit status 1; the others are still printed. Progress is drawn on standard error "
        "when it is a terminal.");
    c.arguments = { { QStringLiteral("FILE..."), QStringLiteral("The files to sum.") } };
    c.options = { tool::jsonOption() };
    c.minArguments = 1;
    c.maxArguments = -1;
    c.examples = { QStringLiteral("synccore md5 *.iso > SUMS.md5 && md5sum -c SUMS.md5") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
