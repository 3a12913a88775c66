#pragma once

#include "interfaces/IConnectedToNetwork.h"
#include "kvsynccore_export.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief Network status for the sync engine; on this platform always "connected".
 *
 * Kept on purpose: the answer is fixed, even with every interface down. Work
 * that needs the network finds out from its own requests failing, which also
 * covers networks that are up but lead nowhere.
 */
class KVSYNCCORE_EXPORT ConnectedToNetwork : public sync::interf::IConnectedToNetwork
{
    Q_OBJECT

public:
    ConnectedToNetwork();
    ~ConnectedToNetwork() override;

    /// Always true. Any thread.
    bool IsConnected() override;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
