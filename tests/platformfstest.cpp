// The descriptor-based file calls of the platform layer on real files.

#include "platform/PlatformFs.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

namespace fs = platform::fs;

namespace {

class PlatformFsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        root = dir.path().toStdString();
        folder = fs::OpenFolderAt(fs::CurrentFolder(), root.c_str());
        ASSERT_GE(folder, 0);
    }
    void TearDown() override { fs::Close(folder); }

    void Write(const char* name, const std::string& content)
    {
        const int fd = fs::CreateFileAt(folder, name, 0644);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(::write(fd, content.data(), content.size()), ssize_t(content.size()));
        fs::Close(fd);
    }

    QTemporaryDir dir;
    std::string root;
    int folder = -1;
};

} // namespace

// Nothing that is not a regular file is opened for reading, and nothing blocks.
TEST_F(PlatformFsTest, OpenFileForReadRefusesLinksFifosAndDevices)
{
    Write("file", "x");
    ASSERT_EQ(::mkfifo((root + "/fifo").c_str(), 0644), 0);
    ASSERT_EQ(::symlink("file", (root + "/link").c_str()), 0);
    ASSERT_EQ(::symlink("/dev/zero", (root + "/zero").c_str()), 0);
    const int fd = fs::OpenFileForReadAt(folder, "file");
    EXPECT_GE(fd, 0);
    fs::Close(fd);
    EXPECT_EQ(fs::OpenFileForReadAt(folder, "fifo"), -ENODEV);
    EXPECT_EQ(fs::OpenFileForReadAt(folder, "link"), -ELOOP);
    EXPECT_EQ(fs::OpenFileForReadAt(folder, "zero"), -ELOOP);
    ASSERT_EQ(::symlink(".", (root + "/folder-link").c_str()), 0);
    const int viaLink = fs::OpenFolderAt(folder, "folder-link");
    EXPECT_TRUE(viaLink == -ELOOP || viaLink == -ENOTDIR) << viaLink;
    fs::Close(viaLink);
}

TEST_F(PlatformFsTest, ListsAndStatsRawByteNames)
{
    const std::string odd = "bad\xff\xfe-name";
    Write(odd.c_str(), "12345");
    ASSERT_EQ(fs::CreateFolderAt(folder, "sub", 0750), 0);
    std::vector<fs::FolderEntry> entries;
    ASSERT_EQ(fs::ReadFolder(folder, entries), 0);
    std::sort(entries.begin(), entries.end(),
        [](const fs::FolderEntry& a, const fs::FolderEntry& b) { return a.name < b.name; });
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].name, odd);
    EXPECT_EQ(entries[1].name, "sub");
    fs::EntryStat st;
    ASSERT_EQ(fs::StatAt(folder, odd.c_str(), st), 0);
    EXPECT_EQ(st.type, fs::EntryStat::File);
    EXPECT_EQ(st.size, 5);
    ASSERT_EQ(fs::StatAt(folder, "sub", st), 0);
    EXPECT_EQ(st.type, fs::EntryStat::Folder);
    EXPECT_EQ(st.mode, 0750u);
    ::unlink((root + "/" + odd).c_str());
}

TEST_F(PlatformFsTest, SetsTimesToTheNanosecondOnFilesAndLinks)
{
    Write("file", "x");
    ASSERT_EQ(fs::CreateLinkAt("file", folder, "link"), 0);
    const int64_t t = 1600000000LL * 1000000000 + 123456789;
    ASSERT_EQ(fs::SetTimesAt(folder, "file", t), 0);
    ASSERT_EQ(fs::SetTimesAt(folder, "link", t + 1), 0);
    fs::EntryStat st;
    ASSERT_EQ(fs::StatAt(folder, "file", st), 0);
    EXPECT_EQ(st.mtimeNs, t);
    ASSERT_EQ(fs::StatAt(folder, "link", st), 0);
    EXPECT_EQ(st.type, fs::EntryStat::Link);
    EXPECT_EQ(st.mtimeNs, t + 1);
    std::string text;
    ASSERT_EQ(fs::ReadLinkAt(folder, "link", text), 0);
    EXPECT_EQ(text, "file");
}

