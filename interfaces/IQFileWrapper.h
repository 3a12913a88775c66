#pragma once

#include "interfaces/SyncNamespace.h"
#include "interfaces/IQFileInfoWrapper.h"
#include "kvsyncinterfaces_export.h"

#include <QByteArray>
#include <QFile>
#include <QObject>
#include <QString>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief A replaceable file object: the sync engine reaches files only through it.
 *
 * Mirrors the QFile operations the engine needs, plus a guarded copy, the hidden
 * flag, free disk space and the names of the file's temporary and download
 * companions. The order of the virtual functions is part of the interface:
 * implementations elsewhere are built against it, so never reorder them.
 */
class KVSYNCINTERFACES_EXPORT IQFileWrapper : public QObject
{
    Q_OBJECT
public:
    /// Result of copy(). Only NoError and CopyFailed are returned by this library.
    enum ErrorCode {
        NoError = 0,    ///< the copy was made
        CopyFailed = 2, ///< the copy failed; see the wrapper's log line for the file error
    };
    Q_ENUM(ErrorCode)

    ~IQFileWrapper() override;

    /// The QFile this wrapper forwards to.
    virtual std::shared_ptr<QFile> GetFile() = 0;
    /// A new file-information wrapper for fileName().
    virtual std::shared_ptr<IQFileInfoWrapper> GetFileInfo() = 0;
    /// Replaces the QFile this wrapper forwards to.
    virtual void SetFile(std::shared_ptr<QFile> file) = 0;
    virtual void close() = 0;
    virtual bool isOpen() = 0;
    virtual bool open(QIODevice::OpenMode mode) = 0;
    virtual bool remove() = 0;
    virtual void setFileName(const QString& name) = 0;
    virtual QByteArray readAll() = 0;
    virtual qint64 size() const = 0;
    virtual bool exists() = 0;
    virtual bool rename(const QString& newName) = 0;
    /// Copies the file to @p newName, which must not exist; CopyFailed (and a warning) on failure.
    virtual ErrorCode copy(const QString& newName) = 0;
    virtual bool setPermissions(QFile::Permissions permissions) = 0;
    virtual QString fileName() const = 0;
    virtual QFile::FileError error() const = 0;
    /// Shows or hides the file in file managers; false when the file is missing or the flag cannot be set.
    virtual bool setVisibility(bool visible) = 0;
    /// Free bytes on the file's volume; implementations may report "no limit" (the qint64 maximum).
    virtual qint64 GetFreeDiskSpace() const = 0;
    /// The file's temporary companion "<folder>/<name>.<extension>" in its working folder
    /// @p tempFolderName, which is created when missing; empty on failure.
    virtual std::shared_ptr<IQFileWrapper> GetTempFile(const QString& tempFolderName,
                                                       const QString& extension) const = 0;
    /// The file's download companion ".{SyncTemp}/<name>.DWN"; its folder is not created.
    virtual std::shared_ptr<IQFileWrapper> GetDownloadedTempFile() const = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
