// The installed package: headers, versioned libraries, CMake package and
// pkg-config file, used by a project outside the tree; the tool started from a
// custom prefix; the symbols the libraries export; the Debian packages.

#include "TestUtil.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

namespace {

const QString kSource = QStringLiteral(SYNCCORE_SOURCE_DIR);
const QString kBinary = QStringLiteral(SYNCCORE_BINARY_DIR);
const QString kCMake = QStringLiteral(CMAKE_COMMAND);
const QString kSanitize = QStringLiteral(SYNCCORE_SANITIZE_FLAGS);
constexpr int kLong = 600000;

QString both(const testutil::ProcessResult& r)
{
    return QString::fromLocal8Bit(r.out + r.err);
}

/// Configures (and unless @p configureOnly, builds) tests/consumer in @p build.
testutil::ProcessResult buildConsumer(const QString& build, const QString& prefixPath,
    const QStringList& options = {}, const QStringList& env = {}, bool configureOnly = false)
{
    QStringList configure { QStringLiteral("-S"), kSource + QStringLiteral("/tests/consumer"),
        QStringLiteral("-B"), build, QStringLiteral("-DCMAKE_PREFIX_PATH=") + prefixPath };
    configure << options;
    if (!kSanitize.isEmpty())
        configure << QStringLiteral("-DCMAKE_CXX_FLAGS=-fsanitize=") + kSanitize;
    auto r = testutil::run(kCMake, configure, kLong, env);
    if (r.exitCode != 0 || configureOnly)
        return r;
    return testutil::run(kCMake, { QStringLiteral("--build"), build }, kLong, env);
}

class PackageTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_dir = new testutil::TempDir;
        const auto r = testutil::run(kCMake,
            { QStringLiteral("--install"), kBinary, QStringLiteral("--prefix"), prefix() }, kLong);
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
    static QString includeDir() { return prefix() + QStringLiteral("/include/SyncCore"); }

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
    for (const char* lib : { "libKvSyncCore-6_0", "libKvSyncInterfaces-6_0",
             "libKvSyncSharingEngine-6_0", "libKvSyncMirror-6_0" }) {
        const QString base = libDir() + QLatin1Char('/') + QLatin1String(lib);
        EXPECT_TRUE(QFileInfo(base + QStringLiteral(".so")).isSymLink()) << lib;
        EXPECT_TRUE(QFileInfo(base + QStringLiteral(".so.6")).isSymLink()) << lib;
        EXPECT_TRUE(QFileInfo(base + QStringLiteral(".so.6.0.0")).isFile()) << lib;
    }
    EXPECT_TRUE(QFileInfo::exists(includeDir() + QStringLiteral("/interfaces/SyncNamespace.h")));
    EXPECT_TRUE(QFileInfo::exists(includeDir() + QStringLiteral("/Sync/SyncCore/SyncException.h")));
    EXPECT_TRUE(QFileInfo::exists(includeDir() + QStringLiteral("/kvsynccore_export.h")));
    // The sharing engine's header sits apart, so that the main include folder
    // holds only headers that compile against public Qt headers.
    EXPECT_FALSE(
        QFileInfo::exists(includeDir() + QStringLiteral("/Sync/SyncCore/QSharingFileEngine.h")));
    EXPECT_TRUE(QFileInfo::exists(prefix()
        + QStringLiteral("/include/SyncCoreSharingEngine/Sync/SyncCore/QSharingFileEngine.h")));

    QStringList privates;
    for (QDirIterator it(
             includeDir(), { QStringLiteral("*_p.h") }, QDir::Files, QDirIterator::Subdirectories);
         it.hasNext();)
        privates << it.next();
    EXPECT_EQ(privates, QStringList());
}

TEST_F(PackageTest, ToolStartsFromCustomPrefix)
{
    ASSERT_TRUE(s_installed) << s_installLog.constData();
    const QString tool = prefix() + QStringLiteral("/bin/synccore");
    if (!QFileInfo::exists(kBinary + QStringLiteral("/synccore")))
        GTEST_SKIP() << "the tool is not part of this build";
    // No LD_LIBRARY_PATH: the tool must find its libraries through its run path.
    const auto r = testutil::run(
        tool, { QStringLiteral("--version") }, 60000, { QStringLiteral("LD_LIBRARY_PATH=") });
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_TRUE(r.out.contains("6.0.0")) << r.out.constData();
}

