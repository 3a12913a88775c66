#pragma once

#include "interfaces/ICryptographicHash.h"
#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <memory>

class QCryptographicHash;

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief SHA-1 and MD5 digests of files, as lower-case hexadecimal text.
 *
 * Files are streamed in 32 KiB chunks and never held in memory whole. A read
 * error part-way is taken as the end of the file (the digest then covers the
 * bytes read so far). Each call leaves its hash state reset, so one object
 * can hash any number of files, one after the other; it must not be used by
 * two threads at once.
 */
class KVSYNCCORE_EXPORT CryptographicHash : public interf::ICryptographicHash
{
    Q_OBJECT

public:
    /// Made without a parent.
    CryptographicHash();
    ~CryptographicHash() override;

    /// SHA-1 of the file: 40 lower-case hex digits, or a null QString when it cannot be opened.
    QString GenerateHash(QString filePath) override;
    /// MD5 of the file: 32 lower-case hex digits, or a null QString when it cannot be opened.
    QString GenerateHashMD5(QString filePath) override;

private:
    std::shared_ptr<QCryptographicHash> sha1;
    std::shared_ptr<QCryptographicHash> md5;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
