// The security commands of the synccore tool, run as a real process.

#include "TestUtil.h"

#include <gtest/gtest.h>

#include <QFileInfo>

namespace {

testutil::ProcessResult synccore(const QStringList& args)
{
    return testutil::run(testutil::builtExecutable(QStringLiteral("synccore")), args);
}

class SecurityCommandsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!QFileInfo::exists(testutil::builtExecutable(QStringLiteral("synccore"))))
            GTEST_SKIP() << "the synccore tool is not part of this build";
    }
};

TEST_F(SecurityCommandsTest, EncryptedHexDecryptsBackAndBadInputIsOneLine)
{
    const QString text = QString::fromUtf8("Grüße aus Köln!");
    const testutil::ProcessResult enc = synccore({ QStringLiteral("encrypt"), text });
    EXPECT_EQ(enc.out, "1e57f88261e15091b0a987b3aec0a9c8c654101d0da615735762291c82113fe3\n");
    const testutil::ProcessResult dec
        = synccore({ QStringLiteral("decrypt"), QString::fromLatin1(enc.out.trimmed()) });
    EXPECT_EQ(dec.exitCode, 0) << dec.err.constData();
    EXPECT_EQ(QString::fromUtf8(dec.out), text + QLatin1Char('\n'));
    for (const char* args :
        { "decrypt xyz1", "decrypt abc", "decrypt", "encrypt", "encrypt a b", "sha1" }) {
        const testutil::ProcessResult r
            = synccore(QString::fromLatin1(args).split(QLatin1Char(' ')));
        EXPECT_EQ(r.exitCode, 2) << args;
        EXPECT_TRUE(r.err.startsWith("synccore " + QByteArray(args).split(' ').first() + ": ")
            && r.err.endsWith(" --help' for more information.\n"))
            << r.err.constData();
        EXPECT_TRUE(r.out.isEmpty());
    }
}

TEST_F(SecurityCommandsTest, Sha1PrintsLikeSha1sumAndReportsMissingFiles)
{
    if (!testutil::haveProgram(QStringLiteral("sha1sum")))
        GTEST_SKIP() << "sha1sum is not installed";
    testutil::TempDir dir;
    const QString a = dir.write(QStringLiteral("a.txt"), QByteArray("first file\n"));
    const QString b = dir.write(QStringLiteral("b.bin"), QByteArray(100000, '\x5a'));
    const testutil::ProcessResult ours = synccore({ QStringLiteral("sha1"), a, b });
    const testutil::ProcessResult theirs = testutil::run(QStringLiteral("sha1sum"), { a, b });
    EXPECT_EQ(ours.exitCode, 0);
    EXPECT_EQ(ours.out, theirs.out);
    // A missing file fails the run, but the good one is still printed.
    const testutil::ProcessResult missing
        = synccore({ QStringLiteral("sha1"), dir.filePath(QStringLiteral("none")), a });
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.err.contains("cannot be read"));
    EXPECT_EQ(missing.out, theirs.out.left(theirs.out.indexOf('\n') + 1));
}

} // namespace
