// Exclusion matching: names per second of FileNameMatcher::Match with the
// default patterns over a mix of 100,000 file names, on 1 and 2 threads,
// beside the reference: the same thirteen patterns as one alternation,
// JIT-compiled and matched by PCRE2 directly on UTF-8 names.

#include "Sync/SyncCore/FileNameMatcher.h"

#include <QRegularExpression>
#include <QStringList>

#include <benchmark/benchmark.h>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int nameCount = 100000;

// A day's worth of names as a sync client sees them: camera pictures, office
// documents, source trees, music, names in other scripts, extension-less
// files, editor lock files, and about one in sixteen that the defaults exclude.
QStringList makeNames()
{
    std::mt19937 rng(20261123u);
    auto pick = [&rng](const QStringList& list) { return list[qsizetype(rng() % list.size())]; };
    const QStringList words = { QStringLiteral("Report"), QStringLiteral("budget"),
        QStringLiteral("Meeting notes"), QStringLiteral("invoice"), QStringLiteral("Holiday"),
        QStringLiteral("draft"), QStringLiteral("Quarterly Review"), QStringLiteral("presentation"),
        QStringLiteral("contract"), QStringLiteral("scan"), QStringLiteral("final"),
        QStringLiteral("Project Plan"), QStringLiteral("minutes"), QStringLiteral("Photo"),
        QStringLiteral("backup copy") };
    const QStringList documentExtensions = { QStringLiteral("docx"), QStringLiteral("pdf"),
        QStringLiteral("xlsx"), QStringLiteral("pptx"), QStringLiteral("txt"),
        QStringLiteral("odt"), QStringLiteral("csv"), QStringLiteral("DOC"), QStringLiteral("rtf"),
        QStringLiteral("md") };
    const QStringList codeExtensions = { QStringLiteral("cpp"), QStringLiteral("h"),
        QStringLiteral("py"), QStringLiteral("js"), QStringLiteral("json"), QStringLiteral("xml"),
        QStringLiteral("cmake"), QStringLiteral("ts") };
    const QStringList codeWords = { QStringLiteral("main"), QStringLiteral("widget"),
        QStringLiteral("file_name"), QStringLiteral("matcher"), QStringLiteral("utils"),
        QStringLiteral("index"), QStringLiteral("CMakeLists"), QStringLiteral("test_helpers") };
    const QStringList otherScripts
        = { QStringLiteral("Größenübersicht %1.pdf"), QStringLiteral("Résumé %1.docx"),
              QStringLiteral("日本語の資料 %1.xlsx"), QStringLiteral("Отчёт %1.docx"),
              QStringLiteral("회의록 %1.txt"), QStringLiteral("数据 %1.csv"),
              QStringLiteral("Ça marche %1.BAK"), QStringLiteral("Übergabe %1.log") };
    const QStringList excluded = { QStringLiteral("%1.bak"), QStringLiteral("server %1.log"),
        QStringLiteral("Thumbs.db"), QStringLiteral(".DS_Store"), QStringLiteral("desktop.ini"),
        QStringLiteral("plan.%1.kqz"), QStringLiteral("drawing %1.bk2"),
        QStringLiteral("layout %1.sv$"), QStringLiteral("Shortcut %1.lnk"),
        QStringLiteral("run %1.err"), QStringLiteral("model %1.lkz"),
        QStringLiteral("print %1.pcp") };
    const QStringList bare = { QStringLiteral("Makefile"), QStringLiteral("README"),
        QStringLiteral("LICENSE"), QStringLiteral("Dockerfile"), QStringLiteral(".gitignore"),
        QStringLiteral(".bashrc") };

    QStringList names;
    names.reserve(nameCount);
    for (int i = 0; i < nameCount; ++i) {
        const unsigned kind = rng() % 100;
        const QString number = QStringLiteral("%1").arg(rng() % 10000, 4, 10, QLatin1Char('0'));
        QString name;
        if (kind < 25) {
            const QStringList forms = { QStringLiteral("IMG_%1.JPG"), QStringLiteral("DSC0%1.jpg"),
                QStringLiteral("PXL_20240612_10%1.jpg"),
                QStringLiteral("Screenshot 2024-06-12 at 10.%1.png"), QStringLiteral("VID_%1.mp4"),
                QStringLiteral("IMG_%1.HEIC") };
            name = pick(forms).arg(number);
        } else if (kind < 55) {
            name = QStringLiteral("%1 %2.%3").arg(pick(words), number, pick(documentExtensions));
        } else if (kind < 72) {
            name = QStringLiteral("%1.%2").arg(pick(codeWords), pick(codeExtensions));
        } else if (kind < 80) {
            name = QStringLiteral("%1 - Track %2.mp3").arg(number.right(2), pick(words));
        } else if (kind < 88) {
            name = pick(otherScripts).arg(number);
        } else if (kind < 91) {
            name = pick(bare);
        } else if (kind < 94) {
            name = QStringLiteral("~$%1 %2.docx").arg(pick(words), number);
        } else {
            // Some excluded names are fixed ("Thumbs.db"): number only those with a place for it.
            const QString form = pick(excluded);
            name = form.contains(QLatin1String("%1")) ? form.arg(number) : form;
        }
        names.append(name);
    }
    return names;
}

