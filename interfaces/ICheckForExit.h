#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsyncinterfaces_export.h"

#include <QObject>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief Read-only view of the process-wide cancel and exit flags.
 *
 * Workers poll it between steps of their work; the signals tell listeners once
 * when a flag is raised. Both queries may be called from any thread and never
 * block. The signals are emitted on the thread that raised the flag, so
 * receivers living in other threads get them queued.
 */
class KVSYNCINTERFACES_EXPORT ICheckForExit : public QObject
{
    Q_OBJECT

public:
    /// Creates the interface's QObject part with the given Qt @p parent (none by default).
    explicit ICheckForExit(QObject* parent = nullptr);
    ~ICheckForExit() override;

    /// True when the current work should stop: a cancel was asked for, or the process is exiting.
    virtual bool IsCanceling() = 0;
    /// True when the process is shutting down.
    virtual bool IsExiting() = 0;

Q_SIGNALS:
    /// A cancel (or an exit, which implies one) was just asked for.
    void PrepareToCancel();
    /// The process has just started to shut down; follows PrepareToCancel().
    void PrepareToQuit();
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
