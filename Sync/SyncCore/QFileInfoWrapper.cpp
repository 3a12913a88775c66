#include "Sync/SyncCore/QFileInfoWrapper.h"

#include <QDir>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

QFileInfoWrapper::QFileInfoWrapper()
    : _fileInfo(std::make_shared<QFileInfo>())
{ }

QFileInfoWrapper::QFileInfoWrapper(std::shared_ptr<QFileInfo> info)
    : _fileInfo(std::move(info))
{ }

QFileInfoWrapper::~QFileInfoWrapper() = default;

std::shared_ptr<QFileInfo> QFileInfoWrapper::GetFileInfo()
{
    return _fileInfo;
}

void QFileInfoWrapper::SetFileInfo(std::shared_ptr<QFileInfo> info)
{
    _fileInfo = std::move(info);
}

void QFileInfoWrapper::setFile(const QString& file)
{
    _fileInfo->setFile(file);
}

QString QFileInfoWrapper::absoluteFilePath() const
{
    return _fileInfo->absoluteFilePath();
}

QString QFileInfoWrapper::fileName() const
{
    return _fileInfo->fileName();
}

bool QFileInfoWrapper::exists() const
{
    return _fileInfo->exists();
}

qint64 QFileInfoWrapper::size() const
{
    return _fileInfo->size();
}

QDateTime QFileInfoWrapper::lastModified() const
{
    return _fileInfo->lastModified();
}

bool QFileInfoWrapper::isSymLink() const
{
    return _fileInfo->isSymLink();
}

bool QFileInfoWrapper::isReadable() const
{
    return _fileInfo->isReadable();
}

QDateTime QFileInfoWrapper::created() const
{
    QDateTime time = _fileInfo->birthTime();
    if (!time.isValid())
        time = _fileInfo->metadataChangeTime();
    if (!time.isValid())
        time = _fileInfo->lastModified();
    return time;
}

QString QFileInfoWrapper::DiskDrive() const
{
    const QString path = _fileInfo->filePath();
    const QFileInfoList drives = QDir::drives();
    for (const QFileInfo& drive : drives) {
        const QString drivePath = drive.absolutePath();
        if (path.indexOf(drivePath, 0) == 0)
            return drivePath;
    }
    return QString();
}

void QFileInfoWrapper::refresh()
{
    _fileInfo->refresh();
}

bool QFileInfoWrapper::isFile() const
{
    return _fileInfo->isFile();
}

bool QFileInfoWrapper::isDir() const
{
    return _fileInfo->isDir();
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
