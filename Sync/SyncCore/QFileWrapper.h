#pragma once

#include "interfaces/IQFileWrapper.h"
#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QFile>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief The library's file object: forwards to an owned QFile.
 *
 * Adds a guarded copy, the hidden flag and the temporary and download companions of
 * the file. Warnings and errors go to the class logger "QFileWrapper". Not thread-safe:
 * use a wrapper from one thread at a time, like the QFile it owns.
 * The owned file must be set for every operation except GetFreeDiskSpace().
 */
class KVSYNCCORE_EXPORT QFileWrapper : public interf::IQFileWrapper
{
    Q_OBJECT
public:
    /// Owns a fresh QFile with no name.
    QFileWrapper();
    /// Adopts @p file (shared with the caller).
    explicit QFileWrapper(std::shared_ptr<QFile> file);
    ~QFileWrapper() override;

    std::shared_ptr<QFile> GetFile() override;
    std::shared_ptr<interf::IQFileInfoWrapper> GetFileInfo() override;
    void SetFile(std::shared_ptr<QFile> file) override;
    void close() override;
    bool isOpen() override;
    bool open(QIODevice::OpenMode mode) override;
    bool remove() override;
    void setFileName(const QString& name) override;
    QByteArray readAll() override;
    qint64 size() const override;
    bool exists() override;
    bool rename(const QString& newName) override;
    /**
     * Copies the file to @p newName (which must not exist yet, as for QFile::copy).
     * On failure logs "File copy error.  QFile::FileError enum code <N>." at WARN and
     * returns CopyFailed. Kept on purpose: the free-space test before the copy never
     * refuses it (see GetFreeDiskSpace()).
     */
    ErrorCode copy(const QString& newName) override;
    bool setPermissions(QFile::Permissions permissions) override;
    QString fileName() const override;
    QFile::FileError error() const override;
    /// True at once when the file is already in the wanted state; false when it is missing.
    bool setVisibility(bool visible) override;
    /// Always the qint64 maximum ("no limit"), kept on purpose: callers never see a shortage.
    qint64 GetFreeDiskSpace() const override;
    /**
     * The companion "\<folder\>/\<tempFolderName\>/\<name\>.\<extension\>" of this file, where
     * \<folder\> holds the file; 'a.txt' with "TMP" gives 'a.txt.TMP'. The working folder is
     * created with its parents when missing. Empty (and an ERROR line) when this wrapper has
     * no file name or the folder cannot be made. The companion file itself is not touched.
     */
    std::shared_ptr<interf::IQFileWrapper> GetTempFile(
        const QString& tempFolderName, const QString& extension) const override;
    /// The companion "\<folder\>/.{SyncTemp}/\<name\>.DWN". Its folder is neither checked nor
    /// created: that is the caller's affair.
    std::shared_ptr<interf::IQFileWrapper> GetDownloadedTempFile() const override;

private:
    std::shared_ptr<QFile> _file;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
