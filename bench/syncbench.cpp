// A sync pass of `synccore sync` against `rsync -a --checksum` on the same
// trees, first pass (empty target) and unchanged second pass: 10,000 small
// files and 10 files of 100 MiB. Both run as processes, as a user runs them.
// Printed: seconds per pass of each, and the ratio (ours / rsync).

#include "CollectingReporter.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>
#include <map>
#include <string>

namespace {

QTemporaryDir& workDir()
{
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/synccore-syncbench-XXXXXX"));
    return dir;
}

/// The source tree of a case, made once.
QString sourceTree(const QString& kind)
{
    const QString root = workDir().filePath(kind + QStringLiteral("/src"));
    if (QFileInfo::exists(root))
        return root;
    if (kind == QLatin1String("small")) {
        for (int i = 0; i < 10000; ++i) {
            const QString dir = root + QStringLiteral("/d%1").arg(i / 100, 3, 10, QLatin1Char('0'));
            QDir().mkpath(dir);
            QFile f(dir + QStringLiteral("/f%1.txt").arg(i));
            if (f.open(QIODevice::WriteOnly))
                f.write(QByteArray(4096, char('a' + i % 26)) + QByteArray::number(i));
        }
    } else {
        QDir().mkpath(root);
        QByteArray chunk(1 << 20, '\0');
        for (int i = 0; i < 10; ++i) {
            QFile f(root + QStringLiteral("/big%1.bin").arg(i));
            if (!f.open(QIODevice::WriteOnly))
                break;
            for (int mb = 0; mb < 100; ++mb) {
                for (int j = 0; j < chunk.size(); j += 64)
                    chunk[j] = char(i * 131 + mb * 7 + j);
                f.write(chunk);
            }
        }
    }
    return root;
}

bool runProcess(const QString& program, const QStringList& args)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.setStandardOutputFile(QProcess::nullDevice());
    p.start(program, args);
    return p.waitForFinished(-1) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

// tool: 0 = synccore, 1 = rsync as named (a current rsync picks a fast xxHash
// checksum), 2 = rsync made to checksum with MD5, as synccore does.
QStringList command(int tool, const QString& source, const QString& target, QString* program)
{
    if (tool == 0) {
        *program = QStringLiteral(SYNCCORE_TOOL_PATH);
        return {QStringLiteral("sync"), source, target, QStringLiteral("--db"),
                workDir().filePath(QStringLiteral("bench.sqlite")), QStringLiteral("--log"),
                workDir().filePath(QStringLiteral("bench.log"))};
    }
    *program = QStringLiteral("rsync");
    QStringList args{QStringLiteral("-a"), QStringLiteral("--checksum"), source + QLatin1Char('/'),
                     target + QLatin1Char('/')};
    if (tool == 2)
        args.prepend(QStringLiteral("--checksum-choice=md5"));
    return args;
}

// Arguments: the tool (see command()); 0 = small files / 1 = large files; 0 = first / 1 = unchanged pass.
void BM_Pass(benchmark::State& state)
{
    const int tool = int(state.range(0));
    const bool ours = tool == 0;
    const QString kind = state.range(1) == 0 ? QStringLiteral("small") : QStringLiteral("large");
    const bool unchanged = state.range(2) == 1;
    if (!ours && QStandardPaths::findExecutable(QStringLiteral("rsync")).isEmpty()) {
        state.SkipWithError("rsync is not installed");
        return;
    }
    const QString source = sourceTree(kind);
    const QString target = workDir().filePath(kind + QStringLiteral("/target%1").arg(tool));
    QString program;
    const QStringList args = command(tool, source, target, &program);
    for (auto _ : state) {
        state.PauseTiming();
        if (!unchanged || !QFileInfo::exists(target)) {
            QDir(target).removeRecursively();
            if (unchanged && !runProcess(program, args)) { // the first pass, untimed
                state.SkipWithError("the first pass failed");
                break;
            }
        }
        state.ResumeTiming();
        if (!runProcess(program, args)) {
            state.SkipWithError("the pass failed");
            break;
        }
    }
}

BENCHMARK(BM_Pass)
    ->ArgsProduct({{0, 1, 2}, {0, 1}, {0, 1}})
    ->ArgNames({"tool", "large", "unchanged"})
    ->Iterations(3)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);


} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\n%-30s %10s %10s %8s  %-7s %14s %8s\n", "pass", "synccore s", "rsync s", "ratio",
                "target", "rsync(md5) s", "ratio");
    const char* names[] = {"10,000 small files, first", "10,000 small files, unchanged",
                           "10 x 100 MiB, first", "10 x 100 MiB, unchanged"};
    for (int large = 0; large < 2; ++large) {
        for (int unchanged = 0; unchanged < 2; ++unchanged) {
            auto key = [&](int tool) {
                return "BM_Pass/tool:" + std::to_string(tool) + "/large:" + std::to_string(large)
                       + "/unchanged:" + std::to_string(unchanged) + "/iterations:3/real_time";
            };
            const double ours = reporter.seconds[key(0)];
            const double rsync = reporter.seconds[key(1)];
            const double rsyncMd5 = reporter.seconds[key(2)];
            if (ours <= 0 || rsync <= 0 || rsyncMd5 <= 0)
                continue;
            std::printf("%-30s %10.3f %10.3f %7.2fx  %-7s %14.3f %7.2fx\n", names[large * 2 + unchanged],
                        ours, rsync, ours / rsync, unchanged ? "<= 1.5x" : "<= 2x", rsyncMd5, ours / rsyncMd5);
        }
    }
    return 0;
}
