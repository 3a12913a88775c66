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
    if (args.size() != 5)
        return 2;
    const QString prefix = args.at(2);
    const int batchSize = args.at(3).toInt();
    const bool pauseMidway = args.at(4) == QLatin1String("pause");

    QString error;
    auto factory = sync::core::SqliteDatabaseFactory::Open(args.at(1), &error);
    if (!factory || !factory->CreateActionLogTable()) {
        std::fprintf(stderr, "cannot open %s: %s\n", qPrintable(args.at(1)), qPrintable(error));
        return 3;
    }
    sync::core::ActionLog log(factory);

    int written = 0;
    QObject::connect(
        &log, &sync::interf::IActionLog::ActionAdded, [&](const sync::core::SyncAction&) {
            // Batch 1 is the one left open: its transaction is running, rows are in it.
            if (pauseMidway && ++written == batchSize + batchSize / 2) {
                std::printf("paused\n");
                std::fflush(stdout);
                for (;;)
                    ::pause();
            }
        });

    for (int batch = 0;; ++batch) {
        const QString name = prefix + QLatin1Char('b') + QString::number(batch);
        for (int i = 0; i < batchSize; ++i)
            log.AddAction(sync::core::action::FileUploaded, QString::number(i), name);
        log.Flush();
        std::printf("committed %d\n", batch);
        std::fflush(stdout);
    }
}
