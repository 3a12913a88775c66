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
 * No operation throws: failures are the forwarded Qt results (false, empty values).
 * Like the Qt class it mirrors, an object is not thread-safe: use it from one thread at a time.
 */
class KVSYNCINTERFACES_EXPORT IQDirIteratorWrapper : public QObject
{
    Q_OBJECT
public:
    ~IQDirIteratorWrapper() override;

    /// A new file-information wrapper holding a copy of the current entry.
    virtual std::shared_ptr<IQFileInfoWrapper> fileInfo() const = 0;
    /// Forwards to QDirIterator::fileName(): the current entry's name without its folder.
    virtual QString fileName() const = 0;
    /// Forwards to QDirIterator::filePath(): the current entry's full path.
    virtual QString filePath() const = 0;
    /// Forwards to QDirIterator::hasNext().
    virtual bool hasNext() const = 0;
    /// Forwards to QDirIterator::next(): advances and returns the new entry's path.
    virtual QString next() = 0;
    /// Forwards to QDirIterator::path(): the folder the iteration started from.
    virtual QString path() const = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
