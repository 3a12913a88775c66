#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <functional>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief Scope guard: runs a stored action when it is destroyed.
 *
 * There is no dismiss: once made, the action runs at scope exit whether the
 * scope ends normally or by an exception. An action that throws is not caught
 * here. An empty action raises `std::bad_function_call` when the guard is
 * destroyed; do not make one.
 */
class KVSYNCCORE_EXPORT Finally
{
public:
    /// Stores @p action, which must not be empty, to run once in the destructor.
    explicit Finally(std::function<void()> action);
    virtual ~Finally() noexcept(false);

    Finally(const Finally&) = delete;
    Finally& operator=(const Finally&) = delete;

private:
    std::function<void()> _action;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
