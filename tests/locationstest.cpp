// Application locations and processes, against the real system: XDG folders
// under the private HOME that the test main sets up, libraries this process
// really loaded, translation trees in a temporary folder, real child
// processes of the locations helper, and autostart entries checked by
// desktop-file-validate.

#include "CloudUtil/GeneralUtil.h"
#include "Sync/SyncCore/Finally.h"
#include "TestUtil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>

#include <gtest/gtest.h>

#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>

#include <QProcess>

#include <csignal>
#include <functional>
#include <future>
#include <pwd.h>
#include <thread>
#include <optional>
#include <spawn.h>
#include <sys/wait.h>
#include <tuple>
#include <unistd.h>
#include <utility>

extern char** environ;

using Tessaron::CloudUtil::GeneralUtil;

namespace {

QString helperPath()
{
    return testutil::builtExecutable("locationshelper");
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

// A helper sleeping for @p seconds as a child of this process, started with posix_spawn so
// that nothing else reaps it; killed and reaped at the end.
struct Child
{
    explicit Child(const char* seconds, const QString& program = helperPath())
    {
        QByteArray path = QFile::encodeName(program), sleep = "sleep", time = seconds;
        char* argv[] = { path.data(), sleep.data(), time.data(), nullptr };
        pid = ::posix_spawn(&pid, argv[0], nullptr, nullptr, argv, environ) == 0 ? pid : -1;
    }
    ~Child() { pid > 0 && ::kill(pid, SIGKILL) == 0 && reap(); }
    // Blocks until the child ends; its wait status, or -1 when it was already reaped.
    int reap()
    {
        int status = 0;
        return ::waitpid(std::exchange(pid, -1), &status, 0) > 0 ? status : -1;
    }
    pid_t pid = -1;
};

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
    return QFile::copy(helperPath(), target) ? target : QString();
}

} // namespace

// --- XDG folders ---------------------------------------------------------------

