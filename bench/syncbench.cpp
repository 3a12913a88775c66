// The mirror pass against rsync on the same trees in the same run, each as a
// whole process as a user runs them: `rsync -a` (its quick check) beside
// `synccore sync`, and `rsync -a --checksum` beside `synccore sync --checksum`. Median of
// SYNCBENCH_RUNS runs (5). Printed: seconds of each, the ratio beside its
// target, CPU cost per file and per MiB, peak memory at two tree sizes, and
// the time from one write to the file being in place under the watcher.
//
// Sizes come from the environment so that a smaller run fits a busy machine:
//   SYNCBENCH_SMALL_FILES (10000), SYNCBENCH_LARGE_FILES (10),
//   SYNCBENCH_LARGE_MIB (100), SYNCBENCH_MANY_FILES (100000), SYNCBENCH_RUNS (5).

#include "CollectingReporter.h"

#include "Sync/Mirror/MirrorWatcher.h"
#include "Sync/SyncCore/ActionLog.h"
#include "database/SqliteDatabaseFactory.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

int envInt(const char* name, int fallback)
{
    const char* v = std::getenv(name);
    return v && std::atoi(v) > 0 ? std::atoi(v) : fallback;
}

const int kRuns = envInt("SYNCBENCH_RUNS", 5);
const int kSmallFiles = envInt("SYNCBENCH_SMALL_FILES", 10000);
const int kLargeFiles = envInt("SYNCBENCH_LARGE_FILES", 10);
const int kLargeMiB = envInt("SYNCBENCH_LARGE_MIB", 100);
const int kManyFiles = envInt("SYNCBENCH_MANY_FILES", 100000);

QTemporaryDir& workDir()
{
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/synccore-syncbench-XXXXXX"));
    return dir;
}

std::string work(const std::string& name)
{
    return workDir().path().toStdString() + '/' + name;
}

void writeFile(const std::string& path, const char* data, size_t size)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0)
        return;
    (void)!::write(fd, data, size);
    ::close(fd);
}

// The pass re-reads files written in the last two seconds to catch a change
// inside the clock's granularity; a tree being mirrored is older than that, so
// the trees made here are let age before they are timed.
void letAge()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
}

/// Small files of about 4 KiB, 100 to a folder.
std::string smallTree(const std::string& name, int files)
{
    const std::string root = work(name);
    if (::access(root.c_str(), F_OK) == 0)
        return root;
    ::mkdir(root.c_str(), 0755);
    std::string content(4096, 'a');
    for (int i = 0; i < files; ++i) {
        const std::string dir = root + "/d" + std::to_string(i / 100);
        if (i % 100 == 0)
            ::mkdir(dir.c_str(), 0755);
        content[0] = char('a' + i % 26);
        const std::string tail = std::to_string(i);
        writeFile(
            dir + "/f" + tail + ".txt", (content + tail).data(), content.size() + tail.size());
    }
    letAge();
    return root;
}

std::string largeTree()
{
    const std::string root = work("large");
    if (::access(root.c_str(), F_OK) == 0)
        return root;
    ::mkdir(root.c_str(), 0755);
    std::vector<char> chunk(1 << 20);
    for (int i = 0; i < kLargeFiles; ++i) {
        const int fd = ::open(
            (root + "/big" + std::to_string(i) + ".bin").c_str(), O_WRONLY | O_CREAT, 0644);
        for (int mb = 0; mb < kLargeMiB; ++mb) {
            for (size_t j = 0; j < chunk.size(); j += 64)
                chunk[j] = char(i * 131 + mb * 7 + int(j));
            (void)!::write(fd, chunk.data(), chunk.size());
        }
        ::close(fd);
    }
    letAge();
    return root;
}

struct ProcessCost
{
    double seconds = 0;
    double cpuSeconds = 0;
    long maxRssKiB = 0;
    bool ok = false;
};

