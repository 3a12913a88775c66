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
    const EVP_CIPHER* ciphers[3][2] = { { EVP_aes_128_ecb(), EVP_aes_128_cbc() },
        { EVP_aes_192_ecb(), EVP_aes_192_cbc() }, { EVP_aes_256_ecb(), EVP_aes_256_cbc() } };
    if (key.size() != 16 && key.size() != 24 && key.size() != 32)
        return QByteArray();
    const auto bytes
        = [](const QByteArray& b) { return reinterpret_cast<const unsigned char*>(b.constData()); };
    const unsigned char iv[16] = {};
    QByteArray out(data.size() + 16, '\0');
    auto* o = reinterpret_cast<unsigned char*>(out.data());
    int written = 0, last = 0;
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    const bool ok = EVP_CipherInit_ex(ctx, ciphers[(key.size() - 16) / 8][cbc], nullptr, bytes(key),
                        iv, encrypt ? 1 : 0)
            == 1
        && EVP_CIPHER_CTX_set_padding(ctx, 0) == 1
        && EVP_CipherUpdate(ctx, o, &written, bytes(data), int(data.size())) == 1
        && EVP_CipherFinal_ex(ctx, o + written, &last) == 1;
    EVP_CIPHER_CTX_free(ctx);
    out.resize(ok ? written + last : 0);
    return out;
}

} // namespace opensslref
