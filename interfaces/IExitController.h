#pragma once

#include "interfaces/ICheckForExit.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief The cancel and exit flags with the operations that raise and clear them.
 *
 * One object is shared by every worker of a process. Any thread may call any
 * operation. A raise tells its listeners only when it actually changes the
 * flag, so of several racing callers exactly one emits; resets emit nothing.
 */
class KVSYNCINTERFACES_EXPORT IExitController : public ICheckForExit
{
    Q_OBJECT

public:
    /// Creates the interface's QObject part with the given Qt @p parent (none by default).
    explicit IExitController(QObject* parent = nullptr);
    ~IExitController() override;

    /// Asks the current work to stop; emits PrepareToCancel() when the flag was not yet raised.
    virtual void Cancel() = 0;
    /// Clears the cancel request; no signal.
    virtual void ResetCancel() = 0;
    /// Starts the shutdown; emits PrepareToCancel() then PrepareToQuit() when not yet exiting.
    virtual void Exit() = 0;
    /// Clears the exit flag; no signal.
    virtual void ResetExit() = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
