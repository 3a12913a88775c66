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
    virtual void setFile(const QString& file) = 0;
    virtual QString absoluteFilePath() const = 0;
    virtual QString fileName() const = 0;
    virtual bool exists() const = 0;
    virtual qint64 size() const = 0;
    virtual QDateTime lastModified() const = 0;
    virtual bool isSymLink() const = 0;
    virtual bool isReadable() const = 0;
    /// Creation time where the file system records one, else the last status change.
    virtual QDateTime created() const = 0;
    /// The drive (volume root) whose path the file path begins with; empty when none.
    virtual QString DiskDrive() const = 0;
    virtual void refresh() = 0;
    virtual bool isFile() const = 0;
    virtual bool isDir() const = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