TEST(Locations, XdgFoldersAndDesktopFollowTheEnvironment)
{
    using Location = QString (*)();
    const std::tuple<const char*, std::optional<QString>, Location, QString> rows[] = {
        { "XDG_DATA_HOME", "/srv//users/./me/data/", &GeneralUtil::GetAppDataPath,
            "/srv/users/me/data" },
        { "XDG_DATA_HOME", "relative/data", &GeneralUtil::GetAppDataPath, "$HOME/.local/share" },
        { "XDG_DATA_DIRS", "relative::/srv/shared//data/:/usr/share",
            &GeneralUtil::GetCommonAppDataPath, "/srv/shared/data" },
        { "XDG_DATA_DIRS", std::nullopt, &GeneralUtil::GetProgramDataPath, "/usr/local/share" },
        { "XDG_CONFIG_HOME", "/srv/cfg/", &GeneralUtil::GetAutostartPath, "/srv/cfg/autostart" },
        { "XDG_CONFIG_HOME", std::nullopt, &GeneralUtil::GetAutostartPath,
            "$HOME/.config/autostart" },
    };
    for (const auto& [variable, value, location, expected] : rows) {
        SCOPED_TRACE(std::string(variable) + "=" + value.value_or("(unset)").toStdString());
        EnvGuard env(variable, value);
        EXPECT_EQ(location(), QString(expected).replace("$HOME", QDir::homePath()));
    }

    const QString userDirs = qEnvironmentVariable("XDG_CONFIG_HOME") + "/user-dirs.dirs";
    const sync::core::Finally cleanUp([&] { QFile::remove(userDirs); });
    EXPECT_EQ(GeneralUtil::GetDesktopPath(), QDir::homePath() + "/Desktop");
    QDir().mkpath(QDir::homePath() + "/Schreibtisch");
    writeFile(userDirs,
        "# written by xdg-user-dirs-update\n"
        "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\nXDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\n");
    EXPECT_EQ(GeneralUtil::GetDesktopPath(), QDir::homePath() + "/Schreibtisch");
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
    const std::pair<const char*, QString> rows[] = {
        { "libQt6Core", qt },
        { "libQt6Core.so.6", qt },
        { "libz", mapped.value("libz") },
        { "libKvSyncCore-6_0", QFileInfo(SYNCCORE_BINARY_DIR).canonicalFilePath() },
    };
    for (const auto& [name, folder] : rows)
        EXPECT_EQ(QFileInfo(GeneralUtil::GetModulePath(name)).canonicalFilePath(), folder) << name;
    for (const char* name :
        { "libQt6Cor", "libqt6core", "libQt6Core.so.7", "libnot-loaded-anywhere", "" })
        EXPECT_EQ(GeneralUtil::GetModulePath(name), QString()) << name;
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
        { "Strings", ";;%1/missing;%1/a;%1/b", "en-US", "a/en-US/Strings.xlf" },
        { "Readme.txt", "%1/a;%1/b", "de-DE", "b/de-DE/Readme.txt" },
        { "Readme", "%1/b", "de-DE", "" }, // ".xlf" added
        { "/elsewhere/x/Strings.xlf", "%1/b", "en-US", "b/en-US/Strings.xlf" },
        { "Strings", "%1/c", "en-US", "" }, // the locale folder is required
    };
    for (const auto& [name, folders, locale, expected] : rows)
        EXPECT_EQ(
            GeneralUtil::FindLocaleFile(name, QString(folders).replace("%1", tree.path()), locale),
            expected.isEmpty() ? QString() : tree.filePath(expected))
            << name.toStdString();

    // Nothing found there: the locale folder beside the executable, under a locale name
    // that no real translation uses, so the folder is ours alone.
    const QString ours = QString("zz-T%1").arg(::getpid());
    const QString folder = GeneralUtil::GetAppDirPath() + '/' + ours;
    const sync::core::Finally cleanUp([&] { QDir(folder).removeRecursively(); });
    ASSERT_TRUE(writeFile(folder + "/Strings.xlf", ""));
    EXPECT_EQ(
        GeneralUtil::FindLocaleFile("Strings", tree.filePath("c"), ours), folder + "/Strings.xlf");
    EXPECT_EQ(GeneralUtil::FindLocaleFile("Other", tree.filePath("c"), ours), QString());
}

// --- the executable's own tree and its companions -----------------------------------

TEST(Locations, ExecutableTreeAndCompanions)
{
    // <prefix>/bin holds the program and its two companions, as an installation would.
    testutil::TempDir dir;
    const QString prefix = dir.filePath("My Prefix");
    const QString program = copyHelper(prefix + "/bin/locationshelper");
    ASSERT_FALSE(copyHelper(prefix + "/bin/NimbService").isEmpty());
    ASSERT_FALSE(copyHelper(prefix + "/bin/Nimb Desktop").isEmpty());
    const QString resource = dir.write("My Prefix/share/locationshelper/icon one.png", "png");

    // The helper has no QCoreApplication, so this goes through /proc/self/exe.
    for (const char* name : { "icon one.png", "missing.png", "..", "" }) {
        const testutil::ProcessResult r = testutil::run(program, { "where", name });
        ASSERT_EQ(r.exitCode, 0) << r.err.constData();
        EXPECT_EQ(QString::fromUtf8(r.out),
            QString("app=%1\ndir=%2/bin\nplugins=%2/lib/locationshelper/plugins\nresource=%3\n"
                    "service=%2/bin\ndesktop=%2/bin\n")
                .arg(program, prefix, name == QString("icon one.png") ? resource : QString()))
            << name;
    }

    // Companions running, then beside the running service, then on PATH, under names
    // that nothing else on the machine runs under.
    const QString serviceName = QString("locsvc-%1").arg(::getpid());
    const QString desktopName = QString("loc desk-%1").arg(::getpid());
    GeneralUtil::SetCompanionAppNames(serviceName, desktopName);
    const sync::core::Finally restore(
        [] { GeneralUtil::SetCompanionAppNames("NimbService", "Nimb Desktop"); });
    EXPECT_EQ(GeneralUtil::GetNimbAppDirPath(), QString());

    const QString serviceFolder = dir.filePath("service home");
    const QString service = copyHelper(serviceFolder + '/' + serviceName);
    {
        EnvGuard path("PATH", serviceFolder + ':' + qEnvironmentVariable("PATH"));
        EXPECT_EQ(GeneralUtil::GetNimbAppDirPath(), serviceFolder);
    }
    Child runningService("60", service);
    EXPECT_EQ(GeneralUtil::GetNimbAppDirPath(), serviceFolder);
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), QString()); // no desktop application yet

    // A desktop executable beside the running service is the one it belongs to.
    ASSERT_FALSE(copyHelper(serviceFolder + '/' + desktopName).isEmpty());
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), serviceFolder);

    // A running desktop application wins over everything else.
    Child runningDesktop("60", copyHelper(dir.filePath("desktop home/") + desktopName));
    EXPECT_EQ(GeneralUtil::GetNimbDesktopAppDirPath(), dir.filePath("desktop home"));
}

