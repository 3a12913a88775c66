#include "Visibility.h"

#include "Command.h"

#include "CloudUtil/GeneralUtil.h"

#include <QDir>
#include <QFileInfo>

namespace tool {

int setVisibility(const Invocation& in, bool visible)
{
    const QString path = in.argument(0);
    if (!QFileInfo::exists(path))
        return failure(QStringLiteral("%1: no such file or folder").arg(path));
    if (visible && QFileInfo(QDir::cleanPath(path)).fileName().startsWith(QLatin1Char('.')))
        return failure(QStringLiteral("%1: a name starting with '.' is always hidden").arg(path));
    if (!Tessaron::CloudUtil::GeneralUtil::SetFileVisibility(path, visible))
        return failure(QStringLiteral("cannot %1 %2 (the folder's .hidden list cannot be written)")
                           .arg(visible ? QStringLiteral("show") : QStringLiteral("hide"), path));
    return ExitSuccess;
}

} // namespace tool
