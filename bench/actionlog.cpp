// Flush throughput of the action log against the raw sqlite3 C API.
//
// Ours: N actions are queued (not timed), then Flush() writes them in one
// transaction through the query wrappers, announcing each row. Reference: the
// same N rows inserted with one prepared statement in one transaction, on a
// file with the same table and the same journal settings. Both clear the table
// between iterations, untimed. Printed: rows per second of each and their ratio.
//
// Also: the latency of AddAction on 4 threads while a 100,000-row flush runs on
// another thread, beside the same with an idle log (additions never wait for
// the database, so the two should be alike). Printed: median and 99th
// percentile of each, and the ratio of the percentiles.

#include "Sync/SyncCore/ActionLog.h"
#include "database/SqliteDatabaseFactory.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QTemporaryDir>

#include "CollectingReporter.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <map>
#include <thread>
#include <memory>
#include <string>
#include <vector>

using namespace sync::core;

namespace {

QTemporaryDir& benchDir()
{
    static QTemporaryDir dir;
    return dir;
}

std::shared_ptr<SqliteDatabaseFactory> openFactory(const QString& name)
{
    auto factory = SqliteDatabaseFactory::Open(benchDir().filePath(name));
    if (!factory || !factory->CreateActionLogTable())
        return nullptr;
    return factory;
}

QString itemPath(int i)
{
    return QStringLiteral("/home/user/Sync/Documents/report-%1.odt").arg(i);
}

QString itemName(int i)
{
    return QStringLiteral("report-%1.odt").arg(i);
}

void BM_ActionLogFlush(benchmark::State& state)
{
    const int rows = int(state.range(0));
    auto factory = openFactory(QStringLiteral("ours-%1.sqlite").arg(rows));
    if (!factory) {
        state.SkipWithError("cannot open the database");
        return;
    }
    ActionLog log(factory);
    std::vector<QString> details;
    for (int i = 0; i < rows; ++i)
        details.push_back(log.BuildDetailsXml(actionDetails::HttpNotFound, { itemPath(i) }));

    for (auto _ : state) {
        state.PauseTiming();
        auto clear = factory->CreateQuery();
        clear->prepare(QStringLiteral("DELETE FROM ActionLog"));
        clear->exec();
        clear.reset();
        for (int i = 0; i < rows; ++i)
            log.AddAction(
                action::DownloadFailed, itemPath(i), itemName(i), SyncDetails(details[size_t(i)]));
        state.ResumeTiming();
        log.Flush();
    }
    state.SetItemsProcessed(state.iterations() * rows);
}

void BM_RawSqlite(benchmark::State& state)
{
    const int rows = int(state.range(0));
    const QString path = benchDir().filePath(QStringLiteral("raw-%1.sqlite").arg(rows));
    if (!openFactory(QStringLiteral("raw-%1.sqlite").arg(rows))) { // same table as ours
        state.SkipWithError("cannot create the database");
        return;
    }
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.toUtf8().constData(), &db, SQLITE_OPEN_READWRITE, nullptr)
        != SQLITE_OK) {
        state.SkipWithError("cannot open the database");
        sqlite3_close(db);
        return;
    }
    sqlite3_exec(
        db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;", nullptr, nullptr, nullptr);

    // The same row values, already encoded: the reference does nothing but insert.
    ActionLog builder(nullptr);
    const std::string stamp
        = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toStdString();
    std::vector<std::string> infos, names, details;
    for (int i = 0; i < rows; ++i) {
        infos.push_back(itemPath(i).toStdString());
        names.push_back(itemName(i).toStdString());
        details.push_back(
            builder.BuildDetailsXml(actionDetails::HttpNotFound, { itemPath(i) }).toStdString());
    }

    for (auto _ : state) {
        state.PauseTiming();
        sqlite3_exec(db, "DELETE FROM ActionLog", nullptr, nullptr, nullptr);
        state.ResumeTiming();
        sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
        sqlite3_stmt* insert = nullptr;
        sqlite3_prepare_v2(db,
            "INSERT INTO ActionLog (actionType, relatedItemName, relatedItemInfo, timestamp, "
            "details) "
            "VALUES (?1, ?2, ?3, ?4, ?5)",
            -1, &insert, nullptr);
        for (int i = 0; i < rows; ++i) {
            sqlite3_bind_int(insert, 1, int(action::DownloadFailed));
            sqlite3_bind_text(
                insert, 2, names[size_t(i)].c_str(), int(names[size_t(i)].size()), SQLITE_STATIC);
            sqlite3_bind_text(
                insert, 3, infos[size_t(i)].c_str(), int(infos[size_t(i)].size()), SQLITE_STATIC);
            sqlite3_bind_text(insert, 4, stamp.c_str(), int(stamp.size()), SQLITE_STATIC);
            sqlite3_bind_text(insert, 5, details[size_t(i)].c_str(), int(details[size_t(i)].size()),
                SQLITE_STATIC);
            if (sqlite3_step(insert) != SQLITE_DONE)
                state.SkipWithError("insert failed");
            sqlite3_reset(insert);
        }
        sqlite3_finalize(insert);
        sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    }
    sqlite3_close(db);
    state.SetItemsProcessed(state.iterations() * rows);
}

