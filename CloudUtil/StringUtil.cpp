#include "CloudUtil/StringUtil.h"

#include <QRegularExpression>

namespace Tessaron {
namespace CloudUtil {

const QString kEllipsisText = QStringLiteral("...");
const QString kVariableRegExp = QStringLiteral("\\$\\((\\S+)\\)");

namespace {

// Bound on expansions of one text: a value that refers to itself would
// otherwise grow the text for ever.
constexpr int kMaxVariableReplacements = 4096;

// Writes at most @p room code points of @p s as wide characters; returns how many.
int copyCodePoints(const QString& s, wchar_t* out, int room)
{
    int written = 0;
    const int n = s.size();
    for (int i = 0; i < n && written < room; ++i) {
        char32_t cp = s.at(i).unicode();
        if (QChar::isHighSurrogate(cp) && i + 1 < n && s.at(i + 1).isLowSurrogate()) {
            cp = QChar::surrogateToUcs4(s.at(i), s.at(i + 1));
            ++i;
        }
        out[written++] = wchar_t(cp);
    }
    return written;
}

const QRegularExpression& variableExpression()
{
    // Minimal matching, so that "$(A)$(B)" gives two references rather than one.
    static const QRegularExpression re(
        kVariableRegExp, QRegularExpression::InvertedGreedinessOption);
    return re;
}

} // namespace

QStringToWchar::QStringToWchar(const QString& text)
    : _buffer(new wchar_t[size_t(text.size()) + 1]())
{
    copyCodePoints(text, _buffer.get(), int(text.size()));
}

QStringToWchar::~QStringToWchar() = default;

const wchar_t* QStringToWchar::data() const
{
    return _buffer.get();
}

int StringUtil::QStringToWchar(const QString& s, wchar_t* buf, int bufLen)
{
    if (!buf)
        return int(s.length());
    if (bufLen < 1)
        return 0;
    const int written = copyCodePoints(s, buf, bufLen - 1);
    buf[written] = L'\0';
    return written;
}

void StringUtil::Trim(QStringList& list)
{
    for (QString& s : list)
        s = s.trimmed();
}

int StringUtil::TrimLeft(QString& s, wchar_t c)
{
    // Compared as one 16-bit code unit, as the string stores it.
    const QChar unit { char16_t(c) };
    int start = 0;
    while (start < s.size() && s.at(start) == unit)
        ++start;
    s.remove(0, start);
    return start;
}

int StringUtil::TrimRight(QString& s, wchar_t c)
{
    const QChar unit { char16_t(c) };
    int end = int(s.size());
    while (end > 0 && s.at(end - 1) == unit)
        --end;
    const int removed = int(s.size()) - end;
    s.truncate(end);
    return removed;
}

bool StringUtil::IsTextElided(QString s)
{
    const int index = int(s.lastIndexOf(kEllipsisText));
    return index >= 0 && index == s.length() - 3;
}

bool StringUtil::Divide(
    const QString& text, const QString& separator, QString& left, QString& right, bool trim)
{
    left = QString();
    right = QString();
    if (text.isEmpty())
        return false;
    const int index = int(text.indexOf(separator, 0, Qt::CaseSensitive));
    if (index < 0) {
        left = trim ? text.trimmed() : text;
        return false;
    }
    left = text.left(index);
    right = text.mid(index + 1);
    if (trim) {
        left = left.trimmed();
        right = right.trimmed();
    }
    return true;
}

void StringUtil::AddList(const QStringList& source, QStringList& target, bool caseSensitive)
{
    const Qt::CaseSensitivity cs = caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    for (const QString& s : source) {
        if (!target.contains(s, cs))
            target.append(s);
    }
}

int StringUtil::IndexOf(QString s, const QStringList& list, bool caseSensitive)
{
    const Qt::CaseSensitivity cs = caseSensitive ? Qt::CaseSensitive : Qt::CaseInsensitive;
    for (int i = 0; i < list.size(); ++i) {
        if (list.at(i).compare(s, cs) == 0)
            return i;
    }
    return -1;
}

int StringUtil::ResolveVariables(
    QString& text, const QMap<QString, QString>& values, bool ignoreCase)
{
    const QRegularExpression& re = variableExpression();
    int count = 0;
    qsizetype pos = 0;
    while (count < kMaxVariableReplacements) {
        const QRegularExpressionMatch m = re.match(text, pos);
        if (!m.hasMatch())
            break;
        const qsizetype start = m.capturedStart(0);
        QString value;
        if (GetKeyValue(m.captured(1), values, value, ignoreCase)) {
            text.replace(start, m.capturedLength(0), value);
            ++count;
        }
        pos = start + 1;
    }
    return count;
}

bool StringUtil::GetKeyValue(
    const QString& key, QMap<QString, QString> values, QString& value, bool ignoreCase)
{
    const auto exact = values.constFind(key);
    if (exact != values.constEnd()) {
        value = exact.value();
        return true;
    }
    if (!ignoreCase)
        return false;
    for (auto it = values.constBegin(); it != values.constEnd(); ++it) {
        if (it.key().compare(key, Qt::CaseInsensitive) == 0) {
            value = it.value();
            return true;
        }
    }
    return false;
}

} // namespace CloudUtil
} // namespace Tessaron
