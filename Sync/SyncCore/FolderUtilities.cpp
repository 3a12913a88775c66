#include "Sync/SyncCore/FolderUtilities.h"

#include <algorithm>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

QString FolderUtilities::GetParentFolderPath(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const qsizetype backslash = path.lastIndexOf(QLatin1Char('\\'));
    const qsizetype separator = std::max(slash, backslash);
    if (separator < 0)
        return QString();
    return path.left(separator);
}

bool FolderUtilities::IsParent(const QString& path, const QString& folder, Qt::CaseSensitivity cs)
{
    return path.startsWith(folder + QLatin1Char('/'), cs)
        || path.startsWith(folder + QLatin1Char('\\'), cs);
}

sync::interf::DriveType FolderUtilities::GetFolderDriveType(QString /*path*/)
{
    return sync::interf::DRIVE_TYPE_UNKNOWN;
}

QStringList FolderUtilities::GetTruncatedList(const QStringList& list, int maxCount)
{
    const qsizetype kept = std::max(maxCount, 0);
    if (list.size() <= kept)
        return list;
    QStringList truncated = list.first(kept);
    truncated.append(
        QStringLiteral("(...List truncated, %1 more item(s))").arg(list.size() - kept));
    return truncated;
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
