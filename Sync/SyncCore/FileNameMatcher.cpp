#include "Sync/SyncCore/FileNameMatcher.h"
#include "Sync/SyncCore/Logger_p.h"

#include <QRegularExpression>
#include <QSettings>
#include <QStringList>

#include <log4cplus/loggingmacros.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

const QString uploadDownloadExclusionsRegex = QStringLiteral(
    "\\.[0-9]{4}\\.kqz$;\\.bk[1-9]{1}$;\\.sv\\$$;\\.bak$;\\.lkz$;\\.lkz2$;\\.pcp$;\\.err$;"
    "\\.log$;\\.lnk$;^thumbs\\.db$;^desktop\\.ini$;^\\.DS_Store$");

namespace {

SYNCCORE_LOGGER(matcherLogger, "SyncCore")

// The sync engine asks about every local and remote name, so Match is hot.
// Going through QRegularExpression costs a few heap allocations per call
// (match object, PCRE2 match data), and there are thirteen patterns. Most
// patterns in practice have a fixed length: literals, "." and simple classes,
// with or without anchors. Such a piece is decided here by comparing code
// units, as long as every unit it needs to look at is printable ASCII: there
// the caseless comparison is plain ASCII case, one unit is one character, and
// no newline can make "$" match early. Whenever a piece would have to look at
// any other unit (a Kelvin sign may match "k", a surrogate pair is one
// character, "$" matches before a final newline), the name goes to
// QRegularExpression instead, so the answers never differ.

bool isAsciiLetter(char16_t c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool isAsciiAlnum(char16_t c)
{
    return isAsciiLetter(c) || (c >= u'0' && c <= u'9');
}

bool isPrintableAscii(char16_t c)
{
    return c >= 0x20 && c <= 0x7e;
}

// Printable punctuation that stands for itself outside a character class.
bool isPlainPunctuation(char16_t c)
{
    static const char plain[] = " !\"#%&',-/:;<=>@_`~";
    return c != 0 && c < 0x80 && std::strchr(plain, char(c)) != nullptr;
}

// A set of printable ASCII characters, one bit each.
class AsciiSet
{
public:
    bool contains(char16_t c) const { return (_bits[c >> 6] >> (c & 63)) & 1u; }

    void add(char16_t c) { _bits[c >> 6] |= std::uint64_t(1) << (c & 63); }

    // Adds @p c as a caseless pattern character: a letter with its other case.
    void addCaseless(char16_t c)
    {
        add(c);
        if (c >= u'a' && c <= u'z')
            add(c - u'a' + u'A');
        else if (c >= u'A' && c <= u'Z')
            add(c - u'A' + u'a');
    }

    static AsciiSet allPrintable()
    {
        AsciiSet set;
        for (char16_t c = 0x20; c <= 0x7e; ++c)
            set.add(c);
        return set;
    }

private:
    std::array<std::uint64_t, 2> _bits {};
};

enum class Answer { No, Yes, Unknown };

// A piece of fixed length: one character set per position, optionally
// anchored at either end.
struct LiteralPiece
{
    bool anchoredStart = false;
    bool anchoredEnd = false;
    std::vector<AsciiSet> positions;

    Answer decide(const char16_t* s, qsizetype size) const
    {
        const qsizetype length = qsizetype(positions.size());
        // A name of fewer code units has fewer characters still.
        if (size < length)
            return Answer::No;
        if (anchoredEnd) {
            if (size == 0)
                return Answer::Yes;
            // Compared from the end, so each unit's position counts only
            // units already known to be single ASCII characters. A printable
            // last unit also rules out "$" before a final newline.
            if (!isPrintableAscii(s[size - 1]))
                return Answer::Unknown;
            for (qsizetype k = 1; k <= length; ++k) {
                const char16_t c = s[size - k];
                if (!isPrintableAscii(c))
                    return Answer::Unknown;
                if (!positions[size_t(length - k)].contains(c))
                    return Answer::No;
            }
            return anchoredStart && size != length ? Answer::No : Answer::Yes;
        }
        if (anchoredStart) {
            for (qsizetype k = 0; k < length; ++k) {
                const char16_t c = s[k];
                if (!isPrintableAscii(c))
                    return Answer::Unknown;
                if (!positions[size_t(k)].contains(c))
                    return Answer::No;
            }
            return Answer::Yes;
        }
        if (length == 0)
            return Answer::Yes;
        // Anywhere in the name: every unit may be looked at.
        for (qsizetype k = 0; k < size; ++k) {
            if (!isPrintableAscii(s[k]))
                return Answer::Unknown;
        }
        for (qsizetype start = size - length; start >= 0; --start) {
            qsizetype k = length - 1;
            while (k >= 0 && positions[size_t(k)].contains(s[start + k]))
                --k;
            if (k < 0)
                return Answer::Yes;
        }
        return Answer::No;
    }
};

constexpr qsizetype maxLiteralLength = 256;

// Reads one character of a class ("[...]"): an ASCII letter or digit, or an
// escaped punctuation character.
bool readClassCharacter(const QString& piece, qsizetype& i, char16_t& c)
{
    const qsizetype n = piece.size();
    if (i >= n)
        return false;
    c = piece[i].unicode();
    if (isAsciiAlnum(c)) {
        ++i;
        return true;
    }
    if (c == u'\\' && i + 1 < n) {
        c = piece[i + 1].unicode();
        if (isPrintableAscii(c) && !isAsciiAlnum(c)) {
            i += 2;
            return true;
        }
    }
    return false;
}

// The fixed-length form of @p piece, or nothing when the piece uses any
// syntax beyond literals, ".", simple classes, "{n}" and the two anchors.
std::optional<LiteralPiece> parseLiteralPiece(const QString& piece)
{
    LiteralPiece result;
    const qsizetype n = piece.size();
    qsizetype i = 0;
    if (i < n && piece[i] == QLatin1Char('^')) {
        result.anchoredStart = true;
        ++i;
    }
    while (i < n) {
        const char16_t c = piece[i].unicode();
        AsciiSet set;
        if (c == u'$') {
            if (i != n - 1)
                return std::nullopt;
            result.anchoredEnd = true;
            break;
        } else if (c == u'\\') {
            if (i + 1 >= n)
                return std::nullopt;
            const char16_t escaped = piece[i + 1].unicode();
            if (!isPrintableAscii(escaped) || isAsciiAlnum(escaped))
                return std::nullopt;
            set.add(escaped);
            i += 2;
        } else if (c == u'.') {
            set = AsciiSet::allPrintable();
            ++i;
        } else if (c == u'[') {
            ++i;
            bool empty = true;
            while (i < n && piece[i] != QLatin1Char(']')) {
                char16_t low = 0;
                if (!readClassCharacter(piece, i, low))
                    return std::nullopt;
                char16_t high = low;
                if (i + 1 < n && piece[i] == QLatin1Char('-') && piece[i + 1] != QLatin1Char(']')) {
                    ++i;
                    if (!readClassCharacter(piece, i, high) || high < low)
                        return std::nullopt;
                }
                for (char16_t x = low; x <= high; ++x)
                    set.addCaseless(x);
                empty = false;
            }
            if (i >= n || empty)
                return std::nullopt;
            ++i;
        } else if (isAsciiAlnum(c) || isPlainPunctuation(c)) {
            set.addCaseless(c);
            ++i;
        } else {
            return std::nullopt;
        }

        qsizetype repeat = 1;
        if (i < n && piece[i] == QLatin1Char('{')) {
            qsizetype j = i + 1;
            qsizetype count = 0;
            while (j < n && j - i <= 3 && piece[j] >= QLatin1Char('0')
                && piece[j] <= QLatin1Char('9')) {
                count = count * 10 + (piece[j].unicode() - u'0');
                ++j;
            }
            if (j == i + 1 || j >= n || piece[j] != QLatin1Char('}'))
                return std::nullopt;
            repeat = count;
            i = j + 1;
        }
        if (qsizetype(result.positions.size()) + repeat > maxLiteralLength)
            return std::nullopt;
        result.positions.insert(result.positions.end(), size_t(repeat), set);
    }
    return result;
}

// False for a lone surrogate, which no expression ever matches.
bool isWellFormedUtf16(const char16_t* s, qsizetype size)
{
    for (qsizetype i = 0; i < size; ++i) {
        if ((s[i] & 0xf800) != 0xd800)
            continue;
        if (s[i] >= 0xdc00 || i + 1 == size || (s[i + 1] & 0xfc00) != 0xdc00)
            return false;
        ++i;
    }
    return true;
}

} // namespace

struct FileNameMatcher::Plan
{
    /// Pieces of fixed length, decided here for most names.
    std::vector<LiteralPiece> literalPieces;
    /// The same pieces as one alternation, for names they cannot decide.
    QRegularExpression literalAlternation;
    /// Valid pieces that only the regular-expression engine can decide.
    std::vector<std::shared_ptr<const QRegularExpression>> otherPieces;
};

FileNameMatcher::FileNameMatcher(QString settingsKey, QString defaultPatterns)
{
    QString patterns = defaultPatterns;
    // QSettings warns on stderr about an empty key; there is nothing to read under it.
    if (!settingsKey.isEmpty()) {
        const QSettings settings(QSettings::NativeFormat, QSettings::UserScope,
            QStringLiteral("Tessaron"), QStringLiteral("Tessaron Sync"));
        patterns = settings.value(settingsKey, defaultPatterns).toString();
    }

    auto plan = std::make_shared<Plan>();
    QStringList literalSources;
    // Empty pieces are kept: an empty expression matches every name, which is
    // how a setting ending in ";" has always behaved.
    const QStringList pieces
        = patterns.split(QLatin1Char(';'), Qt::KeepEmptyParts, Qt::CaseSensitive);
    for (const QString& piece : pieces) {
        auto expression = std::make_shared<QRegularExpression>(
            piece, QRegularExpression::CaseInsensitiveOption);
        if (!expression->isValid()) {
            LOG4CPLUS_ERROR(matcherLogger(),
                QStringLiteral("Exclusion pattern '%0' is not a valid regular expression "
                               "(%1 at offset %2); it never matches")
                    .arg(piece, expression->errorString(),
                        QString::number(expression->patternErrorOffset()))
                    .toStdString());
        } else {
            // Compiled (and JIT-compiled) here, while only this thread sees
            // the expression: from now on matching only reads it.
            expression->optimize();
            if (std::optional<LiteralPiece> literal = parseLiteralPiece(piece)) {
                plan->literalPieces.push_back(std::move(*literal));
                literalSources.append(piece);
            } else {
                plan->otherPieces.push_back(std::move(expression));
            }
        }
    }
    if (!literalSources.isEmpty()) {
        // The literal pieces hold no groups or back-references, so wrapping
        // each in a group and joining them keeps every piece's meaning.
        plan->literalAlternation.setPattern(
            QStringLiteral("(?:%1)").arg(literalSources.join(QStringLiteral(")|(?:"))));
        plan->literalAlternation.setPatternOptions(QRegularExpression::CaseInsensitiveOption);
        plan->literalAlternation.optimize();
    }
    _plan = std::move(plan);
}

FileNameMatcher::~FileNameMatcher() = default;
FileNameMatcher::FileNameMatcher(const FileNameMatcher&) = default;
FileNameMatcher& FileNameMatcher::operator=(const FileNameMatcher&) = default;

bool FileNameMatcher::Match(const QString& name) const
{
    const Plan& plan = *_plan;
    // constData(), not utf16(): utf16() reallocates a string made with
    // fromRawData or a literal to terminate it, writing to a shared name.
    const char16_t* s = reinterpret_cast<const char16_t*>(name.constData());
    const qsizetype size = name.size();
    bool undecided = false;
    for (const LiteralPiece& piece : plan.literalPieces) {
        switch (piece.decide(s, size)) {
        case Answer::Yes:
            // QRegularExpression refuses a malformed name outright; agree with it.
            return isWellFormedUtf16(s, size);
        case Answer::Unknown:
            undecided = true;
            break;
        case Answer::No:
            break;
        }
    }
    if (undecided && plan.literalAlternation.match(name).hasMatch())
        return true;
    for (const auto& expression : plan.otherPieces) {
        if (expression->match(name).hasMatch())
            return true;
    }
    return false;
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
