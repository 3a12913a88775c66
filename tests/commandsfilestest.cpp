// The file commands of the synccore tool, run as a real child process.

#include "TestUtil.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

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

// --json gives one array that a JSON parser reads back: digest and size per
// file, the cause for a file that could not be read, and still status 1.
TEST(CommandsFiles, DigestsAsJsonNameEachFileAndItsError)
{
    testutil::TempDir dir;
    const QString a = dir.write("a", "abc");
    const QString none = dir.filePath("none");
    const struct
    {
        const char* command;
        const char* digest;
    } rows[] = { { "md5", "900150983cd24fb0d6963f7d28e17f72" },
        { "sha1", "a9993e364706816aba3e25717850c26c9cd0d89d" } };
    for (const auto& row : rows) {
        const testutil::ProcessResult r = synccore({ row.command, "--json", a, none });
        EXPECT_EQ(r.exitCode, 1) << row.command;
        QJsonParseError error;
        const QJsonArray files = QJsonDocument::fromJson(r.out, &error).array();
        ASSERT_EQ(error.error, QJsonParseError::NoError) << r.out.constData();
        ASSERT_EQ(files.size(), 2) << r.out.constData();
        EXPECT_EQ(files[0][QStringLiteral("file")].toString(), a);
        EXPECT_EQ(files[0][QLatin1String(row.command)].toString(), QLatin1String(row.digest));
        EXPECT_EQ(files[0][QStringLiteral("size")].toInteger(), 3);
        EXPECT_EQ(files[1][QStringLiteral("file")].toString(), none);
        EXPECT_EQ(files[1][QStringLiteral("error")].toString(), QStringLiteral("cannot be read"));
    }
}

TEST(CommandsFiles, CopyReportsTheLibrarysErrorText)
{
    testutil::TempDir dir;
    const QString s = dir.write("s", "new");
    const QString t = dir.write("t", "old");
    testutil::ProcessResult r = synccore({ "copy", s, t });
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(
        r.err, QString("synccore copy: Target file %1 exists and is read-only\n").arg(t).toUtf8());
    r = synccore({ "copy", s, t, "--overwrite", "--move" });
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(testutil::readFile(t), "new");
    EXPECT_FALSE(QFileInfo::exists(s));
    for (const QStringList& bad : { QStringList { "copy", s }, { "copy", s, t, "--bogus" } }) {
        r = synccore(bad);
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_TRUE(r.err.startsWith("synccore copy: ")
            && r.err.endsWith("Try 'synccore copy --help' for more information.\n"))
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

// On a terminal (a pseudo-terminal from script(1)) md5 and sha1 draw progress
// on standard error from the bytes they read themselves, clear it, and still
// print the digest md5sum and sha1sum print; off a terminal nothing but the digest.
TEST(CommandsFiles, DigestsDrawProgressOnlyOnATerminal)
{
    if (!testutil::haveProgram("script"))
        GTEST_SKIP() << "script(1) is needed for a pseudo-terminal";
    testutil::TempDir dir;
    QByteArray content(5 * 1024 * 1024 + 3, '\0');
    for (int i = 0; i < content.size(); ++i)
        content[i] = char(i * 31 % 251);
    const QString file = dir.write("data.bin", content);
    for (const char* command : { "md5", "sha1" }) {
        SCOPED_TRACE(command);
        const QString reference = QString::fromLatin1(command) + "sum";
        if (!testutil::haveProgram(reference))
            GTEST_SKIP() << qPrintable(reference) << " is not installed";
        const QByteArray expected = testutil::run(reference, { file }).out;
        const QString line
            = QString("'%1' %2 '%3'").arg(testutil::builtExecutable("synccore"), command, file);
        const testutil::ProcessResult onTerminal
            = testutil::run("script", { "-qec", line, "/dev/null" });
        EXPECT_EQ(onTerminal.exitCode, 0);
        const QByteArray screen = onTerminal.out;
        EXPECT_TRUE(screen.startsWith("\r\x1b[2K0 B of 5.00 MiB, 0/1 files"))
            << screen.left(80).constData();
        EXPECT_TRUE(screen.endsWith("\r\x1b[2K" + expected.left(expected.size() - 1) + "\r\n"))
            << screen.right(120).constData();
        const testutil::ProcessResult piped = synccore({ command, file });
        EXPECT_EQ(piped.out, expected);
        EXPECT_TRUE(piped.err.isEmpty()) << piped.err.constData();
    }
}

// A copy on a terminal reads the source itself for its progress line and still
// ends with the target in place, same bytes and mode, and no companion left.
TEST(CommandsFiles, CopyDrawsProgressOnATerminal)
{
    if (!testutil::haveProgram("script"))
        GTEST_SKIP() << "script(1) is needed for a pseudo-terminal";
    testutil::TempDir dir;
    const QByteArray content(3 * 1024 * 1024, 'c');
    const QString source = dir.write("s.bin", content);
    QFile::setPermissions(source, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QString target = dir.write("t.bin", "old");
    const QString line = QString("'%1' copy --overwrite '%2' '%3'")
                             .arg(testutil::builtExecutable("synccore"), source, target);
    const testutil::ProcessResult r = testutil::run("script", { "-qec", line, "/dev/null" });
    EXPECT_EQ(r.exitCode, 0) << r.out.constData();
    EXPECT_TRUE(r.out.startsWith("\r\x1b[2K0 B of 3.00 MiB, 0/1 files"))
        << r.out.left(80).constData();
    EXPECT_TRUE(r.out.endsWith("\r\x1b[2K")) << r.out.right(80).constData();
    EXPECT_EQ(testutil::readFile(target), content);
    EXPECT_EQ(QFileInfo(target).permissions() & 0x0700, QFileInfo(source).permissions() & 0x0700);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList({ "s.bin", "t.bin" }));
}