TEST_F(PackageTest, ConsumerCompilesEveryPublicHeaderAndLinks)
{
    ASSERT_TRUE(s_installed) << s_installLog.constData();
    const QString build = s_dir->filePath(QStringLiteral("consumer-build"));
    const auto r = buildConsumer(build, prefix());
    ASSERT_EQ(r.exitCode, 0) << both(r).toStdString();
    // Nothing of Qt's private headers reaches a consumer of the main package.
    const QByteArray commands = testutil::readFile(build + QStringLiteral("/build.ninja"))
        + testutil::readFile(build + QStringLiteral("/CMakeFiles/consumer_headers.dir/flags.make"));
    EXPECT_FALSE(commands.contains("/private")) << "a private include folder reaches the consumer";

    const auto run = testutil::run(build + QStringLiteral("/consumer"), {}, 60000,
        { QStringLiteral("LD_LIBRARY_PATH=") + libDir() });
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    EXPECT_EQ(run.out, QByteArray(".{SyncTemp}\n"));
}

TEST_F(PackageTest, SharingEngineComponentBringsQtPrivateHeaders)
{
    ASSERT_TRUE(s_installed) << s_installLog.constData();
    const QString build = s_dir->filePath(QStringLiteral("sharing-build"));
    const auto r
        = buildConsumer(build, prefix(), { QStringLiteral("-DCONSUMER_SHARING_ENGINE=ON") });
    ASSERT_EQ(r.exitCode, 0) << both(r).toStdString();
    const QString file = s_dir->write(QStringLiteral("five.txt"), "12345");
    const auto run = testutil::run(build + QStringLiteral("/consumer_sharing"), { file }, 60000,
        { QStringLiteral("LD_LIBRARY_PATH=") + libDir() });
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    EXPECT_EQ(run.out, QByteArray("5\n"));
}

// A consumer without one of the package's dependencies gets SyncCore_FOUND
// false and a message naming what is missing, never a fatal configure error.
struct MissingDependency
{
    const char* name;
    const char* option;
    const char* named;
};

class PackageMissingDependencyTest : public PackageTest,
                                     public ::testing::WithParamInterface<MissingDependency>
{
};

TEST_P(PackageMissingDependencyTest, ReportsNotFound)
{
    ASSERT_TRUE(s_installed) << s_installLog.constData();
    const MissingDependency& row = GetParam();
    const QString build = s_dir->filePath(QStringLiteral("optional-") + QLatin1String(row.name));
    // An empty pkg-config search path hides the pkg-config modules too.
    const QString emptyDir = s_dir->filePath(QStringLiteral("empty"));
    QDir().mkpath(emptyDir);
    const auto r = buildConsumer(build, prefix(),
        { QStringLiteral("-DCONSUMER_OPTIONAL=ON"), QLatin1String(row.option) },
        { QStringLiteral("PKG_CONFIG_LIBDIR=") + emptyDir }, true);
    const QString log = both(r);
    EXPECT_EQ(r.exitCode, 0) << log.toStdString();
    EXPECT_TRUE(log.contains(QStringLiteral("consumer: SyncCore_FOUND=0"))) << log.toStdString();
    EXPECT_TRUE(log.contains(QLatin1String(row.named))) << log.toStdString();
}

