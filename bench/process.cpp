// Wake-up latency: from a post of the service's semaphore by the waking side
// to Awaken() delivered in the owner's event loop, beside the floor of a bare
// sem_post -> sem_wait hand-over between two threads. 1,000 wake-ups each;
// median and 99th percentile, and their ratios.

#include "Sync/SyncCore/ExitManager.h"
#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFileInfo>
#include <QThread>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <semaphore.h>
#include <thread>
#include <vector>

using sync::syncService::WakeupSignalsWrapper;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kWakeups = 1000;

struct Figures
{
    double median = 0; // microseconds
    double p99 = 0;
};

Figures s_ours;
Figures s_wakingSide; // of s_ours: the WakeService() call alone (open, post, close)
Figures s_floor;

Figures summarise(std::vector<double> microseconds)
{
    Figures f;
    if (microseconds.empty())
        return f;
    std::sort(microseconds.begin(), microseconds.end());
    f.median = microseconds[microseconds.size() / 2];
    f.p99 = microseconds[std::min(microseconds.size() - 1, microseconds.size() * 99 / 100)];
    return f;
}

double microsecondsBetween(Clock::time_point a, Clock::time_point b)
{
    return std::chrono::duration<double, std::micro>(b - a).count();
}

void report(benchmark::State& state, const Figures& f)
{
    state.counters["median_us"] = f.median;
    state.counters["p99_us"] = f.p99;
}

void BM_WakeupToAwakenInEventLoop(benchmark::State& state)
{
    auto exitManager = std::make_shared<sync::core::ExitManager>();
    WakeupSignalsWrapper wrapper(exitManager);
    QObject owner;
    QEventLoop loop;
    Clock::time_point arrived;
    QObject::connect(&wrapper, &WakeupSignalsWrapper::Awaken, &owner, [&] {
        arrived = Clock::now();
        loop.quit();
    });
    wrapper.start();
    const QString file = QStringLiteral("/dev/shm/sem.") + WakeupSignalsWrapper::SharedMemoryName;
    while (!QFileInfo::exists(file))
        QThread::msleep(1);

    const qint64 pid = QCoreApplication::applicationPid();
    std::vector<double> latencies;
    std::vector<double> wakingSide;
    latencies.reserve(kWakeups);
    wakingSide.reserve(kWakeups);
    for (auto _ : state) {
        const Clock::time_point posted = Clock::now();
        if (WakeupSignalsWrapper::WakeService(pid) != WakeupSignalsWrapper::WakeResult::Woken) {
            state.SkipWithError("the wake-up semaphore could not be posted");
            break;
        }
        wakingSide.push_back(microsecondsBetween(posted, Clock::now()));
        loop.exec();
        const double us = microsecondsBetween(posted, arrived);
        latencies.push_back(us);
        state.SetIterationTime(us / 1e6);
    }

    exitManager->Exit();
    WakeupSignalsWrapper::WakeService(pid); // ends the last slice at once
    wrapper.wait();
    s_ours = summarise(latencies);
    s_wakingSide = summarise(wakingSide);
    report(state, s_ours);
    state.counters["waking_side_median_us"] = s_wakingSide.median;
}

void BM_BareSemaphoreHandOver(benchmark::State& state)
{
    sem_t request;
    sem_t done;
    ::sem_init(&request, 0, 0);
    ::sem_init(&done, 0, 0);
    std::atomic<bool> stop { false };
    Clock::time_point arrived;
    std::thread waiter([&] {
        for (;;) {
            ::sem_wait(&request);
            if (stop.load())
                return;
            arrived = Clock::now();
            ::sem_post(&done);
        }
    });

    std::vector<double> latencies;
    latencies.reserve(kWakeups);
    for (auto _ : state) {
        const Clock::time_point posted = Clock::now();
        ::sem_post(&request);
        ::sem_wait(&done);
        const double us = microsecondsBetween(posted, arrived);
        latencies.push_back(us);
        state.SetIterationTime(us / 1e6);
    }

    stop.store(true);
    ::sem_post(&request);
    waiter.join();
    ::sem_destroy(&request);
    ::sem_destroy(&done);
    s_floor = summarise(latencies);
    report(state, s_floor);
}

} // namespace

BENCHMARK(BM_WakeupToAwakenInEventLoop)
    ->Iterations(kWakeups)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BareSemaphoreHandOver)
    ->Iterations(kWakeups)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    std::printf("\nwake-up latency over %d wake-ups (microseconds)\n", kWakeups);
    std::printf("  post -> Awaken() in the owner's event loop: median %8.1f  p99 %8.1f\n",
        s_ours.median, s_ours.p99);
    std::printf("    of which the WakeService() call:          median %8.1f  p99 %8.1f\n",
        s_wakingSide.median, s_wakingSide.p99);
    std::printf("  bare sem_post -> sem_wait, two threads:     median %8.1f  p99 %8.1f\n",
        s_floor.median, s_floor.p99);
    if (s_floor.median > 0 && s_floor.p99 > 0)
        std::printf("  ratio (ours / floor):                       median %8.1f  p99 %8.1f\n",
            s_ours.median / s_floor.median, s_ours.p99 / s_floor.p99);
    return 0;
}
