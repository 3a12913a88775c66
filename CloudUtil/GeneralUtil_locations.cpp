// Application locations and processes: where the program, its companions, its
// data, plug-ins and libraries lie, translation files, starting and waiting
// for processes, autostart entries and the user-agent texts.

#include "CloudUtil/GeneralUtil.h"

#include "platform/Platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QMutex>
#include <QMutexLocker>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTextStream>
#include <QUrl>

#include <algorithm>

namespace Tessaron {
namespace CloudUtil {

namespace {

struct CompanionNames
{
    QMutex mutex;
    QString service = QStringLiteral("NimbService");
    QString desktop = QStringLiteral("Nimb Desktop");
};

CompanionNames& companionNames()
{
    static CompanionNames names;
    return names;
}

QString folderOf(const QString& filePath)
{
    return filePath.isEmpty() ? QString()
                              : GeneralUtil::CleanPath(QFileInfo(filePath).absolutePath());
}

// The prefix of the FHS tree the executable sits in: the parent of its folder.
QString installPrefix()
{
    const QString dir = GeneralUtil::GetAppDirPath();
    return dir.isEmpty() ? QString() : folderOf(dir);
}

QString executableName()
{
    return QFileInfo(GeneralUtil::GetAppFilePath()).fileName();
}

// "libz.so" matches 'libz.so' and 'libz.so.1.2.13', not 'libz.so.x' or 'libz.soa'.
bool isLibraryFileName(const QString& fileName, const QString& wanted)
{
    if (fileName == wanted)
        return true;
    if (fileName.size() <= wanted.size() + 1 || !fileName.startsWith(wanted)
        || fileName.at(wanted.size()) != QLatin1Char('.'))
        return false;
    const QStringView version = QStringView(fileName).mid(wanted.size() + 1);
    if (!version.front().isDigit())
        return false;
    return std::all_of(version.begin(), version.end(),
        [](QChar c) { return c.isDigit() || c == QLatin1Char('.'); });
}

bool isExecutableFile(const QString& path)
{
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

// The first running process (lowest pid) whose executable is called @p name.
QString runningExecutable(const QString& name)
{
    if (name.isEmpty())
        return QString();
    const QList<platform::ProcessEntry> processes = platform::RunningProcesses();
    for (const platform::ProcessEntry& process : processes) {
        if (QFileInfo(process.executable).fileName() == name)
            return process.executable;
    }
    return QString();
}

QString installedExecutable(const QString& name)
{
    if (name.isEmpty())
        return QString();
    const QString appDir = GeneralUtil::GetAppDirPath();
    if (!appDir.isEmpty()) {
        const QString beside = appDir + QLatin1Char('/') + name;
        if (isExecutableFile(beside))
            return beside;
    }
    return QStandardPaths::findExecutable(name);
}

// --- desktop entries ----------------------------------------------------------

// Characters after which an Exec argument must be quoted.
bool isReservedInExec(QChar c)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    return reserved.contains(c);
}

// One Exec argument, quoted when needed, with its field-code '%' doubled.
QString quoteExecArgument(const QString& argument)
{
    QString text;
    if (!argument.isEmpty() && std::none_of(argument.begin(), argument.end(), isReservedInExec)) {
        text = argument;
    } else {
        text = QStringLiteral("\"");
        for (QChar c : argument) {
            if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$')
                || c == QLatin1Char('\\'))
                text += QLatin1Char('\\');
            text += c;
        }
        text += QLatin1Char('"');
    }
    text.replace(QLatin1Char('%'), QLatin1String("%%"));
    return text;
}

// The escapes of a string value in a desktop entry, applied after quoting.
QString escapeValue(const QString& value)
{
    QString text;
    for (int i = 0; i < value.size(); ++i) {
        const QChar c = value.at(i);
        if (c == QLatin1Char('\\'))
            text += QLatin1String("\\\\");
        else if (c == QLatin1Char('\n'))
            text += QLatin1String("\\n");
        else if (c == QLatin1Char('\t'))
            text += QLatin1String("\\t");
        else if (c == QLatin1Char('\r'))
            text += QLatin1String("\\r");
        else if (c == QLatin1Char(' ') && i == 0)
            text += QLatin1String("\\s");
        else
            text += c;
    }
    return text;
}

QString unescapeValue(const QString& value)
{
    QString text;
    for (int i = 0; i < value.size(); ++i) {
        const QChar c = value.at(i);
        if (c != QLatin1Char('\\') || i + 1 == value.size()) {
            text += c;
            continue;
        }
        const QChar next = value.at(++i);
        switch (next.unicode()) {
        case 's':
            text += QLatin1Char(' ');
            break;
        case 'n':
            text += QLatin1Char('\n');
            break;
        case 't':
            text += QLatin1Char('\t');
            break;
        case 'r':
            text += QLatin1Char('\r');
            break;
        case '\\':
            text += QLatin1Char('\\');
            break;
        default:
            text += c;
            text += next;
            break;
        }
    }
    return text;
}

// The program of an unescaped Exec value: its first argument, unquoted.
QString execProgram(const QString& exec)
{
    int i = 0;
    while (i < exec.size() && exec.at(i) == QLatin1Char(' '))
        ++i;
    QString program;
    if (i < exec.size() && exec.at(i) == QLatin1Char('"')) {
        for (++i; i < exec.size() && exec.at(i) != QLatin1Char('"'); ++i) {
            if (exec.at(i) == QLatin1Char('\\') && i + 1 < exec.size())
                ++i;
            program += exec.at(i);
        }
    } else {
        for (; i < exec.size() && exec.at(i) != QLatin1Char(' '); ++i)
            program += exec.at(i);
    }
    return program.replace(QLatin1String("%%"), QLatin1String("%"));
}

struct DesktopEntry
{
    QString name;
    QString program;
};

DesktopEntry readDesktopEntry(const QString& path)
{
    DesktopEntry entry;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return entry;
    QTextStream in(&file);
    bool inMainGroup = false;
    while (!in.atEnd()) {
        const QString line = in.readLine().trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inMainGroup = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inMainGroup || line.startsWith(QLatin1Char('#')))
            continue;
        const int equals = line.indexOf(QLatin1Char('='));
        if (equals < 0)
            continue;
        const QString key = line.left(equals).trimmed();
        const QString value = unescapeValue(line.mid(equals + 1).trimmed());
        if (key == QLatin1String("Name"))
            entry.name = value;
        else if (key == QLatin1String("Exec"))
            entry.program = execProgram(value);
    }
    return entry;
}

// The executable that an autostart URL text names: a file URL, or a plain path.
QString executableFromUrl(const QString& appUrl)
{
    if (appUrl.trimmed().isEmpty())
        return QString();
    QString path;
    const QUrl url(appUrl);
    if (url.isValid() && url.isLocalFile())
        path = url.toLocalFile();
    else if (url.scheme().isEmpty() || QDir::isAbsolutePath(appUrl))
        path = appUrl;
    if (path.isEmpty())
        return QString();
    // A folder URL (as GetApplicationPathURL makes) ends with '/'.
    return GeneralUtil::CleanPath(QFileInfo(path).absoluteFilePath());
}

// The file that an Exec program names, after PATH lookup of a bare name and with every
// link followed; "" when it cannot be resolved.
QString resolveProgram(const QString& program)
{
    if (program.isEmpty())
        return QString();
    const QString path
        = program.contains(QLatin1Char('/')) ? program : QStandardPaths::findExecutable(program);
    return path.isEmpty() ? QString() : QFileInfo(path).canonicalFilePath();
}

enum class EntryProgram { Ours, Unresolved, Other };

// Whom an entry starts. A program that cannot be resolved is ours when its path is ours
// apart from case (the comparison of the platforms this client came from); one that can be
// resolved is ours only when it is the same file.
EntryProgram entryProgram(const DesktopEntry& entry, const QString& program)
{
    const QString resolved = resolveProgram(entry.program);
    if (resolved.isEmpty()) {
        return !entry.program.isEmpty() && entry.program.compare(program, Qt::CaseInsensitive) == 0
            ? EntryProgram::Ours
            : EntryProgram::Unresolved;
    }
    if (entry.program == program || resolved == resolveProgram(program))
        return EntryProgram::Ours;
    return EntryProgram::Other;
}

// A file name for our entry: "<name>.desktop" unless that holds something other than our
// own entry (another program's, a link, a folder), then "<name>-2.desktop" and so on.
QString autostartFileFor(const QString& folder, const QString& name, const QString& program)
{
    for (int i = 1; i < 1000; ++i) {
        const QString path = folder + QLatin1Char('/') + name
            + (i == 1 ? QString() : QStringLiteral("-%1").arg(i)) + QStringLiteral(".desktop");
        const QFileInfo info(path);
        if (!info.exists() && !info.isSymLink())
            return path;
        if (info.isFile() && !info.isSymLink()
            && entryProgram(readDesktopEntry(path), program) == EntryProgram::Ours)
            return path;
    }
    return QString();
}

bool enableAutostart(const QString& folder, const QString& name, const QString& program)
{
    if (!QDir().mkpath(folder))
        return false;
    const QString path = autostartFileFor(folder, name, program);
    if (path.isEmpty())
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const QString text = QStringLiteral("[Desktop Entry]\n"
                                        "Type=Application\n"
                                        "Name=%1\n"
                                        "Exec=%2\n")
                             .arg(escapeValue(name), escapeValue(quoteExecArgument(program)));
    file.write(text.toUtf8());
    return file.commit();
}

// Removes the entries that start @p program, and those that only carry its name when their
// own program cannot be resolved; never an entry that starts another program.
bool disableAutostart(const QString& folder, const QString& name, const QString& program)
{
    const QDir dir(folder);
    const QStringList files
        = dir.entryList({ QStringLiteral("*.desktop") }, QDir::Files | QDir::Hidden, QDir::Name);
    bool removed = false;
    for (auto it = files.crbegin(); it != files.crend(); ++it) {
        const QString path = dir.filePath(*it);
        const DesktopEntry entry = readDesktopEntry(path);
        const EntryProgram runs = entryProgram(entry, program);
        const bool sameName
            = !entry.name.isEmpty() && entry.name.compare(name, Qt::CaseInsensitive) == 0;
        if (runs == EntryProgram::Ours || (runs == EntryProgram::Unresolved && sameName))
            removed = QFile::remove(path) || removed;
    }
    return removed;
}

} // namespace

