// One mirror pass as a process of its own, for the sync benchmark: what the
// tool's sync command does, without its option parsing and printing.
//
//   mirrorrun SOURCE TARGET DATABASE [--checksum] [--delete]
//
// Exit status as the tool's: 0, 1 (failure), 23 (per-entry failures).

#include "Sync/Mirror/MirrorPass.h"
#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/FileNameMatcher.h"
#include "database/SqliteDatabaseFactory.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstring>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 4) {
        std::fprintf(stderr, "usage: mirrorrun SOURCE TARGET DATABASE [--checksum] [--delete]\n");
        return 2;
    }
    sync::mirror::MirrorOptions options;
    options.source = QString::fromLocal8Bit(argv[1]);
    options.target = QString::fromLocal8Bit(argv[2]);
    for (int i = 4; i < argc; ++i) {
        options.checksum = options.checksum || std::strcmp(argv[i], "--checksum") == 0;
        options.deleteExtra = options.deleteExtra || std::strcmp(argv[i], "--delete") == 0;
    }
    QString error;
    auto database
        = sync::core::SqliteDatabaseFactory::Open(QString::fromLocal8Bit(argv[3]), &error);
    if (!database || !database->CreateActionLogTable()) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    sync::core::ActionLog log(database);
    sync::core::FileNameMatcher matcher(QString(), sync::core::uploadDownloadExclusionsRegex);
    sync::mirror::MirrorPass pass(options, &log, database, &matcher, nullptr);
    const sync::mirror::MirrorResult r = pass.Run();
    for (const auto& f : r.failures)
        std::fprintf(stderr, "failed: %s: %s\n", qPrintable(f.display), qPrintable(f.cause));
    if (!r.fatalError.isEmpty())
        std::fprintf(stderr, "%s\n", qPrintable(r.fatalError));
    if (!r.historyError.isEmpty())
        std::fprintf(stderr, "%s\n", qPrintable(r.historyError));
    return r.ExitStatus();
}