// --- processes ---------------------------------------------------------------------

TEST(Processes, LaunchWaitZombieAndCrash)
{
    testutil::TempDir dir;
    const QString never = dir.filePath("never.txt");
    for (const QString& path : { dir.filePath("missing"), dir.write("data.txt", "no") })
        EXPECT_FALSE(GeneralUtil::LaunchProcess(path, { "write", never })) << path.toStdString();
    const QString output = dir.filePath("launched.txt");
    ASSERT_TRUE(GeneralUtil::LaunchProcess(
        helperPath(), { "write", output, "plain", "with space", "quote\"and$dollar", "ünïcode" }));
    ASSERT_TRUE(eventually([&] { return QFile::exists(output); }));
    EXPECT_EQ(testutil::readFile(output), "plain\nwith space\nquote\"and$dollar\nünïcode\n");
    EXPECT_FALSE(QFile::exists(never));

    Child ending("0");
    Child running("60");
    ASSERT_GT(running.pid, 0); // never kill(-1)
    // A zombie is not running; waiting for it reaps it.
    const auto state = [](pid_t pid) {
        const QByteArray stat = testutil::readFile(QString("/proc/%1/stat").arg(pid));
        return stat.mid(stat.lastIndexOf(')') + 2, 1);
    };
    ASSERT_TRUE(eventually([&] { return state(ending.pid) == "Z"; }));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(ending.pid, QString()));
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(ending.pid, 5));
    EXPECT_EQ(ending.reap(), -1);

    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(running.pid, 0)); // kept: true at once
    EXPECT_FALSE(GeneralUtil::WaitForProcessToQuit(running.pid, 2));
    EXPECT_TRUE(GeneralUtil::IsProcessRunning(running.pid, "ignored"));
    ASSERT_EQ(::kill(running.pid, SIGTERM), 0);
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(running.pid, 3));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(std::exchange(running.pid, -1), QString()));

    // Our parent (the test runner) runs but is not our child: every poll
    // fails, so the answer is "ended", and it stays untouched.
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(::getppid(), 3));
    EXPECT_TRUE(GeneralUtil::IsProcessRunning(::getppid(), QString()));
    EXPECT_TRUE(GeneralUtil::WaitForProcessToQuit(0, 3));
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(0, QString()));
    EXPECT_EQ(testutil::run(helperPath(), { "crash" }).signal, SIGSEGV);
}

TEST(Processes, AThreadIsNoProcess)
{
    std::promise<pid_t> thread;
    std::promise<void> release;
    std::thread worker([&] {
        thread.set_value(::gettid());
        release.get_future().wait();
    });
    const pid_t id = thread.get_future().get();
    EXPECT_FALSE(GeneralUtil::IsProcessRunning(id, QString())) << "thread " << id;
    EXPECT_TRUE(GeneralUtil::IsProcessRunning(::getpid(), QString()));
    release.set_value();
    worker.join();
}

