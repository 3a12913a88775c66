// File operations of GeneralUtil: copying with a backup, free names, listing and
// deleting, line files, log clean-up, lock probing, links, checksums, visibility.

#include "CloudUtil/GeneralUtil.h"

#include "Sync/SyncCore/FileDigest_p.h"
#include "platform/Platform.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include <climits>

namespace Tessaron {
namespace CloudUtil {

namespace {

// The filter bits that the listing rules take out of and put into a caller's filters.
constexpr QDir::Filters kDirectoryFlags = QDir::Dirs | QDir::AllDirs;
constexpr QDir::Filters kFilesAndAllDirs = QDir::Files | QDir::AllDirs | QDir::NoDotAndDotDot;
constexpr QDir::Filters kAllDirsOnly = QDir::AllDirs | QDir::NoDotAndDotDot;

void setError(QString* error, const QString& text)
{
    if (error)
        *error = text;
}

// Adds owner-may-write where the file is not writable; failures show up in what follows.
void makeWritable(const QString& path)
{
    QFileInfo info(path);
    if (!info.isWritable())
        QFile::setPermissions(path, info.permissions() | QFileDevice::WriteOwner);
}

// Sub-folders of a listing: the caller's other bits (hidden, system, ...) kept.
QDir::Filters subFolderFilters(QDir::Filters filters)
{
    return (filters & ~kFilesAndAllDirs) | kAllDirsOnly;
}

} // namespace

bool GeneralUtil::CopyFile(
    QString source, QString target, bool move, bool overwrite, QString* error)
{
    if (source.isEmpty() || target.isEmpty())
        return false;
    if (!QFile::exists(source)) {
        setError(error, QStringLiteral("Source file is not found."));
        return false;
    }

    const QFileInfo targetInfo(target);
    if (targetInfo.exists() && targetInfo.isDir())
        return false;

    const QString folder = targetInfo.absolutePath();
    if (!QDir(folder).exists()) {
        if (!QDir().mkpath(folder))
            setError(error, QStringLiteral("Failed to create folder %1").arg(folder));
        if (!QDir(folder).exists())
            return false;
    }

    QString backup;
    if (targetInfo.exists()) {
        if (!overwrite) {
            setError(error, QStringLiteral("Target file %1 exists and is read-only").arg(target));
            return false;
        }
        makeWritable(target);
        QString candidate = QStringLiteral("%1.%2").arg(target, QStringLiteral("bak"));
        if (QFileInfo::exists(candidate))
            candidate = GetUniqueFile(candidate, QStringLiteral("_%1"));
        QFile existing(target);
        if (existing.rename(candidate)) {
            backup = candidate;
        } else {
            // The copy below then fails on the existing target and says so.
            setError(error,
                QStringLiteral("Failed to rename existing file %1 to temp file %2. Error: %3")
                    .arg(target, candidate, existing.errorString().trimmed()));
        }
    }

    QFile sourceFile(source);
    // A move of a plain file within one file system is a rename: the data is
    // never written twice and the source is gone only once the target is
    // complete. A linked source is copied instead (the copy takes the link's
    // content), a folder fails in the copy as before, and any refusal
    // (another file system, an immutable file) falls back to the copy.
    const QFileInfo sourceInfo(source);
    const bool renamed = move && sourceInfo.isFile() && !sourceInfo.isSymLink()
        && !QFileInfo::exists(target) && QFile::rename(source, target);
    // The copy moves the data inside the kernel and, like QFile::copy, never replaces a
    // target that is still there.
    QString copyError;
    if (!renamed && !platform::CopyFileContent(source, target, &copyError)) {
        // The former target stays under its backup name: never restored, never removed.
        setError(error, QStringLiteral("Error: %1").arg(copyError.trimmed()));
        return false;
    }

    if (move && !renamed) {
        // The source is complete at the target by now; only then may it go.
        sourceFile.setPermissions(QFileDevice::WriteOther);
        if (!sourceFile.remove()) {
            setError(error,
                QStringLiteral("Failed to delete source file %1 after copying it to target "
                               "for move operation. Error: %2")
                    .arg(source, sourceFile.errorString().trimmed()));
            return false;
        }
    }

    if (!backup.isEmpty()) {
        makeWritable(backup);
        QFile backupFile(backup);
        if (!backupFile.remove()) {
            setError(error,
                QStringLiteral("Failed to delete temp file %1. Error: %2")
                    .arg(backup, backupFile.errorString().trimmed()));
        }
    }
    return true;
}

QString GeneralUtil::GetUniqueFile(const QString& path, const QString& pattern,
    const QString& firstSuffix, bool suffixAfterName, int startIndex)
{
    if (path.isEmpty())
        return path;
    const QString marker = QStringLiteral("%1");
    const QString numbering = pattern.isEmpty() ? marker : pattern;
    const QFileInfo existing(QDir::cleanPath(path));
    if (!existing.exists())
        return path;

    const QString folder = QDir::cleanPath(existing.absolutePath());
    const QString base = existing.completeBaseName();
    const QString suffix = existing.suffix();
    const QString extension = suffix.isEmpty() ? QString() : QLatin1Char('.') + suffix;
    const bool counted = numbering.contains(marker);

    bool firstPass = true;
    for (int counter = startIndex; counter < INT_MAX;) {
        const bool fromPattern = !(firstPass && !firstSuffix.isEmpty());
        firstPass = false;
        QString suffixText = firstSuffix;
        if (fromPattern) {
            suffixText = QString(numbering).replace(marker, QString::number(counter));
            ++counter;
        }
        const QString candidate
            = (suffixAfterName ? QStringLiteral("%1/%2%3").arg(folder, base, suffixText)
                               : QStringLiteral("%1/%3%2").arg(folder, base, suffixText))
            + extension;
        if (!QFileInfo::exists(candidate))
            return candidate;
        // Without a counter every later candidate is this same taken name.
        if (fromPattern && !counted)
            break;
    }
    return QString();
}

QString GeneralUtil::GetUniqueFile(const QString& path, const QString& pattern)
{
    return GetUniqueFile(path, pattern, QString(), true, 2);
}

QString GeneralUtil::GetUniqueFile(
    const QString& folder, const QString& name, const QString& extension, const QString& separator)
{
    const QString dir = folder.isEmpty() ? QDir::tempPath() : folder;
    QString baseName = name.isEmpty() ? QStringLiteral("Temp") : name;
    QString ext = extension;
    if (ext.isEmpty()) {
        const int lastDot = baseName.lastIndexOf(QLatin1Char('.'));
        if (lastDot >= 0) {
            ext = baseName.mid(lastDot + 1);
            baseName.truncate(baseName.indexOf(QLatin1Char('.')));
        }
    }
    if (!ext.isEmpty() && !ext.startsWith(QLatin1Char('.')))
        ext.prepend(QLatin1Char('.'));
    const QString path = QStringLiteral("%1/%2%3").arg(dir, baseName, ext);
    // Kept as built: the substitution fills both markers, leaving no counter.
    const QString pattern = QStringLiteral("%1%%1").arg(separator);
    return GetUniqueFile(path, pattern, QString(), true, 1);
}

QStringList GeneralUtil::GetFiles(
    QString folder, QString nameFilter, QDir::Filters filters, bool recursive)
{
    if (nameFilter.isEmpty() && !QFileInfo(folder).isDir()) {
        const QFileInfo file(folder);
        nameFilter = file.fileName();
        folder = file.absolutePath();
    }
    if (nameFilter.isEmpty())
        nameFilter = QStringLiteral("*");
    const QStringList patterns = nameFilter.split(QLatin1Char('|'), Qt::SkipEmptyParts);

    // Qt's "no filter" (-1) is taken like 0: a caller who asks for nothing gets files.
    const bool noFilter = filters == QDir::Filters() || filters == QDir::NoFilter;
    QDir::Filters entryFilters
        = (noFilter ? QDir::Filters(QDir::Files) : filters) | QDir::NoDotAndDotDot;
    if (recursive)
        entryFilters &= ~kDirectoryFlags;

    QStringList result;
    const QDir dir(folder);
    const QFileInfoList entries = dir.entryInfoList(patterns, entryFilters, QDir::NoSort);
    for (const QFileInfo& entry : entries)
        result << QDir::cleanPath(entry.absoluteFilePath());
    if (!recursive)
        return result;

    const bool wantsDirectories = !noFilter && (filters & kDirectoryFlags);
    const QFileInfoList subFolders
        = dir.entryInfoList(subFolderFilters(noFilter ? QDir::Filters() : filters), QDir::NoSort);
    for (const QFileInfo& sub : subFolders) {
        if (wantsDirectories)
            result << sub.absoluteFilePath();
        result << GetFiles(sub.absoluteFilePath(), nameFilter, filters, true);
    }
    return result;
}

bool GeneralUtil::DeleteFiles(
    const QString& folder, const QString& nameFilter, QDir::Filters filters, bool recursive)
{
    if (folder.isEmpty())
        return false;
    bool removedAll = true;
    const QStringList paths = GetFiles(folder, nameFilter, filters, recursive);
    for (const QString& path : paths) {
        makeWritable(path);
        removedAll = QFile::remove(path) && removedAll;
    }
    DeleteEmptyDirectories(folder, filters);
    return removedAll;
}

bool GeneralUtil::DeleteEmptyDirectories(const QString& folder, QDir::Filters filters)
{
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        return false;
    const QDir dir(folder);
    if (dir.isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        return QDir().rmdir(folder);
    const bool noFilter = filters == QDir::NoFilter;
    const QFileInfoList subFolders
        = dir.entryInfoList(subFolderFilters(noFilter ? QDir::Filters() : filters), QDir::NoSort);
    for (const QFileInfo& sub : subFolders) {
        if (sub.isDir())
            DeleteEmptyDirectories(sub.absoluteFilePath(), filters);
    }
    // Fails, harmlessly, while anything is left in the folder.
    return QDir().rmdir(folder);
}

bool GeneralUtil::RemoveDirAndSubDirs(const QString& folder)
{
    const QFileInfo root(folder);
    if (!root.exists() || !root.isDir())
        return false;
    const QDir dir(folder);
    const QFileInfoList entries = dir.entryInfoList(
        QDir::Files | QDir::Hidden | QDir::System | QDir::AllDirs | QDir::NoDotAndDotDot,
        QDir::DirsFirst);
    for (const QFileInfo& entry : entries) {
        // A link to a folder is removed as a link: what it points to is not ours to delete.
        const bool ok = (entry.isDir() && !entry.isSymLink())
            ? RemoveDirAndSubDirs(entry.absoluteFilePath())
            : QFile::remove(entry.absoluteFilePath());
        if (!ok)
            return false;
    }
    return QDir().rmdir(folder);
}

int GeneralUtil::RemoveDuplicates(QStringList& list, bool caseInsensitive)
{
    if (!caseInsensitive)
        return int(list.removeDuplicates());
    int removed = 0;
    for (int i = 0; i < list.size(); ++i) {
        for (int j = list.size() - 1; j > i; --j) {
            if (list.at(i).compare(list.at(j), Qt::CaseInsensitive) == 0) {
                list.removeAt(j);
                ++removed;
            }
        }
    }
    return removed;
}

bool GeneralUtil::ReadAllLines(const QString& path, QStringList& lines)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    QTextStream stream(&file);
    QString line;
    while (stream.readLineInto(&line))
        lines << line;
    return true;
}

bool GeneralUtil::WriteAllLines(const QString& path, const QStringList& lines)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    QTextStream stream(&file);
    for (const QString& line : lines)
        stream << line << "\n";
    return true;
}

bool GeneralUtil::ClearLogFile(QString path)
{
    if (!QFile::exists(path))
        return false;
    return QFile::remove(path);
}

void GeneralUtil::ClearLogFile(QString path, bool rolledFiles)
{
    ClearLogFile(path);
    if (!rolledFiles)
        return;
    for (int i = 1; i <= 10; ++i)
        ClearLogFile(QStringLiteral("%1.%2").arg(path, QString::number(i)));
}

bool GeneralUtil::IsFileLockedForWrite(const QString& path)
{
    QString expanded = path;
    if (expanded == QLatin1String("~") || expanded.startsWith(QLatin1String("~/")))
        expanded.replace(0, 1, QDir::homePath());
    const QFileInfo info(expanded);
    if (!info.exists() || !info.isWritable())
        return true;
    if (platform::IsFileImmutable(expanded))
        return true;
    return platform::IsFileLockedByOther(expanded);
}

bool GeneralUtil::SearchFile(
    QString fileName, const QStringList& folders, QString& foundPath, QString defaultFolder)
{
    foundPath.clear();
    for (const QString& folder : folders) {
        const QDir dir(folder);
        if (dir.exists(fileName)) {
            foundPath = dir.absoluteFilePath(fileName);
            return true;
        }
    }
    if (defaultFolder.isEmpty())
        return false;
    foundPath = QDir(defaultFolder).absoluteFilePath(fileName);
    return false;
}

QString GeneralUtil::GetSymbolicLinkTarget(const QString& path)
{
    const QString resolved = QDir::cleanPath(platform::ResolveSymbolicLinks(path));
    if (!QDir::isRelativePath(resolved))
        return resolved;
    return QDir::cleanPath(QFileInfo(path).absolutePath() + QLatin1Char('/') + resolved);
}

QString GeneralUtil::GenerateCheckSumMD5(const QString& path)
{
    return QString::fromLatin1(sync::core::FileDigestHex(path, sync::core::DigestAlgorithm::Md5));
}

QByteArray GeneralUtil::GetFileHash(const QString& path)
{
    // Streamed like GenerateCheckSumMD5: the same digest without holding the file in memory.
    return sync::core::FileDigestHex(path, sync::core::DigestAlgorithm::Md5);
}

QByteArray GeneralUtil::GetHash(const QString& text)
{
    return QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex();
}

bool GeneralUtil::SetFileVisibility(const QString& path, bool visible)
{
    if (!QFileInfo::exists(path))
        return false;
    return platform::SetFileHidden(path, !visible);
}

} // namespace CloudUtil
} // namespace Tessaron
