#include "Sync/SyncCore/SyncException.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

SyncException::SyncException(QString message)
    : _message(std::move(message))
    , _utf8Message(_message.toUtf8())
{ }

SyncException::~SyncException() = default;

const char* SyncException::what() const noexcept
{
    // constData() of an empty QByteArray is "" rather than null.
    return _utf8Message.constData();
}

QString SyncException::message() const
{
    return _message;
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
