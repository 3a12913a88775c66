#pragma once

#include "interfaces/IExitController.h"
#include "kvsynccore_export.h"

#include <atomic>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief The process-wide cancel and exit flags, shared by all workers of a process.
 *
 * Both flags start lowered. Any thread may call any operation; none blocks.
 * A raise is a compare-and-exchange, so of several racing callers exactly the
 * one that changed the flag emits the signals, on its own thread. Resets are
 * plain stores and emit nothing; after a reset the next raise emits again.
 *
 * An exiting process counts as canceling: IsCanceling() is true while the exit
 * flag is raised, even after ResetCancel().
 */
class KVSYNCCORE_EXPORT ExitManager : public sync::interf::IExitController
{
    Q_OBJECT

public:
    ExitManager();
    ~ExitManager() override;

    /// True while a cancel was asked for or the process is exiting.
    bool IsCanceling() override;
    /// True while the process is exiting.
    bool IsExiting() override;
    /// Raises the cancel flag; only the call that raises it emits PrepareToCancel().
    void Cancel() override;
    /// Lowers the cancel flag; the exit flag is left as it is.
    void ResetCancel() override;
    /**
     * Raises the exit flag; only the call that raises it emits PrepareToCancel()
     * and then PrepareToQuit(). The cancel flag itself is left as it is, so
     * PrepareToCancel() is emitted even when a cancel was already under way.
     */
    void Exit() override;
    /// Lowers the exit flag; the cancel flag is left as it is.
    void ResetExit() override;

private:
    std::atomic<int> _canceling { 0 };
    std::atomic<int> _exiting { 0 };
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