// A program whose file was replaced or removed while it runs still names its own path.
TEST(Locations, AppFilePathOfADeletedExecutable)
{
    testutil::TempDir dir;
    for (const QStringList& args : { QStringList { "appfile" }, QStringList { "appfile", "qt" } }) {
        const QString program = copyHelper(dir.filePath("bin/helper"));
        QProcess helper;
        helper.start(program, args);
        ASSERT_TRUE(helper.waitForStarted(30000));
        ASSERT_TRUE(QFile::remove(program));
        helper.write("go\n");
        ASSERT_TRUE(helper.waitForFinished(30000));
        const QString path = QString::fromUtf8(helper.readAllStandardOutput()).trimmed();
        // Kept: with an application object its answer counts, and Qt's is empty here.
        EXPECT_EQ(path, args.size() == 1 ? program : QString()) << args.join(' ').toStdString();
    }
}

// Without HOME the home folder comes from the password database, never from "/".
TEST(Locations, FoldersWithoutHomeUseThePasswordDatabase)
{
    const passwd* entry = ::getpwuid(::geteuid());
    ASSERT_TRUE(entry && entry->pw_dir);
    const QString home = QFile::decodeName(entry->pw_dir);
    // Also with an entry larger than the size hint, whose lookup fails with ERANGE until
    // the buffer is large enough.
    for (const bool largeEntry : { false, true }) {
        QProcess helper;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.remove("HOME");
        env.remove("XDG_CONFIG_HOME");
        if (largeEntry) {
            env.insert("LD_PRELOAD", testutil::builtExecutable("libpwentryshim.so"));
            // The sanitizer runtime would insist on coming first.
            env.insert("ASAN_OPTIONS",
                env.value("ASAN_OPTIONS") + QStringLiteral(":verify_asan_link_order=0"));
        }
        helper.setProcessEnvironment(env);
        helper.start(helperPath(), { "home" });
        ASSERT_TRUE(helper.waitForFinished(30000));
        EXPECT_EQ(QString::fromUtf8(helper.readAllStandardOutput()),
            QString("desktop=%1/Desktop\nautostart=%1/.config/autostart\n")
                .arg(home == "/" ? QString() : home))
            << "large entry: " << largeEntry << helper.readAllStandardError().toStdString();
    }
}

// --- autostart entries ---------------------------------------------------------------

// Checks after each test that nothing below HOME but outside the autostart folder changed.
class Autostart : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!testutil::haveProgram("desktop-file-validate"))
            GTEST_SKIP() << "desktop-file-validate (desktop-file-utils) is not installed";
        ASSERT_TRUE(folder.startsWith(QDir::homePath() + '/')); // never the real user's
        QDir(folder).removeRecursively();
        before = snapshot();
    }
    void TearDown() override
    {
        EXPECT_EQ(snapshot(), before) << "something outside the autostart folder changed";
        QDir(folder).removeRecursively();
    }
    // Every file below HOME but outside the autostart folder, with size and change time.
    QByteArray snapshot() const
    {
        const QStringList args { QDir::homePath(), "-path", folder, "-prune", "-o", "-type", "f",
            "-printf", "%p %s %T@\n" };
        return testutil::run("find", args).out;
    }
    static void expectValid(const QString& file)
    {
        const testutil::ProcessResult r = testutil::run("desktop-file-validate", { file });
        EXPECT_EQ(r.exitCode, 0) << r.err.constData();
        EXPECT_EQ(r.out, QByteArray());
    }
    QStringList entries() const { return QDir(folder).entryList(QDir::Files, QDir::Name); }

    const QString folder = GeneralUtil::GetAutostartPath();
    QByteArray before;
};

