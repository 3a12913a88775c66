// File access against real files in a temporary folder: GeneralUtil's file operations
// and the file and folder wrappers.
//
// The suite also runs as root, where permission bits stop nothing: failures are
// injected with things that stop root too (a folder where a file is expected, a
// name longer than the file system allows, paths under /proc, the immutable flag).

#include "TestUtil.h"

#include "CloudUtil/GeneralUtil.h"
#include "Sync/SyncCore/QDirIteratorWrapper.h"
#include "Sync/SyncCore/QDirWrapper.h"
#include "Sync/SyncCore/QFileInfoWrapper.h"
#include "Sync/SyncCore/QFileWrapper.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/types.h>

#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>

#include <atomic>
#include <limits>
#include <thread>
#include <tuple>

using sync::core::QFileWrapper;
using Tessaron::CloudUtil::GeneralUtil;

namespace {

QString md5sumOf(const QString& path)
{
    return QString::fromLatin1(testutil::run("md5sum", { path }).out.left(32));
}

bool chattr(const QString& path, bool on)
{
    return testutil::haveProgram("chattr")
        && testutil::run("chattr", { QLatin1String(on ? "+i" : "-i"), path }).exitCode == 0;
}

// What the QFileWrapper logger writes while it lives, one "LEVEL message" line each.
struct CapturedLog
{
    testutil::TempDir dir;
    log4cplus::Logger logger = log4cplus::Logger::getInstance("QFileWrapper");
    log4cplus::SharedAppenderPtr file { new log4cplus::FileAppender(
        dir.filePath("log").toStdString()) };
    CapturedLog()
    {
        file->setLayout(std::make_unique<log4cplus::PatternLayout>("%p %m%n"));
        logger.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
        logger.addAppender(file);
    }
    ~CapturedLog() { logger.removeAppender(file); }
    QByteArray text() const { return testutil::readFile(dir.filePath("log")); }
};

} // namespace

// A temporary folder set up and compared as "path=content" entries ("path/" is an empty
// folder), and the immutable flag, cleared again whatever the outcome so the folder can go.
class Files : public ::testing::Test
{
protected:
    ~Files() override { _immutable.isEmpty() || chattr(_immutable, false); }
    // False when the file system or our rights do not allow the flag.
    bool makeImmutable(const QString& relative)
    {
        return chattr(_immutable = path(relative), true);
    }
    QFileWrapper wrap(const QString& p) const { return QFileWrapper(std::make_shared<QFile>(p)); }
    QString path(const QString& relative) const
    {
        return relative.isEmpty() || QDir::isAbsolutePath(relative) ? relative
                                                                    : dir.filePath(relative);
    }
    void make(const QStringList& entries) const
    {
        for (const QString& e : entries) {
            if (e.endsWith('/'))
                QDir().mkpath(dir.filePath(e));
            else
                dir.write(e.section('=', 0, 0), e.section('=', 1).toUtf8());
        }
    }
    // Everything in the folder, sorted: files with their content, folders only when empty.
    QStringList contents() const
    {
        const auto all = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
        QStringList seen;
        for (QDirIterator it(dir.path(), all, QDirIterator::Subdirectories); it.hasNext();) {
            const QString p = it.next();
            const QString name = QDir(dir.path()).relativeFilePath(p);
            if (!it.fileInfo().isDir())
                seen << name + '=' + QString::fromUtf8(testutil::readFile(p));
            else if (QDir(p).isEmpty(all))
                seen << name + '/';
        }
        seen.sort();
        return seen;
    }

    testutil::TempDir dir;
    QString _immutable;
};

// --- CopyFile: every branch, with the whole folder compared afterwards ---

// Source and target are relative to the folder unless absolute. "immutable" is made
// immutable first (the row skips where that is impossible). The expected text has "%1" for
// the folder and a trailing "..." for a prefix; "" when it must not be written, nullptr to
// pass no pointer at all.
struct CopyRow
{
    const char* name;
    bool move, overwrite;
    QStringList before;
    QString source, target;
    const char* immutable;
    bool readOnlyTarget, ok;
    const char* error;
    QStringList after;
};

class CopyFile : public Files, public ::testing::WithParamInterface<CopyRow>
{
};

