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

using namespace sync::core;

namespace {

void check(bool ok)
{
    if (!ok)
        std::abort();
}

// The payload's head picks key and block length and mode, then comes the key,
// the rest is whole blocks; the table and hardware paths must agree and invert.
void pathsAgree(const QByteArray& bytes)
{
    if (bytes.isEmpty())
        return;
    const uint8_t pick = uint8_t(bytes[0]);
    const int keyBits = 128 + 64 * (pick % 3), B = 16 + 8 * ((pick / 3) % 3);
    const AES::BlockMode mode = (pick & 0x80) ? AES::CBC : AES::ECB;
    const QByteArray key = bytes.mid(1, keyBits / 8).leftJustified(keyBits / 8, '\0');
    const QByteArray payload = bytes.mid(1 + keyBits / 8);
    const auto blocks = static_cast<unsigned long>(payload.size() / B);
    const auto* k = reinterpret_cast<const unsigned char*>(key.constData());
    QByteArray cipher[2], plain[2];
    for (int hw = 0; hw < 2; ++hw) {
        AES enc, dec;
        for (AES* aes : { &enc, &dec }) {
            aes->__TEST_ONLY_UseHardware(hw == 1);
            aes->SetParameters(keyBits, B * 8);
        }
        enc.StartEncryption(k);
        dec.StartDecryption(k);
        cipher[hw] = plain[hw] = QByteArray(payload.size(), '\0');
        enc.Encrypt(reinterpret_cast<const unsigned char*>(payload.constData()),
            reinterpret_cast<unsigned char*>(cipher[hw].data()), blocks, mode);
        dec.Decrypt(reinterpret_cast<const unsigned char*>(cipher[hw].constData()),
            reinterpret_cast<unsigned char*>(plain[hw].data()), blocks, mode);
    }
    check(cipher[0] == cipher[1] && plain[0] == plain[1]);
    check(plain[0].left(qsizetype(blocks) * B) == payload.left(qsizetype(blocks) * B));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArray payload(reinterpret_cast<const char*>(data) + 1, qsizetype(size - 1));
    if (data[0] % 3 == 0) {
        // Whatever the bytes, Decrypt returns (never crashes) and stops at a zero.
        const QString text = crypto::Decrypt(QVariant(payload));
        check(!text.isNull() && !text.contains(QChar(0)));
    } else if (data[0] % 3 == 1) {
        // Encrypt then Decrypt gives the text back, cut at its first zero character.
        const QString text = QString::fromUtf8(payload);
        const QVariant stored = crypto::Encrypt(text);
        const qsizetype size = stored.toByteArray().size(), utf8 = text.toUtf8().size();
        check(size % 16 == 0 && size >= utf8 && size < utf8 + 16);
        check(crypto::Decrypt(stored) == text.left(text.indexOf(QChar(0))));
    } else {
        pathsAgree(payload);
    }
    return 0;
}
