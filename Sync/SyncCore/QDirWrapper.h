#pragma once

#include "interfaces/IQDirWrapper.h"
#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QDir>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief The library's directory object: forwards to an owned QDir.
 *
 * Only rmdir() adds behaviour: it clears the clutter that would keep a synced folder
 * from being empty. Not thread-safe, like the QDir it owns.
 */
class KVSYNCCORE_EXPORT QDirWrapper : public interf::IQDirWrapper
{
    Q_OBJECT
public:
    /// Owns a fresh QDir (the working folder, ".").
    QDirWrapper();
    /// Adopts @p dir (shared with the caller).
    explicit QDirWrapper(std::shared_ptr<QDir> dir);
    ~QDirWrapper() override;

    std::shared_ptr<QDir> GetDir() override;
    void SetDir(std::shared_ptr<QDir> dir) override;
    QFileInfoList entryInfoList(QDir::Filters filters, QDir::SortFlags sort) const override;
    void setPath(const QString& path) override;
    QString absolutePath() override;
    bool mkdir(const QString& dirName) override;
    bool exists() override;
    /**
     * Removes @p dirName (QDir::rmdir: only when empty) after clearing the wrapper's OWN
     * folder of an empty ".{SyncTemp}" and of "desktop.ini", "Thumbs.db" and ".DS_Store".
     * Kept on purpose: the clean-up works on absolutePath(), not on @p dirName; callers
     * point the wrapper at the folder to be removed. The metadata files are gone even
     * when the removal then fails.
     */
    bool rmdir(const QString& dirName) override;
    bool exists(const QString& name) override;
    bool remove(const QString& fileName) override;
    bool isReadable() const override;

private:
    std::shared_ptr<QDir> _dir;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
