#include "Sync/SyncCore/Finally.h"

namespace sync {
namespace core {

Finally::Finally(std::function<void()> action)
    : _action(std::move(action))
{
}

Finally::~Finally() noexcept(false)
{
    _action();
}

} // namespace core
} // namespace sync
