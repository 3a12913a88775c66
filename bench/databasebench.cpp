// Writing a batch of action rows through the database layer (one query
// wrapper per row, as the action log's flush does) against the raw SQLite C
// API with one prepared statement, both in one transaction on a WAL file with
// synchronous=NORMAL. Prints rows per second (wall clock) of both and their
// ratio.

#include "database/SqliteDatabaseFactory.h"
#include "interfaces/IQSqlDatabaseWrapper.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <map>
#include <string>

namespace {

QTemporaryDir* benchDir = nullptr;

const QString kName = QStringLiteral("Documents/Quarterly report.docx");
const QString kInfo = QStringLiteral("/home/user/Cloud/Documents/Quarterly report.docx");
const QString kDetails = QStringLiteral("<SyncActionDetails type=\"1\"/>");

const char* const kCreate
    = "CREATE TABLE IF NOT EXISTS ActionLog (id INTEGER PRIMARY KEY AUTOINCREMENT, "
      "actionType INTEGER, relatedItemName TEXT, relatedItemInfo TEXT, timestamp TEXT, "
      "details TEXT)";

void WrapperInsert(benchmark::State& state)
{
    const int rows = int(state.range(0));
    QString error;
    auto factory = sync::core::SqliteDatabaseFactory::Open(
        benchDir->filePath(QStringLiteral("wrapper-%1.db").arg(rows)), &error);
    if (!factory || !factory->CreateActionLogTable()) {
        state.SkipWithError(error.toStdString().c_str());
        return;
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QString insert = QStringLiteral(
        "INSERT INTO ActionLog (actionType, relatedItemName, relatedItemInfo, timestamp, details) "
        "VALUES (:actionType, :relatedItemName, :relatedItemInfo, :timestamp, :details);");
    for (auto _ : state) {
        auto database = factory->GetDatabase();
        database->transaction();
        for (int i = 0; i < rows; ++i) {
            auto query = factory->CreateQuery();
            query->prepare(insert);
            query->bindValue(QStringLiteral(":actionType"), i & 7);
            query->bindValue(QStringLiteral(":relatedItemName"), kName);
            query->bindValue(QStringLiteral(":relatedItemInfo"), kInfo);
            query->bindValue(QStringLiteral(":timestamp"), now);
            query->bindValue(QStringLiteral(":details"), kDetails);
            if (!query->exec()) {
                state.SkipWithError("insert failed");
                break;
            }
            benchmark::DoNotOptimize(query->lastInsertId().toInt());
        }
        database->commit();
    }
    state.SetItemsProcessed(state.iterations() * rows);
}

void RawSqliteInsert(benchmark::State& state)
{
    const int rows = int(state.range(0));
    const QByteArray path
        = QFile::encodeName(benchDir->filePath(QStringLiteral("raw-%1.db").arg(rows)));
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.constData(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr)
        != SQLITE_OK) {
        state.SkipWithError("sqlite3_open_v2 failed");
        sqlite3_close(db);
        return;
    }
    sqlite3_exec(db, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr);
    sqlite3_exec(db, kCreate, nullptr, nullptr, nullptr);
    sqlite3_stmt* stmt = nullptr;
    sqlite3_prepare_v2(db,
        "INSERT INTO ActionLog (actionType, relatedItemName, relatedItemInfo, "
        "timestamp, details) VALUES (?1, ?2, ?3, ?4, ?5)",
        -1, &stmt, nullptr);
    // The reference binds ready-made text: no string conversion is charged to it.
    const QByteArray name = kName.toUtf8();
    const QByteArray info = kInfo.toUtf8();
    const QByteArray timestamp
        = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs).toUtf8();
    const QByteArray details = kDetails.toUtf8();
    for (auto _ : state) {
        sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
        for (int i = 0; i < rows; ++i) {
            sqlite3_bind_int(stmt, 1, i & 7);
            sqlite3_bind_text(stmt, 2, name.constData(), int(name.size()), SQLITE_STATIC);
            sqlite3_bind_text(stmt, 3, info.constData(), int(info.size()), SQLITE_STATIC);
            sqlite3_bind_text(stmt, 4, timestamp.constData(), int(timestamp.size()), SQLITE_STATIC);
            sqlite3_bind_text(stmt, 5, details.constData(), int(details.size()), SQLITE_STATIC);
            if (sqlite3_step(stmt) != SQLITE_DONE) {
                state.SkipWithError("insert failed");
                break;
            }
            sqlite3_reset(stmt);
            benchmark::DoNotOptimize(sqlite3_last_insert_rowid(db));
        }
        sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    }
    state.SetItemsProcessed(state.iterations() * rows);
    sqlite3_finalize(stmt);
    sqlite3_close(db);
}

// Keeps rows per second of every run, by wall clock and by CPU time, to print
// the comparison at the end. On a loaded machine the CPU figure is the steadier.
struct Rate
{
    double wall = 0;
    double cpu = 0;
};

class RecordingReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            auto it = run.counters.find("items_per_second");
            if (it == run.counters.end() || run.cpu_accumulated_time <= 0)
                continue;
            Rate& rate = rates[run.run_name.function_name + "/" + run.run_name.args];
            rate.wall = it->second.value;
            rate.cpu = it->second.value * run.real_accumulated_time / run.cpu_accumulated_time;
        }
    }

    std::map<std::string, Rate> rates;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    if (!dir.isValid())
        return 1;
    benchDir = &dir;

    const int sizes[] = { 1000, 100000 };
    for (int rows : sizes) {
        benchmark::RegisterBenchmark("WrapperInsert", WrapperInsert)
            ->Arg(rows)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        benchmark::RegisterBenchmark("RawSqliteInsert", RawSqliteInsert)
            ->Arg(rows)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    }
    benchmark::Initialize(&argc, argv);
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nrows inserted per second, one transaction per batch (target ratio >= 0.5)\n");
    for (int rows : sizes) {
        const std::string suffix = "/" + std::to_string(rows);
        const Rate ours = reporter.rates["WrapperInsert" + suffix];
        const Rate raw = reporter.rates["RawSqliteInsert" + suffix];
        const auto ratio = [](double a, double b) { return b > 0 ? a / b : 0.0; };
        std::printf("N=%-7d CPU time:   database layer %9.0f rows/s, raw sqlite3 %9.0f rows/s, "
                    "ratio %.2f\n",
            rows, ours.cpu, raw.cpu, ratio(ours.cpu, raw.cpu));
        std::printf("N=%-7d wall clock: database layer %9.0f rows/s, raw sqlite3 %9.0f rows/s, "
                    "ratio %.2f\n",
            rows, ours.wall, raw.wall, ratio(ours.wall, raw.wall));
    }
    return 0;
}
