// Application locations and processes, against the real system: XDG folders
// under the private HOME that the test main sets up, libraries this process
// really loaded, translation trees in a temporary folder, real child
// processes of the locations helper, and autostart entries checked by
// desktop-file-validate.

#include "CloudUtil/GeneralUtil.h"
#include "Sync/SyncCore/Finally.h"
#include "TestUtil.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QUrl>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <optional>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

using Tessaron::CloudUtil::GeneralUtil;

namespace {

QString helperPath()
{
    return testutil::builtExecutable(QStringLiteral("locationshelper"));
}

QString home()
{
    return qEnvironmentVariable("HOME");
}

// Sets (or with std::nullopt unsets) an environment variable for one scope.
class EnvGuard
{
public:
    EnvGuard(const char* name, const std::optional<QString>& value)
        : _name(name)
        , _had(qEnvironmentVariableIsSet(name))
        , _old(qgetenv(name))
    {
        if (value)
            qputenv(name, QFile::encodeName(*value));
        else
            qunsetenv(name);
    }
    ~EnvGuard()
    {
        if (_had)
            qputenv(_name, _old);
        else
            qunsetenv(_name);
    }

private:
    const char* _name;
    bool _had;
    QByteArray _old;
};

// A child of this process started with posix_spawn, killed and reaped at the end.
class Child
{
public:
    explicit Child(const QStringList& args, const QString& program = helperPath())
    {
        std::vector<QByteArray> words { QFile::encodeName(program) };
        for (const QString& a : args)
            words.push_back(a.toLocal8Bit());
        std::vector<char*> argv;
        for (QByteArray& w : words)
            argv.push_back(w.data());
        argv.push_back(nullptr);
        pid_t pid = -1;
        if (::posix_spawn(&pid, words.front().constData(), nullptr, nullptr, argv.data(), environ)
            == 0)
            _pid = pid;
    }
    ~Child()
    {
        if (_pid > 0) {
            ::kill(_pid, SIGKILL);
            reap();
        }
    }
    pid_t pid() const { return _pid; }
    // Blocks until the child ends; its wait status, or -1 when it was already reaped.
    int reap()
    {
        int status = 0;
        const pid_t answer = ::waitpid(_pid, &status, 0);
        _pid = -1;
        return answer > 0 ? status : -1;
    }
    void forget() { _pid = -1; }

private:
    pid_t _pid = -1;
};

char procState(pid_t pid)
{
    const QByteArray stat = testutil::readFile(QStringLiteral("/proc/%1/stat").arg(pid));
    const qsizetype close = stat.lastIndexOf(')');
    return close < 0 || close + 2 >= stat.size() ? 0 : stat.at(close + 2);
}

// Polls @p done for up to a minute: processes start and end on their own time.
bool eventually(const std::function<bool()>& done)
{
    for (int i = 0; i < 600; ++i) {
        if (done())
            return true;
        ::usleep(100 * 1000);
    }
    return done();
}

// Every file below @p root with its content, for "nothing else changed" checks.
QMap<QString, QByteArray> snapshot(const QString& root, const QString& skipFolder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (!path.startsWith(skipFolder + QLatin1Char('/')))
            files.insert(path, testutil::readFile(path));
    }
    return files;
}

QString copyHelper(const QString& target)
{
    QDir().mkpath(QFileInfo(target).absolutePath());
    QFile::remove(target);
    return QFile::copy(helperPath(), target) ? target : QString();
}

QMap<QString, QString> parseKeyValues(const QByteArray& out)
{
    QMap<QString, QString> values;
    for (const QByteArray& line : out.split('\n')) {
        const int equals = line.indexOf('=');
        if (equals > 0)
            values.insert(
                QString::fromUtf8(line.left(equals)), QString::fromUtf8(line.mid(equals + 1)));
    }
    return values;
}

} // namespace

// --- XDG folders ---------------------------------------------------------------

struct XdgRow
{
    const char* label;
    const char* variable;
    std::optional<QString> value;
    QString (*location)();
    QString expected; // "$HOME" stands for the test's home folder
};

