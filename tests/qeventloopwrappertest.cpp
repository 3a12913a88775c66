// QEventLoopWrapper: a loop that runs until quit(), owned or shared.

#include "Sync/SyncCore/QEventLoopWrapper.h"

#include <QTimer>

#include <gtest/gtest.h>

using sync::core::QEventLoopWrapper;

TEST(QEventLoopWrapper, RunsUntilQuitAndDeliversEvents)
{
    QEventLoopWrapper owning;
    auto shared = std::make_shared<QEventLoop>();
    QEventLoopWrapper adopting(shared);
    EXPECT_EQ(adopting.GetEventLoop(), shared);

    for (QEventLoopWrapper* loop : {&owning, &adopting}) {
        bool delivered = false;
        QTimer::singleShot(0, [&delivered, loop] {
            delivered = true;
            loop->quit();
        });
        EXPECT_EQ(loop->exec(QEventLoop::AllEvents), 0);
        EXPECT_TRUE(delivered);
    }

    // exit codes pass through the replaced loop.
    auto replaced = std::make_shared<QEventLoop>();
    owning.SetEventLoop(replaced);
    QTimer::singleShot(0, [replaced] { replaced->exit(7); });
    EXPECT_EQ(owning.exec(QEventLoop::AllEvents), 7);
}
