#pragma once

#include "interfaces/ICryptographicHash.h"
#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief SHA-1 and MD5 digests of files, as lower-case hexadecimal text.
 *
 * Files are streamed in 32 KiB chunks and never held in memory whole; the digests
 * come from OpenSSL, which uses the processor's SHA instructions where present. A
 * path that is not a regular file after links (a folder, a FIFO, a device) gives the
 * null result at once, and so does a read error part-way: never the digest of a part
 * of the file. The object keeps no state between calls.
 */
class KVSYNCCORE_EXPORT CryptographicHash : public interf::ICryptographicHash
{
    Q_OBJECT

public:
    /// Made without a parent.
    CryptographicHash();
    ~CryptographicHash() override;

    /// SHA-1 of the file: 40 lower-case hex digits, or a null QString when it cannot be read.
    QString GenerateHash(QString filePath) override;
    /// MD5 of the file: 32 lower-case hex digits, or a null QString when it cannot be read.
    QString GenerateHashMD5(QString filePath) override;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
