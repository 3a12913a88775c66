// Out-of-line constructor and destructor: they anchor the interface's virtual
// table (and type information) in the interface library.

#include "interfaces/ICryptographicHash.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

ICryptographicHash::ICryptographicHash(QObject* parent)
    : QObject(parent)
{ }

ICryptographicHash::~ICryptographicHash() = default;

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