TEST_F(Autostart, EnableWritesValidEntryAndDisableRemovesIt)
{
    // URL, name of the entry (and of its file), Exec line.
    const std::tuple<QString, QString, QByteArray> rows[] = {
        { "/usr/bin/nimb", "nimb", "/usr/bin/nimb" },
        { "file:///opt/Nimb%20Apps/nimb.bin", "nimb", "\"/opt/Nimb Apps/nimb.bin\"" },
        { "file:///opt/sync/Nimb/", "Nimb", "/opt/sync/Nimb" },
        { "/opt/a\"b$c\\d`e%f 100%/run", "run",
            "\"/opt/a\\\\\"b\\\\$c\\\\\\\\d\\\\`e%%f 100%%/run\"" },
    };
    for (const auto& [url, name, exec] : rows) {
        SCOPED_TRACE(url.toStdString());
        const QString file = folder + '/' + name + ".desktop";
        ASSERT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(true, url));
        EXPECT_EQ(testutil::readFile(file),
            "[Desktop Entry]\nType=Application\nName=" + name.toUtf8() + "\nExec=" + exec + "\n");
        expectValid(file);
        // Disabling reads the Exec line back: the quoting must survive the round trip.
        QFile::rename(file, folder + "/renamed.desktop");
        EXPECT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(false, url));
        EXPECT_EQ(entries(), QStringList());
    }

    // The helper's own executable in a folder with spaces, and the tool with a path.
    testutil::TempDir dir;
    const QString program = copyHelper(dir.filePath("Nimb Apps/locationshelper"));
    ASSERT_EQ(testutil::run(program, { "autostart", "enable" }).exitCode, 0);
    expectValid(folder + "/locationshelper.desktop");
    EXPECT_TRUE(testutil::readFile(folder + "/locationshelper.desktop")
                    .contains("\nExec=\"" + QFile::encodeName(program) + "\"\n"));
    EXPECT_EQ(testutil::run(program, { "autostart", "disable" }).exitCode, 0);
    EXPECT_EQ(testutil::run(program, { "autostart", "disable" }).exitCode, 1);
    const QString tool = testutil::builtExecutable("synccore");
    if (!QFileInfo::exists(tool))
        GTEST_SKIP() << "the synccore tool is not built";
    const QString app = "/opt/Nimb Apps/Nimb Desktop";
    ASSERT_EQ(testutil::run(tool, { "autostart", "enable", app }).exitCode, 0);
    expectValid(folder + "/Nimb Desktop.desktop");
    EXPECT_EQ(testutil::run(tool, { "autostart", "disable", app }).exitCode, 0);
    EXPECT_EQ(entries(), QStringList());
}

TEST_F(Autostart, DisableRemovesEveryMatchAndKeepsOthers)
{
    for (const char* url : { "", "https://example.com/nimb", "relative:thing" })
        EXPECT_FALSE(GeneralUtil::BundleAppLaunchOnStartup(true, url)
            || GeneralUtil::BundleAppLaunchOnStartup(false, url))
            << url;
    EXPECT_FALSE(QFileInfo::exists(folder)) << "unusable URLs change nothing";

    const QByteArray head = "[Desktop Entry]\nType=Application\n";
    const QByteArray otherGroup = head + "Name=Keep\nExec=/usr/bin/keep\n[Desktop Action x]\n"
        + "Name=Nimb Desktop\nExec=/opt/Nimb Apps/Nimb Desktop\n";
    writeFile(folder + "/by-name.desktop", head + "Name=NIMB DESKTOP\nExec=/somewhere/else\n");
    writeFile(folder + "/by-exec.desktop",
        head + "Name=Sync\nExec=\"/OPT/NIMB APPS/NIMB DESKTOP\" --minimized\n");
    writeFile(folder + "/other-group.desktop", otherGroup);
    writeFile(folder + "/notes.txt", "Name=Nimb Desktop\n");
    EXPECT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(false, "/opt/Nimb Apps/Nimb Desktop"));
    // Nothing left to remove: false, and the remaining entries stay untouched.
    EXPECT_FALSE(GeneralUtil::BundleAppLaunchOnStartup(false, "/opt/Nimb Apps/Nimb Desktop"));
    EXPECT_EQ(entries(), (QStringList { "notes.txt", "other-group.desktop" }));
    EXPECT_EQ(testutil::readFile(folder + "/other-group.desktop"), otherGroup);
}

