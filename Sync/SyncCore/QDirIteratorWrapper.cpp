#include "Sync/SyncCore/QDirIteratorWrapper.h"

#include "Sync/SyncCore/QFileInfoWrapper.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

QDirIteratorWrapper::QDirIteratorWrapper(
    const QString& path, QDir::Filters filters, QDirIterator::IteratorFlags flags)
    : _iterator(path, filters, flags)
{ }

QDirIteratorWrapper::~QDirIteratorWrapper() = default;

std::shared_ptr<interf::IQFileInfoWrapper> QDirIteratorWrapper::fileInfo() const
{
    return std::make_shared<QFileInfoWrapper>(std::make_shared<QFileInfo>(_iterator.fileInfo()));
}

QString QDirIteratorWrapper::fileName() const
{
    return _iterator.fileName();
}

QString QDirIteratorWrapper::filePath() const
{
    return _iterator.filePath();
}

bool QDirIteratorWrapper::hasNext() const
{
    return _iterator.hasNext();
}

QString QDirIteratorWrapper::next()
{
    return _iterator.next();
}

QString QDirIteratorWrapper::path() const
{
    return _iterator.path();
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
