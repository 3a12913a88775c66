#include "Sync/SyncCore/QDirWrapper.h"

#include "Sync/SyncCore/Consts.h"

#include <QFile>
#include <QFileInfo>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

QDirWrapper::QDirWrapper()
    : _dir(std::make_shared<QDir>())
{ }

QDirWrapper::QDirWrapper(std::shared_ptr<QDir> dir)
    : _dir(std::move(dir))
{ }

QDirWrapper::~QDirWrapper() = default;

std::shared_ptr<QDir> QDirWrapper::GetDir()
{
    return _dir;
}

void QDirWrapper::SetDir(std::shared_ptr<QDir> dir)
{
    _dir = std::move(dir);
}

QFileInfoList QDirWrapper::entryInfoList(QDir::Filters filters, QDir::SortFlags sort) const
{
    return _dir->entryInfoList(filters, sort);
}

void QDirWrapper::setPath(const QString& path)
{
    _dir->setPath(path);
}

QString QDirWrapper::absolutePath()
{
    return _dir->absolutePath();
}

bool QDirWrapper::mkdir(const QString& dirName)
{
    return _dir->mkdir(dirName);
}

bool QDirWrapper::exists()
{
    return _dir->exists();
}

bool QDirWrapper::rmdir(const QString& dirName)
{
    const QString base = _dir->absolutePath();
    const QString tempFolder = QStringLiteral("%0/%1").arg(base, consts::TEMP_FOLDER_NAME);
    if (QFileInfo::exists(tempFolder))
        _dir->rmdir(tempFolder); // only when empty: a pending companion is never thrown away

    // Shell metadata that would keep the folder from being empty.
    static const char* const clutter[] = { "/desktop.ini", "/Thumbs.db", "/.DS_Store" };
    for (const char* name : clutter) {
        const QString path = base + QLatin1String(name);
        if (QFileInfo::exists(path))
            QFile::remove(path);
    }
    return _dir->rmdir(dirName);
}

bool QDirWrapper::exists(const QString& name)
{
    return _dir->exists(name);
}

bool QDirWrapper::remove(const QString& fileName)
{
    return _dir->remove(fileName);
}

bool QDirWrapper::isReadable() const
{
    return _dir->isReadable();
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