// An entry that runs another program is never replaced or removed, whatever its name.
TEST_F(Autostart, LeavesEntriesOfOtherProgramsAlone)
{
    const QByteArray head = "[Desktop Entry]\nType=Application\n";
    const QByteArray foreign = head + "Name=nimb\nExec=/bin/true --other\n";
    ASSERT_TRUE(writeFile(folder + "/nimb.desktop", foreign));
    // Enabling picks a free file name, and a second time updates that same entry.
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(true, "/opt/nimb/nimb"));
        EXPECT_EQ(entries(), (QStringList { "nimb-2.desktop", "nimb.desktop" }));
        EXPECT_EQ(testutil::readFile(folder + "/nimb.desktop"), foreign);
        expectValid(folder + "/nimb-2.desktop");
    }
    // Disabling removes ours and, matched by Name only, an entry whose program no longer
    // exists; the entries that run other programs stay, though their Names match.
    const QByteArray onPath = head + "Name=NIMB\nExec=sh -c true\n";
    ASSERT_TRUE(writeFile(folder + "/stale.desktop", head + "Name=Nimb\nExec=/gone/nimb-old\n"));
    ASSERT_TRUE(writeFile(folder + "/on-path.desktop", onPath));
    EXPECT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(false, "/opt/nimb/nimb"));
    EXPECT_EQ(entries(), (QStringList { "nimb.desktop", "on-path.desktop" }));
    EXPECT_EQ(testutil::readFile(folder + "/nimb.desktop"), foreign);
    EXPECT_EQ(testutil::readFile(folder + "/on-path.desktop"), onPath);
    QFile::remove(folder + "/on-path.desktop");
    QFile::remove(folder + "/nimb.desktop");
}

// --- texts ---------------------------------------------------------------------------

TEST(Texts, UserAgentAndApplicationUrl)
{
    // What the system calls itself in /etc/os-release, read by the shell: an independent oracle.
    const QByteArray pretty
        = testutil::run("sh", { "-c", ". /etc/os-release && printf %s \"$PRETTY_NAME\"" }).out;
    EXPECT_EQ(GeneralUtil::GetPlatformInfoForUserAgent(), "Linux/" + QString::fromUtf8(pretty));
    EXPECT_EQ(
        GeneralUtil::GetApplicationPathURL("/opt/Nimb Desktop"), "file:///opt/Nimb%20Desktop/");
}

// --- silence -----------------------------------------------------------------------------

// The location and process functions report by their results alone: not one log line, on
// success or failure, from any logger.
TEST(Locations, LocationAndProcessFunctionsWriteNoLogLines)
{
    testutil::TempDir dir;
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    log4cplus::SharedAppenderPtr file(
        new log4cplus::FileAppender(dir.filePath("log").toStdString()));
    file->setLayout(std::make_unique<log4cplus::PatternLayout>("%c %p %m%n"));
    const log4cplus::LogLevel level = root.getLogLevel();
    root.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
    root.addAppender(file);
    const sync::core::Finally restore([&] {
        root.removeAppender(file);
        root.setLogLevel(level);
    });

    const QString written = dir.filePath("written");
    EXPECT_FALSE(GeneralUtil::LaunchProcess(dir.filePath("missing"), {}));
    EXPECT_FALSE(GeneralUtil::LaunchProcess(dir.write("data.txt", "no"), {}));
    EXPECT_TRUE(GeneralUtil::LaunchProcess(helperPath(), { "write", written, "x" }));
    EXPECT_TRUE(eventually([&] { return QFile::exists(written); }));
    EXPECT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(true, "/opt/quiet/quiet"));
    EXPECT_TRUE(GeneralUtil::BundleAppLaunchOnStartup(false, "/opt/quiet/quiet"));
    EXPECT_FALSE(GeneralUtil::BundleAppLaunchOnStartup(false, "/opt/quiet/quiet"));
    EXPECT_FALSE(GeneralUtil::GetAppFilePath().isEmpty());
    GeneralUtil::GetNimbAppDirPath();
    GeneralUtil::WaitForProcessToQuit(::getppid(), 1);
    GeneralUtil::IsProcessRunning(::getpid(), QString());
    EXPECT_EQ(testutil::readFile(dir.filePath("log")), QByteArray());
}
