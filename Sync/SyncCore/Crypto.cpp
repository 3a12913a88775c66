#include "Sync/SyncCore/Crypto.h"

#include "Sync/SyncCore/AES.h"

#include <QByteArray>

#include <cstring>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {
namespace crypto {

namespace {

// Part of the stored format: values written with another key cannot be read.
const unsigned char AESKey[16] = { 0x3c, 0x91, 0x5e, 0x07, 0xd2, 0x6a, 0xb8, 0x14, 0x4f, 0xe3, 0x29,
    0x70, 0x9b, 0xc5, 0x0d, 0x86 };

constexpr int BlockBytes = 16;

} // namespace

QVariant Encrypt(QString plainText)
{
    AES aes;
    QByteArray input = plainText.toUtf8();
    const qsizetype n = input.size();
    // Zero padding; the first added byte ends the text on the way back.
    if (n % BlockBytes != 0)
        input.append(QByteArray(BlockBytes - n % BlockBytes, '\0'));
    QByteArray output(input.size(), '\0');
    aes.SetParameters(128, 128);
    aes.StartEncryption(AESKey);
    aes.Encrypt(reinterpret_cast<const unsigned char*>(input.constData()),
        reinterpret_cast<unsigned char*>(output.data()),
        static_cast<unsigned long>(input.size() / BlockBytes), AES::CBC);
    return QVariant(output);
}

QString Decrypt(QVariant stored)
{
    AES aes;
    if (stored.typeId() != QMetaType::QByteArray)
        return QString();
    const QByteArray input = stored.toByteArray();
    QByteArray output(input.size(), '\0');
    aes.SetParameters(128, 128);
    aes.StartDecryption(AESKey);
    aes.Decrypt(reinterpret_cast<const unsigned char*>(input.constData()),
        reinterpret_cast<unsigned char*>(output.data()),
        static_cast<unsigned long>(input.size() / BlockBytes), AES::CBC);
    const char* data = output.constData();
    const void* zero = std::memchr(data, 0, size_t(output.size()));
    const qsizetype length = zero ? static_cast<const char*>(zero) - data : output.size();
    // fromUtf8 of an empty run gives "", not a null string: only a wrong type is null.
    return QString::fromUtf8(data, length);
}

} // namespace crypto
} // namespace core
} // namespace sync
} // namespace KvSync_6_0
