#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QString>
#include <QVariant>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {
namespace crypto {

/**
 * @brief Turns a text into opaque bytes for storage (for example in the settings store).
 *
 * The result is a QVariant holding a QByteArray: the UTF-8 text, zero-padded
 * to a multiple of 16 bytes (no padding when it already is one, so "" gives
 * an empty array), encrypted with AES-128 in CBC mode under a fixed key
 * compiled into the library and an all-zero initialisation vector. There is
 * no header, length or padding count.
 *
 * Kept on purpose: the same text always gives the same bytes, and the key
 * and layout never change, because values written by one build must read
 * back in another.
 *
 * May be called from any thread.
 */
KVSYNCCORE_EXPORT QVariant Encrypt(QString plainText);

/**
 * @brief Reads back a value made by Encrypt().
 *
 * Returns the decrypted bytes as UTF-8 up to the first zero byte (or the
 * end). A variant that does not hold a QByteArray gives a null QString;
 * nothing else is checked: bytes made with another key come back as
 * arbitrary text, and a partial last block is ignored. A text that held a
 * zero character comes back cut at it.
 *
 * May be called from any thread.
 */
KVSYNCCORE_EXPORT QString Decrypt(QVariant stored);

} // namespace crypto
} // namespace core
} // namespace sync
} // namespace KvSync_6_0
