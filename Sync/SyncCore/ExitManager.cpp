#include "Sync/SyncCore/ExitManager.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

namespace {
// True for the one caller that moved the flag from 0 to 1.
bool raise(std::atomic<int>& flag)
{
    int expected = 0;
    return flag.compare_exchange_strong(expected, 1);
}
} // namespace

ExitManager::ExitManager() = default;

ExitManager::~ExitManager() = default;

bool ExitManager::IsCanceling()
{
    return _canceling.load() != 0 || _exiting.load() != 0;
}

bool ExitManager::IsExiting()
{
    return _exiting.load() != 0;
}

void ExitManager::Cancel()
{
    if (raise(_canceling))
        Q_EMIT PrepareToCancel();
}

void ExitManager::ResetCancel()
{
    _canceling.store(0);
}

void ExitManager::Exit()
{
    if (raise(_exiting)) {
        Q_EMIT PrepareToCancel();
        Q_EMIT PrepareToQuit();
    }
}

void ExitManager::ResetExit()
{
    _exiting.store(0);
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