INSTANTIATE_TEST_SUITE_P(Dependencies, PackageMissingDependencyTest,
    ::testing::Values(
        MissingDependency { "log4cplus", "-DCMAKE_DISABLE_FIND_PACKAGE_log4cplus=ON", "log4cplus" },
        MissingDependency { "Qt6", "-DCMAKE_DISABLE_FIND_PACKAGE_Qt6=ON", "Qt6" }),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(PackageTest, PkgConfigFileNamesTheLibraries)
{
    ASSERT_TRUE(s_installed) << s_installLog.constData();
    if (!testutil::haveProgram(QStringLiteral("pkg-config")))
        GTEST_SKIP() << "pkg-config is not installed";
    const auto r = testutil::run(QStringLiteral("pkg-config"),
        { QStringLiteral("--libs"), QStringLiteral("--cflags"), QStringLiteral("SyncCore") }, 60000,
        { QStringLiteral("PKG_CONFIG_PATH=") + libDir() + QStringLiteral("/pkgconfig") });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_TRUE(r.out.contains("-lKvSyncCore-6_0")) << r.out.constData();
    EXPECT_TRUE(r.out.contains("include/SyncCore")) << r.out.constData();
    EXPECT_FALSE(r.out.contains("/private")) << r.out.constData();
}

// The dynamic symbols each library exports, compared with the list kept in
// tests/data/symbols/. Only names in the library's own namespace count:
// template instances of Qt and the standard library vary between compilers.
// Set SYNCCORE_UPDATE_SYMBOLS=1 to rewrite the lists after a deliberate change.
namespace {

QStringList exportedSymbols(const QString& library, QString* error)
{
    const auto r = testutil::run(QStringLiteral("nm"),
        { QStringLiteral("-D"), QStringLiteral("--defined-only"), QStringLiteral("-C"), library });
    if (r.exitCode != 0) {
        *error = both(r);
        return {};
    }
    static const QRegularExpression line(QStringLiteral("^\\S*\\s+\\S\\s+(.*)$"));
    static const QRegularExpression prefix(
        QStringLiteral("^(typeinfo name for |typeinfo for |vtable for |VTT for |non-virtual thunk "
                       "to |virtual thunk "
                       "to |guard variable for )*"));
    QSet<QString> names;
    for (const QString& l :
        QString::fromLocal8Bit(r.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        const auto m = line.match(l);
        if (!m.hasMatch())
            continue;
        QString name = m.captured(1);
        QString bare = name;
        bare.remove(prefix);
        if (bare.startsWith(QLatin1String("KvSync_6_0::"))
            || bare.startsWith(QLatin1String("QSharingFileEngine")))
            names.insert(name);
    }
    QStringList sorted(names.begin(), names.end());
    sorted.sort();
    return sorted;
}

} // namespace

class ExportedSymbolsTest : public ::testing::TestWithParam<const char*>
{
};

TEST_P(ExportedSymbolsTest, MatchTheListInTheTree)
{
    if (!kSanitize.isEmpty())
        GTEST_SKIP() << "sanitizer builds export extra symbols; checked in the default build";
    if (!testutil::haveProgram(QStringLiteral("nm")))
        GTEST_SKIP() << "nm is not installed";
    const QString lib = QLatin1String(GetParam());
    QString error;
    const QStringList actual = exportedSymbols(
        kBinary + QStringLiteral("/lib") + lib + QStringLiteral("-6_0.so"), &error);
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    ASSERT_FALSE(actual.isEmpty());

    // Operating-system calls are the library's business only.
    const QStringList platform
        = actual.filter(QRegularExpression(QStringLiteral("KvSync_6_0::platform::")));
    EXPECT_EQ(platform, QStringList());

    const QString listFile
        = kSource + QStringLiteral("/tests/data/symbols/") + lib + QStringLiteral(".txt");
    if (qEnvironmentVariableIntValue("SYNCCORE_UPDATE_SYMBOLS") == 1) {
        QDir().mkpath(QFileInfo(listFile).absolutePath());
        QFile f(listFile);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write((actual.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8());
    }
    const QStringList expected = QString::fromUtf8(testutil::readFile(listFile))
                                     .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_FALSE(expected.isEmpty()) << "no list at " << listFile.toStdString();
    const QSet<QString> a(actual.begin(), actual.end());
    const QSet<QString> e(expected.begin(), expected.end());
    QStringList added = (a - e).values();
    QStringList removed = (e - a).values();
    added.sort();
    removed.sort();
    EXPECT_EQ(added, QStringList()) << "exported but not in " << listFile.toStdString();
    EXPECT_EQ(removed, QStringList()) << "listed but no longer exported";
}

INSTANTIATE_TEST_SUITE_P(Libraries, ExportedSymbolsTest,
    ::testing::Values("KvSyncInterfaces", "KvSyncCore", "KvSyncSharingEngine", "KvSyncMirror"));

// `cpack -G DEB` gives a runtime, a development and a tool package with the
// dependencies dpkg-shlibdeps finds; unpacked into a scratch root with
// `dpkg -x`, they serve the consumer example.
namespace {

struct DebPackage
{
    QString file;
    QString depends;
    QStringList contents;
};

QString debField(const QString& deb, const char* field)
{
    return QString::fromLocal8Bit(testutil::run(QStringLiteral("dpkg-deb"),
                                      { QStringLiteral("-f"), deb, QLatin1String(field) })
                                      .out)
        .trimmed();
}

bool sourceHas(const QString& folder, const QStringList& patterns)
{
    return !QDir(kSource + QLatin1Char('/') + folder).entryList(patterns, QDir::Files).isEmpty();
}

} // namespace

TEST(DebianPackageTest, RuntimeDevelopmentAndToolPackagesServeAConsumer)
{
    if (!kSanitize.isEmpty())
        GTEST_SKIP() << "packages are made from the default build";
    for (const char* program : { "cpack", "dpkg-deb", "dpkg-shlibdeps" }) {
        if (!testutil::haveProgram(QLatin1String(program)))
            GTEST_SKIP() << program << " is not installed (scripts/install-deps test)";
    }
    testutil::TempDir dir;
    const QString out = dir.filePath(QStringLiteral("debs"));
    auto r = testutil::run(QStringLiteral(CPACK_COMMAND),
        { QStringLiteral("-G"), QStringLiteral("DEB"), QStringLiteral("--config"),
            kBinary + QStringLiteral("/CPackConfig.cmake"), QStringLiteral("-B"), out },
        kLong);
    ASSERT_EQ(r.exitCode, 0) << both(r).toStdString();

    QMap<QString, DebPackage> packages;
    for (const QString& name : QDir(out).entryList({ QStringLiteral("*.deb") }, QDir::Files)) {
        DebPackage p;
        p.file = out + QLatin1Char('/') + name;
        p.depends = debField(p.file, "Depends");
        const auto c = testutil::run(QStringLiteral("dpkg-deb"), { QStringLiteral("-c"), p.file });
        // "mode owner size date time ./path[ -> target]", as tar prints it.
        for (const QString& l :
            QString::fromLocal8Bit(c.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            const QStringList fields = l.simplified().split(QLatin1Char(' '));
            if (fields.size() >= 6)
                p.contents << fields.at(5).mid(
                    fields.at(5).startsWith(QLatin1String("./")) ? 2 : 0);
        }
        packages.insert(debField(p.file, "Package"), p);
    }
    const QString runtime = QStringLiteral(SYNCCORE_DEB_RUNTIME);
    ASSERT_EQ(packages.keys(),
        QStringList({ runtime, QStringLiteral("libkvsynccore-dev"), QStringLiteral("synccore") }));
    // The soname's version is in the runtime package's name.
    EXPECT_TRUE(runtime.endsWith(QStringLiteral("-6"))) << runtime.toStdString();

    const DebPackage& rt = packages[runtime];
    EXPECT_FALSE(
        rt.contents.filter(QRegularExpression(QStringLiteral("/libKvSyncCore-6_0\\.so\\.6$")))
            .isEmpty())
        << rt.contents.join(QLatin1Char('\n')).toStdString();
    EXPECT_TRUE(rt.contents.filter(QRegularExpression(QStringLiteral("\\.so$|\\.h$"))).isEmpty())
        << "development files in the runtime package";
    EXPECT_TRUE(rt.depends.contains(QStringLiteral("libqt6core6"))) << rt.depends.toStdString();
    EXPECT_TRUE(rt.depends.contains(QStringLiteral("liblog4cplus"))) << rt.depends.toStdString();

    const DebPackage& dev = packages[QStringLiteral("libkvsynccore-dev")];
    EXPECT_TRUE(dev.depends.contains(runtime)) << dev.depends.toStdString();
    EXPECT_TRUE(dev.depends.contains(QStringLiteral("qt6-base-dev"))) << dev.depends.toStdString();
    EXPECT_FALSE(dev.contents.filter(QStringLiteral("SyncCoreConfig.cmake")).isEmpty());
    EXPECT_FALSE(dev.contents.filter(QStringLiteral("pkgconfig/SyncCore.pc")).isEmpty());
    EXPECT_FALSE(dev.contents.filter(QRegularExpression(QStringLiteral("/libKvSyncCore-6_0\\.so$")))
                     .isEmpty());

    const DebPackage& tool = packages[QStringLiteral("synccore")];
    EXPECT_TRUE(tool.contents.contains(QStringLiteral("usr/bin/synccore")))
        << tool.contents.join(QLatin1Char('\n')).toStdString();
    EXPECT_TRUE(tool.depends.contains(runtime)) << tool.depends.toStdString();
    // The manual page and the completion come with the tool when the tree has them.
    if (sourceHas(QStringLiteral("tools/synccore"),
            { QStringLiteral("*.1"), QStringLiteral("*.1.in") })) {
        EXPECT_FALSE(tool.contents.filter(QStringLiteral("share/man/man1/synccore.1")).isEmpty())
            << tool.contents.join(QLatin1Char('\n')).toStdString();
    }
    if (sourceHas(QStringLiteral("tools/synccore"),
            { QStringLiteral("*completion*"), QStringLiteral("*.bash") })) {
        EXPECT_FALSE(
            tool.contents.filter(QStringLiteral("bash-completion/completions/synccore")).isEmpty())
            << tool.contents.join(QLatin1Char('\n')).toStdString();
    }

    const QString root = dir.filePath(QStringLiteral("root"));
    for (const DebPackage& p : packages) {
        r = testutil::run(QStringLiteral("dpkg"), { QStringLiteral("-x"), p.file, root });
        ASSERT_EQ(r.exitCode, 0) << both(r).toStdString();
    }
    const QString build = dir.filePath(QStringLiteral("consumer-build"));
    r = buildConsumer(build, root + QStringLiteral("/usr"));
    ASSERT_EQ(r.exitCode, 0) << both(r).toStdString();
    const QString libs = QFileInfo(
        root + QLatin1Char('/') + rt.contents.filter(QStringLiteral("libKvSyncCore")).first())
                             .absolutePath();
    r = testutil::run(build + QStringLiteral("/consumer"), {}, 60000,
        { QStringLiteral("LD_LIBRARY_PATH=") + libs });
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(r.out, QByteArray(".{SyncTemp}\n"));
    // The unpacked tool finds the unpacked libraries by itself.
    r = testutil::run(root + QStringLiteral("/usr/bin/synccore"), { QStringLiteral("--version") });
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
}

// A plain configure, as a distribution runs it, must not turn warnings into
// errors (a newer compiler's new warning would break its build); the presets
// developers and CI use do.
TEST(BuildConfigurationTest, WarningsAreErrorsInThePresetsOnly)
{
    testutil::TempDir dir;
    const auto r = testutil::run(
        kCMake, { QStringLiteral("-S"), kSource, QStringLiteral("-B"), dir.path() }, kLong);
    ASSERT_EQ(r.exitCode, 0) << both(r).toStdString();
    const QByteArray plain
        = testutil::readFile(dir.filePath(QStringLiteral("compile_commands.json")));
    ASSERT_TRUE(plain.contains("libKvSyncCore") || plain.contains("KvSyncCore.dir"))
        << plain.left(2000).constData();
    EXPECT_TRUE(plain.contains("-Wall"));
    EXPECT_FALSE(plain.contains("-Werror"));

    // This build has -Werror exactly when it was configured with SYNCCORE_WERROR.
    const QByteArray own = testutil::readFile(kBinary + QStringLiteral("/compile_commands.json"));
    EXPECT_EQ(own.contains("-Werror"), bool(SYNCCORE_WERROR_ON));
}
