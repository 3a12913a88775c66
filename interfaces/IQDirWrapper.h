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
 * No operation throws: failures are the forwarded Qt results (false, empty values).
 * Like the Qt class it mirrors, an object is not thread-safe: use it from one thread at a time.
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
    /// Forwards to QDir::entryInfoList(); empty when the folder is missing or unreadable.
    virtual QFileInfoList entryInfoList(QDir::Filters filters, QDir::SortFlags sort) const = 0;
    /// Forwards to QDir::setPath().
    virtual void setPath(const QString& path) = 0;
    /// Forwards to QDir::absolutePath(); the folder need not exist.
    virtual QString absolutePath() = 0;
    /// Forwards to QDir::mkdir(): creates one level only; false when it exists already.
    virtual bool mkdir(const QString& dirName) = 0;
    /// Forwards to QDir::exists(): whether the wrapper's own folder exists.
    virtual bool exists() = 0;
    /// Removes the folder @p dirName once it is empty. Implementations may first clear
    /// shell metadata files out of the wrapper's own folder.
    virtual bool rmdir(const QString& dirName) = 0;
    /// Forwards to QDir::exists(const QString&): @p name is relative to the wrapper's folder.
    virtual bool exists(const QString& name) = 0;
    /// Forwards to QDir::remove(): removes a file, never a folder.
    virtual bool remove(const QString& fileName) = 0;
    /// Forwards to QDir::isReadable().
    virtual bool isReadable() const = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