TEST_F(PlatformFsTest, ReadsLinkTextsLongerThanAFirstGuess)
{
    const std::string longText(3000, 'p');
    ASSERT_EQ(fs::CreateLinkAt(longText, folder, "long"), 0);
    std::string text;
    ASSERT_EQ(fs::ReadLinkAt(folder, "long", text), 0);
    EXPECT_EQ(text, longText);
}

TEST_F(PlatformFsTest, CopiesDataAndReplacesAtomically)
{
    std::string content(5 * 1024 * 1024 + 3, 'c');
    Write("from", content);
    Write("to", "old");
    const int in = fs::OpenFileForReadAt(folder, "from");
    const int out = fs::CreateFileAt(folder, "companion", 0600);
    ASSERT_GE(in, 0);
    ASSERT_GE(out, 0);
    int64_t copied = 0;
    ASSERT_EQ(fs::CopyData(in, out, copied, nullptr, nullptr), 0);
    EXPECT_EQ(copied, int64_t(content.size()));
    EXPECT_EQ(fs::Flush(out), 0);
    fs::Close(in);
    fs::Close(out);
    ASSERT_EQ(fs::ReplaceAt(folder, "companion", folder, "to"), 0);
    fs::EntryStat st;
    EXPECT_EQ(fs::StatAt(folder, "companion", st), -ENOENT);
    ASSERT_EQ(fs::StatAt(folder, "to", st), 0);
    EXPECT_EQ(st.size, int64_t(content.size()));
}

TEST_F(PlatformFsTest, CopyStopsWhenAsked)
{
    Write("from", std::string(1024, 'c'));
    const int in = fs::OpenFileForReadAt(folder, "from");
    const int out = fs::CreateFileAt(folder, "to", 0600);
    int64_t copied = 0;
    EXPECT_EQ(fs::CopyData(
                  in, out, copied, [](void*) { return true; }, nullptr),
        -ECANCELED);
    EXPECT_EQ(copied, 0);
    fs::Close(in);
    fs::Close(out);
}

TEST_F(PlatformFsTest, RemovesTreesWithoutFollowingLinks)
{
    QTemporaryDir outside;
    const std::string kept = outside.path().toStdString() + "/kept";
    {
        const int fd = ::open(kept.c_str(), O_WRONLY | O_CREAT, 0644);
        ::close(fd);
    }
    ASSERT_EQ(fs::CreateFolderAt(folder, "tree", 0755), 0);
    ASSERT_EQ(::mkdir((root + "/tree/deep").c_str(), 0755), 0);
    ASSERT_EQ(
        ::symlink(outside.path().toStdString().c_str(), (root + "/tree/deep/out").c_str()), 0);
    ASSERT_EQ(fs::RemoveTreeAt(folder, "tree"), 0);
    fs::EntryStat st;
    EXPECT_EQ(fs::StatAt(folder, "tree", st), -ENOENT);
    EXPECT_EQ(::access(kept.c_str(), F_OK), 0);
}

TEST_F(PlatformFsTest, InotifyReportsChangesAndCanBeInterrupted)
{
    fs::Inotify inotify;
    ASSERT_EQ(inotify.Error(), 0);
    const int wd = inotify.Watch(root, IN_CREATE | IN_CLOSE_WRITE);
    ASSERT_GE(wd, 0);
    Write("new", "n");
    std::vector<fs::Inotify::Event> events;
    for (int i = 0; i < 20 && events.empty(); ++i)
        inotify.Read(events, 100);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front().watch, wd);
    EXPECT_EQ(events.front().name, "new");

    events.clear();
    std::thread waker([&] { inotify.Interrupt(); });
    EXPECT_EQ(inotify.Read(events, 60000), 0); // returns at once, not after a minute
    waker.join();
}
