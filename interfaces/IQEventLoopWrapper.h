#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsyncinterfaces_export.h"

#include <QEventLoop>
#include <QObject>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace interf {

/**
 * @brief A replaceable event loop, mirroring QEventLoop.
 *
 * The order of the virtual functions is part of the interface; never reorder them.
 */
class KVSYNCINTERFACES_EXPORT IQEventLoopWrapper : public QObject
{
    Q_OBJECT
public:
    ~IQEventLoopWrapper() override;

    /// The QEventLoop this wrapper forwards to.
    virtual std::shared_ptr<QEventLoop> GetEventLoop() = 0;
    /// Replaces the QEventLoop this wrapper forwards to.
    virtual void SetEventLoop(std::shared_ptr<QEventLoop> loop) = 0;
    /// Runs the loop until quit(); returns the code passed to exit (0 for quit()).
    virtual int exec(QEventLoop::ProcessEventsFlags flags) = 0;
    /// Forwards to QEventLoop::quit(): the running exec() returns 0.
    virtual void quit() = 0;
};

} // namespace interf
} // namespace sync
} // namespace KvSync_6_0