class XdgLocationTest : public ::testing::TestWithParam<XdgRow>
{
};

TEST_P(XdgLocationTest, FollowsEnvironment)
{
    const XdgRow& row = GetParam();
    EnvGuard env(row.variable, row.value);
    QString expected = row.expected;
    expected.replace(QLatin1String("$HOME"), home());
    EXPECT_EQ(row.location(), expected);
}

INSTANTIATE_TEST_SUITE_P(Locations, XdgLocationTest,
    ::testing::Values(
        XdgRow { "data_home_cleaned", "XDG_DATA_HOME", QStringLiteral("/srv//users/./me/data/"),
            &GeneralUtil::GetAppDataPath, QStringLiteral("/srv/users/me/data") },
        XdgRow { "local_data_is_data_home", "XDG_DATA_HOME", QStringLiteral("/srv/me"),
            &GeneralUtil::GetLocalAppDataPath, QStringLiteral("/srv/me") },
        XdgRow { "data_home_relative_ignored", "XDG_DATA_HOME", QStringLiteral("relative/data"),
            &GeneralUtil::GetAppDataPath, QStringLiteral("$HOME/.local/share") },
        XdgRow { "data_home_unset", "XDG_DATA_HOME", std::nullopt, &GeneralUtil::GetAppDataPath,
            QStringLiteral("$HOME/.local/share") },
        XdgRow { "data_dirs_first_absolute", "XDG_DATA_DIRS",
            QStringLiteral("relative::/srv/shared//data/:/usr/share"),
            &GeneralUtil::GetCommonAppDataPath, QStringLiteral("/srv/shared/data") },
        XdgRow { "program_data_is_common", "XDG_DATA_DIRS", QStringLiteral("/opt/share:/usr/share"),
            &GeneralUtil::GetProgramDataPath, QStringLiteral("/opt/share") },
        XdgRow { "data_dirs_unset", "XDG_DATA_DIRS", std::nullopt,
            &GeneralUtil::GetCommonAppDataPath, QStringLiteral("/usr/local/share") },
        XdgRow { "config_home_autostart", "XDG_CONFIG_HOME", QStringLiteral("/srv/cfg/"),
            &GeneralUtil::GetAutostartPath, QStringLiteral("/srv/cfg/autostart") },
        XdgRow { "config_home_unset", "XDG_CONFIG_HOME", std::nullopt,
            &GeneralUtil::GetAutostartPath, QStringLiteral("$HOME/.config/autostart") }),
    [](const ::testing::TestParamInfo<XdgRow>& info) { return std::string(info.param.label); });

TEST(Locations, DesktopFollowsUserDirs)
{
    const QString userDirs
        = qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/user-dirs.dirs");
    ASSERT_FALSE(QFile::exists(userDirs));
    EXPECT_EQ(GeneralUtil::GetDesktopPath(), home() + QStringLiteral("/Desktop"));

    QDir().mkpath(home() + QStringLiteral("/Schreibtisch"));
    QFile file(userDirs);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("# written by xdg-user-dirs-update\n"
               "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n"
               "XDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n");
    file.close();
    EXPECT_EQ(GeneralUtil::GetDesktopPath(), home() + QStringLiteral("/Schreibtisch"));
    QFile::remove(userDirs);
}

// --- loaded libraries ------------------------------------------------------------

// The file that the kernel mapped for a library, from /proc/self/maps: an
// oracle that does not go through the loader's list.
QString mappedLibrary(const QString& fileNamePrefix)
{
    const QList<QByteArray> lines
        = testutil::readFile(QStringLiteral("/proc/self/maps")).split('\n');
    for (const QByteArray& line : lines) {
        const qsizetype slash = line.indexOf('/');
        if (slash < 0)
            continue;
        const QString path = QString::fromLocal8Bit(line.mid(slash));
        if (QFileInfo(path).fileName().startsWith(fileNamePrefix + QStringLiteral(".so")))
            return path;
    }
    return QString();
}

