// The watcher with real inotify events: a change in the source reaches the
// target by a pass over only what changed.

#include "MirrorTestSupport.h"
#include "Sync/Mirror/MirrorWatcher.h"

#include <QThread>

#include <condition_variable>
#include <mutex>
#include <thread>

using namespace mirrortest;
using sync::mirror::MirrorWatcher;

namespace {

class WatcherTest : public MirrorFixture
{
protected:
    void Start(MirrorOptions o)
    {
        watcher
            = std::make_unique<MirrorWatcher>(std::move(o), log.get(), database, &matcher, nullptr);
        watcher->SetResultCallback([this](const MirrorResult& r, bool full) {
            std::lock_guard<std::mutex> lock(mutex);
            results.push_back({ r, full });
            changed.notify_all();
        });
        thread = std::thread([this] { runError = watcher->Run(); });
        ASSERT_TRUE(WaitForPasses(1));
        ASSERT_TRUE(Result(0).second);
    }

    void TearDown() override
    {
        if (watcher) {
            watcher->Stop();
            thread.join();
            EXPECT_TRUE(runError.isEmpty()) << runError.toStdString();
        }
        watcher.reset();
        MirrorFixture::TearDown();
    }

    bool WaitForPasses(size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(
            lock, std::chrono::seconds(20), [&] { return results.size() >= count; });
    }

    std::pair<MirrorResult, bool> Result(size_t i)
    {
        std::lock_guard<std::mutex> lock(mutex);
        return results.at(i);
    }

    bool WaitFor(const std::function<bool()>& condition)
    {
        for (int i = 0; i < 2000; ++i) {
            if (condition())
                return true;
            QThread::msleep(10);
        }
        return false;
    }

    std::unique_ptr<MirrorWatcher> watcher;
    std::thread thread;
    QString runError;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::pair<MirrorResult, bool>> results;
};

} // namespace

TEST_F(WatcherTest, MirrorsOneChangeByAPassOverOnlyThatFile)
{
    for (int i = 0; i < 50; ++i)
        writeBytes(S("f" + std::to_string(i)), "old");
    MirrorOptions o = Options();
    o.settleMs = 100;
    Start(o);
    EXPECT_EQ(Result(0).first.copied, 50);

    writeBytes(S("f7"), "new content");
    ASSERT_TRUE(WaitFor([&] { return readBytes(T("f7")) == "new content"; }));
    ASSERT_TRUE(WaitForPasses(2));
    const auto [partial, full] = Result(1);
    EXPECT_FALSE(full);
    EXPECT_EQ(partial.files, 1);
    EXPECT_EQ(partial.copied, 1);

    // A full pass over the folder, now large on both sides, finds nothing to do.
    watcher->RequestFullPass();
    ASSERT_TRUE(WaitForPasses(3));
    const auto [again, wasFull] = Result(2);
    EXPECT_TRUE(wasFull);
    EXPECT_EQ(again.unchanged, 50);
    EXPECT_EQ(again.copied, 0);
}

TEST_F(WatcherTest, FollowsNewFoldersDeletionsAndWakeUps)
{
    writeBytes(S("gone"), "g");
    MirrorOptions o = Options();
    o.settleMs = 50;
    o.deleteExtra = true;
    Start(o);
    ASSERT_TRUE(exists(T("gone")));

    ASSERT_EQ(::mkdir(S("new").c_str(), 0755), 0);
    writeBytes(S("new/inner"), "i");
    ASSERT_TRUE(WaitFor([&] { return readBytes(T("new/inner")) == "i"; }));
    // A file in the new folder after its watch is in place.
    writeBytes(S("new/later"), "l");
    ASSERT_TRUE(WaitFor([&] { return readBytes(T("new/later")) == "l"; }));

    ASSERT_EQ(::unlink(S("gone").c_str()), 0);
    ASSERT_TRUE(WaitFor([&] { return !exists(T("gone")); }));

    size_t before = 0;
    {
        std::lock_guard<std::mutex> lock(mutex);
        before = results.size();
    }
    watcher->RequestFullPass();
    // A pass over the last change may still report before the full one.
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_TRUE(changed.wait_for(lock, std::chrono::seconds(20), [&] {
        for (size_t i = before; i < results.size(); ++i) {
            if (results[i].second)
                return true;
        }
        return false;
    }));
}
