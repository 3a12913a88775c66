// Path algebra: normalising path text and relating paths to each other.

#include "CloudUtil/GeneralUtil.h"
#include "CloudUtil/StringUtil.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

namespace Tessaron {
namespace CloudUtil {

const QString GeneralUtil::kUncPathPrefixFrontSlashes = QStringLiteral("//");
const QString GeneralUtil::kInvalidFileNameChars = QStringLiteral("\\/:*?\"<>|");

namespace {

// A first ':' this far in or further marks a URL ("abc://x") rather than a
// drive ("C:") or a resource (":/x").
constexpr qsizetype kUrlColonPosition = 2;

bool isUrlLike(const QString& path)
{
    return path.indexOf(QLatin1Char(':')) >= kUrlColonPosition;
}

bool isRoot(const QString& cleanPath)
{
    return QFileInfo(cleanPath).isRoot();
}

// The drive or network prefix that GetCommonParentPath() compares and puts
// back: "//", a drive such as "C:", or "". A drive is a URL scheme followed by
// its ':' (a letter, then letters, digits, '+', '-' or '.'), which is a single
// letter unless cleaning uncovered a longer one (".:/../xy:z"). It is taken
// from the text as written rather than through QUrl, which lower-cases schemes.
QString commonPathPrefix(const QString& cleanPath)
{
    if (GeneralUtil::IsUNCPath(cleanPath))
        return GeneralUtil::kUncPathPrefixFrontSlashes;
    const qsizetype colon = cleanPath.indexOf(QLatin1Char(':'));
    if (colon < 1)
        return QString();
    for (qsizetype i = 0; i < colon; ++i) {
        const char16_t c = cleanPath.at(i).unicode();
        const bool letter = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
        const bool other = (c >= u'0' && c <= u'9') || c == u'+' || c == u'-' || c == u'.';
        if (!letter && (i == 0 || !other))
            return QString();
    }
    return cleanPath.left(colon + 1);
}

QStringList components(const QString& cleanPath, qsizetype skip)
{
    return GeneralUtil::CleanPath(cleanPath.mid(skip)).split(QLatin1Char('/'), Qt::SkipEmptyParts);
}

// The folder that relative paths are taken against, cleaned.
QString baseFolder(const QString& base, bool baseIsFile)
{
    QFileInfo info(base);
    // Asked for its side effect of refreshing the cached information; the
    // answer does not matter, base need not exist.
    info.refresh();
    (void)info.exists();
    return QDir::cleanPath(baseIsFile ? info.absolutePath() : base);
}

} // namespace

QString GeneralUtil::CleanPath(const QString& path)
{
    if (path.isEmpty())
        return path;
    if (isUrlLike(path)) {
        QString url = path;
        url.replace(QLatin1Char('\\'), QLatin1Char('/'));
        return url;
    }
    QString clean = QDir::cleanPath(path.trimmed());
    // Only a result that ends in '/' can change, so the root test (which
    // builds a QFileInfo) is skipped for all the others.
    if (clean.endsWith(QLatin1Char('/')) && !isRoot(clean))
        StringUtil::TrimRight(clean, L'/');
    return clean;
}

bool GeneralUtil::AssertCleanPath(QString)
{
    return true;
}

bool GeneralUtil::AssertCleanPath(const QStringList&)
{
    return true;
}

QString GeneralUtil::RelativeToAbsolutePath(
    const QString& path, const QString& base, bool baseIsFile)
{
    if (!QDir::isRelativePath(path))
        return QDir::cleanPath(path);
    const QString folder = baseFolder(base, baseIsFile);
    return QDir::cleanPath(QStringLiteral("%1/%2").arg(folder, path));
}

QString GeneralUtil::AbsoluteToRelativePath(
    const QString& path, const QString& base, bool baseIsFile)
{
    if (QDir::isRelativePath(path))
        return QDir::cleanPath(path);
    const QDir folder(baseFolder(base, baseIsFile));
    return QDir::cleanPath(folder.relativeFilePath(path));
}

bool GeneralUtil::IsParentPath(const QString& parent, const QString& child)
{
    QString p = CleanPath(parent);
    if (isRoot(p))
        p.chop(1);
    const QString c = CleanPath(child);
    return p.size() < c.size() && c.startsWith(p, Qt::CaseInsensitive)
        && c.at(p.size()) == QLatin1Char('/');
}

bool GeneralUtil::IsParentOrSamePath(const QString& parent, const QString& child)
{
    if (IsParentPath(parent, child))
        return true;
    return CleanPath(parent).compare(CleanPath(child), Qt::CaseInsensitive) == 0;
}

QString GeneralUtil::GetCommonParentPath(const QString& path1, const QString& path2)
{
    if (path1.isEmpty() || path2.isEmpty())
        return QString();
    if (isUrlLike(path1) || isUrlLike(path2))
        return QString();

    const QString c1 = CleanPath(path1);
    const QString c2 = CleanPath(path2);
    const bool unc1 = IsUNCPath(c1);
    const QString prefix1 = commonPathPrefix(c1);
    const QString prefix2 = commonPathPrefix(c2);

    qsizetype skip1 = 0;
    if (!prefix1.isEmpty()) {
        if (prefix1.compare(prefix2, Qt::CaseInsensitive) != 0)
            return QString();
        skip1 = prefix1.size();
    }

    QStringList list1 = components(c1, skip1);
    QStringList list2 = components(c2, prefix2.size());
    if (list1.size() > list2.size())
        list1.swap(list2);

    QString result;
    for (qsizetype i = 0; i < list1.size(); ++i) {
        if (list1.at(i).compare(list2.at(i), Qt::CaseInsensitive) != 0)
            break;
        if (!result.isEmpty())
            result += QLatin1Char('/');
        result += list1.at(i);
    }

    if ((unc1 && result.isEmpty()) || prefix1.isEmpty()) {
        // No prefix to put back. Plain absolute paths stay without their
        // leading '/', which callers rely on.
    } else {
        if (!unc1)
            result.prepend(QLatin1Char('/'));
        result.prepend(prefix1);
    }
    return result.isEmpty() ? QString() : CleanPath(result);
}

bool GeneralUtil::HasCommonParentPath(const QString& path1, const QString& path2)
{
    return !GetCommonParentPath(path1, path2).isEmpty();
}

QString GeneralUtil::GetSubPath(const QString& parent, const QString& path)
{
    QString result;
    if (IsParentPath(parent, path)) {
        result = CleanPath(path).mid(CleanPath(parent).size());
    } else if (CleanPath(parent).compare(CleanPath(path), Qt::CaseInsensitive) == 0) {
        return QString();
    } else {
        result = path;
    }
    StringUtil::TrimLeft(result, L'/');
    return result;
}

QString GeneralUtil::GetDrive(const QString& path)
{
    const QString p = CleanPath(path);
    const qsizetype colon = p.indexOf(QLatin1Char(':'));
    return colon < 0 ? QString() : p.left(colon + 1);
}

bool GeneralUtil::IsUNCPath(const QString& path)
{
    QString head = path.left(2);
    head.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return head == kUncPathPrefixFrontSlashes;
}

QString GeneralUtil::FixInvalidCharsInFileName(const QString& name, const QString& replacement)
{
    // In this class the leading backslash escapes the '/', so backslashes
    // themselves are left to the literal pass below.
    static const QRegularExpression invalid(
        QLatin1Char('[') + kInvalidFileNameChars + QLatin1Char(']'));
    QString fixed = name;
    fixed.replace(invalid, replacement);
    fixed.replace(QLatin1Char('\\'), replacement);
    return fixed;
}

} // namespace CloudUtil
} // namespace Tessaron
