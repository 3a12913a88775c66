// GeneralUtil's file operations against real files in a temporary folder.
//
// The suite also runs as root, where permission bits stop nothing: failures are
// injected with things that stop root too (a folder where a file is expected, a
// name longer than the file system allows, paths under /proc, the immutable flag).

#include "TestUtil.h"

#include "CloudUtil/GeneralUtil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>

#include <gtest/gtest.h>

#include <functional>

using Tessaron::CloudUtil::GeneralUtil;
using testutil::TempDir;

namespace {

const QByteArray kOld = "old target content\n";
const QByteArray kNew = "new source content\n";
const QString kUntouched = QStringLiteral("<untouched>");

// Sets or clears the immutable flag; false when the file system or our rights do not allow it.
bool setImmutable(const QString& path, bool on)
{
    if (!testutil::haveProgram(QStringLiteral("chattr")))
        return false;
    return testutil::run(QStringLiteral("chattr"), {on ? QStringLiteral("+i") : QStringLiteral("-i"), path})
               .exitCode
        == 0;
}

// Clears the flag again whatever the test's outcome, so the temporary folder can go.
struct ImmutableGuard
{
    QString path;
    ~ImmutableGuard()
    {
        if (!path.isEmpty())
            setImmutable(path, false);
    }
};

QString md5sumOf(const QString& path)
{
    const testutil::ProcessResult r = testutil::run(QStringLiteral("md5sum"), {path});
    return QString::fromLatin1(r.out.left(32));
}

QSet<QString> relativeTo(const QString& root, const QStringList& paths)
{
    QSet<QString> result;
    const QDir dir(root);
    for (const QString& p : paths)
        result.insert(dir.relativeFilePath(p));
    return result;
}

} // namespace

// ---------------------------------------------------------------------------
// CopyFile: refusals and failures
// ---------------------------------------------------------------------------

struct CopyFailureRow
{
    const char* name;
    bool move;
    bool overwrite;
    // Builds the situation in the folder; sets source and target.
    std::function<void(const TempDir&, QString& source, QString& target)> setUp;
    // The expected error text (kUntouched: not written), given source and target.
    std::function<QString(const QString& source, const QString& target)> expectedError;
    // Checks what is left on disk.
    std::function<void(const TempDir&, const QString& source, const QString& target)> check;
};

class CopyFileFailure : public ::testing::TestWithParam<CopyFailureRow>
{
};

TEST_P(CopyFileFailure, FailsAsSpecifiedAndLosesNothing)
{
    const CopyFailureRow& row = GetParam();
    TempDir dir;
    QString source;
    QString target;
    row.setUp(dir, source, target);
    QString error = kUntouched;
    EXPECT_FALSE(GeneralUtil::CopyFile(source, target, row.move, row.overwrite, &error));
    const QString expected = row.expectedError(source, target);
    if (expected.endsWith(QLatin1String("...")))
        EXPECT_TRUE(error.startsWith(expected.chopped(3))) << error.toStdString();
    else
        EXPECT_EQ(error, expected);
    if (row.check)
        row.check(dir, source, target);
}

