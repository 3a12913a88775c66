#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsyncinterfaces_export.h"

#include <QDir>
#include <QFileInfoList>
#include <QObject>
#include <QString>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief A replaceable directory object, mirroring QDir.
 *
 * The order of the virtual functions is part of the interface; never reorder them.
 */
class KVSYNCINTERFACES_EXPORT IQDirWrapper : public QObject
{
    Q_OBJECT
public:
    ~IQDirWrapper() override;

    /// The QDir this wrapper forwards to.
    virtual std::shared_ptr<QDir> GetDir() = 0;
    /// Replaces the QDir this wrapper forwards to.
    virtual void SetDir(std::shared_ptr<QDir> dir) = 0;
    virtual QFileInfoList entryInfoList(QDir::Filters filters, QDir::SortFlags sort) const = 0;
    virtual void setPath(const QString& path) = 0;
    virtual QString absolutePath() = 0;
    virtual bool mkdir(const QString& dirName) = 0;
    virtual bool exists() = 0;
    /// Removes the folder @p dirName once it is empty. Implementations may first clear
    /// shell metadata files out of the wrapper's own folder.
    virtual bool rmdir(const QString& dirName) = 0;
    virtual bool exists(const QString& name) = 0;
    virtual bool remove(const QString& fileName) = 0;
    virtual bool isReadable() const = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
