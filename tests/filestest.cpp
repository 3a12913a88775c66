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
#include <QRandomGenerator>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>

#include <limits>
#include <tuple>
#include <utility>

using sync::core::QFileWrapper;
using sync::interf::IQFileWrapper;
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

const char* const kNoChattr = "chattr +i is not available here (file system or capability)";

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
    QStringList lines() const
    {
        return QString::fromUtf8(testutil::readFile(dir.filePath("log")))
            .split('\n', Qt::SkipEmptyParts);
    }
};

QFileWrapper wrap(const QString& path)
{
    return QFileWrapper(std::make_shared<QFile>(path));
}

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
        _immutable = path(relative);
        return chattr(_immutable, true);
    }
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

// ---------------------------------------------------------------------------
// CopyFile: every branch, with the whole folder compared afterwards
// ---------------------------------------------------------------------------

struct CopyRow
{
    const char* name;
    bool move;
    bool overwrite;
    QStringList before;
    QString source; // relative to the folder unless absolute
    QString target;
    const char* immutable; // made immutable first (the row skips where that is impossible)
    bool readOnlyTarget;
    bool ok;
    // Expected text, "%1" standing for the folder and a trailing "..." for a prefix;
    // "" when it must not be written, nullptr to pass no pointer at all.
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
        GTEST_SKIP() << kNoChattr;
    if (row.readOnlyTarget)
        QFile::setPermissions(path(row.target), QFileDevice::ReadOwner);
    const QString untouched = "<untouched>";
    QString error = untouched;
    EXPECT_EQ(GeneralUtil::CopyFile(path(row.source), path(row.target), row.move, row.overwrite,
                  row.error ? &error : nullptr),
        row.ok);
    const QString expected = row.error && *row.error
        ? QString::fromUtf8(row.error).replace("%1", dir.path())
        : untouched;
    if (expected.endsWith("...")) {
        EXPECT_TRUE(error.startsWith(expected.chopped(3))) << error.toStdString();
    } else if (row.error) {
        EXPECT_EQ(error, expected);
    }
    EXPECT_EQ(contents(), row.after);
}

// A 252-character name is legal; with ".bak" it exceeds the 255 the file system allows.
const QString kLong(252, 'n');

const CopyRow kCopyRows[] = {
    { "EmptySource", false, true, { "t=old" }, "", "t", nullptr, false, false, "", { "t=old" } },
    { "EmptyTarget", false, true, { "s=new" }, "s", "", nullptr, false, false, "", { "s=new" } },
    { "MissingSource", true, true, { "t=old" }, "missing", "t", nullptr, false, false,
        "Source file is not found.", { "t=old" } },
    { "NullErrorPointer", true, true, {}, "missing", "t", nullptr, false, false, nullptr, {} },
    { "TargetIsAFolder", false, true, { "s=new", "folder/in=old" }, "s", "folder", nullptr, false,
        false, "", { "folder/in=old", "s=new" } },
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
    { "NewTarget", false, true, { "s=new" }, "s", "t", nullptr, false, true, "",
        { "s=new", "t=new" } },
    { "NewTargetInMissingFolders", false, true, { "s=new" }, "s", "a/b/t", nullptr, false, true, "",
        { "a/b/t=new", "s=new" } },
    { "OverwriteExisting", false, true, { "s=new", "t=old" }, "s", "t", nullptr, false, true, "",
        { "s=new", "t=new" } },
    { "OverwriteReadOnly", false, true, { "s=new", "t=old" }, "s", "t", nullptr, true, true, "",
        { "s=new", "t=new" } },
    { "OverwriteLeavesAnEarlierBackupAlone", false, true, { "s=new", "x=old", "x.bak=earlier" },
        "s", "x", nullptr, false, true, "", { "s=new", "x.bak=earlier", "x=new" } },
    { "MoveToNewTarget", true, true, { "s=new" }, "s", "t", nullptr, false, true, "", { "t=new" } },
    { "MoveOverExisting", true, true, { "s=new", "sub/t=old" }, "s", "sub/t", nullptr, false, true,
        "", { "sub/t=new" } },
};

