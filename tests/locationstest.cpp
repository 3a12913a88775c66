// Application locations and processes, against the real system: XDG folders
// under the private HOME that the test main sets up, libraries this process
// really loaded, translation trees in a temporary folder, real child
// processes of the locations helper, and autostart entries checked by
// desktop-file-validate.

#include "CloudUtil/GeneralUtil.h"
#include "Sync/SyncCore/Finally.h"
#include "TestUtil.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <optional>
#include <spawn.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

extern char** environ;

using Tessaron::CloudUtil::GeneralUtil;

namespace {

QString helperPath()
{
    return testutil::builtExecutable("locationshelper");
}

QString home()
{
    return qEnvironmentVariable("HOME");
}

// Sets (or with std::nullopt unsets) an environment variable for one scope.
struct EnvGuard
{
    EnvGuard(const char* name, const std::optional<QString>& value)
        : name(name)
        , had(qEnvironmentVariableIsSet(name))
        , old(qgetenv(name))
    {
        value ? qputenv(name, QFile::encodeName(*value)) : qunsetenv(name);
    }
    ~EnvGuard() { had ? qputenv(name, old) : qunsetenv(name); }
    const char* name;
    bool had;
    QByteArray old;
};

// A child of this process started with posix_spawn, so that nothing else reaps it;
// killed and reaped at the end.
struct Child
{
    explicit Child(const QStringList& args, const QString& program = helperPath())
    {
        std::vector<QByteArray> words { QFile::encodeName(program) };
        for (const QString& a : args)
            words.push_back(a.toLocal8Bit());
        std::vector<char*> argv;
        for (QByteArray& w : words)
            argv.push_back(w.data());
        argv.push_back(nullptr);
        if (::posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0)
            pid = -1;
    }
    ~Child()
    {
        if (pid > 0 && ::kill(pid, SIGKILL) == 0)
            reap();
    }
    // Blocks until the child ends; its wait status, or -1 when it was already reaped.
    int reap()
    {
        int status = 0;
        const pid_t answer = ::waitpid(std::exchange(pid, -1), &status, 0);
        return answer > 0 ? status : -1;
    }
    pid_t pid = -1;
};

char procState(pid_t pid)
{
    const QByteArray stat = testutil::readFile(QString("/proc/%1/stat").arg(pid));
    const qsizetype close = stat.lastIndexOf(')');
    return close < 0 || close + 2 >= stat.size() ? 0 : stat.at(close + 2);
}

// Polls @p done for up to a minute: processes start and end on their own time.
bool eventually(const std::function<bool()>& done)
{
    for (int i = 0; i < 600 && !done(); ++i)
        ::usleep(100 * 1000);
    return done();
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

QString copyHelper(const QString& target)
{
    QDir().mkpath(QFileInfo(target).absolutePath());
    QFile::remove(target);
    return QFile::copy(helperPath(), target) ? target : QString();
}

} // namespace

// --- XDG folders ---------------------------------------------------------------

TEST(Locations, XdgFoldersFollowTheEnvironment)
{
    using Location = QString (*)();
    const std::tuple<const char*, std::optional<QString>, Location, QString> rows[] = {
        { "XDG_DATA_HOME", "/srv//users/./me/data/", &GeneralUtil::GetAppDataPath,
            "/srv/users/me/data" },
        { "XDG_DATA_HOME", "/srv/me", &GeneralUtil::GetLocalAppDataPath, "/srv/me" },
        { "XDG_DATA_HOME", "relative/data", &GeneralUtil::GetAppDataPath, "$HOME/.local/share" },
        { "XDG_DATA_HOME", std::nullopt, &GeneralUtil::GetAppDataPath, "$HOME/.local/share" },
        { "XDG_DATA_DIRS", "relative::/srv/shared//data/:/usr/share",
            &GeneralUtil::GetCommonAppDataPath, "/srv/shared/data" },
        { "XDG_DATA_DIRS", "/opt/share:/usr/share", &GeneralUtil::GetProgramDataPath,
            "/opt/share" },
        { "XDG_DATA_DIRS", std::nullopt, &GeneralUtil::GetCommonAppDataPath, "/usr/local/share" },
        { "XDG_CONFIG_HOME", "/srv/cfg/", &GeneralUtil::GetAutostartPath, "/srv/cfg/autostart" },
        { "XDG_CONFIG_HOME", std::nullopt, &GeneralUtil::GetAutostartPath,
            "$HOME/.config/autostart" },
    };
    for (const auto& [variable, value, location, expected] : rows) {
        SCOPED_TRACE(std::string(variable) + "=" + value.value_or("(unset)").toStdString());
        EnvGuard env(variable, value);
        EXPECT_EQ(location(), QString(expected).replace("$HOME", home()));
    }
}

TEST(Locations, DesktopFollowsUserDirs)
{
    const QString userDirs = qEnvironmentVariable("XDG_CONFIG_HOME") + "/user-dirs.dirs";
    ASSERT_FALSE(QFile::exists(userDirs));
    EXPECT_EQ(GeneralUtil::GetDesktopPath(), home() + "/Desktop");
    QDir().mkpath(home() + "/Schreibtisch");
    writeFile(userDirs,
        "# written by xdg-user-dirs-update\n"
        "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\nXDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n");
    EXPECT_EQ(GeneralUtil::GetDesktopPath(), home() + "/Schreibtisch");
    QFile::remove(userDirs);
}

// --- loaded libraries ------------------------------------------------------------

TEST(ModulePath, FindsLoadedLibrariesWithAndWithoutVersion)
{
    // The folder of the file that the kernel mapped for a library, from /proc/self/maps:
    // an oracle that does not go through the loader's list.
    QMap<QString, QString> mapped; // "libz" -> its folder
    for (const QByteArray& line : testutil::readFile("/proc/self/maps").split('\n')) {
        const QFileInfo file(QString::fromLocal8Bit(line.mid(line.indexOf('/'))));
        if (line.contains('/') && file.fileName().contains(".so"))
            mapped.insert(file.fileName().section(".so", 0, 0), file.canonicalPath());
    }
    const QString qt = mapped.value("libQt6Core");
    ASSERT_FALSE(qt.isEmpty());
    const QString realName = QFileInfo(QFileInfo(qt + "/libQt6Core.so.6").canonicalFilePath())
                                 .fileName(); // libQt6Core.so.6.4.2
    const std::pair<QString, QString> rows[] = {
        { "libQt6Core", qt },
        { "libQt6Core.so", qt },
        { "libQt6Core.so.6", qt },
        { realName, qt },
        { "libz", mapped.value("libz") },
        { "libKvSyncCore-6_0", QFileInfo(SYNCCORE_BINARY_DIR).canonicalFilePath() },
    };
    for (const auto& [name, folder] : rows) {
        SCOPED_TRACE(name.toStdString());
        const QString found = GeneralUtil::GetModulePath(name);
        EXPECT_TRUE(found.isEmpty() || QDir::isAbsolutePath(found));
        EXPECT_EQ(found.isEmpty() ? QString() : QFileInfo(found).canonicalFilePath(), folder);
    }
    for (const char* name : { "libQt6Cor", "libqt6core", "libQt6Core.s", "libQt6Core.so.7",
             "libQt6Core.so.6.x", "libnot-loaded-anywhere", "" })
        EXPECT_EQ(GeneralUtil::GetModulePath(name), QString()) << name;
    EXPECT_EQ(
        GeneralUtil::GetFrameworkPath("libQt6Core"), GeneralUtil::GetModulePath("libQt6Core"));
}

// --- translation files -----------------------------------------------------------

TEST(FindLocaleFile, SearchesLocaleSubFolders)
{
    testutil::TempDir tree;
    for (const char* file : { "a/en-US/Strings.xlf", "b/en-US/Strings.xlf", "b/de-DE/Readme.txt",
             "b/de-DE/Strings.xlf.txt", "c/Strings.xlf" })
        tree.write(file, "<xliff/>");
    // Search folders with "%1" for the tree; the result relative to it, "" for none.
    const std::tuple<QString, QString, QString, QString> rows[] = {
        { "Strings", "%1/a;%1/b", "en-US", "a/en-US/Strings.xlf" },
        { "Strings", ";;%1/missing;%1/c;%1/b", "en-US", "b/en-US/Strings.xlf" },
        { "Readme.txt", "%1/a;%1/b", "de-DE", "b/de-DE/Readme.txt" },
        { "Readme", "%1/b", "de-DE", "" }, // ".xlf" added
        { "/elsewhere/x/Strings.xlf", "%1/b", "en-US", "b/en-US/Strings.xlf" },
        { "Strings", "%1/c", "en-US", "" }, // the locale folder is required
        { "Strings", "%1/a;%1/b", "fr-FR", "" },
        { "", "%1/a", "en-US", "" },
    };
    for (const auto& [name, folders, locale, expected] : rows) {
        SCOPED_TRACE((name + " in " + folders + " for " + locale).toStdString());
        EXPECT_EQ(
            GeneralUtil::FindLocaleFile(name, QString(folders).replace("%1", tree.path()), locale),
            expected.isEmpty() ? QString() : tree.filePath(expected));
    }

    // Nothing found there: the locale folder beside the executable, under a locale name
    // that no real translation uses, so the folder is ours alone.
    const QString ours = QString("zz-T%1").arg(::getpid());
    const QString folder = GeneralUtil::GetAppDirPath() + '/' + ours;
    const sync::core::Finally cleanUp([&] { QDir(folder).removeRecursively(); });
    ASSERT_TRUE(writeFile(folder + "/Strings.xlf", ""));
    EXPECT_EQ(GeneralUtil::FindLocaleFile("Strings", QString(), ours), folder + "/Strings.xlf");
    EXPECT_EQ(
        GeneralUtil::FindLocaleFile("Strings", tree.filePath("c"), ours), folder + "/Strings.xlf");
    EXPECT_EQ(GeneralUtil::FindLocaleFile("Other", tree.filePath("c"), ours), QString());
}

// --- the executable's own tree and its companions -----------------------------------

TEST(Locations, ExecutableTreeSeenFromACopy)
{
    // <prefix>/bin holds the program and its two companions, as an installation would.
    testutil::TempDir dir;
    const QString prefix = dir.filePath("My Prefix");
    const QString program = copyHelper(prefix + "/bin/locationshelper");
    ASSERT_FALSE(program.isEmpty());
    ASSERT_FALSE(copyHelper(prefix + "/bin/NimbService").isEmpty());
    ASSERT_FALSE(copyHelper(prefix + "/bin/Nimb Desktop").isEmpty());
    const QString resource = dir.write("My Prefix/share/locationshelper/icon one.png", "png");

    // The helper has no QCoreApplication, so this goes through /proc/self/exe.
    for (const char* name :
        { "icon one.png", "missing.png", "../share/locationshelper/icon one.png", "..", "" }) {
        SCOPED_TRACE(name);
        const testutil::ProcessResult r = testutil::run(program, { "where", name });
        ASSERT_EQ(r.exitCode, 0) << r.err.constData();
        const QString found = name == QString("icon one.png") ? resource : QString();
        EXPECT_EQ(QString::fromUtf8(r.out),
            QString("app=%1\ndir=%2/bin\nplugins=%2/lib/locationshelper/plugins\nresource=%3\n"
                    "service=%2/bin\ndesktop=%2/bin\n")
                .arg(program, prefix, found));
    }
}

TEST(Companions, RunningProcessesThenBesideServiceThenPath)
{
    // Names that nothing else on the machine runs under.
    const QString serviceName = QString("locsvc-%1").arg(::getpid());
    const QString desktopName = QString("loc desk-%1").arg(::getpid());
    GeneralUtil::SetCompanionAppNames(serviceName, desktopName);
    const sync::core::Finally restore(
        [] { GeneralUtil::SetCompanionAppNames("NimbService", "Nimb Desktop"); });
    EXPECT_EQ(GeneralUtil::GetNimbAppName(), serviceName);
    EXPECT_EQ(GeneralUtil::GetNimbAppDirPath(), QString());
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), QString());

    testutil::TempDir dir;
    const QString serviceFolder = dir.filePath("service home");
    const QString service = copyHelper(serviceFolder + '/' + serviceName);
    ASSERT_FALSE(service.isEmpty());
    {
        EnvGuard path("PATH", serviceFolder + ':' + qEnvironmentVariable("PATH"));
        EXPECT_EQ(GeneralUtil::GetNimbAppDirPath(), serviceFolder);
    }
    Child runningService({ "sleep", "60" }, service);
    ASSERT_GT(runningService.pid, 0);
    EXPECT_EQ(GeneralUtil::GetNimbAppDirPath(), serviceFolder);
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), QString()); // no desktop application yet

    // A desktop executable beside the running service is the one it belongs to.
    ASSERT_FALSE(copyHelper(serviceFolder + '/' + desktopName).isEmpty());
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), serviceFolder);

    // A running desktop application wins over everything else.
    const QString desktop = copyHelper(dir.filePath("desktop home/") + desktopName);
    ASSERT_FALSE(desktop.isEmpty());
    Child runningDesktop({ "sleep", "60" }, desktop);
    ASSERT_GT(runningDesktop.pid, 0);
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), dir.filePath("desktop home"));
}

