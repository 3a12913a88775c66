#include "Sync/SyncCore/Finally.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

Finally::Finally(std::function<void()> action)
    : _action(std::move(action))
{ }

Finally::~Finally() noexcept(false)
{
    _action();
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