TEST(ModulePath, FindsLoadedLibrariesWithAndWithoutVersion)
{
    const QString qtCore = mappedLibrary(QStringLiteral("libQt6Core"));
    ASSERT_FALSE(qtCore.isEmpty());
    const QString qtFolder = QFileInfo(qtCore).canonicalPath();
    const QString realName
        = QFileInfo(QFileInfo(qtCore).canonicalFilePath()).fileName(); // libQt6Core.so.6.4.2
    const QString zlib = mappedLibrary(QStringLiteral("libz"));
    const QString ownFolder = QFileInfo(QStringLiteral(SYNCCORE_BINARY_DIR)).canonicalFilePath();

    const std::vector<std::pair<QString, QString>> rows {
        { QStringLiteral("libQt6Core"), qtFolder }, { QStringLiteral("libQt6Core.so"), qtFolder },
        { QStringLiteral("libQt6Core.so.6"), qtFolder }, { realName, qtFolder },
        { QStringLiteral("libz"), zlib.isEmpty() ? QString() : QFileInfo(zlib).canonicalPath() },
        { QStringLiteral("libKvSyncCore-6_0"), ownFolder },
        { QStringLiteral("libQt6Cor"), QString() }, { QStringLiteral("libqt6core"), QString() },
        { QStringLiteral("libQt6Core.s"), QString() },
        { QStringLiteral("libQt6Core.so.7"), QString() },
        { QStringLiteral("libQt6Core.so.6.x"), QString() },
        { QStringLiteral("libnot-loaded-anywhere"), QString() }, { QString(), QString() }
    };
    for (const auto& [name, folder] : rows) {
        SCOPED_TRACE(name.toStdString());
        const QString found = GeneralUtil::GetModulePath(name);
        EXPECT_EQ(found.isEmpty() ? QString() : QFileInfo(found).canonicalFilePath(), folder);
        EXPECT_TRUE(found.isEmpty() || QDir::isAbsolutePath(found));
    }
    EXPECT_EQ(GeneralUtil::GetFrameworkPath(QStringLiteral("libQt6Core")),
        GeneralUtil::GetModulePath(QStringLiteral("libQt6Core")));
}

// --- translation files -----------------------------------------------------------

struct LocaleRow
{
    const char* label;
    QString fileName;
    QString searchFolders; // "%1" stands for the tree's root
    QString locale;
    QString expected; // relative to the tree's root, "" for no result
};

class FindLocaleFileTest : public ::testing::TestWithParam<LocaleRow>
{
};

TEST_P(FindLocaleFileTest, SearchesLocaleSubFolders)
{
    const LocaleRow& row = GetParam();
    testutil::TempDir tree;
    for (const char* file : { "a/en-US/Strings.xlf", "b/en-US/Strings.xlf", "b/de-DE/Readme.txt",
             "b/de-DE/Strings.xlf.txt", "c/Strings.xlf" })
        ASSERT_FALSE(tree.write(QString::fromLatin1(file), "<xliff/>").isEmpty());

    const QString folders = QString(row.searchFolders).replace(QLatin1String("%1"), tree.path());
    const QString found = GeneralUtil::FindLocaleFile(row.fileName, folders, row.locale);
    if (row.expected.isEmpty())
        EXPECT_EQ(found, QString());
    else
        EXPECT_EQ(found, tree.filePath(row.expected));
}

INSTANTIATE_TEST_SUITE_P(Locations, FindLocaleFileTest,
    ::testing::Values(
        LocaleRow { "first_folder_wins", "Strings", "%1/a;%1/b", "en-US", "a/en-US/Strings.xlf" },
        LocaleRow {
            "later_folder", "Strings", ";;%1/missing;%1/c;%1/b", "en-US", "b/en-US/Strings.xlf" },
        LocaleRow { "suffix_kept", "Readme.txt", "%1/a;%1/b", "de-DE", "b/de-DE/Readme.txt" },
        LocaleRow { "no_suffix_gets_xlf", "Readme", "%1/b", "de-DE", "" },
        LocaleRow { "only_file_name_counts", "/elsewhere/x/Strings.xlf", "%1/b", "en-US",
            "b/en-US/Strings.xlf" },
        LocaleRow { "locale_folder_required", "Strings", "%1/c", "en-US", "" },
        LocaleRow { "other_locale", "Strings", "%1/a;%1/b", "fr-FR", "" },
        LocaleRow { "empty_name", "", "%1/a", "en-US", "" }),
    [](const ::testing::TestParamInfo<LocaleRow>& info) { return std::string(info.param.label); });