// --- processes ---------------------------------------------------------------------

TEST(LaunchProcess, StartsProgramWithArgumentsAndRefusesWhatCannotRun)
{
    testutil::TempDir dir;
    const QString never = dir.filePath("never.txt");
    for (const QString& path :
        { dir.filePath("missing"), QString(), dir.write("data.txt", "no") }) {
        SCOPED_TRACE(path.toStdString());
        EXPECT_FALSE(GeneralUtil::LaunchProcess(path, { "write", never }));
    }
    const QString output = dir.filePath("launched.txt");
    ASSERT_TRUE(GeneralUtil::LaunchProcess(
        helperPath(), { "write", output, "plain", "with space", "quote\"and$dollar", "ünïcode" }));
    ASSERT_TRUE(eventually([&] { return QFile::exists(output); }));
    EXPECT_EQ(testutil::readFile(output), "plain\nwith space\nquote\"and$dollar\nünïcode\n");
    EXPECT_FALSE(QFile::exists(never));
}

TEST(Processes, WaitForProcessToQuit)
{
    Child ending({ "sleep", "1" });
    Child running({ "sleep", "60" });
    ASSERT_GT(ending.pid, 0);
    ASSERT_GT(running.pid, 0);
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(ending.pid, 5));
    EXPECT_EQ(ending.reap(), -1); // the wait reaped it

    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(running.pid, 0));
    EXPECT_FALSE(GeneralUtil::WaitForProcessToQuit(running.pid, 2));
    EXPECT_TRUE(GeneralUtil::IsProcessRunning(running.pid, QString()));
    ASSERT_EQ(::kill(running.pid, SIGTERM), 0);
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(running.pid, 3));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(std::exchange(running.pid, -1), QString()));

    // Our parent (the test runner) runs but is not our child: every poll
    // fails, so the answer is "ended", and it stays untouched.
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(::getppid(), 3));
    EXPECT_TRUE(GeneralUtil::IsProcessRunning(::getppid(), QString()));
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(0, 3));
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(-1, 3));
}