const QStringList& names()
{
    static const QStringList list = makeNames();
    return list;
}

const std::vector<std::string>& utf8Names()
{
    static const std::vector<std::string> list = [] {
        std::vector<std::string> out;
        for (const QString& name : names())
            out.push_back(name.toStdString());
        return out;
    }();
    return list;
}

const sync::core::FileNameMatcher& matcher()
{
    // No settings key: exactly the default patterns, whatever this machine's settings hold.
    static const sync::core::FileNameMatcher instance(
        QString(), sync::core::uploadDownloadExclusionsRegex);
    return instance;
}

struct Reference
{
    pcre2_code* code = nullptr;

    Reference()
    {
        const QStringList pieces
            = sync::core::uploadDownloadExclusionsRegex.split(QLatin1Char(';'));
        const QByteArray pattern
            = (QStringLiteral("(?:") + pieces.join(QStringLiteral(")|(?:")) + QStringLiteral(")"))
                  .toUtf8();
        int error = 0;
        PCRE2_SIZE offset = 0;
        code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.constData()),
            size_t(pattern.size()), PCRE2_CASELESS | PCRE2_UTF, &error, &offset, nullptr);
        if (code)
            pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);
    }
};

const Reference& reference()
{
    static const Reference instance;
    return instance;
}

double threadCpuSeconds()
{
    timespec ts {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

// Each thread reports its own names per wall-clock second; the sum over the
// threads is the throughput. The CPU time each thread spends per name tells,
// on a busy machine too, whether threads slow each other down.
class Meter
{
public:
    Meter()
        : _wallStart(std::chrono::steady_clock::now())
        , _cpuStart(threadCpuSeconds())
    { }

    void report(benchmark::State& state, std::int64_t names) const
    {
        const double wall
            = std::chrono::duration<double>(std::chrono::steady_clock::now() - _wallStart).count();
        const double cpu = threadCpuSeconds() - _cpuStart;
        state.counters["names_per_s"] = benchmark::Counter(wall > 0 ? double(names) / wall : 0);
        state.counters["cpu_ns_per_name"] = benchmark::Counter(
            names > 0 ? cpu * 1e9 / double(names) : 0, benchmark::Counter::kAvgThreads);
    }

private:
    std::chrono::steady_clock::time_point _wallStart;
    double _cpuStart;
};

int expectedHits()
{
    static const int hits = [] {
        int n = 0;
        for (const QString& name : names())
            n += matcher().Match(name);
        return n;
    }();
    return hits;
}

void BM_FileNameMatcher(benchmark::State& state)
{
    const QStringList& list = names();
    const sync::core::FileNameMatcher& m = matcher();
    const Meter meter;
    for (auto _ : state) {
        int hits = 0;
        for (const QString& name : list)
            hits += m.Match(name);
        benchmark::DoNotOptimize(hits);
        if (hits != expectedHits())
            state.SkipWithError("hit count changed between runs");
    }
    meter.report(state, state.iterations() * std::int64_t(list.size()));
    state.SetItemsProcessed(state.iterations() * list.size());
}

void BM_Pcre2Alternation(benchmark::State& state)
{
    const std::vector<std::string>& list = utf8Names();
    const Reference& ref = reference();
    if (!ref.code) {
        state.SkipWithError("the reference pattern does not compile");
        return;
    }
    pcre2_match_data* data = pcre2_match_data_create_from_pattern(ref.code, nullptr);
    const Meter meter;
    for (auto _ : state) {
        int hits = 0;
        for (const std::string& name : list) {
            hits += pcre2_jit_match(ref.code, reinterpret_cast<PCRE2_SPTR>(name.data()),
                        name.size(), 0, 0, data, nullptr)
                >= 0;
        }
        benchmark::DoNotOptimize(hits);
        if (hits != expectedHits())
            state.SkipWithError("the reference disagrees with the matcher");
    }
    pcre2_match_data_free(data);
    meter.report(state, state.iterations() * std::int64_t(list.size()));
    state.SetItemsProcessed(state.iterations() * std::int64_t(list.size()));
}

// For context: each pattern through QRegularExpression on its own, which is
// what matching without the literal fast path costs.
void BM_QRegularExpressionPerPattern(benchmark::State& state)
{
    const QStringList& list = names();
    static const std::vector<QRegularExpression> expressions = [] {
        std::vector<QRegularExpression> out;
        for (const QString& piece :
            sync::core::uploadDownloadExclusionsRegex.split(QLatin1Char(';'))) {
            out.emplace_back(piece, QRegularExpression::CaseInsensitiveOption);
            out.back().optimize();
        }
        return out;
    }();
    const Meter meter;
    for (auto _ : state) {
        int hits = 0;
        for (const QString& name : list) {
            for (const QRegularExpression& re : expressions) {
                if (re.match(name).hasMatch()) {
                    ++hits;
                    break;
                }
            }
        }
        benchmark::DoNotOptimize(hits);
    }
    meter.report(state, state.iterations() * std::int64_t(list.size()));
    state.SetItemsProcessed(state.iterations() * list.size());
}

BENCHMARK(BM_FileNameMatcher)->Threads(1)->Threads(2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Pcre2Alternation)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_QRegularExpressionPerPattern)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// Prints the usual table, then our figure beside the reference's with ratios.
class SummaryReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            // Single runs, or the median of repeated ones.
            if (run.error_occurred
                || (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median"))
                continue;
            const auto it = run.counters.find("names_per_s");
            if (it != run.counters.end())
                _rates[run.run_name.function_name][run.threads] = it->second.value;
            const auto cpu = run.counters.find("cpu_ns_per_name");
            if (cpu != run.counters.end())
                _cpu[run.run_name.function_name][run.threads] = cpu->second.value;
        }
    }

    void Finalize() override
    {
        ConsoleReporter::Finalize();
        const auto& ours = _rates["BM_FileNameMatcher"];
        const auto& ref = _rates["BM_Pcre2Alternation"];
        const auto& perPattern = _rates["BM_QRegularExpressionPerPattern"];
        std::printf("\n%d names, %d excluded by the default patterns\n", nameCount, expectedHits());
        std::printf("%-8s %20s %22s %7s %26s\n", "threads", "FileNameMatcher/s",
            "PCRE2 alternation/s", "ratio", "QRegularExpression each/s");
        for (int threads : { 1, 2 }) {
            const double a = ours.count(threads) ? ours.at(threads) : 0;
            const double b = ref.count(threads) ? ref.at(threads) : 0;
            const double c = perPattern.count(threads) ? perPattern.at(threads) : 0;
            std::printf("%-8d %20.0f %22.0f %7.2f %26.0f\n", threads, a, b, b > 0 ? a / b : 0.0, c);
        }
        std::printf("CPU ns per name and thread (1 / 2 threads):\n");
        for (const auto& entry : _cpu) {
            const auto& byThreads = entry.second;
            std::printf("  %-34s %8.1f %8.1f\n", entry.first.c_str(),
                byThreads.count(1) ? byThreads.at(1) : 0.0,
                byThreads.count(2) ? byThreads.at(2) : 0.0);
        }
        if (ours.count(1) && ours.count(2) && ours.at(1) > 0)
            std::printf("FileNameMatcher scaling 1 -> 2 threads: %.2fx\n", ours.at(2) / ours.at(1));
        if (ref.count(1) && ref.count(2) && ref.at(1) > 0)
            std::printf("PCRE2 scaling 1 -> 2 threads: %.2fx\n", ref.at(2) / ref.at(1));
    }

private:
    std::map<std::string, std::map<int, double>> _rates;
    std::map<std::string, std::map<int, double>> _cpu;
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    // Built before timing starts.
    names();
    utf8Names();
    expectedHits();
    reference();
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
