#include "Signals.h"

#include "Command.h"

#include <csignal>
#include <pthread.h>

namespace tool {

SignalWatcher::SignalWatcher(std::function<void(int)> onSignal)
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGUSR2); // our own stop request when the command ends by itself
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    _thread = std::thread([this, set, onSignal = std::move(onSignal)] {
        int sig = 0;
        while (sigwait(&set, &sig) == 0) {
            if (sig == SIGUSR2)
                return;
            int none = 0;
            _received.compare_exchange_strong(none, sig);
            onSignal(sig);
        }
    });
}

SignalWatcher::~SignalWatcher()
{
    pthread_kill(_thread.native_handle(), SIGUSR2);
    _thread.join();
}

int SignalWatcher::exitStatus(int otherwise) const
{
    const int sig = _received.load();
    return sig == 0 ? otherwise : ExitSignalBase + sig;
}

} // namespace tool