TEST_P(CopyFile, ResultTextAndWhatIsLeft)
{
    const CopyRow& row = GetParam();
    make(row.before);
    if (row.immutable && !makeImmutable(QString::fromLatin1(row.immutable)))
        GTEST_SKIP() << "chattr +i is not available here (file system or capability)";
    if (row.readOnlyTarget)
        QFile::setPermissions(path(row.target), QFileDevice::ReadOwner);
    QString error = "<untouched>";
    EXPECT_EQ(GeneralUtil::CopyFile(path(row.source), path(row.target), row.move, row.overwrite,
                  row.error ? &error : nullptr),
        row.ok);
    const QString expected
        = QString(row.error && *row.error ? row.error : "<untouched>").replace("%1", dir.path());
    const bool prefix = expected.endsWith("...");
    EXPECT_TRUE(prefix ? error.startsWith(expected.chopped(3)) : error == expected)
        << error.toStdString();
    EXPECT_EQ(contents(), row.after);
}

// A 252-character name is legal; with ".bak" it exceeds the 255 the file system allows.
const QString kLong(252, 'n');

const CopyRow kCopyRows[] = {
    { "EmptySource", false, true, { "t=old" }, "", "t", nullptr, false, false, "", { "t=old" } },
    { "MissingSource", true, true, { "t=old" }, "missing", "t", nullptr, false, false,
        "Source file is not found.", { "t=old" } },
    { "NullErrorPointer", true, true, {}, "missing", "t", nullptr, false, false, nullptr, {} },
    { "TargetIsAFolder", false, true, { "s=new", "d/in=old" }, "s", "d", nullptr, false, false, "",
        { "d/in=old", "s=new" } },
    { "FileWhereTargetFolderShouldBe", false, false, { "s=new", "blocker=old" }, "s",
        "blocker/sub/t", nullptr, false, false, "Failed to create folder %1/blocker/sub",
        { "blocker=old", "s=new" } },
    { "ExistingTargetWithoutOverwrite", true, false, { "s=new", "t=old" }, "s", "t", nullptr, false,
        false, "Target file %1/t exists and is read-only", { "s=new", "t=old" } },
    { "TargetUnderProc", false, true, { "s=new" }, "s", "/proc/synccore-copy-test", nullptr, false,
        false, "Error: ...", { "s=new" } },
    // The copy fails after the old target was moved aside: it stays under the backup name.
    { "SourceIsAFolderAfterBackup", true, true, { "src/keep=new", "t.doc=old" }, "src", "t.doc",
        nullptr, false, false, "Error: ...", { "src/keep=new", "t.doc.bak=old" } },
    { "BackupNameTakenGetsNumbered", false, true, { "src/", "x.doc=old", "x.doc.bak=earlier" },
        "src", "x.doc", nullptr, false, false, "Error: ...",
        { "src/", "x.doc.bak=earlier", "x.doc_2.bak=old" } },
    // The rename aside fails, so the copy meets the target still in place and fails too.
    { "BackupNameTooLong", false, true, { "s=new", kLong + "=old" }, "s", kLong, nullptr, false,
        false, "Error: ...", { kLong + "=old", "s=new" } },
    { "ImmutableTargetStaysAsItWas", false, true, { "s=new", "t=old" }, "s", "t", "t", false, false,
        "Error: ...", { "s=new", "t=old" } },
    { "MoveKeepsTheSourceItCannotRemove", true, false, { "s=new" }, "s", "t", "s", false, false,
        "Failed to delete source file %1/s after copying it to target for move operation. Error: "
        "...",
        { "s=new", "t=new" } },
    { "NewTargetInMissingFolders", false, true, { "s=new" }, "s", "a/b/t", nullptr, false, true, "",
        { "a/b/t=new", "s=new" } },
    { "OverwriteReadOnlyLeavesAnEarlierBackupAlone", false, true,
        { "s=new", "x=old", "x.bak=earlier" }, "s", "x", nullptr, true, true, "",
        { "s=new", "x.bak=earlier", "x=new" } },
    { "MoveOverExisting", true, true, { "s=new", "sub/t=old" }, "s", "sub/t", nullptr, false, true,
        "", { "sub/t=new" } },
};

