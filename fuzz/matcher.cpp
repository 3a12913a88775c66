// FileNameMatcher against plain QRegularExpression matching of each piece.
//
// Input: the pattern string, a NUL byte, then names separated by NUL bytes.
// Each name is tried as UTF-8 and, byte pairs taken as code units, as raw
// UTF-16 (so lone surrogates and any control character reach the matcher).
// The matcher must give the same answer as the pieces compiled on their own.

#include "Sync/SyncCore/FileNameMatcher.h"

#include <QByteArray>
#include <QList>
#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

bool referenceMatch(const QList<QRegularExpression>& pieces, const QString& name)
{
    for (const QRegularExpression& re : pieces) {
        if (re.isValid() && re.match(name).hasMatch())
            return true;
    }
    return false;
}

void check(const sync::core::FileNameMatcher& matcher, const QList<QRegularExpression>& pieces,
           const QString& patterns, const QString& name)
{
    const bool expected = referenceMatch(pieces, name);
    if (matcher.Match(name) != expected) {
        std::fprintf(stderr, "pattern '%s', name '%s' (%lld units): matcher says %d, pieces say %d\n",
                     patterns.toUtf8().constData(), name.toUtf8().constData(),
                     static_cast<long long>(name.size()), int(!expected), int(expected));
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 1024)
        return 0;
    const QByteArray input(reinterpret_cast<const char*>(data), qsizetype(size));
    QList<QByteArray> parts = input.split('\0');
    const QString patterns = QString::fromUtf8(parts.takeFirst());

    QList<QRegularExpression> pieces;
    for (const QString& piece : patterns.split(QLatin1Char(';'), Qt::KeepEmptyParts))
        pieces.append(QRegularExpression(piece, QRegularExpression::CaseInsensitiveOption));
    const sync::core::FileNameMatcher matcher(QString(), patterns);

    static const char* const fixedNames[] = {
        "", "a", "thumbs.db", "THUMBS.DB", "x.bak", "x.bak\n", "\n", "a.0001.kqz", ".DS_Store",
        "K", "\xe2\x84\xaa", "s", "\xc5\xbf", "\xf0\x9f\x98\x80.bak", "\xe6\x97\xa5.log", "a b$",
    };
    for (const char* name : fixedNames)
        check(matcher, pieces, patterns, QString::fromUtf8(name));
    for (const QByteArray& part : parts) {
        check(matcher, pieces, patterns, QString::fromUtf8(part));
        check(matcher, pieces, patterns,
              QString(reinterpret_cast<const QChar*>(part.constData()), part.size() / 2));
    }
    return 0;
}
