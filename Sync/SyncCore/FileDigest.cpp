#include "Sync/SyncCore/FileDigest_p.h"

#include "platform/Platform.h"

#include <openssl/evp.h>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {

constexpr qint64 ChunkBytes = 32768;

struct DigestContextDeleter
{
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

struct FileCloser
{
    int fd;
    ~FileCloser() { platform::CloseFile(fd); }
};

} // namespace

QByteArray FileDigestHex(const QString& path, DigestAlgorithm algorithm)
{
    const FileCloser file { platform::OpenRegularFileForReading(path) };
    if (file.fd < 0)
        return QByteArray();
    // OpenSSL's EVP picks the processor's SHA instructions where they exist.
    const std::unique_ptr<EVP_MD_CTX, DigestContextDeleter> context(EVP_MD_CTX_new());
    const EVP_MD* type = algorithm == DigestAlgorithm::Sha1 ? EVP_sha1() : EVP_md5();
    if (!context || EVP_DigestInit_ex(context.get(), type, nullptr) != 1)
        return QByteArray();
    // Aligned: the kernel's copy into it is several times slower on some processors if not.
    alignas(64) char chunk[ChunkBytes];
    for (;;) {
        const qint64 got = platform::ReadFile(file.fd, chunk, ChunkBytes);
        if (got == 0)
            break;
        if (got < 0 || EVP_DigestUpdate(context.get(), chunk, size_t(got)) != 1)
            return QByteArray();
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), digest, &length) != 1)
        return QByteArray();
    return QByteArray(reinterpret_cast<const char*>(digest), int(length)).toHex();
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
