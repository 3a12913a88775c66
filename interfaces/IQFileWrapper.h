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
 *
 * No operation throws: failures are the forwarded Qt results (false, empty values, error()).
 * Like the Qt class it mirrors, an object is not thread-safe: use it from one thread at a time.
 */
class KVSYNCINTERFACES_EXPORT IQFileWrapper : public QObject
{
    Q_OBJECT
public:
    /// Result of copy(). Only NoError and CopyFailed are returned by this library.
    enum ErrorCode {
        NoError = 0, ///< the copy was made
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
    /// Forwards to QFile::close().
    virtual void close() = 0;
    /// Forwards to QFile::isOpen().
    virtual bool isOpen() = 0;
    /// Forwards to QFile::open(); false when the file cannot be opened, see error().
    virtual bool open(QIODevice::OpenMode mode) = 0;
    /// Forwards to QFile::remove(); false when the file is missing or cannot be removed.
    virtual bool remove() = 0;
    /// Forwards to QFile::setFileName(); the file must be closed.
    virtual void setFileName(const QString& name) = 0;
    /// Forwards to QFile::readAll(); empty when the file is not open for reading.
    virtual QByteArray readAll() = 0;
    /// Forwards to QFile::size(): the size in bytes, 0 when the file is missing.
    virtual qint64 size() const = 0;
    /// Forwards to QFile::exists().
    virtual bool exists() = 0;
    /// Forwards to QFile::rename(); false (and the name kept) when @p newName exists.
    virtual bool rename(const QString& newName) = 0;
    /// Copies the file to @p newName, which must not exist; CopyFailed (and a warning) on failure.
    virtual ErrorCode copy(const QString& newName) = 0;
    /// Forwards to QFile::setPermissions().
    virtual bool setPermissions(QFile::Permissions permissions) = 0;
    /// Forwards to QFile::fileName(): the name as set, not made absolute.
    virtual QString fileName() const = 0;
    /// Forwards to QFile::error(): the error of the last failed operation.
    virtual QFile::FileError error() const = 0;
    /// Shows or hides the file in file managers; false when the file is missing or the flag cannot
    /// be set.
    virtual bool setVisibility(bool visible) = 0;
    /// Free bytes on the file's volume; implementations may report "no limit" (the qint64 maximum).
    virtual qint64 GetFreeDiskSpace() const = 0;
    /// The file's temporary companion "\<folder\>/\<name\>.\<extension\>" in its working folder
    /// @p tempFolderName, which is created when missing; empty on failure.
    virtual std::shared_ptr<IQFileWrapper> GetTempFile(
        const QString& tempFolderName, const QString& extension) const = 0;
    /// The file's download companion ".{SyncTemp}/\<name\>.DWN"; its folder is not created.
    virtual std::shared_ptr<IQFileWrapper> GetDownloadedTempFile() const = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
