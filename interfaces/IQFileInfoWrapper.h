#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsyncinterfaces_export.h"

#include <QDateTime>
#include <QFileInfo>
#include <QObject>
#include <QString>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief A replaceable file-information object, mirroring QFileInfo.
 *
 * The order of the virtual functions is part of the interface; never reorder them.
 * No operation throws: failures are the forwarded Qt results (false, empty values).
 * Like the Qt class it mirrors, an object is not thread-safe: use it from one thread at a time.
 */
class KVSYNCINTERFACES_EXPORT IQFileInfoWrapper : public QObject
{
    Q_OBJECT
public:
    ~IQFileInfoWrapper() override;

    /// The QFileInfo this wrapper forwards to.
    virtual std::shared_ptr<QFileInfo> GetFileInfo() = 0;
    /// Replaces the QFileInfo this wrapper forwards to.
    virtual void SetFileInfo(std::shared_ptr<QFileInfo> info) = 0;
    /// Forwards to QFileInfo::setFile().
    virtual void setFile(const QString& file) = 0;
    /// Forwards to QFileInfo::absoluteFilePath().
    virtual QString absoluteFilePath() const = 0;
    /// Forwards to QFileInfo::fileName(): the name without its folder.
    virtual QString fileName() const = 0;
    /// Forwards to QFileInfo::exists(); answers from the cache until refresh().
    virtual bool exists() const = 0;
    /// Forwards to QFileInfo::size(): bytes, 0 when the file is missing.
    virtual qint64 size() const = 0;
    /// Forwards to QFileInfo::lastModified(): local time; invalid when the file is missing.
    virtual QDateTime lastModified() const = 0;
    /// Forwards to QFileInfo::isSymLink().
    virtual bool isSymLink() const = 0;
    /// Forwards to QFileInfo::isReadable().
    virtual bool isReadable() const = 0;
    /// Creation time where the file system records one, else the last status change.
    virtual QDateTime created() const = 0;
    /// The drive (volume root) whose path the file path begins with; empty when none.
    virtual QString DiskDrive() const = 0;
    /// Forwards to QFileInfo::refresh(): drops the cached answers.
    virtual void refresh() = 0;
    /// Forwards to QFileInfo::isFile(); follows symbolic links.
    virtual bool isFile() const = 0;
    /// Forwards to QFileInfo::isDir(); follows symbolic links.
    virtual bool isDir() const = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
