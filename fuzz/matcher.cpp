// FileNameMatcher against plain QRegularExpression matching of each piece.
//
// Input: the pattern string, a NUL byte, then names separated by NUL bytes.
// Each name is tried as UTF-8 and, byte pairs taken as code units, as raw
// UTF-16 (so lone surrogates and any control character reach the matcher).
// The matcher must give the same answer as the pieces compiled on their own.

#include "Sync/SyncCore/FileNameMatcher.h"

#include <QRegularExpression>
#include <QStringList>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 1024)
        return 0;
    QList<QByteArray> parts
        = QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)).split('\0');
    const QString patterns = QString::fromUtf8(parts.takeFirst());
    QList<QRegularExpression> pieces;
    for (const QString& piece : patterns.split(QLatin1Char(';')))
        pieces.append(QRegularExpression(piece, QRegularExpression::CaseInsensitiveOption));
    const sync::core::FileNameMatcher matcher(QString(), patterns);

    QStringList names
        = { "", "a", "thumbs.db", "THUMBS.DB", "x.bak", "x.bak\n", "\n", "a.0001.kqz", ".DS_Store",
              "K", "\u212a", "s", "\u017f", "\xf0\x9f\x98\x80.bak", "\xe6\x97\xa5.log", "a b$" };
    for (const QByteArray& part : parts)
        names << QString::fromUtf8(part)
              << QString(reinterpret_cast<const QChar*>(part.constData()), part.size() / 2);
    for (const QString& name : names) {
        bool expected = false;
        for (const QRegularExpression& re : pieces)
            expected = expected || (re.isValid() && re.match(name).hasMatch());
        if (matcher.Match(name) != expected) {
            std::fprintf(stderr, "pattern '%s', name '%s' (%lld units): pieces say %d\n",
                qPrintable(patterns), qPrintable(name), static_cast<long long>(name.size()),
                int(expected));
            std::abort();
        }
    }
    return 0;
}
