#include "Sync/SyncCore/CryptographicHash.h"

#include "Sync/SyncCore/FileDigest_p.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

CryptographicHash::CryptographicHash() = default;

CryptographicHash::~CryptographicHash() = default;

QString CryptographicHash::GenerateHash(QString filePath)
{
    return QString::fromLatin1(FileDigestHex(filePath, DigestAlgorithm::Sha1));
}

QString CryptographicHash::GenerateHashMD5(QString filePath)
{
    return QString::fromLatin1(FileDigestHex(filePath, DigestAlgorithm::Md5));
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