const CopyFailureRow kCopyFailures[] = {
    {"EmptySource", false, true,
     [](const TempDir& d, QString& s, QString& t) {
         s.clear();
         t = d.write(QStringLiteral("t.txt"), kOld);
     },
     [](const QString&, const QString&) { return kUntouched; },
     [](const TempDir&, const QString&, const QString& t) { EXPECT_EQ(testutil::readFile(t), kOld); }},
    {"EmptyTarget", false, true,
     [](const TempDir& d, QString& s, QString& t) {
         s = d.write(QStringLiteral("s.txt"), kNew);
         t.clear();
     },
     [](const QString&, const QString&) { return kUntouched; }, nullptr},
    {"MissingSource", true, true,
     [](const TempDir& d, QString& s, QString& t) {
         s = d.filePath(QStringLiteral("missing.txt"));
         t = d.write(QStringLiteral("t.txt"), kOld);
     },
     [](const QString&, const QString&) { return QStringLiteral("Source file is not found."); },
     [](const TempDir&, const QString&, const QString& t) { EXPECT_EQ(testutil::readFile(t), kOld); }},
    {"TargetIsAFolder", false, true,
     [](const TempDir& d, QString& s, QString& t) {
         s = d.write(QStringLiteral("s.txt"), kNew);
         t = d.filePath(QStringLiteral("folder"));
         d.write(QStringLiteral("folder/inside.txt"), kOld);
     },
     [](const QString&, const QString&) { return kUntouched; },
     [](const TempDir& d, const QString& s, const QString&) {
         EXPECT_EQ(testutil::readFile(d.filePath(QStringLiteral("folder/inside.txt"))), kOld);
         EXPECT_EQ(testutil::readFile(s), kNew);
     }},
    {"FileWhereTargetFolderShouldBe", false, false,
     [](const TempDir& d, QString& s, QString& t) {
         s = d.write(QStringLiteral("s.txt"), kNew);
         d.write(QStringLiteral("blocker"), kOld);
         t = d.filePath(QStringLiteral("blocker/sub/t.txt"));
     },
     [](const QString&, const QString& t) {
         return QStringLiteral("Failed to create folder %1").arg(QFileInfo(t).absolutePath());
     },
     [](const TempDir& d, const QString&, const QString&) {
         EXPECT_EQ(testutil::readFile(d.filePath(QStringLiteral("blocker"))), kOld);
     }},
    {"ExistingTargetWithoutOverwrite", true, false,
     [](const TempDir& d, QString& s, QString& t) {
         s = d.write(QStringLiteral("s.txt"), kNew);
         t = d.write(QStringLiteral("t.txt"), kOld);
     },
     [](const QString&, const QString& t) {
         return QStringLiteral("Target file %1 exists and is read-only").arg(t);
     },
     [](const TempDir&, const QString& s, const QString& t) {
         EXPECT_EQ(testutil::readFile(t), kOld);
         EXPECT_EQ(testutil::readFile(s), kNew);
         EXPECT_FALSE(QFileInfo::exists(t + QStringLiteral(".bak")));
     }},
    {"TargetUnderProc", false, true,
     [](const TempDir& d, QString& s, QString& t) {
         s = d.write(QStringLiteral("s.txt"), kNew);
         t = QStringLiteral("/proc/synccore-copy-test.txt");
     },
     [](const QString&, const QString&) { return QStringLiteral("Error: ..."); },
     [](const TempDir&, const QString& s, const QString& t) {
         EXPECT_EQ(testutil::readFile(s), kNew);
         EXPECT_FALSE(QFileInfo::exists(t));
     }},
    // The copy fails after the old target was moved aside: it stays under the backup name.
    {"SourceIsAFolderAfterBackup", true, true,
     [](const TempDir& d, QString& s, QString& t) {
         d.write(QStringLiteral("srcdir/keep.txt"), kNew);
         s = d.filePath(QStringLiteral("srcdir"));
         t = d.write(QStringLiteral("t.doc"), kOld);
     },
     [](const QString&, const QString&) { return QStringLiteral("Error: ..."); },
     [](const TempDir& d, const QString&, const QString& t) {
         EXPECT_FALSE(QFileInfo::exists(t));
         EXPECT_EQ(testutil::readFile(t + QStringLiteral(".bak")), kOld);
         EXPECT_EQ(testutil::readFile(d.filePath(QStringLiteral("srcdir/keep.txt"))), kNew);
     }},
    {"BackupNameTakenGetsNumbered", false, true,
     [](const TempDir& d, QString& s, QString& t) {
         s = d.filePath(QStringLiteral("srcdir"));
         QDir().mkpath(s);
         t = d.write(QStringLiteral("x.doc"), kOld);
         d.write(QStringLiteral("x.doc.bak"), "earlier backup");
     },
     [](const QString&, const QString&) { return QStringLiteral("Error: ..."); },
     [](const TempDir& d, const QString&, const QString&) {
         EXPECT_EQ(testutil::readFile(d.filePath(QStringLiteral("x.doc.bak"))), "earlier backup");
         EXPECT_EQ(testutil::readFile(d.filePath(QStringLiteral("x.doc_2.bak"))), kOld);
     }},
    // A 252-character name is legal; with ".bak" it exceeds the 255 the file system allows,
    // so the rename fails and the copy then meets the target still in place.
    {"BackupNameTooLong", false, true,
     [](const TempDir& d, QString& s, QString& t) {
         s = d.write(QStringLiteral("s.txt"), kNew);
         t = d.write(QString(252, QLatin1Char('n')), kOld);
     },
     [](const QString&, const QString&) { return QStringLiteral("Error: ..."); },
     [](const TempDir&, const QString& s, const QString& t) {
         EXPECT_EQ(testutil::readFile(t), kOld);
         EXPECT_EQ(testutil::readFile(s), kNew);
     }},
};

