#pragma once

#include "interfaces/SyncNamespace.h"
#include "interfaces/IQFileInfoWrapper.h"
#include "kvsyncinterfaces_export.h"

#include <QObject>
#include <QString>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief A replaceable directory iterator, mirroring QDirIterator.
 *
 * The order of the virtual functions is part of the interface; never reorder them.
 */
class KVSYNCINTERFACES_EXPORT IQDirIteratorWrapper : public QObject
{
    Q_OBJECT
public:
    ~IQDirIteratorWrapper() override;

    /// A new file-information wrapper holding a copy of the current entry.
    virtual std::shared_ptr<IQFileInfoWrapper> fileInfo() const = 0;
    virtual QString fileName() const = 0;
    virtual QString filePath() const = 0;
    virtual bool hasNext() const = 0;
    virtual QString next() = 0;
    virtual QString path() const = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