INSTANTIATE_TEST_SUITE_P(Rows, CopyFile, ::testing::ValuesIn(kCopyRows),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(Files, CopyFileMovesByRenameButCopiesWhatALinkPointsTo)
{
    make({ "s=data", "t=old", "linked=through a link" });
    const auto inode = [&](const char* name) {
        struct stat st {};
        return ::stat(QFile::encodeName(path(name)).constData(), &st) == 0 ? st.st_ino : ino_t(0);
    };
    const ino_t before = inode("s");
    ASSERT_TRUE(GeneralUtil::CopyFile(path("s"), path("t"), true, true, nullptr));
    EXPECT_EQ(inode("t"), before) << "a move within one file system writes no data";
    EXPECT_FALSE(QFileInfo::exists(path("s")));

    ASSERT_TRUE(QFile::link(path("linked"), path("link")));
    ASSERT_TRUE(GeneralUtil::CopyFile(path("link"), path("u"), true, false, nullptr));
    EXPECT_FALSE(QFileInfo(path("u")).isSymLink());
    EXPECT_EQ(testutil::readFile(path("u")), QByteArray("through a link"));
    EXPECT_TRUE(QFileInfo::exists(path("linked")));
}

// ---------------------------------------------------------------------------
// GetUniqueFile
// ---------------------------------------------------------------------------

TEST_F(Files, GetUniqueFileGivesTheFirstFreeName)
{
    // Rows share the folder: each adds to what the earlier ones made. "" is the empty string.
    const std::tuple<QStringList, QString, QString, QString, bool, int, QString> rows[] = {
        { {}, "a.txt", "_%1", "", true, 2, "a.txt" },
        { { "a.txt" }, "a.txt", "_%1", "", true, 2, "a_2.txt" },
        { { "a_2.txt", "a_3.txt" }, "a.txt", "_%1", "", true, 2, "a_4.txt" },
        { { "Makefile" }, "Makefile", "_%1", "", true, 2, "Makefile_2" },
        { { "archive.tar.gz" }, "archive.tar.gz", "_%1", "", true, 2, "archive.tar_2.gz" },
        { {}, "a.txt", " (%1)", " - copy", true, 2, "a - copy.txt" },
        { { "a - copy.txt" }, "a.txt", " (%1)", " - copy", true, 2, "a (2).txt" },
        { {}, "a.txt", "copy%1_", "", false, 1, "copy1_a.txt" },
        { {}, "a.txt", "", "", true, 5, "a5.txt" },
        { { "a-x.txt" }, "a.txt", "-x", "", true, 2, "" }, // no marker: one alternative only
        { {}, "", "_%1", "", true, 2, "" },
    };
    for (const auto& [existing, file, pattern, firstSuffix, after, start, expected] : rows) {
        SCOPED_TRACE((file + ' ' + pattern + ' ' + expected).toStdString());
        make(existing);
        EXPECT_EQ(GeneralUtil::GetUniqueFile(path(file), pattern, firstSuffix, after, start),
            path(expected));
    }
}

TEST_F(Files, GetUniqueFileFromFolderNameAndExtension)
{
    const QString d = dir.path();
    const auto unique = [&](const char* name, const char* extension) {
        return GeneralUtil::GetUniqueFile(
            d, QString::fromLatin1(name), QString::fromLatin1(extension), "_");
    };
    EXPECT_EQ(unique("report.final.pdf", ""), d + "/report.pdf");
    EXPECT_EQ(unique("a", ".txt"), d + "/a.txt");
    EXPECT_EQ(unique("plain", ""), d + "/plain");
    // Kept construction: the pattern carries no counter, so there is one alternative only.
    make({ "a.txt" });
    EXPECT_EQ(unique("a", "txt"), d + "/a_%_.txt");
    make({ "a_%_.txt" });
    EXPECT_EQ(unique("a", "txt"), QString());

    // An empty folder and name mean the temporary folder and "Temp".
    const QByteArray saved = qgetenv("TMPDIR");
    qputenv("TMPDIR", QFile::encodeName(d));
    const QString temp = GeneralUtil::GetUniqueFile(QString(), QString(), QString(), "_");
    qputenv("TMPDIR", saved);
    EXPECT_EQ(temp, QDir(d).canonicalPath() + "/Temp");
}

// ---------------------------------------------------------------------------
// GetFiles, DeleteFiles, DeleteEmptyDirectories, RemoveDirAndSubDirs
// ---------------------------------------------------------------------------

const QStringList kTree { "root/a.txt=a", "root/b.log=b", "root/c.dat=c", "root/.h.txt=h",
    "root/sub/d.txt=d", "root/sub/deep/e.log=e", "root/empty/" };

TEST_F(Files, GetFilesListsMatchingEntries)
{
    make(kTree);
    const QString root = dir.filePath("root");
    const std::tuple<QString, QDir::Filters, bool, QStringList> rows[] = {
        { "*.txt|*.log", {}, false, { "a.txt", "b.log" } },
        { "", {}, false, { "a.txt", "b.log", "c.dat" } },
        { "|*.dat||", {}, false, { "c.dat" } },
        { "*.txt", QDir::Files | QDir::Hidden, false, { ".h.txt", "a.txt" } },
        { "*", QDir::Files | QDir::Dirs, false, { "a.txt", "b.log", "c.dat", "empty", "sub" } },
        { "*.txt", {}, true, { "a.txt", "sub/d.txt" } },
        { "*.log", QDir::Files | QDir::AllDirs, true,
            { "b.log", "empty", "sub", "sub/deep", "sub/deep/e.log" } },
    };
    for (const auto& [nameFilter, filters, recursive, expected] : rows) {
        SCOPED_TRACE(nameFilter.toStdString());
        QStringList relative; // sorted
        for (const QString& p : GeneralUtil::GetFiles(root, nameFilter, filters, recursive)) {
            EXPECT_TRUE(QDir::isAbsolutePath(p)) << p.toStdString();
            relative << QDir(root).relativeFilePath(p);
        }
        relative.sort();
        EXPECT_EQ(relative, expected);
    }
    const QString file = root + "/sub/d.txt";
    EXPECT_EQ(GeneralUtil::GetFiles(file, QString(), {}, false), QStringList { file });
    EXPECT_EQ(GeneralUtil::GetFiles(root + "/none", QString(), {}, false), QStringList());
}

TEST_F(Files, DeleteFilesRemovesMatchesAndTheFoldersLeftEmpty)
{
    make(kTree);
    make({ "bare/x/y/", "bare/z/" });
    QFile::setPermissions(dir.filePath("root/b.log"), QFileDevice::ReadOwner);
    EXPECT_TRUE(GeneralUtil::DeleteFiles(dir.filePath("root"), "*.log", {}, true));
    EXPECT_TRUE(GeneralUtil::DeleteFiles(dir.filePath("bare"), QString(), {}, true));
    EXPECT_EQ(contents(),
        (QStringList { "root/.h.txt=h", "root/a.txt=a", "root/c.dat=c", "root/sub/d.txt=d" }));
    EXPECT_FALSE(GeneralUtil::DeleteFiles(QString(), QString(), {}, true));
}

TEST_F(Files, DeleteEmptyDirectoriesRemovesOnlyEmptyBranches)
{
    make({ "root/a/b/c/", "root/.hiddenempty/", "root/keep/file=k", "root/keep/emptychild/" });
    const QString root = dir.filePath("root");
    EXPECT_FALSE(GeneralUtil::DeleteEmptyDirectories(root, QDir::Hidden));
    EXPECT_EQ(contents(), QStringList { "root/keep/file=k" });

    QFile::remove(root + "/keep/file");
    EXPECT_TRUE(GeneralUtil::DeleteEmptyDirectories(root, {}));
    EXPECT_EQ(contents(), QStringList());
    EXPECT_FALSE(GeneralUtil::DeleteEmptyDirectories(root, {}));
    EXPECT_FALSE(GeneralUtil::DeleteEmptyDirectories(QString(), {}));
}

TEST_F(Files, RemoveDirAndSubDirsRemovesTheTreeButNotWhatLinksPointTo)
{
    make(kTree);
    make({ "outside/precious=p" });
    const QString root = dir.filePath("root");
    ASSERT_TRUE(QFile::link(dir.filePath("outside"), root + "/sub/link"));
    QFile::setPermissions(root + "/a.txt", QFileDevice::ReadOwner);
    EXPECT_TRUE(GeneralUtil::RemoveDirAndSubDirs(root));
    EXPECT_EQ(contents(), QStringList { "outside/precious=p" });
    EXPECT_FALSE(GeneralUtil::RemoveDirAndSubDirs(root));
}

TEST_F(Files, AnImmutableFileStopsDeletesAndCountsAsLocked)
{
    make({ "root/stuck=s", "root/free=f" });
    if (!makeImmutable("root/stuck"))
        GTEST_SKIP() << kNoChattr;
    EXPECT_FALSE(GeneralUtil::DeleteFiles(dir.filePath("root"), QString(), {}, false));
    EXPECT_FALSE(GeneralUtil::RemoveDirAndSubDirs(dir.filePath("root")));
    EXPECT_EQ(contents(), QStringList { "root/stuck=s" });
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(_immutable));
    chattr(_immutable, false);
    EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(_immutable));
}

