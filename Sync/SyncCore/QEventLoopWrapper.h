#pragma once

#include "interfaces/IQEventLoopWrapper.h"
#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QEventLoop>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief The library's event loop: forwards to an owned QEventLoop.
 *
 * Like any QEventLoop, it runs on the thread that created the owned loop.
 */
class KVSYNCCORE_EXPORT QEventLoopWrapper : public interf::IQEventLoopWrapper
{
    Q_OBJECT
public:
    /// Owns a fresh QEventLoop of the calling thread.
    QEventLoopWrapper();
    /// Adopts @p loop (shared with the caller).
    explicit QEventLoopWrapper(std::shared_ptr<QEventLoop> loop);
    ~QEventLoopWrapper() override;

    std::shared_ptr<QEventLoop> GetEventLoop() override;
    void SetEventLoop(std::shared_ptr<QEventLoop> loop) override;
    int exec(QEventLoop::ProcessEventsFlags flags) override;
    void quit() override;

private:
    std::shared_ptr<QEventLoop> _loop;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
