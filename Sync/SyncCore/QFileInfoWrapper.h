#pragma once

#include "interfaces/IQFileInfoWrapper.h"
#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QFileInfo>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief The library's file-information object: forwards to an owned QFileInfo.
 *
 * Adds DiskDrive(). Not thread-safe, like the QFileInfo it owns.
 */
class KVSYNCCORE_EXPORT QFileInfoWrapper : public interf::IQFileInfoWrapper
{
    Q_OBJECT
public:
    /// Owns a fresh, empty QFileInfo.
    QFileInfoWrapper();
    /// Adopts @p info (shared with the caller).
    explicit QFileInfoWrapper(std::shared_ptr<QFileInfo> info);
    ~QFileInfoWrapper() override;

    std::shared_ptr<QFileInfo> GetFileInfo() override;
    void SetFileInfo(std::shared_ptr<QFileInfo> info) override;
    void setFile(const QString& file) override;
    QString absoluteFilePath() const override;
    QString fileName() const override;
    bool exists() const override;
    qint64 size() const override;
    QDateTime lastModified() const override;
    bool isSymLink() const override;
    bool isReadable() const override;
    /// The birth time where the file system records one, else the last status change
    /// (what "created" always meant on this platform), else the last modification.
    QDateTime created() const override;
    /**
     * The first of QDir::drives() whose absolute path the file path begins with
     * (case-sensitive); on this platform that is "/" for any absolute path. Empty for a
     * relative path.
     */
    QString DiskDrive() const override;
    void refresh() override;
    bool isFile() const override;
    bool isDir() const override;

private:
    std::shared_ptr<QFileInfo> _fileInfo;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