// ---------------------------------------------------------------------------
// RemoveDuplicates, line files, log files, SearchFile
// ---------------------------------------------------------------------------

TEST(RemoveDuplicates, KeepsFirstOccurrenceAndOrder)
{
    const std::tuple<QStringList, bool, QStringList, int> rows[] = {
        { { "a", "A", "b", "a" }, true, { "a", "b" }, 2 },
        { { "a", "A", "b", "a" }, false, { "a", "A", "b" }, 1 },
        { { "x", "B", "y", "b", "X", "z" }, true, { "x", "B", "y", "z" }, 2 },
        { { "q", "Q", "q", "Q" }, true, { "q" }, 3 },
        { {}, true, {}, 0 },
    };
    for (auto [list, caseInsensitive, expected, removed] : rows) {
        SCOPED_TRACE(list.join(',').toStdString());
        EXPECT_EQ(GeneralUtil::RemoveDuplicates(list, caseInsensitive), removed);
        EXPECT_EQ(list, expected);
    }
}

TEST_F(Files, LineFilesRoundTripAndFail)
{
    const QString path = dir.filePath("lines.txt");
    const QStringList lines { "first", QString(), "dritte Zeile äöü €" };
    ASSERT_TRUE(GeneralUtil::WriteAllLines(path, lines));
    EXPECT_EQ(testutil::readFile(path),
        QByteArray("first\n\ndritte Zeile \xc3\xa4\xc3\xb6\xc3\xbc \xe2\x82\xac\n"));
    QStringList read { "kept" };
    ASSERT_TRUE(GeneralUtil::ReadAllLines(path, read));
    EXPECT_EQ(read, QStringList { "kept" } + lines); // appended
    ASSERT_TRUE(GeneralUtil::WriteAllLines(path, { "x" }));
    EXPECT_EQ(testutil::readFile(path), "x\n"); // truncated

    read.clear();
    ASSERT_TRUE(GeneralUtil::ReadAllLines(dir.write("crlf", "a\r\nb\r\nlast"), read));
    EXPECT_EQ(read, (QStringList { "a", "b", "last" }));
    QStringList none;
    EXPECT_FALSE(GeneralUtil::ReadAllLines(dir.filePath("missing"), none));
    EXPECT_TRUE(none.isEmpty());
    EXPECT_FALSE(GeneralUtil::WriteAllLines(dir.path(), { "x" })); // a folder
    EXPECT_FALSE(GeneralUtil::WriteAllLines("/proc/synccore-lines", { "x" }));
}

