#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsyncinterfaces_export.h"

#include <QObject>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief Answers whether a network is reachable, so that work needing one can wait.
 */
class KVSYNCINTERFACES_EXPORT IConnectedToNetwork : public QObject
{
    Q_OBJECT

public:
    /// Creates the interface's QObject part with the given Qt @p parent (none by default).
    explicit IConnectedToNetwork(QObject* parent = nullptr);
    ~IConnectedToNetwork() override;

    /// True when a network is reachable. May be called from any thread.
    virtual bool IsConnected() = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
