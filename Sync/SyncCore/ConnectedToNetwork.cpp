#include "Sync/SyncCore/ConnectedToNetwork.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

ConnectedToNetwork::ConnectedToNetwork() = default;

ConnectedToNetwork::~ConnectedToNetwork() = default;

bool ConnectedToNetwork::IsConnected()
{
    return true;
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