INSTANTIATE_TEST_SUITE_P(Rows, CopyFileFailure, ::testing::ValuesIn(kCopyFailures),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(CopyFile, NullErrorPointerIsAllowed)
{
    TempDir dir;
    EXPECT_FALSE(GeneralUtil::CopyFile(dir.filePath(QStringLiteral("missing")),
                                       dir.filePath(QStringLiteral("t")), false, true, nullptr));
    const QString s = dir.write(QStringLiteral("s"), kNew);
    EXPECT_TRUE(GeneralUtil::CopyFile(s, dir.filePath(QStringLiteral("t")), false, true, nullptr));
}

TEST(CopyFile, ImmutableTargetStaysAsItWas)
{
    // The rename aside fails, so the copy meets the target still in place and fails too;
    // the copy's text is the one left in *error.
    TempDir dir;
    const QString s = dir.write(QStringLiteral("s.txt"), kNew);
    const QString t = dir.write(QStringLiteral("t.txt"), kOld);
    ImmutableGuard guard;
    if (!setImmutable(t, true))
        GTEST_SKIP() << "chattr +i is not available here (file system or capability)";
    guard.path = t;
    QString error;
    EXPECT_FALSE(GeneralUtil::CopyFile(s, t, false, true, &error));
    EXPECT_TRUE(error.startsWith(QLatin1String("Error: "))) << error.toStdString();
    EXPECT_EQ(testutil::readFile(t), kOld);
    EXPECT_FALSE(QFileInfo::exists(t + QStringLiteral(".bak")));
}

TEST(CopyFile, MoveKeepsTheSourceWhenItCannotBeRemoved)
{
    TempDir dir;
    const QString s = dir.write(QStringLiteral("s.txt"), kNew);
    const QString t = dir.filePath(QStringLiteral("t.txt"));
    ImmutableGuard guard;
    if (!setImmutable(s, true))
        GTEST_SKIP() << "chattr +i is not available here (file system or capability)";
    guard.path = s;
    QString error;
    EXPECT_FALSE(GeneralUtil::CopyFile(s, t, true, false, &error));
    EXPECT_TRUE(error.startsWith(
        QStringLiteral("Failed to delete source file %1 after copying it to target for move "
                       "operation. Error: ")
            .arg(s)))
        << error.toStdString();
    EXPECT_EQ(testutil::readFile(t), kNew);
    EXPECT_TRUE(QFileInfo::exists(s));
}

// ---------------------------------------------------------------------------
// CopyFile: successes
// ---------------------------------------------------------------------------

struct CopySuccessRow
{
    const char* name;
    bool move;
    bool targetExists;
    bool targetReadOnly;
    const char* targetName;
};

class CopyFileSuccess : public ::testing::TestWithParam<CopySuccessRow>
{
};

TEST_P(CopyFileSuccess, TargetHoldsTheSourceAndNoBackupIsLeft)
{
    const CopySuccessRow& row = GetParam();
    TempDir dir;
    const QString s = dir.write(QStringLiteral("s.txt"), kNew);
    const QString t = dir.filePath(QString::fromLatin1(row.targetName));
    if (row.targetExists)
        dir.write(QString::fromLatin1(row.targetName), kOld);
    if (row.targetReadOnly)
        QFile::setPermissions(t, QFileDevice::ReadOwner);
    QString error = QStringLiteral("earlier text");
    ASSERT_TRUE(GeneralUtil::CopyFile(s, t, row.move, true, &error));
    EXPECT_EQ(error, QStringLiteral("earlier text")) << "a success must not write the text";
    EXPECT_EQ(testutil::readFile(t), kNew);
    EXPECT_EQ(QFileInfo::exists(s), !row.move);
    EXPECT_FALSE(QFileInfo::exists(t + QStringLiteral(".bak")));
    const QStringList leftovers = QDir(QFileInfo(t).absolutePath())
                                      .entryList({QStringLiteral("*.bak"), QStringLiteral("qt_temp*")},
                                                 QDir::Files | QDir::Hidden);
    EXPECT_TRUE(leftovers.isEmpty()) << leftovers.join(QLatin1Char(' ')).toStdString();
}

const CopySuccessRow kCopySuccesses[] = {
    {"NewTarget", false, false, false, "t.txt"},
    {"NewTargetInMissingFolders", false, false, false, "a/b/c/t.txt"},
    {"OverwriteExisting", false, true, false, "t.txt"},
    {"OverwriteReadOnly", false, true, true, "t.txt"},
    {"MoveToNewTarget", true, false, false, "t.txt"},
    {"MoveOverExisting", true, true, false, "sub/t.txt"},
};

INSTANTIATE_TEST_SUITE_P(Rows, CopyFileSuccess, ::testing::ValuesIn(kCopySuccesses),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(CopyFile, OverwriteLeavesAnEarlierBackupAlone)
{
    TempDir dir;
    const QString s = dir.write(QStringLiteral("s.txt"), kNew);
    const QString t = dir.write(QStringLiteral("x.doc"), kOld);
    dir.write(QStringLiteral("x.doc.bak"), "earlier backup");
    ASSERT_TRUE(GeneralUtil::CopyFile(s, t, false, true, nullptr));
    EXPECT_EQ(testutil::readFile(t), kNew);
    EXPECT_EQ(testutil::readFile(dir.filePath(QStringLiteral("x.doc.bak"))), "earlier backup");
    EXPECT_FALSE(QFileInfo::exists(dir.filePath(QStringLiteral("x.doc_2.bak"))));
}

// ---------------------------------------------------------------------------
// GetUniqueFile
// ---------------------------------------------------------------------------

struct UniqueRow
{
    const char* name;
    QStringList existing; // files made first
    const char* path;     // relative to the folder; "" stays ""
    const char* pattern;
    const char* firstSuffix;
    bool suffixAfterName;
    int startIndex;
    const char* expected; // relative to the folder; "" means the empty string
};

class GetUniqueFile : public ::testing::TestWithParam<UniqueRow>
{
};

TEST_P(GetUniqueFile, FirstFreeName)
{
    const UniqueRow& row = GetParam();
    TempDir dir;
    for (const QString& name : row.existing)
        dir.write(name, "x");
    const QString path = *row.path ? dir.filePath(QString::fromUtf8(row.path)) : QString();
    const QString result = GeneralUtil::GetUniqueFile(path, QString::fromUtf8(row.pattern),
                                                      QString::fromUtf8(row.firstSuffix),
                                                      row.suffixAfterName, row.startIndex);
    const QString expected = *row.expected ? dir.filePath(QString::fromUtf8(row.expected)) : QString();
    EXPECT_EQ(result, expected);
}

const UniqueRow kUniqueRows[] = {
    {"FreePathAsGiven", {}, "a.txt", "_%1", "", true, 2, "a.txt"},
    {"SecondIsTwo", {"a.txt"}, "a.txt", "_%1", "", true, 2, "a_2.txt"},
    {"SkipsTakenNumbers", {"a.txt", "a_2.txt", "a_3.txt"}, "a.txt", "_%1", "", true, 2, "a_4.txt"},
    {"NoSuffixNoDot", {"Makefile"}, "Makefile", "_%1", "", true, 2, "Makefile_2"},
    {"LastDotSplits", {"archive.tar.gz"}, "archive.tar.gz", "_%1", "", true, 2, "archive.tar_2.gz"},
    {"FirstSuffixFirst", {"a.txt"}, "a.txt", " (%1)", " - copy", true, 2, "a - copy.txt"},
    {"ThenPattern", {"a.txt", "a - copy.txt"}, "a.txt", " (%1)", " - copy", true, 2, "a (2).txt"},
    {"SuffixBeforeName", {"a.txt"}, "a.txt", "copy%1_", "", false, 1, "copy1_a.txt"},
    {"EmptyPatternIsCounter", {"a.txt"}, "a.txt", "", "", true, 5, "a5.txt"},
    {"PatternWithoutMarkerTaken", {"a.txt", "a-x.txt"}, "a.txt", "-x", "", true, 2, ""},
    {"EmptyPath", {}, "", "_%1", "", true, 2, ""},
};

INSTANTIATE_TEST_SUITE_P(Rows, GetUniqueFile, ::testing::ValuesIn(kUniqueRows),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(GetUniqueFileParts, BuildsFromFolderNameAndExtension)
{
    TempDir dir;
    const QString d = dir.path();
    EXPECT_EQ(GeneralUtil::GetUniqueFile(d, QStringLiteral("report.final.pdf"), QString(), QStringLiteral("_")),
              d + QStringLiteral("/report.pdf"));
    EXPECT_EQ(GeneralUtil::GetUniqueFile(d, QStringLiteral("a"), QStringLiteral("txt"), QStringLiteral("_")),
              d + QStringLiteral("/a.txt"));
    EXPECT_EQ(GeneralUtil::GetUniqueFile(d, QStringLiteral("a"), QStringLiteral(".txt"), QStringLiteral("_")),
              d + QStringLiteral("/a.txt"));
    EXPECT_EQ(GeneralUtil::GetUniqueFile(d, QStringLiteral("plain"), QString(), QStringLiteral("_")),
              d + QStringLiteral("/plain"));

    // Kept construction: the pattern carries no counter, so there is one alternative only.
    dir.write(QStringLiteral("a.txt"), "x");
    EXPECT_EQ(GeneralUtil::GetUniqueFile(d, QStringLiteral("a"), QStringLiteral("txt"), QStringLiteral("_")),
              d + QStringLiteral("/a_%_.txt"));
    dir.write(QStringLiteral("a_%_.txt"), "x");
    EXPECT_EQ(GeneralUtil::GetUniqueFile(d, QStringLiteral("a"), QStringLiteral("txt"), QStringLiteral("_")),
              QString());
}

TEST(GetUniqueFileParts, EmptyFolderAndNameMeanTempFolderAndTemp)
{
    TempDir dir;
    const QByteArray saved = qgetenv("TMPDIR");
    qputenv("TMPDIR", QFile::encodeName(dir.path()));
    const QString result = GeneralUtil::GetUniqueFile(QString(), QString(), QString(), QStringLiteral("_"));
    qputenv("TMPDIR", saved);
    EXPECT_EQ(result, QDir(dir.path()).canonicalPath() + QStringLiteral("/Temp"));
}

// ---------------------------------------------------------------------------
// GetFiles, DeleteFiles, DeleteEmptyDirectories, RemoveDirAndSubDirs
// ---------------------------------------------------------------------------

namespace {
void makeTree(const TempDir& d)
{
    d.write(QStringLiteral("root/a.txt"), "a");
    d.write(QStringLiteral("root/b.log"), "b");
    d.write(QStringLiteral("root/c.dat"), "c");
    d.write(QStringLiteral("root/.h.txt"), "h");
    d.write(QStringLiteral("root/sub/d.txt"), "d");
    d.write(QStringLiteral("root/sub/deep/e.log"), "e");
    QDir().mkpath(d.filePath(QStringLiteral("root/empty")));
}
} // namespace

struct GetFilesRow
{
    const char* name;
    const char* nameFilter;
    QDir::Filters filters;
    bool recursive;
    QSet<QString> expected; // relative to root
};

class GetFiles : public ::testing::TestWithParam<GetFilesRow>
{
};

TEST_P(GetFiles, ListsMatchingEntries)
{
    const GetFilesRow& row = GetParam();
    TempDir dir;
    makeTree(dir);
    const QString root = dir.filePath(QStringLiteral("root"));
    const QStringList result =
        GeneralUtil::GetFiles(root, QString::fromUtf8(row.nameFilter), row.filters, row.recursive);
    EXPECT_EQ(result.size(), row.expected.size()) << result.join(QLatin1Char(' ')).toStdString();
    EXPECT_EQ(relativeTo(root, result), row.expected);
    for (const QString& p : result)
        EXPECT_TRUE(QDir::isAbsolutePath(p)) << p.toStdString();
}

const GetFilesRow kGetFilesRows[] = {
    {"TwoPatterns", "*.txt|*.log", {}, false, {"a.txt", "b.log"}},
    {"EmptyFilterAllFiles", "", {}, false, {"a.txt", "b.log", "c.dat"}},
    {"EmptyPatternPartsDropped", "|*.dat||", {}, false, {"c.dat"}},
    {"Hidden", "*.txt", QDir::Files | QDir::Hidden, false, {"a.txt", ".h.txt"}},
    {"FilesAndDirs", "*", QDir::Files | QDir::Dirs, false, {"a.txt", "b.log", "c.dat", "sub", "empty"}},
    {"Recursive", "*.txt", {}, true, {"a.txt", "sub/d.txt"}},
    {"RecursiveWithFolders", "*.log", QDir::Files | QDir::AllDirs, true,
     {"b.log", "sub", "sub/deep", "sub/deep/e.log", "empty"}},
};

INSTANTIATE_TEST_SUITE_P(Rows, GetFiles, ::testing::ValuesIn(kGetFilesRows),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(GetFilesOfAFile, AFilePathListsThatFile)
{
    TempDir dir;
    makeTree(dir);
    const QString file = dir.filePath(QStringLiteral("root/sub/d.txt"));
    EXPECT_EQ(GeneralUtil::GetFiles(file, QString(), {}, false), QStringList{file});
    EXPECT_TRUE(GeneralUtil::GetFiles(dir.filePath(QStringLiteral("root/none.txt")), QString(), {}, false)
                    .isEmpty());
}

TEST(DeleteFiles, RemovesMatchesAndTheFoldersLeftEmpty)
{
    TempDir dir;
    makeTree(dir);
    const QString root = dir.filePath(QStringLiteral("root"));
    QFile::setPermissions(root + QStringLiteral("/b.log"), QFileDevice::ReadOwner);
    EXPECT_TRUE(GeneralUtil::DeleteFiles(root, QStringLiteral("*.log"), {}, true));
    EXPECT_FALSE(QFileInfo::exists(root + QStringLiteral("/b.log")));
    EXPECT_FALSE(QFileInfo::exists(root + QStringLiteral("/sub/deep"))); // emptied, so removed
    EXPECT_FALSE(QFileInfo::exists(root + QStringLiteral("/empty")));
    EXPECT_TRUE(QFileInfo::exists(root + QStringLiteral("/a.txt")));
    EXPECT_TRUE(QFileInfo::exists(root + QStringLiteral("/sub/d.txt")));
}

TEST(DeleteFiles, FolderOfEmptyFoldersGoesEntirely)
{
    TempDir dir;
    const QString root = dir.filePath(QStringLiteral("root"));
    QDir().mkpath(root + QStringLiteral("/x/y"));
    QDir().mkpath(root + QStringLiteral("/z"));
    EXPECT_TRUE(GeneralUtil::DeleteFiles(root, QString(), {}, true));
    EXPECT_FALSE(QFileInfo::exists(root));
    EXPECT_FALSE(GeneralUtil::DeleteFiles(QString(), QString(), {}, true));
}

TEST(DeleteFiles, AFileThatCannotBeRemovedMakesItFalse)
{
    TempDir dir;
    const QString stuck = dir.write(QStringLiteral("root/stuck.txt"), "s");
    dir.write(QStringLiteral("root/free.txt"), "f");
    ImmutableGuard guard;
    if (!setImmutable(stuck, true))
        GTEST_SKIP() << "chattr +i is not available here (file system or capability)";
    guard.path = stuck;
    EXPECT_FALSE(GeneralUtil::DeleteFiles(dir.filePath(QStringLiteral("root")), QString(), {}, false));
    EXPECT_TRUE(QFileInfo::exists(stuck));
    EXPECT_FALSE(QFileInfo::exists(dir.filePath(QStringLiteral("root/free.txt"))));
}

TEST(DeleteEmptyDirectories, RemovesOnlyEmptyBranches)
{
    TempDir dir;
    const QString root = dir.filePath(QStringLiteral("root"));
    QDir().mkpath(root + QStringLiteral("/a/b/c"));
    QDir().mkpath(root + QStringLiteral("/.hiddenempty"));
    dir.write(QStringLiteral("root/keep/file"), "k");
    QDir().mkpath(root + QStringLiteral("/keep/emptychild"));
    EXPECT_FALSE(GeneralUtil::DeleteEmptyDirectories(root, QDir::Hidden));
    EXPECT_FALSE(QFileInfo::exists(root + QStringLiteral("/a")));
    EXPECT_FALSE(QFileInfo::exists(root + QStringLiteral("/.hiddenempty")));
    EXPECT_FALSE(QFileInfo::exists(root + QStringLiteral("/keep/emptychild")));
    EXPECT_TRUE(QFileInfo::exists(root + QStringLiteral("/keep/file")));

    QFile::remove(root + QStringLiteral("/keep/file"));
    EXPECT_TRUE(GeneralUtil::DeleteEmptyDirectories(root, {}));
    EXPECT_FALSE(QFileInfo::exists(root));
    EXPECT_FALSE(GeneralUtil::DeleteEmptyDirectories(root, {}));
    EXPECT_FALSE(GeneralUtil::DeleteEmptyDirectories(QString(), {}));
}

TEST(RemoveDirAndSubDirs, RemovesTheTreeButNotWhatLinksPointTo)
{
    TempDir dir;
    makeTree(dir);
    const QString root = dir.filePath(QStringLiteral("root"));
    const QString outside = dir.write(QStringLiteral("outside/precious.txt"), "p");
    ASSERT_TRUE(QFile::link(QFileInfo(outside).absolutePath(), root + QStringLiteral("/sub/link")));
    QFile::setPermissions(root + QStringLiteral("/a.txt"), QFileDevice::ReadOwner);
    EXPECT_TRUE(GeneralUtil::RemoveDirAndSubDirs(root));
    EXPECT_FALSE(QFileInfo::exists(root));
    EXPECT_EQ(testutil::readFile(outside), "p");
    EXPECT_FALSE(GeneralUtil::RemoveDirAndSubDirs(root));
}

TEST(RemoveDirAndSubDirs, StopsAtTheFirstEntryThatStays)
{
    TempDir dir;
    const QString stuck = dir.write(QStringLiteral("root/stuck"), "s");
    ImmutableGuard guard;
    if (!setImmutable(stuck, true))
        GTEST_SKIP() << "chattr +i is not available here (file system or capability)";
    guard.path = stuck;
    EXPECT_FALSE(GeneralUtil::RemoveDirAndSubDirs(dir.filePath(QStringLiteral("root"))));
    EXPECT_TRUE(QFileInfo::exists(stuck));
}

// ---------------------------------------------------------------------------
// RemoveDuplicates, line files, log files, SearchFile
// ---------------------------------------------------------------------------

struct DuplicatesRow
{
    const char* name;
    QStringList input;
    bool caseInsensitive;
    QStringList expected;
    int removed;
};

class RemoveDuplicates : public ::testing::TestWithParam<DuplicatesRow>
{
};

TEST_P(RemoveDuplicates, KeepsFirstOccurrenceAndOrder)
{
    const DuplicatesRow& row = GetParam();
    QStringList list = row.input;
    EXPECT_EQ(GeneralUtil::RemoveDuplicates(list, row.caseInsensitive), row.removed);
    EXPECT_EQ(list, row.expected);
}

const DuplicatesRow kDuplicatesRows[] = {
    {"CaseInsensitive", {"a", "A", "b", "a"}, true, {"a", "b"}, 2},
    {"CaseSensitive", {"a", "A", "b", "a"}, false, {"a", "A", "b"}, 1},
    {"OrderKept", {"x", "B", "y", "b", "X", "z"}, true, {"x", "B", "y", "z"}, 2},
    {"RunOfRepeats", {"q", "Q", "q", "Q"}, true, {"q"}, 3},
    {"Empty", {}, true, {}, 0},
};

INSTANTIATE_TEST_SUITE_P(Rows, RemoveDuplicates, ::testing::ValuesIn(kDuplicatesRows),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(LineFiles, WriteThenReadAppends)
{
    TempDir dir;
    const QString path = dir.filePath(QStringLiteral("lines.txt"));
    const QStringList lines{QStringLiteral("first"), QString(), QStringLiteral("dritte Zeile äöü €")};
    ASSERT_TRUE(GeneralUtil::WriteAllLines(path, lines));
    EXPECT_EQ(testutil::readFile(path), QByteArray("first\n\ndritte Zeile \xc3\xa4\xc3\xb6\xc3\xbc \xe2\x82\xac\n"));

    QStringList read{QStringLiteral("kept")};
    ASSERT_TRUE(GeneralUtil::ReadAllLines(path, read));
    EXPECT_EQ(read, QStringList{QStringLiteral("kept")} + lines);

    // Rewriting truncates.
    ASSERT_TRUE(GeneralUtil::WriteAllLines(path, {QStringLiteral("x")}));
    EXPECT_EQ(testutil::readFile(path), "x\n");
}

TEST(LineFiles, CrLfLinesAndFailures)
{
    TempDir dir;
    const QString path = dir.write(QStringLiteral("crlf.txt"), "a\r\nb\r\nlast");
    QStringList read;
    ASSERT_TRUE(GeneralUtil::ReadAllLines(path, read));
    EXPECT_EQ(read, (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("last")}));

    QStringList none;
    EXPECT_FALSE(GeneralUtil::ReadAllLines(dir.filePath(QStringLiteral("missing")), none));
    EXPECT_TRUE(none.isEmpty());
    EXPECT_FALSE(GeneralUtil::WriteAllLines(dir.path(), {QStringLiteral("x")})); // a folder
    EXPECT_FALSE(GeneralUtil::WriteAllLines(QStringLiteral("/proc/synccore-lines"), {QStringLiteral("x")}));
}

TEST(ClearLogFile, RemovesTheFileAndTenRolledCopies)
{
    TempDir dir;
    const QString log = dir.write(QStringLiteral("x.log"), "l");
    for (int i = 1; i <= 11; ++i)
        dir.write(QStringLiteral("x.log.%1").arg(i), "r");
    GeneralUtil::ClearLogFile(log, true);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList{QStringLiteral("x.log.11")});

    const QString other = dir.write(QStringLiteral("y.log"), "l");
    dir.write(QStringLiteral("y.log.1"), "r");
    GeneralUtil::ClearLogFile(other, false);
    EXPECT_FALSE(QFileInfo::exists(other));
    EXPECT_TRUE(QFileInfo::exists(other + QStringLiteral(".1")));

    EXPECT_FALSE(GeneralUtil::ClearLogFile(other));
    EXPECT_TRUE(GeneralUtil::ClearLogFile(other + QStringLiteral(".1")));
}

TEST(SearchFile, FirstFolderThatHoldsTheFile)
{
    TempDir dir;
    dir.write(QStringLiteral("two/f.txt"), "2");
    dir.write(QStringLiteral("three/f.txt"), "3");
    const QStringList folders{dir.filePath(QStringLiteral("one")), dir.filePath(QStringLiteral("two")),
                              dir.filePath(QStringLiteral("three"))};
    QString found = QStringLiteral("stale");
    EXPECT_TRUE(GeneralUtil::SearchFile(QStringLiteral("f.txt"), folders, found, QString()));
    EXPECT_EQ(found, dir.filePath(QStringLiteral("two/f.txt")));

    EXPECT_FALSE(GeneralUtil::SearchFile(QStringLiteral("g.txt"), folders, found, QString()));
    EXPECT_TRUE(found.isEmpty());
    EXPECT_FALSE(GeneralUtil::SearchFile(QStringLiteral("g.txt"), folders, found,
                                         dir.filePath(QStringLiteral("default"))));
    EXPECT_EQ(found, dir.filePath(QStringLiteral("default/g.txt")));
}

// ---------------------------------------------------------------------------
// IsFileLockedForWrite
// ---------------------------------------------------------------------------

TEST(IsFileLockedForWrite, FreeMissingAndFolder)
{
    TempDir dir;
    const QString file = dir.write(QStringLiteral("f.txt"), "f");
    EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(file));
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(dir.filePath(QStringLiteral("missing"))));
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(dir.path()));

    // The probe must not leave a lock behind.
    QFile again(file);
    ASSERT_TRUE(again.open(QIODevice::ReadWrite));
    EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(file));
}