TEST_F(Files, ClearLogFileRemovesTheFileAndTenRolledCopies)
{
    make({ "x.log", "y.log", "y.log.1" });
    for (int i = 1; i <= 11; ++i)
        make({ QString("x.log.%1").arg(i) });
    GeneralUtil::ClearLogFile(dir.filePath("x.log"), true);
    GeneralUtil::ClearLogFile(dir.filePath("y.log"), false);
    EXPECT_EQ(contents(), (QStringList { "x.log.11=", "y.log.1=" }));
    EXPECT_FALSE(GeneralUtil::ClearLogFile(dir.filePath("y.log")));
    EXPECT_TRUE(GeneralUtil::ClearLogFile(dir.filePath("y.log.1")));
}

TEST_F(Files, SearchFileTakesTheFirstFolderThatHoldsTheFile)
{
    make({ "two/f.txt", "three/f.txt" });
    const QStringList folders { path("one"), path("two"), path("three") };
    QString found = "stale";
    EXPECT_TRUE(GeneralUtil::SearchFile("f.txt", folders, found, QString()));
    EXPECT_EQ(found, path("two/f.txt"));
    EXPECT_FALSE(GeneralUtil::SearchFile("g.txt", folders, found, QString()));
    EXPECT_TRUE(found.isEmpty());
    EXPECT_FALSE(GeneralUtil::SearchFile("g.txt", folders, found, path("default")));
    EXPECT_EQ(found, path("default/g.txt"));
}

