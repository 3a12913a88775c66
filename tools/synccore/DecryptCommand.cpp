// decrypt: a stored value back to its text.

#include "Command.h"

#include "Sync/SyncCore/Crypto.h"

#include <QRegularExpression>

namespace {

int run(const tool::Invocation& in)
{
    static const QRegularExpression hexBytes(QStringLiteral("^([0-9A-Fa-f]{2})*$"));
    if (!hexBytes.match(in.argument(0)).hasMatch())
        return tool::usageError(
            QStringLiteral("'%1' is not hex bytes (pairs of hexadecimal digits)")
                .arg(in.argument(0)));
    tool::out(
        sync::core::crypto::Decrypt(QVariant(QByteArray::fromHex(in.argument(0).toLatin1()))));
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("decrypt");
    c.synopsis = QStringLiteral("HEX");
    c.summary = QStringLiteral("Decrypt a stored value given as hex and print its text");
    c.description = QStringLiteral(
        "Decrypt a value stored by the library, given as the hexadecimal digits that "
        "'synccore encrypt' prints, and print its text.");
    c.arguments = { { QStringLiteral("HEX"),
        QStringLiteral("The stored bytes as pairs of hexadecimal digits.") } };
    c.minArguments = c.maxArguments = 1;
    c.examples = { QStringLiteral("synccore decrypt \"$(synccore encrypt 'my secret')\"") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