TEST(Processes, ZombieIsNotRunning)
{
    EXPECT_TRUE(GeneralUtil::IsProcessRunning(::getpid(), "ignored"));
    Child child({ "sleep", "0" });
    const pid_t pid = child.pid;
    ASSERT_GT(pid, 0);
    ASSERT_TRUE(eventually([&] { return procState(pid) == 'Z'; }));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(pid, QString()));
    const int status = child.reap();
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(pid, QString()));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(0, QString()));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(-5, QString()));
}

TEST(Processes, CrashEndsWithSignal)
{
    // Under AddressSanitizer its own SEGV handler would turn the signal into
    // an exit code; a crash reporter expects the signal.
    const QString asan = qEnvironmentVariable("ASAN_OPTIONS");
    EnvGuard env("ASAN_OPTIONS", asan + (asan.isEmpty() ? "" : ":") + "handle_segv=0");
    Child child({ "crash" });
    ASSERT_GT(child.pid, 0);
    const int status = child.reap();
    ASSERT_TRUE(WIFSIGNALED(status)) << "status " << status;
    EXPECT_EQ(WTERMSIG(status), SIGSEGV);
}

// --- autostart entries ---------------------------------------------------------------

class Autostart : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!testutil::haveProgram("desktop-file-validate"))
            GTEST_SKIP() << "desktop-file-validate (desktop-file-utils) is not installed";
        ASSERT_TRUE(folder.startsWith(home() + '/')); // never the real user's
        QDir(folder).removeRecursively();
        before = snapshot();
    }
    void TearDown() override
    {
        EXPECT_EQ(snapshot(), before) << "something outside the autostart folder changed";
        QDir(folder).removeRecursively();
    }
    // Every file below HOME but outside the autostart folder, with its content.
    QMap<QString, QByteArray> snapshot() const
    {
        QMap<QString, QByteArray> files;
        QDirIterator it(
            home(), QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            if (!path.startsWith(folder + '/'))
                files.insert(path, testutil::readFile(path));
        }
        return files;
    }
    static void expectValid(const QString& file)
    {
        const testutil::ProcessResult r = testutil::run("desktop-file-validate", { file });
        EXPECT_EQ(r.exitCode, 0) << r.out.constData() << r.err.constData();
        EXPECT_TRUE(r.out.isEmpty()) << r.out.constData();
    }
    QStringList entries() const
    {
        return QDir(folder).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
    void write(const QString& name, const QByteArray& data) const
    {
        ASSERT_TRUE(writeFile(folder + '/' + name, data));
    }

    const QString folder = GeneralUtil::GetAutostartPath();
    QMap<QString, QByteArray> before;
};