TEST(FindLocaleFile, FallsBackToLocaleFolderBesideExecutable)
{
    // A locale name that no real translation uses, so the folder is ours alone.
    const QString locale = QStringLiteral("zz-T%1").arg(::getpid());
    const QString folder = GeneralUtil::GetAppDirPath() + QLatin1Char('/') + locale;
    ASSERT_TRUE(QDir().mkpath(folder));
    const QString file = folder + QStringLiteral("/Strings.xlf");
    QFile f(file);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.close();

    testutil::TempDir empty;
    EXPECT_EQ(GeneralUtil::FindLocaleFile(QStringLiteral("Strings"), QString(), locale), file);
    EXPECT_EQ(GeneralUtil::FindLocaleFile(QStringLiteral("Strings"), empty.path(), locale), file);
    EXPECT_EQ(
        GeneralUtil::FindLocaleFile(QStringLiteral("Other"), empty.path(), locale), QString());
    QDir(folder).removeRecursively();
}

// --- the executable's own tree ---------------------------------------------------

TEST(Locations, ExecutableTreeSeenFromACopy)
{
    // <prefix>/bin holds the program and its two companions, as an installation would.
    testutil::TempDir dir;
    const QString prefix = dir.filePath(QStringLiteral("My Prefix"));
    const QString program = copyHelper(prefix + QStringLiteral("/bin/locationshelper"));
    ASSERT_FALSE(program.isEmpty());
    ASSERT_FALSE(copyHelper(prefix + QStringLiteral("/bin/NimbService")).isEmpty());
    ASSERT_FALSE(copyHelper(prefix + QStringLiteral("/bin/Nimb Desktop")).isEmpty());
    const QString resource
        = dir.write(QStringLiteral("My Prefix/share/locationshelper/icon one.png"), "png");
    ASSERT_FALSE(resource.isEmpty());

    // The helper has no QCoreApplication, so this goes through /proc/self/exe.
    testutil::ProcessResult r
        = testutil::run(program, { QStringLiteral("where"), QStringLiteral("icon one.png") });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    QMap<QString, QString> seen = parseKeyValues(r.out);
    EXPECT_EQ(seen.value(QStringLiteral("app")), program);
    EXPECT_EQ(seen.value(QStringLiteral("dir")), prefix + QStringLiteral("/bin"));
    EXPECT_EQ(seen.value(QStringLiteral("plugins")),
        prefix + QStringLiteral("/lib/locationshelper/plugins"));
    EXPECT_EQ(seen.value(QStringLiteral("resource")), resource);
    EXPECT_EQ(seen.value(QStringLiteral("service")), prefix + QStringLiteral("/bin"));
    EXPECT_EQ(seen.value(QStringLiteral("desktop")), prefix + QStringLiteral("/bin"));

    for (const char* missing :
        { "missing.png", "../share/locationshelper/icon one.png", "..", "" }) {
        SCOPED_TRACE(missing);
        r = testutil::run(program, { QStringLiteral("where"), QString::fromLatin1(missing) });
        ASSERT_EQ(r.exitCode, 0);
        EXPECT_EQ(parseKeyValues(r.out).value(QStringLiteral("resource")), QString());
    }
}

// --- companion applications --------------------------------------------------------