INSTANTIATE_TEST_SUITE_P(Rows, CopyFile, ::testing::ValuesIn(kCopyRows),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(Files, CopyFileMovesByRenameButCopiesWhatALinkPointsTo)
{
    make({ "s=data", "t=old", "linked=through a link" });
    const auto inode = [&](const char* name) {
        struct stat st = {};
        return ::stat(QFile::encodeName(path(name)).constData(), &st) == 0 ? st.st_ino : ino_t(0);
    };
    const ino_t before = inode("s");
    ASSERT_TRUE(GeneralUtil::CopyFile(path("s"), path("t"), true, true, nullptr));
    EXPECT_EQ(inode("t"), before) << "a move within one file system writes no data";
    ASSERT_TRUE(QFile::link(path("linked"), path("link")));
    ASSERT_TRUE(GeneralUtil::CopyFile(path("link"), path("u"), true, false, nullptr));
    EXPECT_FALSE(QFileInfo(path("u")).isSymLink());
    EXPECT_EQ(contents(), (QStringList { "linked=through a link", "t=data", "u=through a link" }));
}

TEST_F(Files, CopyFileCopiesEveryByteWithItsPermissionsAndRefusesAFifo)
{
    QByteArray big; // several copy chunks, none repeating another
    for (int i = 0; big.size() < 3 * 1024 * 1024 + 123; ++i)
        big += QByteArray::number(qint64(i) * 7919);
    const QString source = dir.write("big", big);
    ASSERT_EQ(::chmod(QFile::encodeName(source).constData(), 0750), 0);
    QString error;
    ASSERT_TRUE(GeneralUtil::CopyFile(source, path("out/big"), false, false, &error))
        << error.toStdString();
    EXPECT_TRUE(testutil::readFile(path("out/big")) == big);
    struct stat st = {};
    ASSERT_EQ(::stat(QFile::encodeName(path("out/big")).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0750u);
    // A file of /proc reports no size, yet has content.
    ASSERT_TRUE(GeneralUtil::CopyFile("/proc/self/status", path("status"), false, false, &error));
    EXPECT_TRUE(testutil::readFile(path("status")).startsWith("Name:"));

    const QString fifo = path("fifo");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0644), 0);
    EXPECT_EQ(
        testutil::returnsPromptly<bool>(
            [&] { return GeneralUtil::CopyFile(fifo, path("copy"), false, false, &error); }, fifo),
        false);
    EXPECT_TRUE(error.startsWith("Error: ")) << error.toStdString();
    QFile::remove(fifo);
    QFile::remove(path("status"));
    QFile::remove(source);
    EXPECT_EQ(contents(), QStringList { "out/big=" + QString::fromUtf8(big) })
        << "nothing else, no temporary file";
}

// --- GetUniqueFile ---

TEST_F(Files, GetUniqueFileGivesTheFirstFreeName)
{
    // Rows share the folder: each adds to what the earlier ones made.
    const std::tuple<QStringList, QString, QString, QString, bool, int, QString> rows[] = {
        { {}, "a.txt", "_%1", "", true, 2, "a.txt" },
        { { "a.txt", "a_2.txt", "a_3.txt" }, "a.txt", "_%1", "", true, 2, "a_4.txt" },
        { { "Makefile" }, "Makefile", "_%1", "", true, 2, "Makefile_2" },
        { { "archive.tar.gz" }, "archive.tar.gz", "_%1", "", true, 2, "archive.tar_2.gz" },
        { { "a - copy.txt" }, "a.txt", " (%1)", " - copy", true, 2, "a (2).txt" },
        { {}, "a.txt", "copy%1_", "", false, 1, "copy1_a.txt" },
        { {}, "a.txt", "", "", true, 5, "a5.txt" },
        { { "a-x.txt" }, "a.txt", "-x", "", true, 2, "" }, // no marker: one alternative only
        { {}, "", "_%1", "", true, 2, "" },
    };
    for (const auto& [existing, file, pattern, firstSuffix, after, start, expected] : rows) {
        make(existing);
        EXPECT_EQ(GeneralUtil::GetUniqueFile(path(file), pattern, firstSuffix, after, start),
            path(expected))
            << pattern.toStdString();
    }
    EXPECT_EQ(
        GeneralUtil::GetUniqueFile(dir.path(), "report.final.pdf", "", "_"), path("report.pdf"));
    // Kept construction: the pattern carries no counter, so there is one alternative only.
    EXPECT_EQ(GeneralUtil::GetUniqueFile(dir.path(), "a", "txt", "_"), path("a_%_.txt"));
}

// --- GetFiles, DeleteFiles, DeleteEmptyDirectories, RemoveDirAndSubDirs ---

const QStringList kTree { "root/a.txt=a", "root/b.log=b", "root/c.dat=c", "root/.h.txt=h",
    "root/sub/d.txt=d", "root/sub/deep/e.log=e", "root/empty/" };

