// Fuzzes stored-value decryption with arbitrary bytes, the encrypt/decrypt
// round trip of arbitrary texts, and the AES paths against each other.
//
// The first input byte picks the case; the rest is the payload.

#include "Sync/SyncCore/AES.h"
#include "Sync/SyncCore/Crypto.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

// Whatever the bytes, Decrypt returns (never crashes) and stops at a zero.
void decryptArbitrary(const QByteArray& bytes)
{
    const QString text = sync::core::crypto::Decrypt(QVariant(bytes));
    check(!text.isNull());
    check(!text.contains(QChar(0)));
}

// Encrypt then Decrypt gives the text back, cut at its first zero character.
void roundTrip(const QByteArray& bytes)
{
    const QString text = QString::fromUtf8(bytes);
    const QVariant stored = sync::core::crypto::Encrypt(text);
    const QByteArray cipher = stored.toByteArray();
    check(cipher.size() % 16 == 0);
    const qsizetype utf8 = text.toUtf8().size();
    check(cipher.size() >= utf8 && cipher.size() < utf8 + 16);
    const qsizetype zero = text.indexOf(QChar(0));
    check(sync::core::crypto::Decrypt(stored) == (zero < 0 ? text : text.left(zero)));
}

// The payload's head is the key (length picked by its first byte), the rest
// whole blocks; the table and hardware paths must agree and invert.
void pathsAgree(const QByteArray& bytes)
{
    if (bytes.isEmpty())
        return;
    const int keyBits = 128 + 64 * (uint8_t(bytes[0]) % 3);
    const int blockBits = 128 + 64 * ((uint8_t(bytes[0]) / 3) % 3);
    const AES::BlockMode mode = (uint8_t(bytes[0]) & 0x80) ? AES::CBC : AES::ECB;
    const QByteArray key = bytes.mid(1, keyBits / 8).leftJustified(keyBits / 8, '\0');
    const QByteArray payload = bytes.mid(1 + keyBits / 8);
    const int B = blockBits / 8;
    const unsigned long blocks = static_cast<unsigned long>(payload.size() / B);
    const auto* k = reinterpret_cast<const unsigned char*>(key.constData());
    const auto* in = reinterpret_cast<const unsigned char*>(payload.constData());

    QByteArray cipher[2], plain[2];
    for (int hw = 0; hw < 2; ++hw) {
        AES enc;
        enc.__TEST_ONLY_UseHardware(hw == 1);
        enc.SetParameters(keyBits, blockBits);
        enc.StartEncryption(k);
        cipher[hw] = QByteArray(payload.size(), '\0');
        enc.Encrypt(in, reinterpret_cast<unsigned char*>(cipher[hw].data()), blocks, mode);
        AES dec;
        dec.__TEST_ONLY_UseHardware(hw == 1);
        dec.SetParameters(keyBits, blockBits);
        dec.StartDecryption(k);
        plain[hw] = QByteArray(payload.size(), '\0');
        dec.Decrypt(reinterpret_cast<const unsigned char*>(cipher[hw].constData()),
            reinterpret_cast<unsigned char*>(plain[hw].data()), blocks, mode);
    }
    check(cipher[0] == cipher[1]);
    check(plain[0] == plain[1]);
    const qsizetype whole = qsizetype(blocks) * B;
    check(std::memcmp(plain[0].constData(), payload.constData(), size_t(whole)) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray payload(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    switch (data[0] % 3) {
    case 0:
        decryptArbitrary(payload);
        break;
    case 1:
        roundTrip(payload);
        break;
    default:
        pathsAgree(payload);
        break;
    }
    return 0;
}