TEST(IsFileLockedForWrite, TildeIsTheHomeFolder)
{
    // The test main points HOME at a private temporary folder.
    const QString name = QStringLiteral("lockprobe.txt");
    QFile file(QDir::homePath() + QLatin1Char('/') + name);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(QStringLiteral("~/") + name));
    file.remove();
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(QStringLiteral("~/") + name));
}

TEST(IsFileLockedForWrite, ImmutableFileIsLocked)
{
    TempDir dir;
    const QString file = dir.write(QStringLiteral("f.txt"), "f");
    ImmutableGuard guard;
    if (!setImmutable(file, true))
        GTEST_SKIP() << "chattr +i is not available here (file system or capability)";
    guard.path = file;
    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(file));
    setImmutable(file, false);
    EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(file));
}

class LockedByAnotherProcess : public ::testing::TestWithParam<const char*>
{
};

TEST_P(LockedByAnotherProcess, LockedWhileTheHelperHoldsIt)
{
    TempDir dir;
    const QString file = dir.write(QStringLiteral("held.txt"), "h");
    QProcess helper;
    helper.start(testutil::builtExecutable(QStringLiteral("filelockhelper")),
                 {QString::fromLatin1(GetParam()), file});
    ASSERT_TRUE(helper.waitForStarted());
    ASSERT_TRUE(helper.waitForReadyRead(30000)) << helper.readAllStandardError().toStdString();
    ASSERT_EQ(helper.readAllStandardOutput().trimmed(), "locked");

    EXPECT_TRUE(GeneralUtil::IsFileLockedForWrite(file));

    helper.closeWriteChannel();
    ASSERT_TRUE(helper.waitForFinished(30000));
    EXPECT_EQ(helper.exitCode(), 0);
    EXPECT_FALSE(GeneralUtil::IsFileLockedForWrite(file));
}