TEST_F(Files, GetFilesListsMatchingEntries)
{
    make(kTree);
    const QString root = dir.filePath("root");
    const std::tuple<QString, QDir::Filters, bool, QStringList> rows[] = {
        { "*.txt|*.log", {}, false, { "a.txt", "b.log" } },
        { "|*.dat||", {}, false, { "c.dat" } },
        { "*.txt", QDir::Files | QDir::Hidden, false, { ".h.txt", "a.txt" } },
        { "*.log", QDir::Files | QDir::AllDirs, true,
            { "b.log", "empty", "sub", "sub/deep", "sub/deep/e.log" } },
    };
    for (const auto& [nameFilter, filters, recursive, expected] : rows) {
        QStringList found = GeneralUtil::GetFiles(root, nameFilter, filters, recursive);
        found.sort();
        EXPECT_EQ(found.replaceInStrings(root + '/', ""), expected) << nameFilter.toStdString();
    }
    const QString file = root + "/a.txt";
    EXPECT_EQ(GeneralUtil::GetFiles(file, QString(), {}, false), QStringList { file });
}

TEST_F(Files, DeletesRemoveOnlyWhatTheyShould)
{
    make(kTree);
    make({ "bare/x/y/", "e/a/b/", "e/.hidden/", "e/keep/file=k", "e/keep/emptychild/", "out/p=p" });
    QFile::setPermissions(dir.filePath("root/b.log"), QFileDevice::ReadOwner);
    EXPECT_TRUE(GeneralUtil::DeleteFiles(dir.filePath("root"), "*.log", {}, true));
    EXPECT_TRUE(GeneralUtil::DeleteFiles(dir.filePath("bare"), QString(), {}, true));
    EXPECT_FALSE(GeneralUtil::DeleteEmptyDirectories(dir.filePath("e"), QDir::Hidden));
    EXPECT_EQ(contents(),
        (QStringList { "e/keep/file=k", "out/p=p", "root/.h.txt=h", "root/a.txt=a", "root/c.dat=c",
            "root/sub/d.txt=d" }));
    QFile::remove(dir.filePath("e/keep/file"));
    EXPECT_TRUE(GeneralUtil::DeleteEmptyDirectories(dir.filePath("e"), {}));
    // Not what a link inside points to, nor a read-only file.
    ASSERT_TRUE(QFile::link(dir.filePath("out"), dir.filePath("root/sub/link")));
    QFile::setPermissions(dir.filePath("root/a.txt"), QFileDevice::ReadOwner);
    EXPECT_TRUE(GeneralUtil::RemoveDirAndSubDirs(dir.filePath("root")));
    EXPECT_EQ(contents(), QStringList { "out/p=p" });
    EXPECT_FALSE(GeneralUtil::RemoveDirAndSubDirs(dir.filePath("root")));
    // Last, as it may skip: an immutable file stops both and counts as locked.
    make({ "root/stuck=s", "root/free=f" });
    if (!makeImmutable("root/stuck"))
        GTEST_SKIP() << "chattr +i is not available here (file system or capability)";
    EXPECT_FALSE(GeneralUtil::DeleteFiles(dir.filePath("root"), QString(), {}, false));
    EXPECT_FALSE(GeneralUtil::RemoveDirAndSubDirs(dir.filePath("root")));
    EXPECT_EQ(contents(), (QStringList { "out/p=p", "root/stuck=s" }));
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(_immutable));
}

// --- RemoveDuplicates, line files, log files, SearchFile ---

TEST(RemoveDuplicates, KeepsFirstOccurrenceAndOrder)
{
    QStringList list { "a", "A", "b", "a" }, exact = list;
    EXPECT_EQ(GeneralUtil::RemoveDuplicates(list, true), 2);
    EXPECT_EQ(list, (QStringList { "a", "b" }));
    EXPECT_EQ(GeneralUtil::RemoveDuplicates(exact, false), 1);
    EXPECT_EQ(exact, (QStringList { "a", "A", "b" }));
}

TEST_F(Files, LineFilesRoundTripAndFail)
{
    const QString path = dir.write("lines.txt", "old\nlonger than what replaces it\n");
    const QStringList lines { "first", QString(), "dritte Zeile äöü €" };
    ASSERT_TRUE(GeneralUtil::WriteAllLines(path, lines));
    EXPECT_EQ(testutil::readFile(path),
        QByteArray("first\n\ndritte Zeile \xc3\xa4\xc3\xb6\xc3\xbc \xe2\x82\xac\n"));
    QStringList read { "kept" };
    ASSERT_TRUE(GeneralUtil::ReadAllLines(path, read));
    ASSERT_TRUE(GeneralUtil::ReadAllLines(dir.write("crlf", "a\r\nb\r\nlast"), read));
    EXPECT_EQ(read, (QStringList { "kept" } + lines + QStringList { "a", "b", "last" }));
    EXPECT_FALSE(GeneralUtil::ReadAllLines(dir.filePath("missing"), read));
    EXPECT_FALSE(GeneralUtil::WriteAllLines(dir.path(), { "x" })); // a folder
}