// Medians of five runs: the machine is shared, single runs wander.
BENCHMARK(BM_ActionLogFlush)
    ->Arg(1000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_RawSqlite)
    ->Arg(1000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

struct Latency
{
    double medianUs = 0;
    double p99Us = 0;
    size_t samples = 0;
};

/// AddAction latency on @p threads threads, each adding an action every 20 us
/// or so; while a flush of @p flushRows queued actions runs when that is not 0,
/// otherwise for as long as such a flush took (@p idleMs).
Latency measureAddLatency(int threads, int flushRows, qint64* flushMs, qint64 idleMs)
{
    using Clock = std::chrono::steady_clock;
    auto factory = openFactory(QStringLiteral("latency-%1.sqlite").arg(flushRows));
    if (!factory)
        return {};
    ActionLog log(factory);
    for (int i = 0; i < flushRows; ++i)
        log.AddAction(action::DownloadFailed, itemPath(i), itemName(i));

    std::atomic<bool> stop { false };
    std::atomic<int> ready { 0 };
    std::vector<std::vector<double>> samples(static_cast<size_t>(threads));
    std::vector<std::thread> adders;
    for (int t = 0; t < threads; ++t) {
        adders.emplace_back([&, t] {
            std::vector<double>& mine = samples[size_t(t)];
            mine.reserve(200000);
            ++ready;
            while (!stop.load(std::memory_order_relaxed)) {
                const auto before = Clock::now();
                log.AddAction(action::FileUploaded, QStringLiteral("/home/user/Sync/a.txt"),
                    QStringLiteral("a.txt"));
                mine.push_back(
                    std::chrono::duration<double, std::micro>(Clock::now() - before).count());
                std::this_thread::sleep_for(std::chrono::microseconds(20));
            }
        });
    }
    while (ready.load() < threads)
        std::this_thread::yield();
    const auto start = Clock::now();
    if (flushRows > 0) {
        std::thread flusher([&] { log.Flush(); });
        flusher.join();
        *flushMs
            = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(idleMs));
    }
    stop = true;
    for (std::thread& adder : adders)
        adder.join();

    std::vector<double> all;
    for (const auto& mine : samples)
        all.insert(all.end(), mine.begin(), mine.end());
    Latency result;
    result.samples = all.size();
    if (all.empty())
        return result;
    const auto at = [&all](double fraction) {
        const size_t index = std::min(all.size() - 1, size_t(fraction * double(all.size())));
        std::nth_element(all.begin(), all.begin() + std::ptrdiff_t(index), all.end());
        return all[index];
    };
    result.medianUs = at(0.5);
    result.p99Us = at(0.99);
    return result; // the log writes the additions as it goes: not part of the figure
}

void printAddLatency()
{
    constexpr int threads = 4, rows = 100000;
    qint64 flushMs = 0;
    // Median of three runs of each, by p99.
    std::vector<Latency> busy, idle;
    for (int run = 0; run < 3; ++run) {
        busy.push_back(measureAddLatency(threads, rows, &flushMs, 0));
        idle.push_back(measureAddLatency(threads, 0, nullptr, std::max<qint64>(flushMs, 200)));
    }
    const auto median = [](std::vector<Latency> runs) {
        std::sort(runs.begin(), runs.end(),
            [](const Latency& a, const Latency& b) { return a.p99Us < b.p99Us; });
        return runs[runs.size() / 2];
    };
    const Latency during = median(busy), quiet = median(idle);
    std::printf("\nAddAction latency on %d threads (median of 3 runs; last flush %lld ms)\n"
                "%-26s %12s %12s %10s\n",
        threads, static_cast<long long>(flushMs), "", "median us", "p99 us", "samples");
    std::printf(
        "%-26s %12.2f %12.2f %10zu\n", "idle log", quiet.medianUs, quiet.p99Us, quiet.samples);
    std::printf("%-26s %12.2f %12.2f %10zu\n", "during a 100000-row flush", during.medianUs,
        during.p99Us, during.samples);
    if (quiet.p99Us > 0)
        std::printf("p99 ratio %.2fx  (target <= 2.00x)\n", during.p99Us / quiet.p99Us);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nmedians of 5 runs\n%-8s %16s %16s %8s\n", "rows", "ActionLog rows/s",
        "sqlite3 rows/s", "ratio");
    // Run names read "BM_X/<rows>/repeats:5/real_time_median".
    auto median = [&reporter](const std::string& benchmark, const std::string& rows) {
        const std::string prefix = benchmark + "/" + rows + "/";
        for (const auto& [name, rate] : reporter.rates) {
            if (name.compare(0, prefix.size(), prefix) == 0 && name.size() > 7
                && name.compare(name.size() - 7, 7, "_median") == 0)
                return rate;
        }
        return 0.0;
    };
    for (const char* rows : { "1000", "100000" }) {
        const double ours = median("BM_ActionLogFlush", rows);
        const double raw = median("BM_RawSqlite", rows);
        if (ours <= 0 || raw <= 0)
            continue;
        std::printf("%-8s %16.0f %16.0f %7.2fx  (target >= 0.50x)\n", rows, ours, raw, ours / raw);
    }
    printAddLatency();
    return 0;
}
