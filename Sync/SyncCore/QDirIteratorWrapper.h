#pragma once

#include "interfaces/IQDirIteratorWrapper.h"
#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QDir>
#include <QDirIterator>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief The library's directory iterator: forwards to an owned QDirIterator.
 *
 * Not thread-safe, like the QDirIterator it owns.
 */
class KVSYNCCORE_EXPORT QDirIteratorWrapper : public interf::IQDirIteratorWrapper
{
    Q_OBJECT
public:
    /// Iterates over @p path as QDirIterator(path, filters, flags) does.
    QDirIteratorWrapper(
        const QString& path, QDir::Filters filters, QDirIterator::IteratorFlags flags);
    ~QDirIteratorWrapper() override;

    /// A new wrapper over a copy of the current entry: it stays valid after next().
    std::shared_ptr<interf::IQFileInfoWrapper> fileInfo() const override;
    QString fileName() const override;
    QString filePath() const override;
    bool hasNext() const override;
    QString next() override;
    QString path() const override;

private:
    QDirIterator _iterator;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