TEST_F(Files, ClearLogFileAndSearchFile)
{
    make({ "x.log", "y.log", "y.log.1", "two/f.txt", "three/f.txt" });
    for (int i = 1; i <= 11; ++i)
        make({ QString("x.log.%1").arg(i) });
    GeneralUtil::ClearLogFile(dir.filePath("x.log"), true); // the file and ten rolled copies
    GeneralUtil::ClearLogFile(dir.filePath("y.log"), false);
    EXPECT_FALSE(GeneralUtil::ClearLogFile(dir.filePath("y.log")));
    EXPECT_EQ(contents(), (QStringList { "three/f.txt=", "two/f.txt=", "x.log.11=", "y.log.1=" }));

    const QStringList folders { path("one"), path("two"), path("three") };
    QString found;
    EXPECT_TRUE(GeneralUtil::SearchFile("f.txt", folders, found, QString()));
    EXPECT_EQ(found, path("two/f.txt"));
    EXPECT_FALSE(GeneralUtil::SearchFile("g.txt", folders, found, path("default")));
    EXPECT_EQ(found, path("default/g.txt"));
}

// --- IsFileLockedForWrite ---

TEST_F(Files, IsFileLockedForWriteWhileAnotherProcessHoldsALock)
{
    const QString file = dir.write("held.txt", "h");
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(dir.filePath("missing")));
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(dir.path()));
    // "~" is the home folder, which the test main points at a private temporary folder.
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite("~/lockprobe.txt"));
    QFile(QDir::homePath() + "/lockprobe.txt").open(QIODevice::WriteOnly);
    EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite("~/lockprobe.txt"));
    QFile::remove(QDir::homePath() + "/lockprobe.txt");
    for (const char* kind : { "flock", "posix", "ofd" }) {
        SCOPED_TRACE(kind);
        QProcess helper;
        helper.start(testutil::builtExecutable("filelockhelper"), { QLatin1String(kind), file });
        ASSERT_TRUE(helper.waitForReadyRead(30000)) << helper.readAllStandardError().toStdString();
        ASSERT_EQ(helper.readAllStandardOutput().trimmed(), "locked");
        EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(file));
        helper.closeWriteChannel();
        ASSERT_TRUE(helper.waitForFinished(30000));
        // Twice: the probe must not leave a lock behind.
        EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(file));
        EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(file));
    }
}

// --- GetSymbolicLinkTarget, checksums ---

TEST_F(Files, GetSymbolicLinkTargetResolvesEveryLinkAlongThePath)
{
    const QString real = QDir(dir.path()).canonicalPath();
    make({ "real/inner/file.txt" });
    ASSERT_TRUE(QFile::link("real", path("rel"))); // relative
    ASSERT_TRUE(QFile::link(path("rel/inner"), path("abs")));
    ASSERT_TRUE(QFile::link("loop2", path("loop1")));
    ASSERT_TRUE(QFile::link("loop1", path("loop2")));
    const std::pair<const char*, const char*> rows[] = {
        { "abs/file.txt", "/real/inner/file.txt" },
        { "abs/../inner/./file.txt", "/real/inner/file.txt" },
        { "rel/missing/../x/y", "/real/x/y" },
        { "loop1/x", "/loop1/x" },
    };
    for (const auto& [input, expected] : rows) {
        EXPECT_EQ(GeneralUtil::GetSymbolicLinkTarget(real + '/' + QLatin1String(input)),
            real + QLatin1String(expected));
    }
}

TEST_F(Files, ChecksumsMatchMd5sumForEmptySmallAndMultiChunkFiles)
{
    if (!testutil::haveProgram("md5sum"))
        GTEST_SKIP() << "md5sum is not installed";
    QByteArray big; // over three 32 KiB chunks, none repeating another
    for (int i = 0; big.size() < 32768 * 3 + 17; ++i)
        big += QByteArray::number(i);
    for (const QByteArray& content : { QByteArray(), QByteArray("abc"), big }) {
        const QString path = dir.write(QString::number(content.size()), content);
        const QString expected = md5sumOf(path);
        EXPECT_EQ(GeneralUtil::GenerateCheckSumMD5(path), expected) << content.size();
        EXPECT_EQ(QString::fromLatin1(GeneralUtil::GetFileHash(path)), expected) << content.size();
    }
    const QString text = "Grüße, €"; // the hash of a text is the MD5 of its UTF-8
    EXPECT_EQ(QString::fromLatin1(GeneralUtil::GetHash(text)),
        md5sumOf(dir.write("text", text.toUtf8())));
}

