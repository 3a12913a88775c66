// The installed package: headers, versioned libraries, CMake package and
// pkg-config file, used by a project outside the tree.

#include "TestUtil.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

class PackageTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_dir = new testutil::TempDir;
        const auto r = testutil::run(QStringLiteral(CMAKE_COMMAND),
                                     {QStringLiteral("--install"), QStringLiteral(SYNCCORE_BINARY_DIR),
                                      QStringLiteral("--prefix"), prefix()},
                                     300000);
        s_installed = r.exitCode == 0;
        s_installLog = r.out + r.err;
    }
    static void TearDownTestSuite()
    {
        delete s_dir;
        s_dir = nullptr;
    }
    static QString prefix() { return s_dir->filePath(QStringLiteral("prefix")); }
    static QString libDir() { return prefix() + QStringLiteral("/" LIBDIR); }

    static testutil::TempDir* s_dir;
    static bool s_installed;
    static QByteArray s_installLog;
};

testutil::TempDir* PackageTest::s_dir = nullptr;
bool PackageTest::s_installed = false;
QByteArray PackageTest::s_installLog;

} // namespace

TEST_F(PackageTest, InstallsVersionedLibrariesAndHeaders)
{
    ASSERT_TRUE(s_installed) << s_installLog.constData();
    for (const char* lib : {"libKvSyncCore-6_0", "libKvSyncInterfaces-6_0"}) {
        const QString base = libDir() + QLatin1Char('/') + QLatin1String(lib);
        EXPECT_TRUE(QFileInfo(base + QStringLiteral(".so")).isSymLink()) << lib;
        EXPECT_TRUE(QFileInfo(base + QStringLiteral(".so.6")).isSymLink()) << lib;
        EXPECT_TRUE(QFileInfo(base + QStringLiteral(".so.6.0.0")).isFile()) << lib;
    }
    const QString include = prefix() + QStringLiteral("/include/SyncCore");
    EXPECT_TRUE(QFileInfo::exists(include + QStringLiteral("/interfaces/SyncNamespace.h")));
    EXPECT_TRUE(QFileInfo::exists(include + QStringLiteral("/Sync/SyncCore/SyncException.h")));
    EXPECT_TRUE(QFileInfo::exists(include + QStringLiteral("/kvsynccore_export.h")));
    // Private headers stay out of the package.
    const QStringList privates = QDir(include).entryList({QStringLiteral("*_p.h")}, QDir::Files);
    EXPECT_TRUE(privates.isEmpty());
}

TEST_F(PackageTest, ConsumerFindsPackageAndLinks)
{
    ASSERT_TRUE(s_installed) << s_installLog.constData();
    const QString build = s_dir->filePath(QStringLiteral("consumer-build"));
    QStringList configure{QStringLiteral("-S"), QStringLiteral(SYNCCORE_SOURCE_DIR "/tests/consumer"),
                          QStringLiteral("-B"), build,
                          QStringLiteral("-DCMAKE_PREFIX_PATH=") + prefix()};
    const QString sanitize = QStringLiteral(SYNCCORE_SANITIZE_FLAGS);
    if (!sanitize.isEmpty())
        configure << QStringLiteral("-DCMAKE_CXX_FLAGS=-fsanitize=") + sanitize;
    auto r = testutil::run(QStringLiteral(CMAKE_COMMAND), configure, 300000);
    ASSERT_EQ(r.exitCode, 0) << r.out.constData() << r.err.constData();
    r = testutil::run(QStringLiteral(CMAKE_COMMAND), {QStringLiteral("--build"), build}, 300000);
    ASSERT_EQ(r.exitCode, 0) << r.out.constData() << r.err.constData();

    r = testutil::run(build + QStringLiteral("/consumer"), {}, 60000,
                      {QStringLiteral("LD_LIBRARY_PATH=") + libDir()});
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(r.out, QByteArray(".{SyncTemp}\n"));
}

TEST_F(PackageTest, PkgConfigFileNamesTheLibraries)
{
    ASSERT_TRUE(s_installed) << s_installLog.constData();
    if (!testutil::haveProgram(QStringLiteral("pkg-config")))
        GTEST_SKIP() << "pkg-config is not installed";
    const auto r = testutil::run(QStringLiteral("pkg-config"),
                                 {QStringLiteral("--libs"), QStringLiteral("--cflags"), QStringLiteral("SyncCore")},
                                 60000, {QStringLiteral("PKG_CONFIG_PATH=") + libDir() + QStringLiteral("/pkgconfig")});
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_TRUE(r.out.contains("-lKvSyncCore-6_0")) << r.out.constData();
    EXPECT_TRUE(r.out.contains("include/SyncCore")) << r.out.constData();
}