ProcessCost runProcess(const std::vector<std::string>& argv)
{
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    ProcessCost cost;
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    if (posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return cost;
    }
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    struct rusage usage
    {
    };
    wait4(pid, &status, 0, &usage);
    cost.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    cost.cpuSeconds = double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
    cost.maxRssKiB = usage.ru_maxrss;
    cost.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return cost;
}

void removeTree(const std::string& path)
{
    runProcess({ "rm", "-rf", path });
}

// Medians of what each case measured, by case name.
struct Samples
{
    std::vector<double> seconds, cpu;
    std::vector<long> rss;
};
std::map<std::string, Samples>& samples()
{
    static std::map<std::string, Samples> s;
    return s;
}

template <typename T> T median(std::vector<T> v)
{
    if (v.empty())
        return T();
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

enum Tool { Ours = 0, Rsync = 1 };

// The samples of one tool on one tree and pass.
std::string name(int tool, int tree, int pass)
{
    return std::to_string(tool) + "/" + std::to_string(tree) + "/" + std::to_string(pass);
}

std::vector<std::string> command(Tool tool, bool checksum, const std::string& source,
    const std::string& target, const std::string& db)
{
    if (tool == Ours) {
        std::vector<std::string> c { SYNCCORE_TOOL_PATH, "sync", "--quiet", "--db", db, source,
            target };
        if (checksum)
            c.push_back("--checksum");
        return c;
    }
    std::vector<std::string> c { "rsync", "-a" };
    if (checksum)
        c.push_back("--checksum");
    c.push_back(source + '/');
    c.push_back(target + '/');
    return c;
}

// Arguments: tree (0 small, 1 large, 2 many), pass (0 first, 1 unchanged, 2 unchanged
// --checksum). Each run times both tools, and which goes first alternates: they
// then meet the same page cache and the same write-back of earlier runs, which
// a block of one tool's runs after the other's would hand to one of them only.
void BM_Pass(benchmark::State& state)
{
    const int tree = int(state.range(0));
    const int pass = int(state.range(1));
    const bool haveRsync = !QStandardPaths::findExecutable(QStringLiteral("rsync")).isEmpty();
    const std::string source = tree == 0 ? smallTree("small", kSmallFiles)
        : tree == 1                      ? largeTree()
                                         : smallTree("many", kManyFiles);
    struct Side
    {
        Tool tool;
        std::string target;
        std::string db;
    };
    Side sides[2] = { { Ours, {}, {} }, { Rsync, {}, {} } };
    for (Side& side : sides) {
        const std::string tag = std::to_string(side.tool) + "-" + std::to_string(tree);
        side.target = work("target-" + tag);
        side.db = work("db-" + tag + ".sqlite");
    }
    int run = 0;
    for (auto _ : state) {
        ++run;
        for (int i = 0; i < 2; ++i) {
            Side& side = sides[(run + i) % 2];
            if (side.tool == Rsync && !haveRsync)
                continue;
            const std::string tag = std::to_string(side.tool) + "-" + std::to_string(tree);
            if (pass == 0) {
                // A fresh target every run, removed only at the end: ext4 scans the inodes of
                // a tree deleted moments ago on every file it creates, which would time rm -rf.
                side.target = work("target-" + tag + "-first" + std::to_string(run));
                side.db = work("db-" + tag + "-first" + std::to_string(run) + ".sqlite");
            } else if (::access(side.target.c_str(), F_OK) != 0
                && !runProcess(command(side.tool, false, source, side.target, side.db)).ok) {
                state.SkipWithError("the first pass failed");
                return;
            }
            const ProcessCost cost
                = runProcess(command(side.tool, pass == 2, source, side.target, side.db));
            if (!cost.ok) {
                state.SkipWithError(side.tool == Ours ? "our pass failed" : "rsync failed");
                return;
            }
            if (side.tool == Ours)
                state.SetIterationTime(cost.seconds);
            Samples& s = samples()[name(side.tool, tree, pass)];
            s.seconds.push_back(cost.seconds);
            s.cpu.push_back(cost.cpuSeconds);
            s.rss.push_back(cost.maxRssKiB);
        }
    }
}

// One write in a tree of SYNCBENCH_MANY_FILES files under the watcher: seconds from the
// write to the new content in the target, settle time included.
void BM_WatchLatency(benchmark::State& state)
{
    const std::string source = smallTree("many", kManyFiles);
    const std::string target = work("watch-target");
    QString error;
    auto database = sync::core::SqliteDatabaseFactory::Open(
        QString::fromStdString(work("watch.sqlite")), &error);
    if (!database || !database->CreateActionLogTable()) {
        state.SkipWithError("no database");
        return;
    }
    sync::core::ActionLog log(database);
    sync::mirror::MirrorOptions options;
    options.source = QString::fromStdString(source);
    options.target = QString::fromStdString(target);
    options.settleMs = 200;
    sync::mirror::MirrorWatcher watcher(options, &log, database, nullptr, nullptr);
    std::atomic<int> passes { 0 };
    std::atomic<int> lastFiles { 0 };
    watcher.SetResultCallback([&](const sync::mirror::MirrorResult& r, bool) {
        lastFiles = r.files;
        ++passes;
    });
    std::thread runner([&] { watcher.Run(); });
    while (passes.load() == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const std::string file = "/d7/f777.txt";
    int round = 0;
    bool touchedOne = true;
    for (auto _ : state) {
        const std::string content = "changed " + std::to_string(++round);
        const int before = passes.load();
        const auto start = std::chrono::steady_clock::now();
        writeFile(source + file, content.data(), content.size());
        for (;;) {
            char buffer[64] = {};
            const int fd = ::open((target + file).c_str(), O_RDONLY);
            const ssize_t n = fd >= 0 ? ::read(fd, buffer, sizeof buffer) : -1;
            if (fd >= 0)
                ::close(fd);
            if (n == ssize_t(content.size()) && content == std::string(buffer, size_t(n)))
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            if (std::chrono::steady_clock::now() - start > std::chrono::seconds(30))
                break;
        }
        const double seconds
            = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        samples()["watch"].seconds.push_back(seconds);
        while (passes.load() == before)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        touchedOne = touchedOne && lastFiles.load() == 1;
    }
    watcher.Stop();
    runner.join();
    if (!touchedOne)
        state.SkipWithError("a pass after one change touched more than that file");
}

void printRatio(
    const char* label, int tree, int pass, const char* target, double units, const char* unitName)
{
    const Samples& ours = samples()[name(Ours, tree, pass)];
    const Samples& rsync = samples()[name(Rsync, tree, pass)];
    if (ours.seconds.empty() || rsync.seconds.empty()) {
        std::printf("%-44s (not measured)\n", label);
        return;
    }
    const double a = median(ours.seconds), b = median(rsync.seconds);
    // Each run timed both tools back to back: the spread of the runs' own ratios shows how
    // much the machine moved the median.
    double lowest = 1e9, highest = 0;
    for (size_t i = 0; i < std::min(ours.seconds.size(), rsync.seconds.size()); ++i) {
        const double ratio = ours.seconds[i] / rsync.seconds[i];
        lowest = std::min(lowest, ratio);
        highest = std::max(highest, ratio);
    }
    std::printf("%-44s %9.3f %9.3f %7.2fx  %-8s %-6s  runs %.2f-%.2fx   cpu %8.1f us/%s (rsync "
                "%8.1f)\n",
        label, a, b, a / b, target, a / b <= 1.0 ? "met" : "MISSED", lowest, highest,
        median(ours.cpu) * 1e6 / units, unitName, median(rsync.cpu) * 1e6 / units, unitName);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    // The tool reads its settings and writes its log file under these: never the user's.
    for (const char* variable : { "HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME" })
        ::setenv(variable, work("home").c_str(), 1);
    // The time Google Benchmark reports is ours; rsync's is in the table printed after.
    for (int tree : { 0, 1, 2 }) {
        for (int pass : { 0, 1, 2 }) {
            if (tree == 2 && pass == 2)
                continue;
            benchmark::RegisterBenchmark("BM_Pass", BM_Pass)
                ->Args({ tree, pass })
                ->ArgNames({ "tree", "pass" })
                ->Iterations(kRuns)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
        }
    }
    benchmark::RegisterBenchmark("BM_WatchLatency", BM_WatchLatency)
        ->Iterations(kRuns)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const double largeMiB = double(kLargeFiles) * kLargeMiB;
    std::printf("\nmedian of %d runs, whole processes        %9s %9s %8s  %-8s\n", kRuns, "ours s",
        "rsync s", "ratio", "target");
    char label[128];
    std::snprintf(label, sizeof label, "%d small files, first pass", kSmallFiles);
    printRatio(label, 0, 0, "<= 1.0x", kSmallFiles, "file");
    std::snprintf(label, sizeof label, "%d small files, unchanged", kSmallFiles);
    printRatio(label, 0, 1, "<= 1.0x", kSmallFiles, "file");
    std::snprintf(label, sizeof label, "%d small files, unchanged --checksum", kSmallFiles);
    printRatio(label, 0, 2, "<= 1.0x", kSmallFiles, "file");
    std::snprintf(label, sizeof label, "%d x %d MiB, first pass", kLargeFiles, kLargeMiB);
    printRatio(label, 1, 0, "<= 1.0x", largeMiB, "MiB");
    std::snprintf(label, sizeof label, "%d x %d MiB, unchanged", kLargeFiles, kLargeMiB);
    printRatio(label, 1, 1, "<= 1.0x", largeMiB, "MiB");
    std::snprintf(label, sizeof label, "%d x %d MiB, unchanged --checksum", kLargeFiles, kLargeMiB);
    printRatio(label, 1, 2, "<= 1.0x", largeMiB, "MiB");
    std::snprintf(label, sizeof label, "%d small files, first pass", kManyFiles);
    printRatio(label, 2, 0, "<= 1.0x", kManyFiles, "file");
    std::snprintf(label, sizeof label, "%d small files, unchanged", kManyFiles);
    printRatio(label, 2, 1, "<= 1.0x", kManyFiles, "file");

    std::printf("\npeak memory (median KiB)                      ours      rsync\n");
    for (int pass : { 0, 1 }) {
        const long a = median(samples()[name(Ours, 0, pass)].rss),
                   b = median(samples()[name(Ours, 2, pass)].rss);
        const long ra = median(samples()[name(Rsync, 0, pass)].rss),
                   rb = median(samples()[name(Rsync, 2, pass)].rss);
        std::printf("%-9s %7d files                    %9ld %9ld\n", pass ? "unchanged" : "first",
            kSmallFiles, a, ra);
        std::printf("%-9s %7d files                    %9ld %9ld   growth %.2fx  (target: flat, <= "
                    "1.25x)  %s\n",
            pass ? "unchanged" : "first", kManyFiles, b, rb, a > 0 ? double(b) / double(a) : 0.0,
            a > 0 && double(b) / double(a) <= 1.25 ? "met" : "MISSED");
    }
    const std::vector<double>& watch = samples()["watch"].seconds;
    if (!watch.empty()) {
        const double m = median(watch);
        std::printf("\n--watch, one write in %d files to in place: median %.3f s (target < 1 s, "
                    "settle 200 ms "
                    "included)  %s\n",
            kManyFiles, m, m < 1.0 ? "met" : "MISSED");
    }
    std::fflush(stdout);
    // A million files go faster with rm than with QDir's recursive removal.
    removeTree(workDir().path().toStdString());
    return 0;
}