// ---------------------------------------------------------------------------
// IsFileLockedForWrite
// ---------------------------------------------------------------------------

TEST_F(Files, IsFileLockedForWriteFreeMissingFolderAndHome)
{
    const QString file = dir.write("f.txt", "f");
    EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(file));
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(dir.filePath("missing")));
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(dir.path()));
    QFile again(file); // the probe must not leave a lock behind
    ASSERT_TRUE(again.open(QIODevice::ReadWrite));
    EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(file));

    // "~" is the home folder, which the test main points at a private temporary folder.
    QFile home(QDir::homePath() + "/lockprobe.txt");
    ASSERT_TRUE(home.open(QIODevice::WriteOnly));
    home.close();
    EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite("~/lockprobe.txt"));
    home.remove();
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite("~/lockprobe.txt"));
}

TEST_F(Files, IsFileLockedForWriteWhileAnotherProcessHoldsALock)
{
    const QString file = dir.write("held.txt", "h");
    for (const char* kind : { "flock", "posix", "ofd" }) {
        SCOPED_TRACE(kind);
        QProcess helper;
        helper.start(testutil::builtExecutable("filelockhelper"), { QLatin1String(kind), file });
        ASSERT_TRUE(helper.waitForReadyRead(30000)) << helper.readAllStandardError().toStdString();
        ASSERT_EQ(helper.readAllStandardOutput().trimmed(), "locked");
        EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(file));
        helper.closeWriteChannel();
        ASSERT_TRUE(helper.waitForFinished(30000));
        EXPECT_EQ(helper.exitCode(), 0);
        EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(file));
    }
}

// ---------------------------------------------------------------------------
// GetSymbolicLinkTarget, checksums
// ---------------------------------------------------------------------------

TEST_F(Files, GetSymbolicLinkTargetResolvesEveryLinkAlongThePath)
{
    const QString real = QDir(dir.path()).canonicalPath();
    make({ "real/inner/file.txt" });
    ASSERT_TRUE(QFile::link("real", path("rel"))); // relative
    ASSERT_TRUE(QFile::link(path("rel/inner"), path("abs")));
    ASSERT_TRUE(QFile::link("loop2", path("loop1")));
    ASSERT_TRUE(QFile::link("loop1", path("loop2")));
    const std::pair<const char*, const char*> rows[] = {
        { "rel/inner/file.txt", "/real/inner/file.txt" },
        { "abs/file.txt", "/real/inner/file.txt" },
        { "abs/../inner/./file.txt", "/real/inner/file.txt" },
        { "rel/missing/../x/y", "/real/x/y" },
        { "abs/", "/real/inner" },
        { "loop1/x", "/loop1/x" },
    };
    for (const auto& [input, expected] : rows) {
        EXPECT_EQ(GeneralUtil::GetSymbolicLinkTarget(real + '/' + QLatin1String(input)),
            real + QLatin1String(expected))
            << input;
    }
    EXPECT_EQ(GeneralUtil::GetSymbolicLinkTarget("/"), "/");
}