TEST_F(Autostart, EnableWritesValidEntryAndDisableRemovesIt)
{
    // URL, name of the entry (and of its file), Exec line.
    const std::tuple<QString, QString, QByteArray> rows[] = {
        { "/usr/bin/nimb", "nimb", "/usr/bin/nimb" },
        { "/opt/Nimb Apps/Nimb Desktop", "Nimb Desktop", "\"/opt/Nimb Apps/Nimb Desktop\"" },
        { "file:///opt/Nimb%20Apps/nimb.bin", "nimb", "\"/opt/Nimb Apps/nimb.bin\"" },
        { "file:///opt/sync/Nimb/", "Nimb", "/opt/sync/Nimb" },
        { "/opt/a\"b$c\\d`e%f 100%/run", "run",
            "\"/opt/a\\\\\"b\\\\$c\\\\\\\\d\\\\`e%%f 100%%/run\"" },
    };
    for (const auto& [url, name, exec] : rows) {
        SCOPED_TRACE(url.toStdString());
        const QByteArray entry
            = "[Desktop Entry]\nType=Application\nName=" + name.toUtf8() + "\nExec=" + exec + "\n";
        const QString file = folder + '/' + name + ".desktop";
        ASSERT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(true, url));
        ASSERT_EQ(entries(), QStringList { name + ".desktop" });
        EXPECT_EQ(testutil::readFile(file), entry);
        expectValid(file);

        // Disabling reads the Exec line back: the quoting must survive the round trip.
        QFile::remove(file);
        write("renamed.desktop", QByteArray(entry).replace("Name=", "Name=Something else than "));
        EXPECT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(false, url));
        EXPECT_EQ(entries(), QStringList());
    }
}