INSTANTIATE_TEST_SUITE_P(Kinds, LockedByAnotherProcess, ::testing::Values("flock", "posix", "ofd"));

// ---------------------------------------------------------------------------
// GetSymbolicLinkTarget
// ---------------------------------------------------------------------------

TEST(GetSymbolicLinkTarget, ResolvesEveryLinkAlongThePath)
{
    TempDir dir;
    const QString real = QDir(dir.path()).canonicalPath();
    dir.write(QStringLiteral("real/inner/file.txt"), "f");
    ASSERT_TRUE(QFile::link(QStringLiteral("real"), dir.filePath(QStringLiteral("rel")))); // relative
    ASSERT_TRUE(QFile::link(dir.filePath(QStringLiteral("rel/inner")), dir.filePath(QStringLiteral("abs"))));
    ASSERT_TRUE(QFile::link(QStringLiteral("loop2"), dir.filePath(QStringLiteral("loop1"))));
    ASSERT_TRUE(QFile::link(QStringLiteral("loop1"), dir.filePath(QStringLiteral("loop2"))));

    const struct
    {
        const char* input;
        QString expected;
    } rows[] = {
        {"rel/inner/file.txt", real + QStringLiteral("/real/inner/file.txt")},
        {"abs/file.txt", real + QStringLiteral("/real/inner/file.txt")},
        {"abs/../inner/./file.txt", real + QStringLiteral("/real/inner/file.txt")},
        {"rel/missing/../x/y", real + QStringLiteral("/real/x/y")},
        {"abs/", real + QStringLiteral("/real/inner")},
        {"loop1/x", real + QStringLiteral("/loop1/x")},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(GeneralUtil::GetSymbolicLinkTarget(real + QLatin1Char('/') + QLatin1String(row.input)),
                  row.expected)
            << row.input;
    }
    EXPECT_EQ(GeneralUtil::GetSymbolicLinkTarget(QStringLiteral("/")), QStringLiteral("/"));
}

