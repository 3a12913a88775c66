// The mirror under faults: a pass killed at each point of a replacement, a
// file that changes while it is copied, a target file system that fills.

#include "MirrorTestSupport.h"
#include "TestUtil.h"

#include <QProcess>
#include <QThread>

#include <csignal>
#include <sys/mount.h>

using namespace mirrortest;

namespace {

constexpr size_t kBig = 2 * 1024 * 1024;

} // namespace

struct KillRow
{
    const char* name;
    int stage; ///< MirrorPass::Stage
    bool replacing; ///< an older target exists
};

class MirrorKillTest : public MirrorFixture, public ::testing::WithParamInterface<KillRow>
{
};

// Killed at any point, the target holds the old or the new content under its
// name, never neither and never a mix; the next pass finishes and tidies up.
TEST_P(MirrorKillTest, LeavesOldOrNewAndTheNextPassFinishes)
{
    const KillRow row = GetParam();
    writeBytes(S("keep.txt"), "keep");
    if (row.replacing) {
        writeBytes(S("file.bin"), std::string(kBig, 'O'));
        ASSERT_EQ(Pass().copied, 2);
    }
    writeBytes(S("file.bin"), std::string(kBig, 'N'));
    log.reset(); // the child writes the same database

    const testutil::ProcessResult child = testutil::run(QStringLiteral(MIRROR_KILL_HELPER),
        { source, target, dbPath, QString::number(row.stage), QStringLiteral("file.bin") }, 60000);
    ASSERT_EQ(child.signal, SIGKILL)
        << "exit " << child.exitCode << ": " << child.err.toStdString();

    const std::string content = readBytes(T("file.bin"));
    if (row.replacing) {
        EXPECT_TRUE(content == std::string(kBig, 'O') || content == std::string(kBig, 'N'))
            << "size " << content.size() << " starting " << content.substr(0, 8);
    } else {
        EXPECT_TRUE(content == "<missing>" || content == std::string(kBig, 'N'))
            << "size " << content.size() << " starting " << content.substr(0, 8);
    }

    log = std::make_unique<sync::core::ActionLog>(database);
    const MirrorResult next = Pass();
    EXPECT_EQ(next.ExitStatus(), 0) << failuresText(next);
    EXPECT_EQ(readBytes(T("file.bin")), std::string(kBig, 'N'));
    EXPECT_EQ(readBytes(T("keep.txt")), "keep");
    EXPECT_TRUE(namesContaining(target, QStringLiteral("SyncTemp")).isEmpty())
        << namesContaining(target, QStringLiteral("SyncTemp")).join(QLatin1Char(' ')).toStdString();
    // The journal now agrees with both trees: the pass after is stat-only.
    const MirrorResult after = Pass();
    EXPECT_EQ(after.copied, 0);
    EXPECT_EQ(after.unchanged, 2);
}

INSTANTIATE_TEST_SUITE_P(Stages, MirrorKillTest,
    ::testing::Values(KillRow { "NewCompanionOpened", 0, false },
        KillRow { "NewCompanionWritten", 1, false }, KillRow { "NewReplaced", 2, false },
        KillRow { "NewJournalWritten", 3, false }, KillRow { "ReplaceCompanionOpened", 0, true },
        KillRow { "ReplaceCompanionWritten", 1, true }, KillRow { "ReplaceReplaced", 2, true },
        KillRow { "ReplaceJournalWritten", 3, true }),
    [](const ::testing::TestParamInfo<KillRow>& info) { return std::string(info.param.name); });

class MirrorWriterTest : public MirrorFixture, public ::testing::WithParamInterface<const char*>
{
};

// A file that keeps changing is never put in place torn: it is retried, then reported.
TEST_P(MirrorWriterTest, NeverPutsATornFileInPlace)
{
    const QString mode = QString::fromLatin1(GetParam());
    const std::string path = S("busy.dat");
    QProcess writer;
    writer.start(QStringLiteral(MIRROR_WRITER_HELPER), { QString::fromStdString(path), mode });
    ASSERT_TRUE(writer.waitForStarted());
    for (int i = 0; i < 500 && !exists(path + ".ready"); ++i)
        QThread::msleep(10);
    ASSERT_TRUE(exists(path + ".ready"));

    MirrorOptions o = Options();
    o.changeRetries = 3;
    const MirrorResult r = Pass(o);
    writer.kill();
    writer.waitForFinished();

    const std::string copy = readBytes(T("busy.dat"));
    bool reported = false;
    for (const auto& f : r.failures)
        reported
            = reported || (f.path == "busy.dat" && f.cause.contains(QStringLiteral("changed")));
    if (copy == "<missing>") {
        EXPECT_TRUE(reported) << failuresText(r);
        EXPECT_EQ(r.ExitStatus(), 23);
    } else {
        // Put in place only as a whole snapshot: one letter all through.
        EXPECT_FALSE(reported);
        EXPECT_EQ(copy.find_first_not_of(copy[0]), std::string::npos)
            << "a torn copy was put in place";
    }
    EXPECT_TRUE(namesContaining(target, QStringLiteral("SyncTemp")).isEmpty());

    // Once the writer is done, the file syncs.
    const MirrorResult calm = Pass();
    EXPECT_EQ(calm.ExitStatus(), 0) << failuresText(calm);
    EXPECT_EQ(readBytes(T("busy.dat")), readBytes(path));
}

INSTANTIATE_TEST_SUITE_P(Writers, MirrorWriterTest, ::testing::Values("grow", "rewrite"));

// A full target: the old file stays whole, the companion goes, the rest syncs,
// and the pass after space was freed completes.
TEST_F(MirrorFixture, FullTargetKeepsTheOldFileAndGoesOn)
{
    QTemporaryDir mountDir;
    const std::string mountPoint = mountDir.path().toStdString();
    if (::mount("tmpfs", mountPoint.c_str(), "tmpfs", 0, "size=1m") != 0)
        GTEST_SKIP() << "cannot mount a small tmpfs here (needs root): " << std::strerror(errno);
    struct Unmount
    {
        std::string at;
        ~Unmount() { ::umount2(at.c_str(), MNT_DETACH); }
    } unmount { mountPoint };
    target = mountDir.path() + QStringLiteral("/dst");

    writeBytes(S("a-large"), "old content");
    writeBytes(S("b-small"), "b");
    ASSERT_EQ(Pass().ExitStatus(), 0);

    writeBytes(S("a-large"), std::string(3 * 1024 * 1024, 'L'));
    writeBytes(S("c-new"), "c");
    const MirrorResult full = Pass();
    EXPECT_EQ(full.ExitStatus(), 23) << failuresText(full);
    ASSERT_EQ(full.failures.size(), 1) << failuresText(full);
    EXPECT_EQ(full.failures[0].path, QByteArray("a-large"));
    EXPECT_EQ(readBytes(T("a-large")), "old content");
    EXPECT_EQ(readBytes(T("c-new")), "c");
    EXPECT_TRUE(namesContaining(target, QStringLiteral("SyncTemp")).isEmpty());
    int failedRows = 0;
    for (const auto& a : log->GetAllActions())
        failedRows += a.actionType == sync::core::action::UploadFailed;
    EXPECT_EQ(failedRows, 1);

    ASSERT_EQ(::mount("tmpfs", mountPoint.c_str(), "tmpfs", MS_REMOUNT, "size=8m"), 0)
        << std::strerror(errno);
    const MirrorResult freed = Pass();
    EXPECT_EQ(freed.ExitStatus(), 0) << failuresText(freed);
    EXPECT_EQ(readBytes(T("a-large")), std::string(3 * 1024 * 1024, 'L'));
}