// --- locations -------------------------------------------------------------------

QString GeneralUtil::GetAppFilePath()
{
    if (QCoreApplication::instance())
        return CleanPath(QCoreApplication::applicationFilePath());
    return CleanPath(platform::ExecutablePath());
}

QString GeneralUtil::GetAppDirPath()
{
    return folderOf(GetAppFilePath());
}

QString GeneralUtil::GetAppDataPath()
{
    return CleanPath(platform::UserDataFolder());
}

QString GeneralUtil::GetLocalAppDataPath()
{
    return CleanPath(GetAppDataPath());
}

QString GeneralUtil::GetCommonAppDataPath()
{
    return CleanPath(platform::SystemDataFolder());
}

QString GeneralUtil::GetProgramDataPath()
{
    return GetCommonAppDataPath();
}

QString GeneralUtil::GetDesktopPath()
{
    return CleanPath(platform::DesktopFolder());
}

QString GeneralUtil::GetFavoritesPath()
{
    return QString();
}

QString GeneralUtil::GetSystemDirectory()
{
    return platform::SystemLibraryFolder();
}

QString GeneralUtil::GetPluginsPath()
{
    const QString prefix = installPrefix();
    if (prefix.isEmpty())
        return QString();
    return CleanPath(QStringLiteral("%1/lib/%2/plugins").arg(prefix, executableName()));
}

