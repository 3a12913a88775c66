// The mirror pass on real trees: what it puts in the target, what it reports,
// and what it refuses.

#include "MirrorTestSupport.h"
#include "TestUtil.h"

#include <QFile>

#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>

#include <future>
#include <thread>

using namespace mirrortest;

namespace {

int64_t mtimeNs(const std::string& path)
{
    struct stat st;
    if (::lstat(path.c_str(), &st) != 0)
        return -1;
    return int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
}

mode_t modeOf(const std::string& path)
{
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0 ? st.st_mode : 0;
}

void setMtime(const std::string& path, int64_t sec, long nsec)
{
    const struct timespec times[2] = { { sec, nsec }, { sec, nsec } };
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

std::string linkText(const std::string& path)
{
    char buffer[4096];
    const ssize_t n = ::readlink(path.c_str(), buffer, sizeof buffer);
    return n < 0 ? "<not a link>" : std::string(buffer, size_t(n));
}

bool failedPath(const MirrorResult& r, const std::string& rel)
{
    for (const auto& f : r.failures) {
        if (f.path.toStdString() == rel && !f.cause.isEmpty())
            return true;
    }
    return false;
}

} // namespace

class MirrorPassTest : public MirrorFixture
{
};

TEST_F(MirrorPassTest, MirrorsContentModesTimesFoldersAndLinks)
{
    ASSERT_EQ(::mkdir(S("a").c_str(), 0755), 0);
    ASSERT_EQ(::mkdir(S("a/b").c_str(), 0750), 0);
    ASSERT_EQ(::mkdir(S("empty").c_str(), 0700), 0);
    writeBytes(S("top.txt"), "top");
    writeBytes(S("a/b/deep.bin"), std::string(3 * 1024 * 1024 + 7, 'x'));
    ASSERT_EQ(::chmod(S("top.txt").c_str(), 0640), 0);
    setMtime(S("top.txt"), 1500000000, 123456789);
    ASSERT_EQ(::symlink("../top.txt", S("a/rel-link").c_str()), 0);
    ASSERT_EQ(::symlink("/etc/passwd", S("outside-link").c_str()), 0);
    setMtime(S("a/b"), 1400000000, 987654321);

    const MirrorResult r = Pass();
    EXPECT_EQ(r.ExitStatus(), 0) << failuresText(r);
    EXPECT_EQ(r.files, 2);
    EXPECT_EQ(r.copied, 2);
    EXPECT_EQ(r.links, 2);
    EXPECT_EQ(r.folders, 3);
    EXPECT_EQ(readBytes(T("top.txt")), "top");
    EXPECT_EQ(readBytes(T("a/b/deep.bin")), std::string(3 * 1024 * 1024 + 7, 'x'));
    EXPECT_EQ(modeOf(T("top.txt")) & 07777, 0640u);
    EXPECT_EQ(modeOf(T("a/b")) & 07777, 0750u);
    EXPECT_EQ(mtimeNs(T("top.txt")), 1500000000LL * 1000000000 + 123456789);
    EXPECT_EQ(mtimeNs(T("a/b")), 1400000000LL * 1000000000 + 987654321);
    EXPECT_TRUE(S_ISDIR(modeOf(T("empty"))));
    // Links are links with their own text; the one out of the tree is not followed.
    EXPECT_EQ(linkText(T("a/rel-link")), "../top.txt");
    EXPECT_EQ(linkText(T("outside-link")), "/etc/passwd");
    EXPECT_TRUE(namesContaining(target, QStringLiteral("SyncTemp")).isEmpty());

    // The second pass finds everything as it left it.
    const MirrorResult again = Pass();
    EXPECT_EQ(again.ExitStatus(), 0) << failuresText(again);
    EXPECT_EQ(again.copied, 0);
    EXPECT_EQ(again.unchanged, 2);
}

// Names that are not UTF-8 are mirrored byte for byte, never dropped.
TEST_F(MirrorPassTest, MirrorsNamesThatAreNotUtf8ByteExact)
{
    const std::string name = "caf\xe9-\xff.txt";
    ASSERT_EQ(::mkdir(S("d\xfe").c_str(), 0755), 0);
    writeBytes(S(name), "latin1");
    writeBytes(S("d\xfe/inner"), "inner");
    const MirrorResult r = Pass();
    EXPECT_EQ(r.ExitStatus(), 0) << failuresText(r);
    EXPECT_EQ(readBytes(T(name)), "latin1");
    EXPECT_EQ(readBytes(T("d\xfe/inner")), "inner");
    EXPECT_EQ(r.copied, 2);
    // QDir cannot remove such names; the test does.
    for (const std::string& root : { S(""), T("") }) {
        ::unlink((root + name).c_str());
        ::unlink((root + "d\xfe/inner").c_str());
        ::rmdir((root + "d\xfe").c_str());
    }
}

// Special files are never opened: reported with their path, and the pass ends (status 23).
TEST_F(MirrorPassTest, ReportsSpecialFilesAndNeverFollowsLinksToThem)
{
    ASSERT_EQ(::mkfifo(S("fifo").c_str(), 0644), 0);
    ASSERT_EQ(::symlink(S("fifo").c_str(), S("link-to-fifo").c_str()), 0);
    ASSERT_EQ(::symlink("/dev/zero", S("link-to-zero").c_str()), 0);
    const int sock = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un addr {};
    addr.sun_family = AF_UNIX;
    const std::string sockPath = S("socket");
    ASSERT_LT(sockPath.size(), sizeof addr.sun_path);
    std::strcpy(addr.sun_path, sockPath.c_str());
    ASSERT_EQ(::bind(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    bool haveDevice = ::mknod(S("null-device").c_str(), S_IFCHR | 0644, makedev(1, 3)) == 0;
    writeBytes(S("plain"), "plain");

    // A pass that blocked on the FIFO would never come back.
    auto future = std::async(std::launch::async, [this] { return Pass(); });
    ASSERT_EQ(future.wait_for(std::chrono::seconds(60)), std::future_status::ready)
        << "the pass hangs";
    const MirrorResult r = future.get();
    ::close(sock);
    EXPECT_EQ(r.ExitStatus(), 23);
    EXPECT_TRUE(failedPath(r, "fifo")) << failuresText(r);
    EXPECT_TRUE(failedPath(r, "socket")) << failuresText(r);
    if (haveDevice) {
        EXPECT_TRUE(failedPath(r, "null-device")) << failuresText(r);
    }
    EXPECT_EQ(r.failed, haveDevice ? 3 : 2) << failuresText(r);
    EXPECT_EQ(linkText(T("link-to-fifo")), S("fifo"));
    EXPECT_EQ(linkText(T("link-to-zero")), "/dev/zero");
    EXPECT_EQ(readBytes(T("plain")), "plain");
    EXPECT_FALSE(exists(T("fifo")));
    // Each failure is in the action log too.
    int failedRows = 0;
    for (const auto& a : log->GetAllActions())
        failedRows += a.actionType == sync::core::action::UploadFailed;
    EXPECT_EQ(failedRows, r.failed);
}

TEST_F(MirrorPassTest, ReportsUnreadableFolders)
{
    ASSERT_EQ(::mkdir(S("closed").c_str(), 0755), 0);
    writeBytes(S("closed/secret"), "s");
    ASSERT_EQ(::chmod(S("closed").c_str(), 0), 0);
    const MirrorResult r = [this] {
        testutil::WithoutPermissionOverride asAUser; // the pass runs on this thread
        return Pass();
    }();
    ::chmod(S("closed").c_str(), 0755);
    EXPECT_EQ(r.ExitStatus(), 23);
    EXPECT_TRUE(failedPath(r, "closed")) << failuresText(r);
}

// Names up to the file system's limit sync, though "NAME.DWN" would be too long.
TEST_F(MirrorPassTest, MirrorsNamesUpToTheLongestAllowed)
{
    for (int length : { 250, 251, 252, 253, 254, 255 })
        writeBytes(S(std::string(size_t(length), char('a' + length % 26))), std::to_string(length));
    const MirrorResult r = Pass();
    EXPECT_EQ(r.ExitStatus(), 0) << failuresText(r);
    EXPECT_EQ(r.copied, 6);
    for (int length : { 250, 251, 252, 253, 254, 255 })
        EXPECT_EQ(readBytes(T(std::string(size_t(length), char('a' + length % 26)))),
            std::to_string(length));
    // Replacing works the same way.
    writeBytes(S(std::string(255, 'a' + 255 % 26)), "changed");
    const MirrorResult again = Pass();
    EXPECT_EQ(again.copied, 1) << failuresText(again);
    EXPECT_EQ(readBytes(T(std::string(255, 'a' + 255 % 26))), "changed");
}

struct NestingRow
{
    const char* name;
    // Builds the case below @p root; returns source and target as the user gives them.
    std::function<std::pair<std::string, std::string>(const std::string& root)> make;
};

class MirrorNestingTest : public ::testing::TestWithParam<NestingRow>
{
};

TEST_P(MirrorNestingTest, RefusesFoldersThatNest)
{
    QTemporaryDir dir;
    const std::string root = dir.path().toStdString();
    const auto [source, target] = GetParam().make(root);
    const QString error
        = MirrorPass::CheckFolders(QString::fromStdString(source), QString::fromStdString(target));
    EXPECT_FALSE(error.isEmpty()) << GetParam().name;
    // Nothing was made inside the source.
    EXPECT_FALSE(exists(root + "/src/copy"));
}

INSTANTIATE_TEST_SUITE_P(Rows, MirrorNestingTest,
    ::testing::Values(NestingRow { "target inside source",
                          [](const std::string& r) {
                              ::mkdir((r + "/src").c_str(), 0755);
                              return std::make_pair(r + "/src", r + "/src/copy");
                          } },
        NestingRow { "same folder",
            [](const std::string& r) {
                ::mkdir((r + "/src").c_str(), 0755);
                return std::make_pair(r + "/src", r + "/src/");
            } },
        NestingRow { "target is a link into the source",
            [](const std::string& r) {
                ::mkdir((r + "/src").c_str(), 0755);
                ::mkdir((r + "/src/inner").c_str(), 0755);
                ::symlink((r + "/src/inner").c_str(), (r + "/mirror").c_str());
                return std::make_pair(r + "/src", r + "/mirror");
            } },
        NestingRow { "missing target below a link into the source",
            [](const std::string& r) {
                ::mkdir((r + "/src").c_str(), 0755);
                ::symlink((r + "/src").c_str(), (r + "/alias").c_str());
                return std::make_pair(r + "/src", r + "/alias/copy");
            } },
        NestingRow { "source is a link into the target",
            [](const std::string& r) {
                ::mkdir((r + "/dst").c_str(), 0755);
                ::mkdir((r + "/dst/part").c_str(), 0755);
                ::symlink((r + "/dst/part").c_str(), (r + "/src").c_str());
                return std::make_pair(r + "/src", r + "/dst");
            } }),
    [](const ::testing::TestParamInfo<NestingRow>& info) {
        std::string n = info.param.name;
        for (char& c : n)
            if (!std::isalnum(static_cast<unsigned char>(c)))
                c = '_';
        return n;
    });

TEST(MirrorBindMountTest, RefusesATargetInsideABindMountOfTheSource)
{
    QTemporaryDir dir;
    const std::string r = dir.path().toStdString();
    ::mkdir((r + "/src").c_str(), 0755);
    ::mkdir((r + "/view").c_str(), 0755);
    if (::mount((r + "/src").c_str(), (r + "/view").c_str(), nullptr, MS_BIND, nullptr) != 0)
        GTEST_SKIP() << "cannot bind-mount here (needs root): " << std::strerror(errno);
    const QString error = MirrorPass::CheckFolders(
        QString::fromStdString(r + "/src"), QString::fromStdString(r + "/view/copy"));
    ::umount((r + "/view").c_str());
    EXPECT_FALSE(error.isEmpty());
}

// A history with lost rows or a damaged database is not a success.
TEST_F(MirrorPassTest, ReportsLostActionRows)
{
    dbPath = _dir.path() + QStringLiteral("/no-log-table.sqlite");
    OpenDatabase(false); // no ActionLog table: every insert fails
    writeBytes(S("f"), "f");
    const MirrorResult r = Pass();
    EXPECT_EQ(readBytes(T("f")), "f");
    EXPECT_FALSE(r.historyError.isEmpty());
    EXPECT_EQ(r.ExitStatus(), 1);
}

TEST_F(MirrorPassTest, ReportsADamagedDatabase)
{
    writeBytes(S("f"), "f");
    ASSERT_EQ(Pass().ExitStatus(), 0);
    log->Flush();
    auto checkpoint = database->CreateQuery();
    ASSERT_TRUE(checkpoint->prepare(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)")));
    ASSERT_TRUE(checkpoint->exec());
    // Opening refuses a damaged file; this one is damaged under an open database, as a
    // failing disk does: every page after the header becomes garbage.
    QFile file(dbPath);
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    const qint64 size = file.size();
    ASSERT_GT(size, 4096);
    file.seek(4096);
    file.write(QByteArray(int(size - 4096), '\x5a'));
    file.close();
    writeBytes(S("g"), "g");
    const MirrorResult r = Pass();
    EXPECT_FALSE(r.historyError.isEmpty());
    EXPECT_EQ(r.ExitStatus(), 1);
    EXPECT_EQ(readBytes(T("g")), "g");
}

// A reader of the database never sees a copy in the journal that the history lacks, or the
// reverse: both commit in the same transactions. And a pass on a thread that runs no event
// loop (the tool's) does not queue one request for the log's timer per row it adds.
TEST_F(MirrorPassTest, CommitsJournalAndHistoryTogether)
{
    // Known files, then new ones among them in name order: more than one journal
    // transaction holds.
    constexpr int kKnown = 2100, kNew = 300;
    const auto name = [](int i) {
        char buffer[16];
        std::snprintf(buffer, sizeof buffer, "f%05d", i);
        return std::string(buffer);
    };
    for (int i = 0; i < kKnown; ++i)
        writeBytes(S(name(i * 8 / 7 + 1)), "known");
    int timerRequests = 0;
    QObject::connect(
        log.get(), &sync::interf::IActionLog::RequestStartTimer, log.get(),
        [&](int) { ++timerRequests; }, Qt::DirectConnection);
    ASSERT_EQ(Pass().copied, kKnown);
    EXPECT_LT(timerRequests, 10);

    // The journal is lost: the known files each add a journal row and no action row,
    // between the copies of the new ones.
    auto forget = database->CreateQuery();
    ASSERT_TRUE(forget->prepare(QStringLiteral("DELETE FROM MirrorJournal")) && forget->exec());
    for (int i = 0; i < kNew; ++i)
        writeBytes(S(name(i * 8) + "-new"), "new");
    const auto committed = [this](const char* sql) {
        int n = -1;
        std::thread([&] {
            auto q = database->CreateQuery();
            q->prepare(QString::fromLatin1(sql));
            q->bindValue(QStringLiteral(":t"), int(sync::core::action::FileUploaded));
            if (q->exec() && q->next())
                n = q->value(0).toInt();
        }).join();
        return n;
    };
    int looks = 0, disagreements = 0, mostSeen = 0;
    MirrorPass pass(Options(), log.get(), database, &matcher, nullptr);
    pass.__TEST_ONLY_SetStageHook([&](MirrorPass::Stage stage, const QByteArray& path) {
        if (stage != MirrorPass::Stage::Replaced || !path.endsWith("-new"))
            return;
        const int journal
            = committed("SELECT COUNT(*) FROM MirrorJournal WHERE CAST(name AS TEXT) LIKE '%-new'");
        const int history = committed("SELECT COUNT(*) FROM ActionLog WHERE actionType = :t"
                                      " AND relatedItemName LIKE '%-new'");
        ++looks;
        disagreements += journal != history;
        mostSeen = std::max(mostSeen, journal);
    });
    const MirrorResult r = pass.Run();
    EXPECT_EQ(r.copied, kNew);
    EXPECT_EQ(looks, kNew);
    EXPECT_GT(mostSeen, 0) << "no batch was committed during the pass";
    EXPECT_EQ(disagreements, 0);
}

// An unchanged pass trusts the journal (stat only); --checksum reads the content.
TEST_F(MirrorPassTest, UnchangedPassOnlyStatsAndChecksumReadsContent)
{
    // A change in the first bytes, and one in the last bytes of a file read in many pieces.
    const struct
    {
        const char* name;
        size_t size;
        size_t at;
    } cases[] = { { "small", 8, 0 }, { "large", (1 << 20) * 3 + 5, (1 << 20) * 3 + 4 } };
    for (const auto& c : cases)
        writeBytes(S(c.name), std::string(c.size, 'o'));
    ASSERT_EQ(Pass().copied, 2);
    EXPECT_EQ(CountRows(QStringLiteral("MirrorJournal")), 2);
    // Change the targets behind the journal's back, keeping size, time and inode.
    for (const auto& c : cases) {
        const int64_t t = mtimeNs(T(c.name));
        const int fd = ::open(T(c.name).c_str(), O_WRONLY);
        ASSERT_EQ(::pwrite(fd, "O", 1, off_t(c.at)), 1);
        ::close(fd);
        setMtime(T(c.name), t / 1000000000, long(t % 1000000000));
    }
    const MirrorResult quick = Pass();
    EXPECT_EQ(quick.unchanged, 2);
    EXPECT_EQ(readBytes(T("small")), "Oooooooo") << "an unchanged pass must not read the files";

    MirrorOptions o = Options();
    o.checksum = true;
    const MirrorResult checked = Pass(o);
    EXPECT_EQ(checked.copied, 2);
    for (const auto& c : cases)
        EXPECT_EQ(readBytes(T(c.name)), std::string(c.size, 'o')) << c.name;
}

// Without its journal a pass compares content: slower once, never wrong.
TEST_F(MirrorPassTest, LostJournalCostsOneComparisonNotAWrongResult)
{
    writeBytes(S("f"), "original");
    writeBytes(S("same"), "same");
    ASSERT_EQ(Pass().copied, 2);
    log.reset();
    database.reset();
    QFile::remove(dbPath);
    QFile::remove(dbPath + QStringLiteral("-wal"));
    QFile::remove(dbPath + QStringLiteral("-shm"));
    OpenDatabase();
    const int64_t t = mtimeNs(T("f"));
    {
        const int fd = ::open(T("f").c_str(), O_WRONLY);
        ASSERT_EQ(::pwrite(fd, "0RIGINAL", 8, 0), 8);
        ::close(fd);
    }
    setMtime(T("f"), t / 1000000000, long(t % 1000000000));
    const MirrorResult r = Pass();
    EXPECT_EQ(r.copied, 1);
    EXPECT_EQ(r.unchanged, 1);
    EXPECT_EQ(readBytes(T("f")), "original");
    EXPECT_EQ(CountRows(QStringLiteral("MirrorJournal")), 2);
}

TEST_F(MirrorPassTest, DeletesOnlyWhenAskedAndNeverExcludedNames)
{
    writeBytes(S("keep"), "k");
    ASSERT_EQ(Pass().ExitStatus(), 0);
    writeBytes(T("extra"), "e");
    ASSERT_EQ(::mkdir(T("extra-folder").c_str(), 0755), 0);
    writeBytes(T("extra-folder/x"), "x");
    writeBytes(T("notes.bak"), "excluded by the rule");

    EXPECT_EQ(Pass().deleted, 0);
    EXPECT_TRUE(exists(T("extra")));

    MirrorOptions o = Options();
    o.deleteExtra = true;
    const MirrorResult r = Pass(o);
    EXPECT_EQ(r.deleted, 2) << failuresText(r);
    EXPECT_FALSE(exists(T("extra")));
    EXPECT_FALSE(exists(T("extra-folder")));
    EXPECT_TRUE(exists(T("notes.bak")));
    EXPECT_EQ(readBytes(T("keep")), "k");
    int deletedRows = 0;
    for (const auto& a : log->GetAllActions())
        deletedRows += a.actionType == sync::core::action::RemoteItemDeleted;
    EXPECT_EQ(deletedRows, 2);
}

TEST_F(MirrorPassTest, DryRunChangesNothing)
{
    writeBytes(S("a"), "a");
    ASSERT_EQ(Pass().ExitStatus(), 0);
    writeBytes(S("b"), "b");
    writeBytes(S("a"), "changed");
    writeBytes(T("extra"), "e");
    const int journalRows = CountRows(QStringLiteral("MirrorJournal"));
    const int actionRows = CountRows(QStringLiteral("ActionLog"));
    MirrorOptions o = Options();
    o.dryRun = true;
    o.deleteExtra = true;
    const MirrorResult r = Pass(o);
    EXPECT_EQ(r.copied, 2);
    EXPECT_EQ(r.deleted, 1);
    EXPECT_FALSE(exists(T("b")));
    EXPECT_EQ(readBytes(T("a")), "a");
    EXPECT_TRUE(exists(T("extra")));
    EXPECT_EQ(CountRows(QStringLiteral("MirrorJournal")), journalRows);
    EXPECT_EQ(CountRows(QStringLiteral("ActionLog")), actionRows);

    // Into a target that does not exist, it reports every file and creates no folder.
    o.target = QString::fromStdString(T("new/mirror"));
    const MirrorResult fresh = Pass(o);
    EXPECT_EQ(fresh.fatalError, QString());
    EXPECT_EQ(fresh.copied, 2);
    EXPECT_FALSE(exists(T("new")));
}

TEST_F(MirrorPassTest, ExtraExcludePatternsApplyForOneRun)
{
    writeBytes(S("report.tmp"), "t");
    writeBytes(S("report.txt"), "x");
    MirrorOptions o = Options();
    o.excludes = { QStringLiteral("\\.TMP$") };
    const MirrorResult r = Pass(o);
    EXPECT_EQ(r.excluded, 1);
    EXPECT_FALSE(exists(T("report.tmp")));
    EXPECT_TRUE(exists(T("report.txt")));
    EXPECT_EQ(Pass().copied, 1);
    EXPECT_TRUE(exists(T("report.tmp")));
}

// In a small folder and in one large enough that both sides are stat'ed at once.
TEST_F(MirrorPassTest, FollowsChangesOfType)
{
    const std::vector<std::pair<std::string, int>> folders { { "small/", 0 }, { "large/", 40 } };
    for (const auto& [at, files] : folders) {
        ASSERT_EQ(::mkdir(S(at).c_str(), 0755), 0);
        for (int i = 0; i < files; ++i)
            writeBytes(S(at + "f" + std::to_string(i)), "same");
        writeBytes(S(at + "was-file"), "f");
        ASSERT_EQ(::mkdir(S(at + "was-folder").c_str(), 0755), 0);
        writeBytes(S(at + "was-folder/inner"), "i");
        ASSERT_EQ(::symlink("f", S(at + "was-link").c_str()), 0);
    }
    ASSERT_EQ(Pass().ExitStatus(), 0);
    for (const auto& [at, files] : folders) {
        ASSERT_EQ(::unlink(S(at + "was-file").c_str()), 0);
        ASSERT_EQ(::mkdir(S(at + "was-file").c_str(), 0755), 0);
        ASSERT_EQ(::unlink(S(at + "was-folder/inner").c_str()), 0);
        ASSERT_EQ(::rmdir(S(at + "was-folder").c_str()), 0);
        writeBytes(S(at + "was-folder"), "now a file");
        ASSERT_EQ(::unlink(S(at + "was-link").c_str()), 0);
        writeBytes(S(at + "was-link"), "now a file too");
        if (files > 0)
            writeBytes(S(at + "f3"), "other content");
    }
    MirrorOptions o = Options();
    o.deleteExtra = true;
    const MirrorResult r = Pass(o);
    EXPECT_EQ(r.ExitStatus(), 0) << failuresText(r);
    EXPECT_EQ(r.copied, 2 + 3);
    EXPECT_EQ(r.unchanged, 39);
    for (const auto& [at, files] : folders) {
        SCOPED_TRACE(at);
        EXPECT_TRUE(S_ISDIR(modeOf(T(at + "was-file"))));
        EXPECT_EQ(readBytes(T(at + "was-folder")), "now a file");
        EXPECT_EQ(readBytes(T(at + "was-link")), "now a file too");
        if (files > 0) {
            EXPECT_EQ(readBytes(T(at + "f3")), "other content");
        }
    }
}

// Cancelled during a copy: the companion goes, the old target stays, the pass says so.
TEST_F(MirrorPassTest, CancelAbandonsTheCopyAndItsCompanion)
{
    writeBytes(S("big"), "old");
    ASSERT_EQ(Pass().ExitStatus(), 0);
    writeBytes(S("big"), std::string(16 << 20, 'n'));
    MirrorPass pass(Options(), log.get(), database, &matcher, nullptr);
    pass.__TEST_ONLY_SetStageHook([&](MirrorPass::Stage stage, const QByteArray&) {
        if (stage == MirrorPass::Stage::CompanionOpened)
            pass.Cancel();
    });
    const MirrorResult r = pass.Run();
    EXPECT_TRUE(r.interrupted);
    EXPECT_EQ(r.copied, 0);
    EXPECT_EQ(readBytes(T("big")), "old");
    EXPECT_TRUE(namesContaining(target, QStringLiteral("SyncTemp")).isEmpty());
}

// Counted ahead, the totals are what the pass then handles, and a large copy reports as it goes.
TEST_F(MirrorPassTest, CountsAheadAndReportsWithinALargeCopy)
{
    // Beyond two chunks of the copy loop, so that it reports at least twice before its end.
    const qint64 bigSize = (16 << 20) + 12345;
    writeBytes(S("big"), std::string(size_t(bigSize), 'b'));
    ASSERT_EQ(::mkdir(S("sub").c_str(), 0755), 0);
    writeBytes(S("sub/small"), "small");
    writeBytes(S("skip.tmp"), std::string(1000, 's'));
    ASSERT_EQ(::symlink("big", S("link").c_str()), 0);
    ASSERT_EQ(::mkfifo(S("fifo").c_str(), 0644), 0);

    auto run = [this](bool countAhead, std::vector<sync::mirror::MirrorProgress>& seen) {
        MirrorOptions o = Options();
        o.excludes = { QStringLiteral("\\.tmp$") };
        o.countAhead = countAhead;
        MirrorPass pass(std::move(o), log.get(), database, &matcher, nullptr);
        pass.SetProgressCallback([&seen](const auto& p) { seen.push_back(p); });
        return pass.Run();
    };
    std::vector<sync::mirror::MirrorProgress> seen;
    const MirrorResult r = run(true, seen);
    ASSERT_EQ(r.failed, 1) << failuresText(r); // the FIFO
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(r.files, 2);
    EXPECT_EQ(r.bytes, bigSize + 5);
    int withinBig = 0;
    for (size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].filesTotal, r.files) << i;
        EXPECT_EQ(seen[i].bytesTotal, r.bytes) << i;
        if (i > 0) {
            EXPECT_GE(seen[i].bytesDone, seen[i - 1].bytesDone) << i;
        }
        // "big" sorts first: nothing else is done while it is copied.
        withinBig += seen[i].filesDone == 0 && seen[i].bytesDone > 0 && seen[i].bytesDone < bigSize;
    }
    EXPECT_GE(withinBig, 2);
    EXPECT_EQ(seen.back().bytesDone, r.bytes);
    EXPECT_EQ(seen.back().filesDone, r.files);

    seen.clear();
    run(false, seen);
    ASSERT_FALSE(seen.empty());
    for (const auto& p : seen)
        EXPECT_EQ(p.filesTotal + p.bytesTotal, 0);
}

// Small files are copied on worker threads while the pass walks on: folders of more files
// than are ever in flight, one nested below files of its parent still being copied. Each
// folder's own time must survive the renames into it, and every outcome reach the history.
TEST_F(MirrorPassTest, CopiesManySmallFilesAndKeepsFolderTimes)
{
    const std::vector<std::string> folders { "a/", "b/", "b/sub/", "c/" };
    constexpr int kFilesPerFolder = 150;
    std::vector<std::string> files;
    for (const std::string& folder : folders) {
        ASSERT_EQ(::mkdir(S(folder).c_str(), 0755), 0);
        for (int i = 0; i < kFilesPerFolder; ++i) {
            const std::string rel = folder + "f" + std::to_string(1000 + i);
            // Sizes up to a few blocks; one in ten left just written, so that its copy is
            // verified by a re-read.
            writeBytes(S(rel), rel + std::string(size_t(i * 97 % 9000), char('a' + i % 26)));
            ASSERT_EQ(::chmod(S(rel).c_str(), i % 2 ? 0640 : 0604), 0);
            if (i % 10 != 0)
                setMtime(S(rel), 1500000000 + i, 1000 * i);
            files.push_back(rel);
        }
    }
    // Deepest first: a child's creation moves its parent's time.
    for (size_t i = folders.size(); i-- > 0;) {
        ASSERT_EQ(::chmod(S(folders[i]).c_str(), 0750 - 010 * i), 0);
        setMtime(S(folders[i]), 1400000000 + int64_t(i), 123456789);
    }

    MirrorPass pass(Options(), log.get(), database, &matcher, nullptr);
    const std::thread::id passThread = std::this_thread::get_id();
    bool callbacksOffThread = false;
    sync::mirror::MirrorProgress last;
    int copiedEntries = 0;
    pass.SetProgressCallback([&](const sync::mirror::MirrorProgress& p) {
        callbacksOffThread |= std::this_thread::get_id() != passThread;
        EXPECT_GE(p.bytesDone, last.bytesDone);
        last = p;
    });
    pass.SetEntryCallback([&](const sync::mirror::MirrorEntry& e) {
        callbacksOffThread |= std::this_thread::get_id() != passThread;
        copiedEntries += e.action == sync::mirror::EntryAction::Copied;
    });
    const MirrorResult r = pass.Run();
    EXPECT_EQ(r.ExitStatus(), 0) << failuresText(r);
    const int total = int(files.size());
    EXPECT_EQ(r.files, total);
    EXPECT_EQ(r.copied, total);
    EXPECT_EQ(copiedEntries, total);
    EXPECT_EQ(last.filesDone, total);
    EXPECT_EQ(last.bytesDone, r.bytes);
    EXPECT_EQ(r.bytesCopied, r.bytes);
    EXPECT_FALSE(callbacksOffThread);
    EXPECT_EQ(CountRows(QStringLiteral("MirrorJournal")), total);
    int uploadedRows = 0;
    for (const auto& a : log->GetAllActions())
        uploadedRows += a.actionType == sync::core::action::FileUploaded;
    EXPECT_EQ(uploadedRows, total);

    int wrong = 0;
    for (const std::string& rel : files) {
        const bool same = readBytes(T(rel)) == readBytes(S(rel)) && modeOf(T(rel)) == modeOf(S(rel))
            && mtimeNs(T(rel)) == mtimeNs(S(rel));
        EXPECT_TRUE(same) << rel;
        wrong += !same;
        if (wrong > 5)
            break;
    }
    for (const std::string& folder : folders) {
        EXPECT_EQ(mtimeNs(T(folder)), mtimeNs(S(folder))) << folder;
        EXPECT_EQ(modeOf(T(folder)), modeOf(S(folder))) << folder;
    }
    EXPECT_TRUE(namesContaining(target, QStringLiteral("SyncTemp")).isEmpty());

    const MirrorResult again = Pass();
    EXPECT_EQ(again.ExitStatus(), 0) << failuresText(again);
    EXPECT_EQ(again.copied, 0);
    EXPECT_EQ(again.unchanged, total);
}

// Cancelled among small copies in flight: what is in the target is whole and in the journal,
// the rest is not there at all, and the next pass completes.
TEST_F(MirrorPassTest, CancelAmongSmallCopiesLeavesWholeFilesOnly)
{
    constexpr int kFiles = 400;
    for (int i = 0; i < kFiles; ++i)
        writeBytes(
            S("f" + std::to_string(1000 + i)), std::string(size_t(100 + i), char('a' + i % 26)));
    MirrorPass pass(Options(), log.get(), database, &matcher, nullptr);
    pass.SetProgressCallback([&pass](const sync::mirror::MirrorProgress& p) {
        if (p.filesDone == 50)
            pass.Cancel();
    });
    const MirrorResult r = pass.Run();
    EXPECT_TRUE(r.interrupted);
    EXPECT_GE(r.copied, 50);
    EXPECT_LT(r.copied, kFiles);
    int present = 0;
    for (int i = 0; i < kFiles; ++i) {
        const std::string rel = "f" + std::to_string(1000 + i);
        if (!exists(T(rel)))
            continue;
        ++present;
        EXPECT_EQ(readBytes(T(rel)), readBytes(S(rel))) << rel;
    }
    EXPECT_EQ(present, r.copied);
    EXPECT_EQ(CountRows(QStringLiteral("MirrorJournal")), r.copied);
    EXPECT_TRUE(namesContaining(target, QStringLiteral("SyncTemp")).isEmpty());

    const MirrorResult rest = Pass();
    EXPECT_EQ(rest.ExitStatus(), 0) << failuresText(rest);
    EXPECT_EQ(rest.copied, kFiles - r.copied);
}
