#include "Sync/SyncCore/ConnectedToNetwork.h"

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
