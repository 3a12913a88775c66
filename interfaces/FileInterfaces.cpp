// Out-of-line destructors: they anchor each file-access interface's virtual
// table (and type information) in the interface library.

#include "interfaces/IQDirIteratorWrapper.h"
#include "interfaces/IQDirWrapper.h"
#include "interfaces/IQEventLoopWrapper.h"
#include "interfaces/IQFileInfoWrapper.h"
#include "interfaces/IQFileWrapper.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

IQFileWrapper::~IQFileWrapper() = default;
IQFileInfoWrapper::~IQFileInfoWrapper() = default;
IQDirWrapper::~IQDirWrapper() = default;
IQDirIteratorWrapper::~IQDirIteratorWrapper() = default;
IQEventLoopWrapper::~IQEventLoopWrapper() = default;

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
