// File digests: equal to coreutils' sha1sum and md5sum on real files of
// sizes around the 32 KiB read chunk, and the null result of unopenable paths.

#include "Sync/SyncCore/CryptographicHash.h"

#include "TestUtil.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QDir>

#include <random>

using namespace sync::core;

namespace {

/// The digest that a coreutils program prints for a file (first word of its line).
QString coreutilsDigest(const QString& program, const QString& path)
{
    const testutil::ProcessResult r = testutil::run(program, { path });
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    return QString::fromLatin1(r.out.left(r.out.indexOf(' ')));
}

struct FileRow
{
    const char* name;
    qsizetype size;
};

void PrintTo(const FileRow& row, std::ostream* os)
{
    *os << row.name << " (" << row.size << " bytes)";
}

class CryptographicHashFileTest : public ::testing::TestWithParam<FileRow>
{
protected:
    void SetUp() override
    {
        if (!testutil::haveProgram(QStringLiteral("sha1sum"))
            || !testutil::haveProgram(QStringLiteral("md5sum")))
            GTEST_SKIP() << "sha1sum or md5sum is not installed";
    }
};

TEST_P(CryptographicHashFileTest, EqualsCoreutils)
{
    const FileRow& row = GetParam();
    testutil::TempDir dir;
    std::mt19937 rng(unsigned(row.size));
    QByteArray content(row.size, '\0');
    for (char& c : content)
        c = char(rng());
    const QString path = dir.write(QStringLiteral("data.bin"), content);

    CryptographicHash hash;
    sync::interf::ICryptographicHash& viaInterface = hash;
    const QString sha1 = viaInterface.GenerateHash(path);
    const QString md5 = viaInterface.GenerateHashMD5(path);
    EXPECT_EQ(sha1, coreutilsDigest(QStringLiteral("sha1sum"), path));
    EXPECT_EQ(md5, coreutilsDigest(QStringLiteral("md5sum"), path));
    EXPECT_EQ(sha1.size(), 40);
    EXPECT_EQ(md5.size(), 32);
    EXPECT_EQ(sha1, sha1.toLower());
    // The state is reset after each call: a second call gives the same text.
    EXPECT_EQ(hash.GenerateHash(path), sha1);
    EXPECT_EQ(hash.GenerateHashMD5(path), md5);
}

INSTANTIATE_TEST_SUITE_P(Sizes, CryptographicHashFileTest,
    ::testing::Values(FileRow { "empty", 0 }, FileRow { "small", 3 },
        FileRow { "chunkMinusOne", 32767 }, FileRow { "oneChunk", 32768 },
        FileRow { "chunkPlusOne", 32769 }, FileRow { "severalChunks", 3 * 32768 + 5 },
        FileRow { "twoMegabytes", 2 * 1024 * 1024 + 17 }));

TEST(CryptographicHashTest, EmptyInputGivesTheStandardDigests)
{
    testutil::TempDir dir;
    const QString path = dir.write(QStringLiteral("empty"), QByteArray());
    CryptographicHash hash;
    EXPECT_EQ(hash.GenerateHash(path), QStringLiteral("da39a3ee5e6b4b0d3255bfef95601890afd80709"));
    EXPECT_EQ(hash.GenerateHashMD5(path), QStringLiteral("d41d8cd98f00b204e9800998ecf8427e"));
}

TEST(CryptographicHashTest, UnopenablePathsGiveNullAndLeaveTheNextCallIntact)
{
    testutil::TempDir dir;
    const QString good = dir.write(QStringLiteral("good.txt"), QByteArray("abc"));
    QDir().mkpath(dir.filePath(QStringLiteral("folder")));
    const QString unopenable[] = {
        dir.filePath(QStringLiteral("missing.txt")),
        dir.filePath(QStringLiteral("folder")),
        QString(),
    };
    CryptographicHash hash;
    for (const QString& path : unopenable) {
        SCOPED_TRACE(path.toStdString());
        EXPECT_TRUE(hash.GenerateHash(path).isNull());
        EXPECT_TRUE(hash.GenerateHashMD5(path).isNull());
        EXPECT_EQ(
            hash.GenerateHash(good), QStringLiteral("a9993e364706816aba3e25717850c26c9cd0d89d"));
        EXPECT_EQ(hash.GenerateHashMD5(good), QStringLiteral("900150983cd24fb0d6963f7d28e17f72"));
    }
}

} // namespace
