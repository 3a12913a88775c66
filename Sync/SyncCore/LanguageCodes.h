#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QString>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief The client's two-letter code of the system locale's language.
 *
 * One of "en", "de", "es", "fr", "it", "ja", "ko", "zh": the first two
 * characters of QLocale::system().name() when they are one of these
 * (case-sensitively), otherwise "en". Any thread may call it.
 */
KVSYNCCORE_EXPORT QString TwoLetterISOCode();

/**
 * @brief The client's three-letter code paired with TwoLetterISOCode().
 *
 * One of "enu", "deu", "esp", "fra", "ita", "jpn", "kor", "chs". Kept on
 * purpose: these are the client's own codes, not ISO 639-2 ("enu", "esp" and
 * "chs" have no ISO counterpart), and every Chinese locale gives "chs".
 */
KVSYNCCORE_EXPORT QString ThreeLetterISOCode();

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