TEST(Companions, RunningProcessesThenBesideServiceThenPath)
{
    // Names that nothing else on the machine runs under.
    const QString serviceName = QStringLiteral("locsvc-%1").arg(::getpid());
    const QString desktopName = QStringLiteral("loc desk-%1").arg(::getpid());
    GeneralUtil::SetCompanionAppNames(serviceName, desktopName);
    const sync::core::Finally restore([] {
        GeneralUtil::SetCompanionAppNames(
            QStringLiteral("NimbService"), QStringLiteral("Nimb Desktop"));
    });
    testutil::TempDir dir;
    EXPECT_EQ(GeneralUtil::GetNimbAppName(), serviceName);
    EXPECT_EQ(GeneralUtil::GetNimbAppDirPath(), QString());
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), QString());

    const QString serviceFolder = dir.filePath(QStringLiteral("service home"));
    const QString service = copyHelper(serviceFolder + QLatin1Char('/') + serviceName);
    ASSERT_FALSE(service.isEmpty());
    {
        EnvGuard path("PATH", serviceFolder + QLatin1Char(':') + qEnvironmentVariable("PATH"));
        EXPECT_EQ(GeneralUtil::GetNimbAppDirPath(), serviceFolder);
    }

    Child runningService({ QStringLiteral("sleep"), QStringLiteral("60") }, service);
    ASSERT_GT(runningService.pid(), 0);
    EXPECT_EQ(GeneralUtil::GetNimbAppDirPath(), serviceFolder);
    // No desktop application anywhere yet.
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), QString());

    // A desktop executable beside the running service is the one it belongs to.
    ASSERT_FALSE(copyHelper(serviceFolder + QLatin1Char('/') + desktopName).isEmpty());
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), serviceFolder);

    // A running desktop application wins over everything else.
    const QString desktopFolder = dir.filePath(QStringLiteral("desktop home"));
    const QString desktop = copyHelper(desktopFolder + QLatin1Char('/') + desktopName);
    ASSERT_FALSE(desktop.isEmpty());
    Child runningDesktop({ QStringLiteral("sleep"), QStringLiteral("60") }, desktop);
    ASSERT_GT(runningDesktop.pid(), 0);
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), desktopFolder);
}

// --- processes ---------------------------------------------------------------------

TEST(LaunchProcess, StartsProgramWithArguments)
{
    testutil::TempDir dir;
    const QString output = dir.filePath(QStringLiteral("launched.txt"));
    const QStringList arguments { QStringLiteral("write"), output, QStringLiteral("plain"),
        QStringLiteral("with space"), QStringLiteral("quote\"and$dollar"),
        QStringLiteral("ünïcode") };
    ASSERT_TRUE(GeneralUtil::LaunchProcess(helperPath(), arguments));
    ASSERT_TRUE(eventually([&] { return QFile::exists(output); }));
    EXPECT_EQ(
        testutil::readFile(output),
        QByteArray("plain\nwith space\nquote\"and$dollar\nünïcode\n"));
}

TEST(LaunchProcess, RefusesWhatCannotRun)
{
    testutil::TempDir dir;
    const QString output = dir.filePath(QStringLiteral("never.txt"));
    const QString notExecutable = dir.write(QStringLiteral("data.txt"), "not a program");
    for (const QString& path :
        { dir.filePath(QStringLiteral("missing")), QString(), notExecutable }) {
        SCOPED_TRACE(path.toStdString());
        EXPECT_FALSE(GeneralUtil::LaunchProcess(path, { QStringLiteral("write"), output }));
    }
    EXPECT_FALSE(QFile::exists(output));
}

TEST(Processes, WaitForProcessToQuit)
{
    Child ending({ QStringLiteral("sleep"), QStringLiteral("1") });
    Child running({ QStringLiteral("sleep"), QStringLiteral("60") });
    ASSERT_GT(ending.pid(), 0);
    ASSERT_GT(running.pid(), 0);

    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(ending.pid(), 5));
    EXPECT_EQ(ending.reap(), -1); // the wait reaped it

    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(running.pid(), 0));
    EXPECT_FALSE(GeneralUtil::WaitForProcessToQuit(running.pid(), 2));
    EXPECT_TRUE(GeneralUtil::IsProcessRunning(running.pid(), QString()));
    ASSERT_EQ(::kill(running.pid(), SIGTERM), 0);
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(running.pid(), 3));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(running.pid(), QString()));
    running.forget();

    // Our parent (the test runner) runs but is not our child: every poll
    // fails, so the answer is "ended", and it stays untouched.
    const pid_t parent = ::getppid();
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(parent, 3));
    EXPECT_TRUE(GeneralUtil::IsProcessRunning(parent, QString()));
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(0, 3));
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(-1, 3));
}

