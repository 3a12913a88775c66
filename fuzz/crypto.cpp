// Fuzzes stored-value decryption with arbitrary bytes and the encrypt/decrypt
// round trip of arbitrary texts. (The table and hardware AES paths are checked
// against each other and OpenSSL with random keys and texts in aestest.)
//
// The first input byte picks the case; the rest is the payload.

#include "Sync/SyncCore/Crypto.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <cstdint>
#include <cstdlib>

using namespace sync::core;

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray payload(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    if (data[0] % 2 == 0) {
        // Whatever the bytes, Decrypt returns (never crashes) and stops at a zero.
        const QString text = crypto::Decrypt(QVariant(payload));
        check(!text.isNull() && !text.contains(QChar(0)));
    } else {
        // Encrypt then Decrypt gives the text back, cut at its first zero character.
        const QString text = QString::fromUtf8(payload);
        const QVariant stored = crypto::Encrypt(text);
        const qsizetype size = stored.toByteArray().size(), utf8 = text.toUtf8().size();
        check(size % 16 == 0 && size >= utf8 && size < utf8 + 16);
        check(crypto::Decrypt(stored) == text.left(text.indexOf(QChar(0))));
    }
    return 0;
}
