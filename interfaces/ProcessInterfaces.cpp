// Out-of-line constructors and destructors: they anchor each interface's
// virtual table (and type information) in the interface library.

#include "interfaces/ICheckForExit.h"
#include "interfaces/IConnectedToNetwork.h"
#include "interfaces/IExitController.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

ICheckForExit::ICheckForExit(QObject* parent)
    : QObject(parent)
{ }

ICheckForExit::~ICheckForExit() = default;

IExitController::IExitController(QObject* parent)
    : ICheckForExit(parent)
{ }

IExitController::~IExitController() = default;

IConnectedToNetwork::IConnectedToNetwork(QObject* parent)
    : QObject(parent)
{ }

IConnectedToNetwork::~IConnectedToNetwork() = default;

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