// ---------------------------------------------------------------------------
// Checksums
// ---------------------------------------------------------------------------

TEST(Checksums, MatchMd5sumForEmptySmallAndMultiChunkFiles)
{
    if (!testutil::haveProgram(QStringLiteral("md5sum")))
        GTEST_SKIP() << "md5sum is not installed";
    TempDir dir;
    QByteArray big(32768 * 3 + 17, '\0');
    QRandomGenerator generator(42);
    for (char& c : big)
        c = char(generator.bounded(256));
    const QByteArray contents[] = {QByteArray(), QByteArray("abc"), QByteArray(32768, 'x'), big};
    int i = 0;
    for (const QByteArray& content : contents) {
        const QString path = dir.write(QStringLiteral("f%1").arg(i++), content);
        const QString expected = md5sumOf(path);
        ASSERT_EQ(expected.size(), 32);
        EXPECT_EQ(GeneralUtil::GenerateCheckSumMD5(path), expected) << content.size();
        EXPECT_EQ(QString::fromLatin1(GeneralUtil::GetFileHash(path)), expected) << content.size();
    }
    EXPECT_EQ(GeneralUtil::GenerateCheckSumMD5(dir.filePath(QStringLiteral("missing"))), QString());
    EXPECT_TRUE(GeneralUtil::GetFileHash(dir.filePath(QStringLiteral("missing"))).isEmpty());
}

