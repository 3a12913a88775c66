// Child process of the action log durability test: writes batches of actions
// to a database file until it is killed.
//
//   actionlogflushhelper DB PREFIX BATCHSIZE run     flush batches forever, printing
//                                                     "committed N" after each
//   actionlogflushhelper DB PREFIX BATCHSIZE pause   commit batch 0, then stop for good
//                                                     half-way through batch 1, printing
//                                                     "paused" while its transaction is open
//
// Every action of batch N is named PREFIX + "b" + N, so the parent can tell whole
// batches from torn ones.

#include "Sync/SyncCore/ActionLog.h"
#include "database/SqliteDatabaseFactory.h"

#include <QCoreApplication>

#include <cstdio>
#include <unistd.h>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    auto factory = args.size() == 5 ? sync::core::SqliteDatabaseFactory::Open(args.at(1)) : nullptr;
    if (!factory || !factory->CreateActionLogTable())
        return 2;
    const int batchSize = args.at(3).toInt();
    sync::core::ActionLog log(factory);
    int written = 0;
    QObject::connect(
        &log, &sync::interf::IActionLog::ActionAdded, [&](const sync::core::SyncAction&) {
            // Batch 1 is the one left open: its transaction is running, rows are in it.
            if (args.at(4) == QLatin1String("pause") && ++written == batchSize + batchSize / 2) {
                std::printf("paused\n");
                std::fflush(stdout);
                for (;;)
                    ::pause();
            }
        });
    for (int batch = 0;; ++batch) {
        for (int i = 0; i < batchSize; ++i)
            log.AddAction(sync::core::action::FileUploaded, QString::number(i),
                args.at(2) + QLatin1Char('b') + QString::number(batch));
        log.Flush();
        std::printf("committed %d\n", batch);
        std::fflush(stdout);
    }
}
