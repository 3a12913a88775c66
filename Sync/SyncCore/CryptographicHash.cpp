#include "Sync/SyncCore/CryptographicHash.h"

#include <QCryptographicHash>
#include <QFile>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {

constexpr qint64 ChunkBytes = 32768;

QString hashFile(QCryptographicHash& hash, const QString& filePath)
{
    QFile file(filePath);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    // One buffer for the whole file; a read error ends the loop like the end of the file.
    QByteArray chunk(ChunkBytes, Qt::Uninitialized);
    for (;;) {
        const qint64 got = file.read(chunk.data(), ChunkBytes);
        if (got <= 0)
            break;
        hash.addData(QByteArrayView(chunk.constData(), got));
    }
    const QString text = QString::fromLatin1(hash.result().toHex());
    hash.reset();
    return text;
}

} // namespace

CryptographicHash::CryptographicHash()
    : sha1(std::make_shared<QCryptographicHash>(QCryptographicHash::Sha1))
    , md5(std::make_shared<QCryptographicHash>(QCryptographicHash::Md5))
{ }

CryptographicHash::~CryptographicHash() = default;

QString CryptographicHash::GenerateHash(QString filePath)
{
    return hashFile(*sha1, filePath);
}

QString CryptographicHash::GenerateHashMD5(QString filePath)
{
    return hashFile(*md5, filePath);
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