TEST(Processes, ZombieIsNotRunning)
{
    EXPECT_TRUE(GeneralUtil::IsProcessRunning(::getpid(), QStringLiteral("ignored")));
    Child child({ QStringLiteral("sleep"), QStringLiteral("0") });
    ASSERT_GT(child.pid(), 0);
    ASSERT_TRUE(eventually([&] { return procState(child.pid()) == 'Z'; }));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(child.pid(), QString()));
    const int status = child.reap();
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(child.pid(), QString()));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(0, QString()));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(-5, QString()));
}

TEST(Processes, CrashEndsWithSignal)
{
    // Under AddressSanitizer its own SEGV handler would turn the signal into
    // an exit code; a crash reporter expects the signal.
    QString asan = qEnvironmentVariable("ASAN_OPTIONS");
    asan += (asan.isEmpty() ? QString() : QStringLiteral(":"))
        + QStringLiteral("handle_segv=0");
    EnvGuard env("ASAN_OPTIONS", asan);
    Child child({ QStringLiteral("crash") });
    ASSERT_GT(child.pid(), 0);
    const int status = child.reap();
    ASSERT_TRUE(WIFSIGNALED(status)) << "status " << status;
    EXPECT_EQ(WTERMSIG(status), SIGSEGV);
}

// --- autostart entries ---------------------------------------------------------------

class AutostartTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!testutil::haveProgram(QStringLiteral("desktop-file-validate")))
            GTEST_SKIP() << "desktop-file-validate (desktop-file-utils) is not installed";
        _folder = GeneralUtil::GetAutostartPath();
        ASSERT_TRUE(_folder.startsWith(home() + QLatin1Char('/'))); // never the real user's
        QDir(_folder).removeRecursively();
        _before = snapshot(home(), _folder);
    }
    void TearDown() override
    {
        EXPECT_EQ(snapshot(home(), _folder), _before)
            << "something outside the autostart folder changed";
        QDir(_folder).removeRecursively();
    }
    static void expectValid(const QString& file)
    {
        const testutil::ProcessResult r
            = testutil::run(QStringLiteral("desktop-file-validate"), { file });
        EXPECT_EQ(r.exitCode, 0) << r.out.constData() << r.err.constData();
        EXPECT_TRUE(r.out.isEmpty()) << r.out.constData();
    }
    QStringList entries() const
    {
        return QDir(_folder).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
    QString _folder;
    QMap<QString, QByteArray> _before;
};

struct AutostartRow
{
    const char* label;
    QString appUrl;
    QString fileName; // of the entry written
    QByteArray entry; // whole content
};

class AutostartEntryTest : public AutostartTest, public ::testing::WithParamInterface<AutostartRow>
{
};

TEST_P(AutostartEntryTest, EnableWritesValidEntryAndDisableRemovesIt)
{
    const AutostartRow& row = GetParam();
    ASSERT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(true, row.appUrl));
    ASSERT_EQ(entries(), QStringList { row.fileName });
    const QString file = _folder + QLatin1Char('/') + row.fileName;
    EXPECT_EQ(testutil::readFile(file), row.entry);
    expectValid(file);

    // Disabling reads the Exec line back: the quoting must survive the round trip.
    QFile::remove(file);
    QByteArray renamed = row.entry;
    renamed.replace("Name=", "Name=Something else than ");
    QFile f(_folder + QStringLiteral("/renamed.desktop"));
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(renamed);
    f.close();
    EXPECT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(false, row.appUrl));
    EXPECT_EQ(entries(), QStringList());
}