TEST(Checksums, HashOfTextIsMd5OfItsUtf8)
{
    TempDir dir;
    const QString text = QStringLiteral("Grüße, €");
    const QString path = dir.write(QStringLiteral("text"), text.toUtf8());
    EXPECT_EQ(QString::fromLatin1(GeneralUtil::GetHash(text)), md5sumOf(path));
    EXPECT_EQ(GeneralUtil::GetHash(QString()), QByteArray("d41d8cd98f00b204e9800998ecf8427e"));
}

// ---------------------------------------------------------------------------
// SetFileVisibility, checked by a real client of ".hidden" (GLib's gio)
// ---------------------------------------------------------------------------

namespace {
// 1 hidden, 0 visible, -1 when gio cannot tell.
int gioHidden(const QString& path)
{
    const testutil::ProcessResult r =
        testutil::run(QStringLiteral("gio"), {QStringLiteral("info"), QStringLiteral("-a"),
                                              QStringLiteral("standard::is-hidden"), path});
    if (r.exitCode != 0)
        return -1;
    return r.out.contains("standard::is-hidden: TRUE") ? 1 : 0;
}
} // namespace

TEST(SetFileVisibility, GioSeesFilesAndFoldersHiddenAndShownAgain)
{
    if (!testutil::haveProgram(QStringLiteral("gio")))
        GTEST_SKIP() << "gio (libglib2.0-bin) is not installed";
    TempDir dir;
    const QString a = dir.write(QStringLiteral("a.txt"), "a");
    const QString b = dir.write(QStringLiteral("b.txt"), "b");
    const QString folder = dir.filePath(QStringLiteral("folder"));
    QDir().mkpath(folder);
    const QString list = dir.filePath(QStringLiteral(".hidden"));

    ASSERT_EQ(gioHidden(a), 0);
    ASSERT_TRUE(GeneralUtil::SetFileVisibility(a, false));
    ASSERT_TRUE(GeneralUtil::SetFileVisibility(b, false));
    ASSERT_TRUE(GeneralUtil::SetFileVisibility(folder + QLatin1Char('/'), false));
    EXPECT_EQ(gioHidden(a), 1);
    EXPECT_EQ(gioHidden(b), 1);
    EXPECT_EQ(gioHidden(folder), 1);
    EXPECT_TRUE(GeneralUtil::SetFileVisibility(a, false)); // twice: listed once
    EXPECT_EQ(testutil::readFile(list), "a.txt\nb.txt\nfolder\n");

    ASSERT_TRUE(GeneralUtil::SetFileVisibility(a, true));
    EXPECT_EQ(gioHidden(a), 0);
    EXPECT_EQ(gioHidden(b), 1);
    ASSERT_TRUE(GeneralUtil::SetFileVisibility(b, true));
    ASSERT_TRUE(GeneralUtil::SetFileVisibility(folder, true));
    EXPECT_EQ(gioHidden(b), 0);
    EXPECT_EQ(gioHidden(folder), 0);
    EXPECT_FALSE(QFileInfo::exists(list)) << "an emptied list is removed";
}

TEST(SetFileVisibility, ForeignLinesAreKeptAndDotNamesStayHidden)
{
    TempDir dir;
    const QString list = dir.write(QStringLiteral(".hidden"), "other\nno-newline-at-end");
    const QString a = dir.write(QStringLiteral("a"), "a");
    const QString dot = dir.write(QStringLiteral(".dot"), "d");
    ASSERT_TRUE(GeneralUtil::SetFileVisibility(a, false));
    EXPECT_EQ(testutil::readFile(list), "other\nno-newline-at-end\na\n");
    ASSERT_TRUE(GeneralUtil::SetFileVisibility(a, true));
    EXPECT_EQ(testutil::readFile(list), "other\nno-newline-at-end\n");

    EXPECT_FALSE(GeneralUtil::SetFileVisibility(dot, true));
    EXPECT_TRUE(GeneralUtil::SetFileVisibility(dot, false));
    EXPECT_FALSE(GeneralUtil::SetFileVisibility(dir.filePath(QStringLiteral("missing")), false));
    EXPECT_FALSE(QFileInfo::exists(dir.filePath(QStringLiteral("missing"))));
}
