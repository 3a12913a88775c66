#include "Sync/SyncCore/QEventLoopWrapper.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

QEventLoopWrapper::QEventLoopWrapper()
    : _loop(std::make_shared<QEventLoop>())
{ }

QEventLoopWrapper::QEventLoopWrapper(std::shared_ptr<QEventLoop> loop)
    : _loop(std::move(loop))
{ }

QEventLoopWrapper::~QEventLoopWrapper() = default;

std::shared_ptr<QEventLoop> QEventLoopWrapper::GetEventLoop()
{
    return _loop;
}

void QEventLoopWrapper::SetEventLoop(std::shared_ptr<QEventLoop> loop)
{
    _loop = std::move(loop);
}

int QEventLoopWrapper::exec(QEventLoop::ProcessEventsFlags flags)
{
    return _loop->exec(flags);
}

void QEventLoopWrapper::quit()
{
    _loop->quit();
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