TEST_F(Files, ChecksumsMatchMd5sumForEmptySmallAndMultiChunkFiles)
{
    if (!testutil::haveProgram("md5sum"))
        GTEST_SKIP() << "md5sum is not installed";
    QByteArray big(32768 * 3 + 17, '\0');
    QRandomGenerator generator(42);
    for (char& c : big)
        c = char(generator.bounded(256));
    int i = 0;
    for (const QByteArray& content :
        { QByteArray(), QByteArray("abc"), QByteArray(32768, 'x'), big }) {
        const QString path = dir.write(QString("f%1").arg(i++), content);
        const QString expected = md5sumOf(path);
        ASSERT_EQ(expected.size(), 32);
        EXPECT_EQ(GeneralUtil::GenerateCheckSumMD5(path), expected) << content.size();
        EXPECT_EQ(QString::fromLatin1(GeneralUtil::GetFileHash(path)), expected) << content.size();
    }
    EXPECT_EQ(GeneralUtil::GenerateCheckSumMD5(dir.filePath("missing")), QString());
    EXPECT_TRUE(GeneralUtil::GetFileHash(dir.filePath("missing")).isEmpty());

    // The hash of a text is the MD5 of its UTF-8.
    const QString text = "Grüße, €";
    EXPECT_EQ(QString::fromLatin1(GeneralUtil::GetHash(text)),
        md5sumOf(dir.write("text", text.toUtf8())));
    EXPECT_EQ(GeneralUtil::GetHash(QString()), QByteArray("d41d8cd98f00b204e9800998ecf8427e"));
}

// ---------------------------------------------------------------------------
// SetFileVisibility, checked by a real client of ".hidden" (GLib's gio)
// ---------------------------------------------------------------------------

TEST_F(Files, SetFileVisibilityGioSeesFilesAndFoldersHiddenAndShownAgain)
{
    if (!testutil::haveProgram("gio"))
        GTEST_SKIP() << "gio (libglib2.0-bin) is not installed";
    // gio's verdict on a.txt, b.txt and folder: "1" hidden, "0" visible, "?" cannot tell.
    const auto gio = [&] {
        QString verdict;
        for (const char* name : { "a.txt", "b.txt", "folder" }) {
            const testutil::ProcessResult r
                = testutil::run("gio", { "info", "-a", "standard::is-hidden", path(name) });
            verdict += r.exitCode != 0 ? '?' : r.out.contains("is-hidden: TRUE") ? '1' : '0';
        }
        return verdict;
    };
    const auto set = [&](const char* name, bool visible) {
        return GeneralUtil::SetFileVisibility(path(name), visible);
    };
    make({ "a.txt", "b.txt", "folder/" });
    ASSERT_EQ(gio(), "000");
    ASSERT_TRUE(set("a.txt", false) && set("b.txt", false) && set("folder/", false));
    EXPECT_EQ(gio(), "111");
    EXPECT_TRUE(set("a.txt", false)); // twice: listed once
    EXPECT_EQ(testutil::readFile(path(".hidden")), "a.txt\nb.txt\nfolder\n");
    ASSERT_TRUE(set("a.txt", true));
    EXPECT_EQ(gio(), "011");
    ASSERT_TRUE(set("b.txt", true) && set("folder", true));
    EXPECT_EQ(gio(), "000");
    EXPECT_EQ(contents(), (QStringList { "a.txt=", "b.txt=", "folder/" }))
        << "an emptied list is removed";
}

