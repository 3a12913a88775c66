#pragma once

#include "interfaces/DriveType.h"
#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QString>
#include <QStringList>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief Path functions that accept both "/" and "\" as folder separators.
 *
 * Paths from the cloud service may use either separator; these functions
 * compare them with local paths without normalising first. Static only; every
 * function runs on the caller's thread and touches no file.
 */
class KVSYNCCORE_EXPORT FolderUtilities
{
public:
    FolderUtilities() = delete;

    /**
     * @brief The part of @p path before its last "/" or "\", whichever comes later.
     *
     * Empty when @p path holds no separator, and also for "/file" (the root is
     * not returned as "/"). Nothing is trimmed first: "a/b/" gives "a/b".
     */
    static QString GetParentFolderPath(const QString& path);

    /**
     * @brief True when @p path lies inside @p folder at any depth.
     *
     * @p path must start with @p folder followed by "/" or "\", compared with
     * @p cs. A path is never its own parent, and a folder given with a trailing
     * separator ("/a/b/") matches nothing, since it would need a doubled one.
     */
    static bool IsParent(const QString& path, const QString& folder, Qt::CaseSensitivity cs);

    /// The kind of drive @p path lives on: always DRIVE_TYPE_UNKNOWN on Linux.
    static sync::interf::DriveType GetFolderDriveType(QString path);

    /**
     * @brief @p list cut to @p maxCount items for a message shown to the user.
     *
     * A list of at most @p maxCount items comes back unchanged. A longer one
     * comes back as its first @p maxCount items plus the line
     * "(...List truncated, N more item(s))", N being the number left out. A
     * negative @p maxCount counts as 0.
     */
    static QStringList GetTruncatedList(const QStringList& list, int maxCount);
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