TEST_F(Autostart, DisableRemovesEveryMatchAndKeepsOthers)
{
    for (const char* url : { "", "   ", "https://example.com/nimb", "relative:thing" }) {
        SCOPED_TRACE(url);
        EXPECT_FALSE(GeneralUtil::BundleAppLaunchOnStartup(true, url));
        EXPECT_FALSE(GeneralUtil::BundleAppLaunchOnStartup(false, url));
    }
    EXPECT_FALSE(QFileInfo::exists(folder)) << "unusable URLs change nothing";

    const QString app = "/opt/Nimb Apps/Nimb Desktop";
    const QByteArray head = "[Desktop Entry]\nType=Application\n";
    write("by-name.desktop", head + "Name=NIMB DESKTOP\nExec=/somewhere/else\n");
    write(
        "by-exec.desktop", head + "Name=Sync\nExec=\"/OPT/NIMB APPS/NIMB DESKTOP\" --minimized\n");
    write("other.desktop", head + "Name=Other\nExec=/opt/Nimb Apps/Other\n");
    write("other-group.desktop",
        head
            + "Name=Keep\nExec=/usr/bin/keep\n"
              "[Desktop Action x]\nName=Nimb Desktop\nExec=/opt/Nimb Apps/Nimb Desktop\n");
    write("notes.txt", "Name=Nimb Desktop\n");
    const QStringList kept { "notes.txt", "other-group.desktop", "other.desktop" };
    EXPECT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(false, app));
    EXPECT_EQ(entries(), kept);
    // Nothing left to remove: false, and the remaining entries stay untouched.
    EXPECT_FALSE(GeneralUtil::BundleAppLaunchOnStartup(false, app));
    EXPECT_EQ(testutil::readFile(folder + "/other.desktop"),
        head + "Name=Other\nExec=/opt/Nimb Apps/Other\n");
    EXPECT_EQ(entries(), kept);
}