TEST_F(Files, SetFileVisibilityKeepsForeignLinesAndDotNamesStayHidden)
{
    make({ ".hidden=other\nno-newline-at-end", "a", ".dot" });
    const QString list = path(".hidden");
    ASSERT_TRUE(GeneralUtil::SetFileVisibility(path("a"), false));
    EXPECT_EQ(testutil::readFile(list), "other\nno-newline-at-end\na\n");
    ASSERT_TRUE(GeneralUtil::SetFileVisibility(path("a"), true));
    EXPECT_EQ(testutil::readFile(list), "other\nno-newline-at-end\n");

    EXPECT_FALSE(GeneralUtil::SetFileVisibility(path(".dot"), true));
    EXPECT_TRUE(GeneralUtil::SetFileVisibility(path(".dot"), false));
    EXPECT_FALSE(GeneralUtil::SetFileVisibility(path("missing"), false));
    EXPECT_FALSE(QFileInfo::exists(path("missing")));
}

// ---------------------------------------------------------------------------
// The wrappers
// ---------------------------------------------------------------------------

TEST_F(Files, QFileWrapperCopySucceedsOnceAndThenReportsTheFileError)
{
    QFileWrapper wrapper = wrap(dir.write("s", "content"));
    CapturedLog log;
    EXPECT_EQ(wrapper.copy(path("t")), IQFileWrapper::NoError);
    EXPECT_EQ(contents(), (QStringList { "s=content", "t=content" }));
    EXPECT_TRUE(log.lines().isEmpty());

    // QFile::copy never replaces a target.
    EXPECT_EQ(wrapper.copy(path("t")), IQFileWrapper::CopyFailed);
    EXPECT_NE(wrapper.error(), QFile::NoError);
    EXPECT_EQ(log.lines(),
        QStringList { QString("WARN File copy error.  QFile::FileError enum code <%1>.")
                          .arg(int(wrapper.error())) });
    // Kept on purpose: free space never refuses a copy.
    EXPECT_EQ(QFileWrapper().GetFreeDiskSpace(), std::numeric_limits<qint64>::max());
    EXPECT_EQ(wrapper.GetFreeDiskSpace(), std::numeric_limits<qint64>::max());
}

TEST_F(Files, QFileWrapperSetVisibilityTouchesOnlyWhatMustChange)
{
    QFileWrapper wrapper = wrap(dir.write("v.txt", "v"));
    EXPECT_TRUE(wrapper.setVisibility(true));
    EXPECT_EQ(contents(), QStringList { "v.txt=v" }) << "already visible: nothing written";
    EXPECT_TRUE(wrapper.setVisibility(false) && wrapper.setVisibility(false));
    EXPECT_EQ(contents(), (QStringList { ".hidden=v.txt\n", "v.txt=v" }));
    EXPECT_TRUE(wrapper.setVisibility(true));
    EXPECT_FALSE(wrap(path("missing")).setVisibility(false));
    EXPECT_EQ(contents(), QStringList { "v.txt=v" });
}

