// sha1: SHA-1 digests as sha1sum prints them.

#include "Command.h"
#include "Digest.h"

#include "Sync/SyncCore/CryptographicHash.h"

namespace {

int run(const tool::Invocation& in)
{
    sync::core::CryptographicHash hash;
    return tool::printDigests(in, QCryptographicHash::Sha1,
        [&hash](const QString& path) { return hash.GenerateHash(path); });
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("sha1");
    c.synopsis = QStringLiteral("[OPTIONS] FILE...");
    c.summary = QStringLiteral("Print each file's SHA-1 digest as sha1sum does");
    c.description = QStringLiteral(
        "Print the SHA-1 digest of each FILE followed by two spaces and its name, the format "
        "of sha1sum. A file that cannot be read is reported and makes the exit status 1; the "
        "others are still printed. Progress is drawn on standard error when it is a terminal.");
    c.arguments = { { QStringLiteral("FILE..."), QStringLiteral("The files to digest.") } };
    c.options = { tool::jsonOption() };
    c.minArguments = 1;
    c.maxArguments = -1;
    c.examples = { QStringLiteral("synccore sha1 report.pdf") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
