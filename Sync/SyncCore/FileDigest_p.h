#pragma once

// Digests of file contents for GeneralUtil's checksums and CryptographicHash. Not installed.

#include "interfaces/SyncNamespace.h"

#include <QByteArray>
#include <QString>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

enum class DigestAlgorithm { Md5, Sha1 };

/**
 * Lower-case hexadecimal digest of the bytes of the file at @p path, read in 32 KiB
 * chunks through one buffer, so memory stays flat whatever the file's size.
 *
 * A null array when the path is not a regular file after links (missing, a folder, a
 * FIFO, a device: never blocks on one), cannot be opened, or a read fails part-way:
 * never a digest of a part of the file. Safe from any thread.
 */
QByteArray FileDigestHex(const QString& path, DigestAlgorithm algorithm);

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
