#pragma once

// OpenSSL's AES as the reference that the security tests compare against.
// Test-only: the library itself never links OpenSSL.

#include <QByteArray>

#include <openssl/evp.h>

namespace opensslref {

/// AES in ECB or CBC (IV all zero), no padding; @p data must be whole 16-byte blocks.
/// Returns an empty array when OpenSSL refuses.
inline QByteArray aes(const QByteArray& key, const QByteArray& data, bool cbc, bool encrypt)
{
    const EVP_CIPHER* cipher = nullptr;
    switch (key.size()) {
    case 16:
        cipher = cbc ? EVP_aes_128_cbc() : EVP_aes_128_ecb();
        break;
    case 24:
        cipher = cbc ? EVP_aes_192_cbc() : EVP_aes_192_ecb();
        break;
    case 32:
        cipher = cbc ? EVP_aes_256_cbc() : EVP_aes_256_ecb();
        break;
    default:
        return QByteArray();
    }
    const unsigned char iv[16] = {};
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    QByteArray out(data.size() + 16, '\0');
    int written = 0;
    int last = 0;
    const bool ok
        = EVP_CipherInit_ex(ctx, cipher, nullptr,
              reinterpret_cast<const unsigned char*>(key.constData()), iv, encrypt ? 1 : 0)
            == 1
        && EVP_CIPHER_CTX_set_padding(ctx, 0) == 1
        && EVP_CipherUpdate(ctx, reinterpret_cast<unsigned char*>(out.data()), &written,
               reinterpret_cast<const unsigned char*>(data.constData()), int(data.size()))
            == 1
        && EVP_CipherFinal_ex(ctx, reinterpret_cast<unsigned char*>(out.data()) + written, &last)
            == 1;
    EVP_CIPHER_CTX_free(ctx);
    if (!ok)
        return QByteArray();
    out.resize(written + last);
    return out;
}

} // namespace opensslref
