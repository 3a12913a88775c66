// File operations against the system's own tools, measured in the same run:
// GenerateCheckSumMD5 against md5sum and CopyFile against cp, on one large file.
//
//   bench_files [--size-mib=N] [google benchmark flags]
//
// Both copies stay in the kernel (reflink or copy_file_range) and neither flushes to disk,
// so the comparison is of the same work.
//
// The file (1024 MiB unless --size-mib says otherwise) is written once into a
// temporary folder and read from the page cache by every run, ours and the
// reference's alike. Each side runs five single-iteration repetitions, randomly
// interleaved with the other benchmarks, and the best of them counts: on a shared
// machine the best run is the one least disturbed by other work. Besides the wall
// time, the CPU time of each side is compared (ours: this process; the tools':
// their own, from the children's resource usage), which other load hardly moves.
// Prints each figure in MiB/s and the ratio ours/reference.

#include "CloudUtil/GeneralUtil.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

using Tessaron::CloudUtil::GeneralUtil;

namespace {

qint64 g_sizeMiB = 1024;
QString g_source;
QString g_target;
long g_peakRssGrowthKiB = -1;

bool runTool(const char* program, const std::vector<std::string>& args)
{
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program));
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int rc = posix_spawnp(&pid, program, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0)
        return false;
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) { }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double childCpuSeconds()
{
    struct rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

long peakRssKiB()
{
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

bool writeSource(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QByteArray block(1024 * 1024, '\0');
    QRandomGenerator generator(20261123);
    for (qint64 i = 0; i < g_sizeMiB; ++i) {
        generator.fillRange(reinterpret_cast<quint32*>(block.data()), block.size() / 4);
        if (file.write(block) != block.size())
            return false;
    }
    return file.flush();
}

void setBytes(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * g_sizeMiB * 1024 * 1024);
}

void BM_GenerateCheckSumMD5(benchmark::State& state)
{
    const long before = g_peakRssGrowthKiB < 0 ? peakRssKiB() : -1;
    for (auto _ : state) {
        const QString sum = GeneralUtil::GenerateCheckSumMD5(g_source);
        if (sum.size() != 32)
            state.SkipWithError("no checksum");
        benchmark::DoNotOptimize(sum);
    }
    if (before >= 0)
        g_peakRssGrowthKiB = peakRssKiB() - before;
    setBytes(state);
}

void BM_md5sum(benchmark::State& state)
{
    const std::string path = g_source.toStdString();
    const double cpuBefore = childCpuSeconds();
    for (auto _ : state) {
        if (!runTool("md5sum", { path }))
            state.SkipWithError("md5sum failed");
    }
    state.counters["child_cpu_s"] = (childCpuSeconds() - cpuBefore) / double(state.iterations());
    setBytes(state);
}

void removeTarget(benchmark::State& state)
{
    state.PauseTiming();
    QFile::remove(g_target);
    state.ResumeTiming();
}

void BM_CopyFile(benchmark::State& state)
{
    for (auto _ : state) {
        removeTarget(state);
        if (!GeneralUtil::CopyFile(g_source, g_target, false, false, nullptr))
            state.SkipWithError("CopyFile failed");
    }
    setBytes(state);
}

void BM_cp(benchmark::State& state)
{
    const std::string source = g_source.toStdString();
    const std::string target = g_target.toStdString();
    double cpu = 0;
    for (auto _ : state) {
        removeTarget(state);
        const double cpuBefore = childCpuSeconds();
        if (!runTool("cp", { source, target }))
            state.SkipWithError("cp failed");
        cpu += childCpuSeconds() - cpuBefore;
    }
    state.counters["child_cpu_s"] = cpu / double(state.iterations());
    setBytes(state);
}

constexpr int kRepetitions = 5;
BENCHMARK(BM_GenerateCheckSumMD5)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(kRepetitions);
BENCHMARK(BM_md5sum)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(kRepetitions);
BENCHMARK(BM_CopyFile)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(kRepetitions);
BENCHMARK(BM_cp)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(kRepetitions);

// Keeps the best wall and CPU time per iteration of every benchmark, next to the
// usual console output.
class CollectingReporter : public benchmark::ConsoleReporter
{
public:
    struct Best
    {
        double wall = 1e300;
        double cpu = 1e300;
    };
    std::map<std::string, Best> best;

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred || run.iterations <= 0 || run.run_type != Run::RT_Iteration)
                continue;
            Best& b = best[run.run_name.function_name];
            const double n = double(run.iterations);
            b.wall = std::min(b.wall, run.real_accumulated_time / n);
            const auto child = run.counters.find("child_cpu_s");
            const double cpu = child != run.counters.end() ? double(child->second.value)
                                                           : run.cpu_accumulated_time / n;
            b.cpu = std::min(b.cpu, cpu);
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

void printPair(const CollectingReporter& r, const std::string& ours, const std::string& reference,
    double target)
{
    const auto o = r.best.find(ours);
    const auto f = r.best.find(reference);
    if (o == r.best.end() || f == r.best.end()) {
        std::printf("%s vs %s: not measured\n", ours.c_str(), reference.c_str());
        return;
    }
    const double mib = double(g_sizeMiB);
    const double ratio = f->second.wall / o->second.wall;
    std::printf("%-22s %8.1f MiB/s | %-10s %8.1f MiB/s | wall ratio %.2fx (target >= %.1fx: %s)\n",
        ours.c_str(), mib / o->second.wall, reference.c_str(), mib / f->second.wall, ratio, target,
        ratio >= target ? "met" : "NOT met");
    std::printf("%-22s %8.3f s CPU   | %-10s %8.3f s CPU   | CPU ratio %.2fx\n", "", o->second.cpu,
        reference.c_str(), f->second.cpu, f->second.cpu / o->second.cpu);
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i) {
        if (std::strncmp(argv[i], "--size-mib=", 11) == 0)
            g_sizeMiB = std::max<qint64>(1, std::atoll(argv[i] + 11));
        else
            rest.push_back(argv[i]);
    }
    // Interleave the repetitions, so that a burst of other load hits both sides alike.
    static char interleave[] = "--benchmark_enable_random_interleaving=true";
    rest.insert(rest.begin() + 1, interleave);
    int restCount = int(rest.size());
    benchmark::Initialize(&restCount, rest.data());

    QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/bench_files-XXXXXX"));
    if (!dir.isValid())
        return 1;
    g_source = dir.filePath(QStringLiteral("source.bin"));
    g_target = dir.filePath(QStringLiteral("target.bin"));
    std::printf("writing a %lld MiB file in %s\n", static_cast<long long>(g_sizeMiB),
        qPrintable(dir.path()));
    std::fflush(stdout);
    if (!writeSource(g_source))
        return 1;
    // Warm the page cache once, so that the first measured run is not the only cold one.
    GeneralUtil::GenerateCheckSumMD5(g_source);

    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nfile size: %lld MiB\n", static_cast<long long>(g_sizeMiB));
    std::printf("best of %d interleaved runs each\n", kRepetitions);
    printPair(reporter, "BM_GenerateCheckSumMD5", "BM_md5sum", 0.9);
    printPair(reporter, "BM_CopyFile", "BM_cp", 0.9);
    std::printf("peak memory growth while hashing: %ld KiB (flat: independent of the file size)\n",
        g_peakRssGrowthKiB);
    return 0;
}