TEST_F(Autostart, OwnExecutableFromAFolderWithSpacesAndTheTool)
{
    testutil::TempDir dir;
    const QString program = copyHelper(dir.filePath("Nimb Apps/locationshelper"));
    ASSERT_FALSE(program.isEmpty());
    ASSERT_EQ(testutil::run(program, { "autostart", "enable" }).exitCode, 0);
    const QString file = folder + "/locationshelper.desktop";
    expectValid(file);
    EXPECT_TRUE(
        testutil::readFile(file).contains("\nExec=\"" + QFile::encodeName(program) + "\"\n"));
    EXPECT_EQ(testutil::run(program, { "autostart", "disable" }).exitCode, 0);
    EXPECT_EQ(entries(), QStringList());
    EXPECT_EQ(testutil::run(program, { "autostart", "disable" }).exitCode, 1);

    // The tool writes to the caller's (redirected) XDG_CONFIG_HOME, or the one given.
    const QString tool = testutil::builtExecutable("synccore");
    if (!QFileInfo::exists(tool))
        GTEST_SKIP() << "the synccore tool is not built";
    const QString app = "/opt/Nimb Apps/Nimb Desktop";
    ASSERT_EQ(testutil::run(tool, { "autostart", "enable", app }).exitCode, 0);
    EXPECT_EQ(entries(), QStringList { "Nimb Desktop.desktop" });
    EXPECT_EQ(testutil::run(tool, { "autostart", "disable", app }).exitCode, 0);
    EXPECT_EQ(entries(), QStringList());
    ASSERT_EQ(
        testutil::run(tool, { "autostart", "enable", app, "--config-home", dir.path() }).exitCode,
        0);
    expectValid(dir.filePath("autostart/Nimb Desktop.desktop"));
    EXPECT_EQ(entries(), QStringList());
    EXPECT_EQ(
        testutil::run(tool, { "autostart", "disable", app, "--config-home", dir.path() }).exitCode,
        0);
    EXPECT_EQ(QDir(dir.filePath("autostart")).entryList(QDir::Files), QStringList());
}

// --- texts ---------------------------------------------------------------------------

TEST(Texts, UserAgentBuildAndUrls)
{
    // What the system calls itself in /etc/os-release: an independent oracle.
    const QRegularExpressionMatch pretty
        = QRegularExpression("^PRETTY_NAME=\"?([^\"\n]*)", QRegularExpression::MultilineOption)
              .match(QString::fromUtf8(testutil::readFile("/etc/os-release")));
    if (pretty.hasMatch()) {
        EXPECT_EQ(GeneralUtil::GetPlatformInfoForUserAgent(), "Linux/" + pretty.captured(1));
    }
#if defined(__x86_64__) && defined(NDEBUG)
    EXPECT_EQ(GeneralUtil::GetBuild(), "x64/Release");
#elif defined(__x86_64__)
    EXPECT_EQ(GeneralUtil::GetBuild(), "x64/Debug");
#endif
    EXPECT_EQ(
        GeneralUtil::GetApplicationPathURL("/opt/Nimb Desktop"), "file:///opt/Nimb%20Desktop/");
    EXPECT_EQ(GeneralUtil::GetApplicationPathURL(QString()), QString());
}
