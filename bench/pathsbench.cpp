// CleanPath against QDir::cleanPath alone, on the same mix of paths: what the
// trimming, the URL test and the trailing-slash handling cost on top of Qt's
// own cleaning. Prints both rates and their ratio.

#include "CloudUtil/GeneralUtil.h"

#include <QDir>
#include <QStringList>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>

using Tessaron::CloudUtil::GeneralUtil;

namespace {

// A realistic mix: mostly clean absolute paths of a synced tree, some with a
// trailing slash, doubled separators, "." and ".." components or outer
// spaces, a few drive paths and URL-like texts.
QStringList makePaths()
{
    std::mt19937 rng(7);
    const char* const names[]
        = { "Documents", "Photos", "2024", "Projects", "report final.docx", "IMG_0042.JPG",
              ".{SyncTemp}", "src", "notes.txt", "Shared", "Budget Q3.xlsx", "archive.tar.gz" };
    QStringList paths;
    for (int i = 0; i < 4096; ++i) {
        QString p = QStringLiteral("/home/user/Cloud");
        const int depth = 1 + int(rng() % 6);
        for (int d = 0; d < depth; ++d)
            p += QLatin1Char('/') + QLatin1String(names[rng() % std::size(names)]);
        switch (rng() % 10) {
        case 0:
            p += QLatin1Char('/');
            break;
        case 1:
            p.replace(QStringLiteral("/Cloud/"), QStringLiteral("/Cloud//"));
            break;
        case 2:
            p.insert(p.lastIndexOf(QLatin1Char('/')), QStringLiteral("/./x/.."));
            break;
        case 3:
            p = QStringLiteral("  ") + p + QLatin1Char(' ');
            break;
        case 4:
            p = QStringLiteral("C:") + p;
            break;
        case 5:
            p = QStringLiteral("https:") + p;
            break;
        default:
            break;
        }
        paths.append(p);
    }
    return paths;
}

const QStringList& paths()
{
    static const QStringList all = makePaths();
    return all;
}

void BM_CleanPath(benchmark::State& state)
{
    const QStringList& in = paths();
    qsizetype i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(GeneralUtil::CleanPath(in.at(i)));
        i = (i + 1) % in.size();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_QDirCleanPath(benchmark::State& state)
{
    const QStringList& in = paths();
    qsizetype i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(QDir::cleanPath(in.at(i)));
        i = (i + 1) % in.size();
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_CleanPath);
BENCHMARK(BM_QDirCleanPath);

// Keeps the rate of each run so that main() can print the ratio.
class RateReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            const auto it = run.counters.find("items_per_second");
            if (it != run.counters.end())
                rates[run.benchmark_name()] = it->second.value;
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> rates;
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RateReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double ours = reporter.rates["BM_CleanPath"];
    const double reference = reporter.rates["BM_QDirCleanPath"];
    if (ours > 0 && reference > 0) {
        std::printf("\nCleanPath:       %.0f paths/s\n", ours);
        std::printf("QDir::cleanPath: %.0f paths/s (reference)\n", reference);
        std::printf("ratio:           %.2fx of the reference\n", ours / reference);
    }
    benchmark::Shutdown();
    return 0;
}