INSTANTIATE_TEST_SUITE_P(Autostart, AutostartEntryTest,
    ::testing::Values(AutostartRow { "plain_path", QStringLiteral("/usr/bin/nimb"),
                          QStringLiteral("nimb.desktop"),
                          "[Desktop Entry]\nType=Application\nName=nimb\nExec=/usr/bin/nimb\n" },
        AutostartRow { "path_with_spaces", QStringLiteral("/opt/Nimb Apps/Nimb Desktop"),
            QStringLiteral("Nimb Desktop.desktop"),
            "[Desktop Entry]\nType=Application\nName=Nimb Desktop\n"
            "Exec=\"/opt/Nimb Apps/Nimb Desktop\"\n" },
        AutostartRow { "file_url", QStringLiteral("file:///opt/Nimb%20Apps/nimb.bin"),
            QStringLiteral("nimb.desktop"),
            "[Desktop Entry]\nType=Application\nName=nimb\nExec=\"/opt/Nimb Apps/nimb.bin\"\n" },
        AutostartRow { "folder_url", QStringLiteral("file:///opt/sync/Nimb/"),
            QStringLiteral("Nimb.desktop"),
            "[Desktop Entry]\nType=Application\nName=Nimb\nExec=/opt/sync/Nimb\n" },
        AutostartRow { "reserved_characters", QStringLiteral("/opt/a\"b$c\\d`e%f 100%/run"),
            QStringLiteral("run.desktop"),
            "[Desktop Entry]\nType=Application\nName=run\n"
            "Exec=\"/opt/a\\\\\"b\\\\$c\\\\\\\\d\\\\`e%%f 100%%/run\"\n" }),
    [](const ::testing::TestParamInfo<AutostartRow>& info) {
        return std::string(info.param.label);
    });

TEST_F(AutostartTest, DisableRemovesEveryMatchAndKeepsOthers)
{
    QDir().mkpath(_folder);
    const QMap<QString, QByteArray> files {
        { QStringLiteral("by-name.desktop"),
            "[Desktop Entry]\nType=Application\nName=NIMB DESKTOP\nExec=/somewhere/else\n" },
        { QStringLiteral("by-exec.desktop"),
            "[Desktop Entry]\nType=Application\nName=Sync\nExec=\"/OPT/NIMB APPS/NIMB DESKTOP\" "
            "--minimized\n" },
        { QStringLiteral("other.desktop"),
            "[Desktop Entry]\nType=Application\nName=Other\nExec=/opt/Nimb Apps/Other\n" },
        { QStringLiteral("other-group.desktop"),
            "[Desktop Entry]\nType=Application\nName=Keep\nExec=/usr/bin/keep\n"
            "[Desktop Action x]\nName=Nimb Desktop\nExec=/opt/Nimb Apps/Nimb Desktop\n" },
        { QStringLiteral("notes.txt"), "Name=Nimb Desktop\n" }
    };
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        QFile f(_folder + QLatin1Char('/') + it.key());
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(it.value());
    }
    EXPECT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(
        false, QStringLiteral("/opt/Nimb Apps/Nimb Desktop")));
    EXPECT_EQ(entries(),
        (QStringList { QStringLiteral("notes.txt"), QStringLiteral("other-group.desktop"),
            QStringLiteral("other.desktop") }));

    // Nothing left to remove: false, and the remaining entries stay untouched.
    EXPECT_FALSE(GeneralUtil::BundleAppLaunchOnStartup(
        false, QStringLiteral("/opt/Nimb Apps/Nimb Desktop")));
    EXPECT_EQ(testutil::readFile(_folder + QStringLiteral("/other.desktop")),
        files.value(QStringLiteral("other.desktop")));
    EXPECT_EQ(entries().size(), 3);
}

