#pragma once

// SIGINT and SIGTERM for the commands that run until stopped.

#include <atomic>
#include <functional>
#include <thread>

namespace tool {

/**
 * Blocks SIGINT and SIGTERM in every thread and takes them on one thread of
 * its own with sigwait(), which may call into the library safely (a signal
 * handler may not). @p onSignal runs on that thread for every signal.
 * Create it before any other thread, so that the others inherit the mask.
 */
class SignalWatcher
{
public:
    explicit SignalWatcher(std::function<void(int)> onSignal);
    ~SignalWatcher();

    /// The first signal received, 0 when none came.
    int received() const { return _received.load(); }
    /// The exit status the command returns when a signal stopped it: 128 + N, else @p otherwise.
    int exitStatus(int otherwise) const;

private:
    std::atomic<int> _received { 0 };
    std::thread _thread;
};

} // namespace tool
