// Runs one mirror pass and kills itself (SIGKILL, as a crash or `kill -9`
// would) at a chosen point of a chosen file's replacement.
//
//   mirrorkillhelper SOURCE TARGET DATABASE STAGE PATH
//
// STAGE is 0 (companion opened), 1 (companion written and flushed),
// 2 (renamed into place) or 3 (journal row queued). Exits 0 when the point
// never came.

#include "Sync/Mirror/MirrorPass.h"
#include "Sync/SyncCore/ActionLog.h"
#include "database/SqliteDatabaseFactory.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 6) {
        std::fprintf(stderr, "usage: mirrorkillhelper SOURCE TARGET DATABASE STAGE PATH\n");
        return 2;
    }
    auto database = sync::core::SqliteDatabaseFactory::Open(QString::fromLocal8Bit(argv[3]));
    if (!database || !database->CreateActionLogTable())
        return 3;
    sync::core::ActionLog log(database);
    sync::mirror::MirrorOptions options;
    options.source = QString::fromLocal8Bit(argv[1]);
    options.target = QString::fromLocal8Bit(argv[2]);
    const int stage = std::atoi(argv[4]);
    const QByteArray path(argv[5]);
    sync::mirror::MirrorPass pass(options, &log, database, nullptr, nullptr);
    pass.__TEST_ONLY_SetStageHook([&](sync::mirror::MirrorPass::Stage s, const QByteArray& p) {
        if (int(s) == stage && p == path)
            std::raise(SIGKILL);
    });
    const sync::mirror::MirrorResult r = pass.Run();
    return r.ExitStatus();
}
