// Child process of the action log durability test: writes batches of actions
// to a database file until it is killed.
//
//   actionlogflushhelper DB PREFIX BATCHSIZE run     flush batches forever, printing
//                                                     "committed N" after each
//   actionlogflushhelper DB PREFIX BATCHSIZE pause   commit batch 0, then stop for good
//                                                     before batch 1's commit, printing
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
    // Batch 1 is the one left open: its rows are written, its commit never comes.
    class PausingLog : public sync::core::ActionLog
    {
    public:
        PausingLog(std::shared_ptr<sync::core::SqliteDatabaseFactory> factory, bool pause)
            : ActionLog(std::move(factory))
            , _pause(pause)
        { }
        bool commit() override
        {
            if (_pause && ++_commits == 2) {
                std::printf("paused\n");
                std::fflush(stdout);
                for (;;)
                    ::pause();
            }
            return ActionLog::commit();
        }

    private:
        bool _pause;
        int _commits = 0;
    };
    PausingLog log(factory, args.at(4) == QLatin1String("pause"));
    for (int batch = 0;; ++batch) {
        for (int i = 0; i < batchSize; ++i)
            log.AddAction(sync::core::action::FileUploaded, QString::number(i),
                args.at(2) + QLatin1Char('b') + QString::number(batch));
        log.Flush();
        std::printf("committed %d\n", batch);
        std::fflush(stdout);
    }
}
