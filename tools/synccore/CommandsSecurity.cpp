// Security commands: stored-value encryption, file digests, the session token.

#include "Command.h"

#include "Sync/SyncCore/Crypto.h"
#include "Sync/SyncCore/CryptographicHash.h"
#include "Sync/SyncCore/SessionToken.h"

#include <QRegularExpression>

namespace {

/// Prints "<digest>  <file>" per file, like sha1sum; unopenable files are reported and make the exit code 1.
int digestFiles(const QString& command, const QStringList& files,
                QString (sync::core::CryptographicHash::*generate)(QString))
{
    if (files.isEmpty())
        return tool::usageError(QStringLiteral("%1 needs at least one FILE").arg(command));
    sync::core::CryptographicHash hash;
    int rc = 0;
    for (const QString& file : files) {
        const QString digest = (hash.*generate)(file);
        if (digest.isNull())
            rc = tool::failure(QStringLiteral("%1: cannot open %2").arg(command, file));
        else
            tool::out(QStringLiteral("%1  %2").arg(digest, file));
    }
    return rc;
}

} // namespace

SYNCCORE_COMMAND("encrypt", "TEXT", "Encrypt TEXT as a stored value and print its bytes as hex",
                 [](const QStringList& args) {
    if (args.size() != 1)
        return tool::usageError(QStringLiteral("encrypt takes exactly one TEXT"));
    tool::out(QString::fromLatin1(sync::core::crypto::Encrypt(args[0]).toByteArray().toHex()));
    return 0;
});

SYNCCORE_COMMAND("decrypt", "HEX", "Decrypt a stored value given as hex bytes and print its text",
                 [](const QStringList& args) {
    if (args.size() != 1)
        return tool::usageError(QStringLiteral("decrypt takes exactly one HEX"));
    static const QRegularExpression hexBytes(QStringLiteral("^([0-9A-Fa-f]{2})*$"));
    if (!hexBytes.match(args[0]).hasMatch())
        return tool::usageError(QStringLiteral("decrypt: HEX must be pairs of hexadecimal digits"));
    tool::out(sync::core::crypto::Decrypt(QVariant(QByteArray::fromHex(args[0].toLatin1()))));
    return 0;
});

SYNCCORE_COMMAND("sha1", "FILE...", "Print the SHA-1 digest of each FILE",
                 [](const QStringList& args) {
    return digestFiles(QStringLiteral("sha1"), args, &sync::core::CryptographicHash::GenerateHash);
});

SYNCCORE_COMMAND("session-token", "", "Print this process's session token (login name and process number)",
                 [](const QStringList& args) {
    if (!args.isEmpty())
        return tool::usageError(QStringLiteral("session-token takes no arguments"));
    tool::out(sync::core::GetSessionAndUserUniqueToken());
    return 0;
});