// --- SetFileVisibility, checked by a real client of ".hidden" (GLib's gio) ---

TEST_F(Files, SetFileVisibilityGioSeesItAndForeignLinesStay)
{
    if (!testutil::haveProgram("gio"))
        GTEST_SKIP() << "gio (libglib2.0-bin) is not installed";
    const auto hidden = [&](const char* name) {
        const QStringList args { "info", "-a", "standard::is-hidden", path(name) };
        return testutil::run("gio", args).out.contains("is-hidden: TRUE");
    };
    const auto set = [&](const char* name, bool visible) {
        return GeneralUtil::SetFileVisibility(path(name), visible);
    };
    make({ ".hidden=other\nno-newline-at-end", "a.txt", "folder/", ".dot" });
    ASSERT_TRUE(set("a.txt", false));
    ASSERT_TRUE(set("a.txt", false));
    ASSERT_TRUE(set("folder/", false));
    EXPECT_TRUE(hidden("a.txt"));
    EXPECT_TRUE(hidden("folder"));
    EXPECT_EQ(testutil::readFile(path(".hidden")), "other\nno-newline-at-end\na.txt\nfolder\n");
    ASSERT_TRUE(set("a.txt", true));
    ASSERT_TRUE(set("folder", true));
    EXPECT_FALSE(hidden("a.txt") || hidden("folder"));
    EXPECT_EQ(testutil::readFile(path(".hidden")), "other\nno-newline-at-end\n");
    // Dot names stay hidden; a missing file cannot be hidden.
    EXPECT_TRUE(set(".dot", false));
    EXPECT_FALSE(set(".dot", true));
    EXPECT_FALSE(set("missing", false));
    EXPECT_TRUE(QFile::remove(path(".hidden")));
    EXPECT_TRUE(set("a.txt", false));
    EXPECT_TRUE(set("a.txt", true));
    EXPECT_EQ(contents(), (QStringList { ".dot=", "a.txt=", "folder/" }))
        << "an emptied list is removed";
}

// Hostile trees: what stands in place of ".hidden" is never followed, read or replaced.
TEST_F(Files, SetFileVisibilityRefusesWhatIsNoPlainListFile)
{
    make({ "a.txt", "victim=a.txt\nmine\n" });
    const QString list = path(".hidden");
    const auto set
        = [&](bool visible) { return GeneralUtil::SetFileVisibility(path("a.txt"), visible); };
    // A link to a file the user can write (a shell start-up file, say), and a dangling one.
    ASSERT_TRUE(QFile::link(path("victim"), list));
    EXPECT_FALSE(set(false));
    EXPECT_FALSE(set(true));
    EXPECT_TRUE(QFileInfo(list).isSymLink());
    ASSERT_TRUE(QFile::remove(list) && QFile::link(path("nowhere"), list));
    EXPECT_FALSE(set(false));
    EXPECT_FALSE(QFileInfo::exists(path("nowhere")));
    EXPECT_EQ(testutil::readFile(path("victim")), "a.txt\nmine\n");

    // A FIFO would block a reader for ever.
    ASSERT_TRUE(QFile::remove(list));
    ASSERT_EQ(::mkfifo(QFile::encodeName(list).constData(), 0644), 0);
    EXPECT_EQ(testutil::returnsPromptly<bool>([&] { return set(false); }, list), false);
    EXPECT_EQ(testutil::returnsPromptly<bool>(
                  [&] { return wrap(path("a.txt")).setVisibility(false); }, list),
        false);
    struct stat st = {};
    EXPECT_TRUE(::lstat(QFile::encodeName(list).constData(), &st) == 0 && S_ISFIFO(st.st_mode));
}

TEST_F(Files, SetFileVisibilityReplacesTheListKeepingItsPermissions)
{
    make({ ".hidden=other\n", "a.txt" });
    const QByteArray list = QFile::encodeName(path(".hidden"));
    ASSERT_EQ(::chmod(list.constData(), 0640), 0);
    struct stat before = {}, after = {};
    ASSERT_EQ(::stat(list.constData(), &before), 0);
    ASSERT_TRUE(GeneralUtil::SetFileVisibility(path("a.txt"), false));
    ASSERT_EQ(::stat(list.constData(), &after), 0);
    EXPECT_EQ(after.st_mode & 07777, 0640u);
    EXPECT_NE(after.st_ino, before.st_ino) << "a new file renamed into place";
    EXPECT_EQ(contents(), (QStringList { ".hidden=other\na.txt\n", "a.txt=" }))
        << "no temporary file is left";
}