QString GeneralUtil::GetResourcePath(QString name)
{
    const QString prefix = installPrefix();
    if (prefix.isEmpty() || name.isEmpty() || name.contains(QLatin1Char('/'))
        || name == QLatin1String(".") || name == QLatin1String(".."))
        return QString();
    const QString path
        = CleanPath(QStringLiteral("%1/share/%2/%3").arg(prefix, executableName(), name));
    return QFileInfo::exists(path) ? path : QString();
}

QString GeneralUtil::GetModulePath(const QString& name)
{
    if (name.isEmpty())
        return QString();
    QString wanted = name;
    if (!wanted.contains(QLatin1Char('.')))
        wanted += QStringLiteral(".so");
    const QStringList libraries = platform::LoadedLibraryPaths();
    for (const QString& library : libraries) {
        const QFileInfo info(library);
        if (isLibraryFileName(info.fileName(), wanted)
            || isLibraryFileName(QFileInfo(info.canonicalFilePath()).fileName(), wanted))
            return CleanPath(info.absolutePath());
    }
    return QString();
}

QString GeneralUtil::GetFrameworkPath(const QString& bundleIdentifier)
{
    return GetModulePath(bundleIdentifier);
}

QString GeneralUtil::GetApplicationPathURL(const QString& path)
{
    if (path.isEmpty())
        return QString();
    QString absolute = QFileInfo(path).absoluteFilePath();
    if (!absolute.endsWith(QLatin1Char('/')))
        absolute += QLatin1Char('/');
    return QString::fromLatin1(QUrl::fromLocalFile(absolute).toEncoded());
}

