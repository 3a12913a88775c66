// encrypt: a stored value as the library writes it.

#include "Command.h"

#include "Sync/SyncCore/Crypto.h"

namespace {

int run(const tool::Invocation& in)
{
    tool::out(
        QString::fromLatin1(sync::core::crypto::Encrypt(in.argument(0)).toByteArray().toHex()));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("encrypt");
    c.synopsis = QStringLiteral("TEXT");
    c.summary = QStringLiteral("Encrypt TEXT as a stored value and print it as hex");
    c.description = QStringLiteral(
        "Encrypt TEXT the way the library stores secret values on disk and print the bytes as "
        "hexadecimal digits; 'synccore decrypt' turns them back.");
    c.arguments = { { QStringLiteral("TEXT"), QStringLiteral("The text to encrypt.") } };
    c.minArguments = c.maxArguments = 1;
    c.examples = { QStringLiteral("synccore encrypt 'my secret'") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