TEST_F(Files, QFileWrapperCompanionsAreNamedAndOnlyTheTemporaryFolderIsMade)
{
    make({ ".{SyncTemp}/pending.TMP=keep" }); // an existing working folder
    // File, working folder (nullptr: the download companion), extension, companion.
    const std::tuple<const char*, const char*, const char*, const char*> rows[] = {
        { "a.txt", ".{SyncTemp}", "TMP", ".{SyncTemp}/a.txt.TMP" },
        { "archive.tar.gz", ".{SyncTemp}", "TMP", ".{SyncTemp}/archive.tar.gz.TMP" },
        { "Makefile", ".{SyncBackup}", "BASE", ".{SyncBackup}/Makefile.BASE" },
        { "sub/deeper/d.bin", "w/x", "DELTA", "sub/deeper/w/x/d.bin.DELTA" },
        { "down/Makefile", nullptr, nullptr, "down/.{SyncTemp}/Makefile.DWN" },
        { "down/sub/archive.tar.gz", nullptr, nullptr, "down/sub/.{SyncTemp}/archive.tar.gz.DWN" },
    };
    for (const auto& [file, folderName, extension, expected] : rows) {
        QFileWrapper wrapper = wrap(path(file));
        const auto companion = folderName ? wrapper.GetTempFile(folderName, extension)
                                          : wrapper.GetDownloadedTempFile();
        ASSERT_TRUE(companion) << expected;
        EXPECT_EQ(companion->fileName(), path(expected));
    }
    // Neither companions nor their files are created, nor the download folders.
    EXPECT_EQ(contents(),
        (QStringList { ".{SyncBackup}/", ".{SyncTemp}/pending.TMP=keep", "sub/deeper/w/x/" }));

    CapturedLog log;
    EXPECT_FALSE(QFileWrapper().GetTempFile(".{SyncTemp}", "TMP"));
    make({ "blocker" }); // a file stands where the working folder should be
    EXPECT_FALSE(wrap(path("a.txt")).GetTempFile("blocker", "TMP"));
    EXPECT_EQ(log.lines(),
        (QStringList {
            "ERROR Failed to get temp file in QFileWrapper::GetTempFile. File name is not set",
            "ERROR Failed to create temp folder " + path("blocker") }));
    EXPECT_FALSE(QFileInfo::exists(QDir::current().filePath(".{SyncTemp}")));
}

TEST_F(Files, QDirWrapperRmdirClearsMetadataThenRemovesWhenEmpty)
{
    // What the folder "s" holds, and what is left, nothing when it goes.
    const std::pair<QStringList, QStringList> rows[] = {
        { {}, {} },
        { { "s/.DS_Store", "s/desktop.ini", "s/Thumbs.db", "s/.{SyncTemp}/" }, {} },
        { { "s/.DS_Store", "s/Thumbs.db", "s/mine.txt" }, { "s/mine.txt=" } },
        { { "s/.{SyncTemp}/a.txt.DWN" }, { "s/.{SyncTemp}/a.txt.DWN=" } },
        { { "s/.other" }, { "s/.other=" } },
    };
    for (const auto& [files, remains] : rows) {
        SCOPED_TRACE(files.join(' ').toStdString());
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
}

TEST_F(Files, QFileInfoWrapperDiskDriveAndCreated)
{
    ASSERT_EQ(QDir::drives().size(), 1); // "/" alone on this platform
    sync::core::QFileInfoWrapper info;
    const std::pair<const char*, const char*> rows[]
        = { { "/home/user/a.txt", "/" }, { "/", "/" }, { "relative/a.txt", "" }, { "", "" } };
    for (const auto& [file, drive] : rows) {
        info.setFile(file);
        EXPECT_EQ(info.DiskDrive(), QString(drive)) << file;
    }
    info.setFile(dir.write("f.txt", "x"));
    ASSERT_TRUE(info.created().isValid());
    EXPECT_LE(qAbs(info.created().secsTo(QDateTime::currentDateTime())), 2);
    info.setFile(path("missing"));
    EXPECT_FALSE(info.created().isValid());
}

TEST_F(Files, QDirIteratorWrapperHandsOutEntriesThatOutliveIt)
{
    make({ "a.txt=a", "sub/b.txt=bb" });
    sync::core::QDirIteratorWrapper it(dir.path(), QDir::Files, QDirIterator::Subdirectories);
    QStringList names;
    std::vector<std::shared_ptr<sync::interf::IQFileInfoWrapper>> infos;
    while (it.hasNext()) {
        names << QFileInfo(it.next()).fileName();
        infos.push_back(it.fileInfo());
    }
    names.sort();
    EXPECT_EQ(names, (QStringList { "a.txt", "b.txt" }));
    // Each entry is a copy: it still describes its own file after the iterator moved on.
    ASSERT_EQ(infos.size(), 2u);
    EXPECT_TRUE(infos[0]->isFile() && infos[1]->isFile());
    EXPECT_EQ(infos[0]->size() + infos[1]->size(), 3);
    EXPECT_NE(infos[0]->absoluteFilePath(), infos[1]->absoluteFilePath());
}