QString GeneralUtil::GetNimbAppDirPath()
{
    const QString service = GetNimbAppName();
    QString executable = runningExecutable(service);
    if (executable.isEmpty())
        executable = installedExecutable(service);
    return folderOf(executable);
}

QString GeneralUtil::GetNimbDesktopAppDirPath()
{
    const QString desktop = GetNimbDesktopAppName();
    QString executable = runningExecutable(desktop);
    if (executable.isEmpty()) {
        // The service may run from the desktop application's own installation.
        const QString service = runningExecutable(GetNimbAppName());
        if (!service.isEmpty() && !desktop.isEmpty()) {
            const QString beside = folderOf(service) + QLatin1Char('/') + desktop;
            if (isExecutableFile(beside))
                executable = beside;
        }
    }
    if (executable.isEmpty())
        executable = installedExecutable(desktop);
    return folderOf(executable);
}

void GeneralUtil::SetCompanionAppNames(const QString& serviceName, const QString& desktopName)
{
    CompanionNames& names = companionNames();
    QMutexLocker lock(&names.mutex);
    if (!serviceName.isEmpty())
        names.service = serviceName;
    if (!desktopName.isEmpty())
        names.desktop = desktopName;
}

QString GeneralUtil::GetNimbAppName()
{
    CompanionNames& names = companionNames();
    QMutexLocker lock(&names.mutex);
    return names.service;
}

QString GeneralUtil::GetNimbDesktopAppName()
{
    CompanionNames& names = companionNames();
    QMutexLocker lock(&names.mutex);
    return names.desktop;
}

QString GeneralUtil::LaunchableProcessPath(const QString& path)
{
    return CleanPath(path);
}