// Every read-modify-write of one ".hidden" is serialised: no writer loses another's names.
TEST_F(Files, SetFileVisibilityLosesNoNameUnderConcurrency)
{
    constexpr int perWriter = 100;
    const auto names = [](const QString& prefix) {
        QStringList list;
        for (int i = 0; i < perWriter; ++i)
            list << prefix + QString::number(i);
        return list;
    };
    const auto listed = [&] {
        QStringList lines = QString::fromUtf8(testutil::readFile(path(".hidden")))
                                .split('\n', Qt::SkipEmptyParts);
        lines.sort();
        return lines;
    };
    // Two threads: one hides names while the other shows names hidden beforehand.
    make({ ".hidden=foreign\n" + names("s").join('\n') + '\n' });
    for (const QString& name : names("h") + names("s"))
        make({ name });
    std::atomic<int> failures { 0 };
    const auto writer = [&](const QString& prefix, bool visible) {
        for (const QString& name : names(prefix))
            failures += GeneralUtil::SetFileVisibility(path(name), visible) ? 0 : 1;
    };
    std::thread hiding(writer, "h", false), showing(writer, "s", true);
    hiding.join();
    showing.join();
    EXPECT_EQ(failures, 0);
    QStringList expected = names("h") << "foreign";
    expected.sort();
    EXPECT_EQ(listed(), expected);

    // Two other processes and this one, all hiding names in the same folder at once.
    std::vector<std::unique_ptr<QProcess>> helpers;
    for (const char* prefix : { "p", "q" }) {
        helpers.push_back(std::make_unique<QProcess>());
        helpers.back()->start(testutil::builtExecutable("filelockhelper"),
            { "hide", dir.path(), prefix, QString::number(perWriter) });
        ASSERT_TRUE(helpers.back()->waitForStarted(30000));
    }
    for (const QString& name : names("m"))
        make({ name });
    for (auto& helper : helpers)
        helper->write("go\n");
    for (auto& helper : helpers)
        helper->waitForBytesWritten(30000);
    writer("m", false);
    for (auto& helper : helpers) {
        ASSERT_TRUE(helper->waitForFinished(60000));
        EXPECT_EQ(helper->exitCode(), 0) << helper->readAllStandardError().toStdString();
    }
    expected += names("m") + names("p") + names("q");
    expected.sort();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(listed(), expected);
}

// Hashing a path that is no regular file, is missing or fails to read gives the failure result.
TEST_F(Files, ChecksumsFailOnSpecialFilesAndReadErrors)
{
    const QString fifo = path("fifo");
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0644), 0);
    ASSERT_TRUE(QFile::link(fifo, path("link-to-fifo")));
    make({ "folder/" });
    // /proc/self/mem is a regular file whose first read fails (nothing is mapped at 0).
    for (const QString& bad : { fifo, path("link-to-fifo"), path("folder"), path("missing"),
             QString("/proc/self/mem") }) {
        SCOPED_TRACE(bad.toStdString());
        EXPECT_EQ(testutil::returnsPromptly<QString>(
                      [&] { return GeneralUtil::GenerateCheckSumMD5(bad); }, fifo),
            QString());
        EXPECT_EQ(testutil::returnsPromptly<QByteArray>(
                      [&] { return GeneralUtil::GetFileHash(bad); }, fifo),
            QByteArray());
    }
    // A link to a regular file is hashed as that file.
    ASSERT_TRUE(QFile::link(dir.write("abc", "abc"), path("link-to-abc")));
    EXPECT_EQ(
        GeneralUtil::GenerateCheckSumMD5(path("link-to-abc")), "900150983cd24fb0d6963f7d28e17f72");
}

// --- The wrappers ---

