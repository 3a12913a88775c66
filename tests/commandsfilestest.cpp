// The file commands of the synccore tool, run as a real child process.

#include "TestUtil.h"

#include <QFileInfo>

#include <gtest/gtest.h>

namespace {
testutil::ProcessResult synccore(const QStringList& args)
{
    return testutil::run(testutil::builtExecutable("synccore"), args);
}
} // namespace

TEST(CommandsFiles, Md5PrintsLikeMd5sumAndFailsPerFile)
{
    testutil::TempDir dir;
    const QString a = dir.write("a", "abc");
    const testutil::ProcessResult r = synccore({ "md5", a, dir.filePath("none") });
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "900150983cd24fb0d6963f7d28e17f72  " + a.toUtf8() + "\n");
    EXPECT_EQ(r.err.count('\n'), 1) << r.err.constData();
}

TEST(CommandsFiles, CopyReportsTheLibrarysErrorText)
{
    testutil::TempDir dir;
    const QString s = dir.write("s", "new");
    const QString t = dir.write("t", "old");
    testutil::ProcessResult r = synccore({ "copy", s, t });
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, QString("synccore copy: Target file %1 exists and is read-only\n").arg(t).toUtf8());
    r = synccore({ "copy", s, t, "--overwrite", "--move" });
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(testutil::readFile(t), "new");
    EXPECT_FALSE(QFileInfo::exists(s));
    for (const QStringList& bad : { QStringList { "copy", s }, { "copy", s, t, "--bogus" } }) {
        r = synccore(bad);
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_TRUE(r.err.startsWith("synccore copy: ") && r.err.endsWith("Try 'synccore copy --help' for more information.\n"))
            << r.err.constData();
    }
}

TEST(CommandsFiles, HideAndShowEditTheHiddenList)
{
    testutil::TempDir dir;
    const QString f = dir.write("f", "x");
    EXPECT_EQ(synccore({ "hide", f }).exitCode, 0);
    EXPECT_EQ(testutil::readFile(dir.filePath(".hidden")), "f\n");
    EXPECT_EQ(synccore({ "show", f }).exitCode, 0);
    EXPECT_FALSE(QFileInfo::exists(dir.filePath(".hidden")));
    EXPECT_EQ(synccore({ "show", dir.filePath("none") }).exitCode, 1);
    EXPECT_EQ(synccore({ "hide" }).exitCode, 2);
}
