#include "Sync/SyncCore/QFileWrapper.h"
#include "Sync/SyncCore/Logger_p.h"

#include "CloudUtil/GeneralUtil.h"
#include "Sync/SyncCore/Consts.h"
#include "Sync/SyncCore/QFileInfoWrapper.h"
#include "platform/Platform.h"

#include <QDir>
#include <QFileInfo>

#include <log4cplus/loglevel.h>

#include <limits>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {
const char* const kFile = "Sync/SyncCore/QFileWrapper";

SYNCCORE_LOGGER(logger, "QFileWrapper")

void logAt(log4cplus::LogLevel level, const QString& text, int line, const char* function)
{
    if (logger().isEnabledFor(level))
        logger().forcedLog(level, text.toStdString(), kFile, line, function);
}
} // namespace

QFileWrapper::QFileWrapper()
    : _file(std::make_shared<QFile>())
{ }

QFileWrapper::QFileWrapper(std::shared_ptr<QFile> file)
    : _file(std::move(file))
{ }

QFileWrapper::~QFileWrapper() = default;

std::shared_ptr<QFile> QFileWrapper::GetFile()
{
    return _file;
}

std::shared_ptr<interf::IQFileInfoWrapper> QFileWrapper::GetFileInfo()
{
    auto info = std::make_shared<QFileInfoWrapper>();
    info->setFile(fileName());
    return info;
}

void QFileWrapper::SetFile(std::shared_ptr<QFile> file)
{
    _file = std::move(file);
}

void QFileWrapper::close()
{
    _file->close();
}

bool QFileWrapper::isOpen()
{
    return _file->isOpen();
}

bool QFileWrapper::open(QIODevice::OpenMode mode)
{
    return _file->open(mode);
}

bool QFileWrapper::remove()
{
    return _file->remove();
}

void QFileWrapper::setFileName(const QString& name)
{
    _file->setFileName(name);
}

QByteArray QFileWrapper::readAll()
{
    return _file->readAll();
}

qint64 QFileWrapper::size() const
{
    return _file->size();
}

bool QFileWrapper::exists()
{
    return _file->exists();
}

bool QFileWrapper::rename(const QString& newName)
{
    return _file->rename(newName);
}

interf::IQFileWrapper::ErrorCode QFileWrapper::copy(const QString& newName)
{
    const std::shared_ptr<interf::IQFileInfoWrapper> info = GetFileInfo();
    // A placeholder for a space check: both figures are taken and deliberately ignored.
    const QFileWrapper target(std::make_shared<QFile>(newName));
    Q_UNUSED(target.GetFreeDiskSpace());
    Q_UNUSED(info->size());

    if (_file->copy(newName))
        return NoError;
    logAt(log4cplus::WARN_LOG_LEVEL,
        QStringLiteral("File copy error.  QFile::FileError enum code <%0>.")
            .arg(int(_file->error())),
        __LINE__, __PRETTY_FUNCTION__);
    return CopyFailed;
}

bool QFileWrapper::setPermissions(QFile::Permissions permissions)
{
    return _file->setPermissions(permissions);
}

QString QFileWrapper::fileName() const
{
    return _file->fileName();
}

QFile::FileError QFileWrapper::error() const
{
    return _file->error();
}

bool QFileWrapper::setVisibility(bool visible)
{
    const QString name = fileName();
    if (!QFileInfo::exists(name))
        return false;
    // The same rule as file managers apply, not QFileInfo::isHidden() (dot-names only).
    if (platform::IsFileHidden(name) != visible)
        return true;
    return Tessaron::CloudUtil::GeneralUtil::SetFileVisibility(name, visible);
}

qint64 QFileWrapper::GetFreeDiskSpace() const
{
    if (_file) {
        QFileInfoWrapper info;
        info.setFile(fileName());
        // The volume is found but never asked: the answer is always "no limit".
        Q_UNUSED(QDir::toNativeSeparators(info.DiskDrive()));
    }
    return std::numeric_limits<qint64>::max();
}

std::shared_ptr<interf::IQFileWrapper> QFileWrapper::GetTempFile(
    const QString& tempFolderName, const QString& extension) const
{
    const QString name = fileName();
    if (name.isEmpty()) {
        logAt(log4cplus::ERROR_LOG_LEVEL,
            QStringLiteral(
                "Failed to get temp file in QFileWrapper::GetTempFile. File name is not set"),
            __LINE__, __PRETTY_FUNCTION__);
        return nullptr;
    }
    const QFileInfo info(name);
    const QString folder = QStringLiteral("%0/%1").arg(info.absolutePath(), tempFolderName);
    // Another process may make the folder at the same moment: only its absence is a failure.
    if (!QFileInfo(folder).isDir() && !QDir().mkpath(folder) && !QFileInfo(folder).isDir()) {
        logAt(log4cplus::ERROR_LOG_LEVEL,
            QStringLiteral("Failed to create temp folder %1").arg(folder), __LINE__,
            __PRETTY_FUNCTION__);
        return nullptr;
    }
    auto companion = std::make_shared<QFileWrapper>();
    companion->setFileName(QStringLiteral("%1/%2.%3").arg(folder, info.fileName(), extension));
    return companion;
}

std::shared_ptr<interf::IQFileWrapper> QFileWrapper::GetDownloadedTempFile() const
{
    // No file, no companion: never a path in the root folder such as "/.{SyncTemp}/.DWN".
    if (fileName().isEmpty())
        return std::make_shared<QFileWrapper>();
    const QFileInfo info(fileName());
    const QString folder
        = QStringLiteral("%0/%1").arg(info.absolutePath(), consts::TEMP_FOLDER_NAME);
    auto companion = std::make_shared<QFileWrapper>();
    companion->setFileName(QStringLiteral("%0/%1.DWN").arg(folder, info.fileName()));
    return companion;
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
