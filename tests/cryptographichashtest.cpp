// File digests: equal to coreutils' sha1sum and md5sum on real files of
// sizes around the 32 KiB read chunk, and the null result of unopenable paths.

#include "Sync/SyncCore/CryptographicHash.h"

#include "TestUtil.h"

#include <gtest/gtest.h>

#include <QDir>

#include <random>

#include <sys/stat.h>

using sync::core::CryptographicHash;

namespace {

/// The digest that a coreutils program prints for a file (first word of its line).
QString coreutilsDigest(const char* program, const QString& path)
{
    const testutil::ProcessResult r = testutil::run(QString::fromLatin1(program), { path });
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    return QString::fromLatin1(r.out.left(r.out.indexOf(' ')));
}

TEST(CryptographicHashTest, EqualsCoreutilsAroundTheChunkSize)
{
    if (!testutil::haveProgram(QStringLiteral("sha1sum"))
        || !testutil::haveProgram(QStringLiteral("md5sum")))
        GTEST_SKIP() << "sha1sum or md5sum is not installed";
    testutil::TempDir dir;
    CryptographicHash hash;
    sync::interf::ICryptographicHash& viaInterface = hash;
    for (qsizetype size : { 0, 3, 32767, 32768, 32769, 3 * 32768 + 5 }) {
        SCOPED_TRACE(size);
        std::mt19937 rng { unsigned(size) };
        QByteArray content(size, '\0');
        for (char& c : content)
            c = char(rng());
        const QString path = dir.write(QStringLiteral("data.bin"), content);
        const QString sha1 = viaInterface.GenerateHash(path);
        EXPECT_EQ(sha1, coreutilsDigest("sha1sum", path));
        EXPECT_EQ(viaInterface.GenerateHashMD5(path), coreutilsDigest("md5sum", path));
        // The state is reset after each call: a second call gives the same text.
        EXPECT_EQ(hash.GenerateHash(path), sha1);
    }
}

TEST(CryptographicHashTest, UnopenablePathsGiveNullAndLeaveTheNextCallIntact)
{
    testutil::TempDir dir;
    const QString good = dir.write(QStringLiteral("good.txt"), QByteArray("abc"));
    QDir().mkpath(dir.filePath(QStringLiteral("folder")));
    // No regular file, or one whose first read fails (/proc/self/mem has nothing mapped at
    // 0): the failure result, at once, never a digest of what was read.
    const QString fifo = dir.filePath(QStringLiteral("fifo"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    ASSERT_TRUE(QFile::link(fifo, dir.filePath(QStringLiteral("link"))));
    CryptographicHash hash;
    for (const QString& path : { dir.filePath(QStringLiteral("missing.txt")),
             dir.filePath(QStringLiteral("folder")), QString(), fifo,
             dir.filePath(QStringLiteral("link")), QStringLiteral("/proc/self/mem") }) {
        SCOPED_TRACE(path.toStdString());
        const std::optional<QString> sha1
            = testutil::returnsPromptly<QString>([&] { return hash.GenerateHash(path); }, fifo);
        const std::optional<QString> md5
            = testutil::returnsPromptly<QString>([&] { return hash.GenerateHashMD5(path); }, fifo);
        ASSERT_TRUE(sha1 && md5) << "blocked";
        EXPECT_TRUE(sha1->isNull()) << sha1->toStdString();
        EXPECT_TRUE(md5->isNull()) << md5->toStdString();
        EXPECT_EQ(
            hash.GenerateHash(good), QStringLiteral("a9993e364706816aba3e25717850c26c9cd0d89d"));
        EXPECT_EQ(hash.GenerateHashMD5(good), QStringLiteral("900150983cd24fb0d6963f7d28e17f72"));
    }
}

} // namespace
