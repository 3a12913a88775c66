#include "Sync/SyncCore/LanguageCodes.h"

#include <QLocale>
#include <QMap>
#include <QSet>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {

// The eight languages of the client. The three-letter codes are the client's
// own, not ISO 639-2, and must be reproduced exactly.
const QSet<QString> _twoLetterISOCodeSet = {
    QStringLiteral("en"),
    QStringLiteral("de"),
    QStringLiteral("es"),
    QStringLiteral("fr"),
    QStringLiteral("it"),
    QStringLiteral("ja"),
    QStringLiteral("ko"),
    QStringLiteral("zh"),
};

const QMap<QString, QString> _threeLetterISOCodeMap = {
    { QStringLiteral("en"), QStringLiteral("enu") },
    { QStringLiteral("de"), QStringLiteral("deu") },
    { QStringLiteral("es"), QStringLiteral("esp") },
    { QStringLiteral("fr"), QStringLiteral("fra") },
    { QStringLiteral("it"), QStringLiteral("ita") },
    { QStringLiteral("ja"), QStringLiteral("jpn") },
    { QStringLiteral("ko"), QStringLiteral("kor") },
    { QStringLiteral("zh"), QStringLiteral("chs") },
};

} // namespace

QString TwoLetterISOCode()
{
    const QString code = QLocale::system().name().left(2);
    return _twoLetterISOCodeSet.contains(code) ? code : QStringLiteral("en");
}

QString ThreeLetterISOCode()
{
    return _threeLetterISOCodeMap.value(TwoLetterISOCode());
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