TEST_F(AutostartTest, UnusableUrlsChangeNothing)
{
    for (const char* url : { "", "   ", "https://example.com/nimb", "relative:thing" }) {
        SCOPED_TRACE(url);
        EXPECT_FALSE(GeneralUtil::BundleAppLaunchOnStartup(true, QString::fromLatin1(url)));
        EXPECT_FALSE(GeneralUtil::BundleAppLaunchOnStartup(false, QString::fromLatin1(url)));
    }
    EXPECT_FALSE(QFileInfo::exists(_folder));
}

TEST_F(AutostartTest, OwnExecutableFromAFolderWithSpaces)
{
    testutil::TempDir dir;
    const QString program = copyHelper(dir.filePath(QStringLiteral("Nimb Apps/locationshelper")));
    ASSERT_FALSE(program.isEmpty());
    testutil::ProcessResult r
        = testutil::run(program, { QStringLiteral("autostart"), QStringLiteral("enable") });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    const QString file = _folder + QStringLiteral("/locationshelper.desktop");
    expectValid(file);
    EXPECT_TRUE(
        testutil::readFile(file).contains("\nExec=\"" + QFile::encodeName(program) + "\"\n"));

    r = testutil::run(program, { QStringLiteral("autostart"), QStringLiteral("disable") });
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(entries(), QStringList());
    r = testutil::run(program, { QStringLiteral("autostart"), QStringLiteral("disable") });
    EXPECT_EQ(r.exitCode, 1);
}

TEST_F(AutostartTest, ToolUsesOwnFolderOrTheOneGiven)
{
    const QString tool = testutil::builtExecutable(QStringLiteral("synccore"));
    if (!QFileInfo::exists(tool))
        GTEST_SKIP() << "the synccore tool is not built";
    testutil::TempDir other;
    const QString app = QStringLiteral("/opt/Nimb Apps/Nimb Desktop");

    // Without --config-home: the (redirected) XDG_CONFIG_HOME of the caller.
    testutil::ProcessResult r
        = testutil::run(tool, { QStringLiteral("autostart"), QStringLiteral("enable"), app });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(entries(), QStringList { QStringLiteral("Nimb Desktop.desktop") });
    r = testutil::run(tool, { QStringLiteral("autostart"), QStringLiteral("disable"), app });
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(entries(), QStringList());

    r = testutil::run(tool,
        { QStringLiteral("autostart"), QStringLiteral("enable"), app,
            QStringLiteral("--config-home"), other.path() });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    expectValid(other.filePath(QStringLiteral("autostart/Nimb Desktop.desktop")));
    EXPECT_EQ(entries(), QStringList());

    r = testutil::run(tool,
        { QStringLiteral("autostart"), QStringLiteral("disable"), app,
            QStringLiteral("--config-home"), other.path() });
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(
        QDir(other.filePath(QStringLiteral("autostart"))).entryList(QDir::Files), QStringList());
}

// --- texts ---------------------------------------------------------------------------

TEST(Texts, UserAgentBuildAndUrls)
{
    // What the system calls itself in /etc/os-release: an independent oracle.
    const QByteArray osRelease = testutil::readFile(QStringLiteral("/etc/os-release"));
    const QRegularExpressionMatch pretty = QRegularExpression(
        QStringLiteral("^PRETTY_NAME=\"?([^\"\n]*)"), QRegularExpression::MultilineOption)
                                               .match(QString::fromUtf8(osRelease));
    if (pretty.hasMatch()) {
        EXPECT_EQ(GeneralUtil::GetPlatformInfoForUserAgent(),
            QStringLiteral("Linux/") + pretty.captured(1));
    }
#if defined(__x86_64__) && defined(NDEBUG)
    EXPECT_EQ(GeneralUtil::GetBuild(), QStringLiteral("x64/Release"));
#elif defined(__x86_64__)
    EXPECT_EQ(GeneralUtil::GetBuild(), QStringLiteral("x64/Debug"));
#endif
    EXPECT_EQ(GeneralUtil::GetApplicationPathURL(QStringLiteral("/opt/Nimb Desktop")),
        QStringLiteral("file:///opt/Nimb%20Desktop/"));
    EXPECT_EQ(GeneralUtil::GetApplicationPathURL(QString()), QString());
}