QString GeneralUtil::FindLocaleFile(
    const QString& fileName, const QString& searchFolders, const QString& localeName)
{
    if (fileName.isEmpty())
        return QString();
    QString name = QFileInfo(fileName).fileName();
    if (QFileInfo(name).suffix().isEmpty())
        name += QStringLiteral(".xlf");
    QString locale = localeName;
    if (locale.isEmpty())
        locale = QLocale::system().name().replace(QLatin1Char('_'), QLatin1Char('-'));

    QString folder;
    bool found = false;
    const QStringList folders = searchFolders.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString& searchFolder : folders) {
        folder = searchFolder + QLatin1Char('/') + locale;
        if (QFileInfo::exists(folder + QLatin1Char('/') + name)) {
            found = true;
            break;
        }
    }
    if (!found)
        folder = GetAppDirPath() + QLatin1Char('/') + locale;

    const QFileInfo file(folder + QLatin1Char('/') + name);
    return file.exists() ? CleanPath(file.absoluteFilePath()) : QString();
}

// --- processes and system ---------------------------------------------------------

bool GeneralUtil::LaunchProcess(QString path, QStringList arguments)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists())
        return false;
    // Absolute, so that a bare name is never looked up on PATH instead.
    return platform::StartDetachedProcess(info.absoluteFilePath(), arguments, nullptr, nullptr);
}

bool GeneralUtil::IsProcessRunning(const qint64& pid, QString name)
{
    Q_UNUSED(name);
    const char state = platform::ProcessState(pid);
    return state != 0 && state != 'Z' && state != 'X';
}

bool GeneralUtil::WaitForProcessToQuit(const qint64& pid, int seconds)
{
    bool running = false;
    for (int i = 0; i < seconds; ++i) {
        const qint64 answer = platform::PollChildProcess(pid);
        if (answer == 0) {
            platform::SleepSeconds(1);
            running = true;
        } else if (answer == pid) {
            running = false;
        }
        // -1 (not our child, or already reaped) tells nothing and costs no wait.
    }
    return !running;
}

bool GeneralUtil::BundleAppLaunchOnStartup(bool enable, const QString& appUrl)
{
    const QString program = executableFromUrl(appUrl);
    const QString folder = GetAutostartPath();
    if (program.isEmpty() || folder.isEmpty())
        return false;
    const QFileInfo info(program);
    QString name = info.completeBaseName();
    if (name.isEmpty())
        name = info.fileName();
    if (name.isEmpty())
        return false;
    return enable ? enableAutostart(folder, name, program)
                  : disableAutostart(folder, name, program);
}

bool GeneralUtil::BundleAppLaunchOnStartup(bool enable)
{
    const QString self = GetAppFilePath();
    if (self.isEmpty())
        return false;
    return BundleAppLaunchOnStartup(
        enable, QString::fromUtf8(QUrl::fromLocalFile(self).toEncoded()));
}

QString GeneralUtil::GetAutostartPath()
{
    const QString config = platform::UserConfigFolder();
    return config.isEmpty() ? QString() : CleanPath(config + QStringLiteral("/autostart"));
}

QString GeneralUtil::GetPlatformInfoForUserAgent()
{
    return QStringLiteral("%1/%2").arg(platform::SystemName(), platform::SystemPrettyName());
}

QString GeneralUtil::GetBuild()
{
#ifdef NDEBUG
    const QString buildType = QStringLiteral("Release");
#else
    const QString buildType = QStringLiteral("Debug");
#endif
    return QStringLiteral("%1/%2").arg(platform::BuildArchitecture(), buildType);
}

bool GeneralUtil::Is64BitOS()
{
    return true;
}

bool GeneralUtil::Is64BitApp()
{
    return true;
}

bool GeneralUtil::RegistryKeyExists(QString key)
{
    Q_UNUSED(key);
    return false;
}

void GeneralUtil::OutputDebugString(const QString& text)
{
    Q_UNUSED(text);
}

void GeneralUtil::OutputDebugString(const wchar_t* text)
{
    Q_UNUSED(text);
}

void GeneralUtil::Crash()
{
    platform::CrashByNullWrite(L"here we die!");
}

} // namespace CloudUtil
} // namespace Tessaron