TEST_F(Files, QFileWrapperCopyVisibilityAndCompanions)
{
    QFileWrapper wrapper = wrap(dir.write("s", "content"));
    CapturedLog log;
    EXPECT_EQ(wrapper.copy(path("t")), sync::interf::IQFileWrapper::NoError);
    // QFile::copy never replaces a target.
    EXPECT_EQ(wrapper.copy(path("t")), sync::interf::IQFileWrapper::CopyFailed);
    const QByteArray code = QByteArray::number(int(wrapper.error()));
    EXPECT_EQ(log.text(), "WARN File copy error.  QFile::FileError enum code <" + code + ">.\n");
    // Kept on purpose: free space never refuses a copy.
    EXPECT_EQ(wrapper.GetFreeDiskSpace(), std::numeric_limits<qint64>::max());
    EXPECT_TRUE(wrapper.setVisibility(true));
    EXPECT_FALSE(QFileInfo::exists(path(".hidden"))) << "already visible: nothing written";
    EXPECT_TRUE(wrapper.setVisibility(false));
    EXPECT_FALSE(wrap(path("missing")).setVisibility(false));

    // Companions: file, working folder (nullptr: the download companion), extension, name.
    make({ ".{SyncTemp}/pending.TMP=keep", "blocker" }); // an existing working folder
    const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
        { "a.txt", ".{SyncTemp}", "TMP", ".{SyncTemp}/a.txt.TMP" },
        { "archive.tar.gz", ".{SyncTemp}", "TMP", ".{SyncTemp}/archive.tar.gz.TMP" },
        { "sub/deeper/d.bin", "w/x", "DELTA", "sub/deeper/w/x/d.bin.DELTA" },
        { "down/Makefile", nullptr, nullptr, "down/.{SyncTemp}/Makefile.DWN" },
    };
    for (const auto& [file, folderName, extension, expected] : rows) {
        QFileWrapper wrapper = wrap(path(file));
        const auto companion = folderName ? wrapper.GetTempFile(folderName, extension)
                                          : wrapper.GetDownloadedTempFile();
        ASSERT_TRUE(companion) << expected;
        EXPECT_EQ(companion->fileName(), path(expected));
    }
    EXPECT_FALSE(QFileWrapper().GetTempFile(".{SyncTemp}", "TMP"));
    EXPECT_EQ(QFileWrapper().GetDownloadedTempFile()->fileName(), QString())
        << "no name, no companion name";
    EXPECT_FALSE(wrap(path("a.txt")).GetTempFile("blocker", "TMP")); // a file in the way
    // Only the working folders are made; neither companions nor the download folder.
    EXPECT_EQ(contents(),
        (QStringList { ".hidden=s\n", ".{SyncTemp}/pending.TMP=keep", "blocker=", "s=content",
            "sub/deeper/w/x/", "t=content" }));
}

TEST_F(Files, QDirInfoAndIteratorWrappers)
{
    // What the folder "s" holds, and what is left, nothing when it goes.
    const std::pair<QStringList, QStringList> rows[] = {
        { { "s/.DS_Store", "s/desktop.ini", "s/Thumbs.db", "s/.{SyncTemp}/" }, {} },
        { { "s/.DS_Store", "s/mine.txt" }, { "s/mine.txt=" } },
        { { "s/.{SyncTemp}/a.txt.DWN" }, { "s/.{SyncTemp}/a.txt.DWN=" } },
    };
    for (const auto& [files, remains] : rows) {
        make(QStringList { "s/" } + files);
        EXPECT_EQ(sync::core::QDirWrapper(std::make_shared<QDir>(path("s"))).rmdir(path("s")),
            remains.isEmpty());
        EXPECT_EQ(contents(), remains);
        QDir(path("s")).removeRecursively();
    }
    // Kept behaviour: the metadata is cleared from the wrapper's own folder, not the argument's.
    make({ "own/.DS_Store", "other/.DS_Store" });
    EXPECT_FALSE(sync::core::QDirWrapper(std::make_shared<QDir>(path("own"))).rmdir(path("other")));
    EXPECT_EQ(contents(), (QStringList { "other/.DS_Store=", "own/" }));

    sync::core::QFileInfoWrapper info;
    info.setFile(dir.write("it/a", "a"));
    EXPECT_EQ(info.DiskDrive(), "/");
    EXPECT_LE(qAbs(info.created().secsTo(QDateTime::currentDateTime())), 2);
    info.setFile(path("missing"));
    EXPECT_FALSE(info.created().isValid());

    // Each entry is a copy: it still describes its own file after the iterator moved on.
    make({ "it/sub/b=bb" });
    sync::core::QDirIteratorWrapper it(path("it"), QDir::Files, QDirIterator::Subdirectories);
    std::vector<std::shared_ptr<sync::interf::IQFileInfoWrapper>> infos;
    while (it.hasNext() && !it.next().isEmpty())
        infos.push_back(it.fileInfo());
    ASSERT_EQ(infos.size(), 2u);
    EXPECT_EQ(infos[0]->size() + infos[1]->size(), 3);
}
