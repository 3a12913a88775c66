#pragma once

#include "kvsynccore_export.h"

#include <QByteArray>
#include <QDir>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <cstdint>

namespace Tessaron {
namespace CloudUtil {

/**
 * @brief Static utilities of the sync client: path algebra, file operations,
 * durations, sizes and enumeration names, application locations and processes.
 *
 * Holds only static operations; every operation runs on the caller's thread.
 * Failures are plain results (false, an empty string or list, -1); the
 * locations, processes and file operations write no log lines. The
 * implementation is split by topic over GeneralUtil_paths.cpp,
 * GeneralUtil_files.cpp, GeneralUtil_values.cpp and GeneralUtil_locations.cpp.
 */
class KVSYNCCORE_EXPORT GeneralUtil
{
public:
    GeneralUtil() = delete;

    // -----------------------------------------------------------------------
    // Path algebra (GeneralUtil_paths.cpp)
    // -----------------------------------------------------------------------

    // Every function here works on path text and accepts both '/' and backslash,
    // drive prefixes ("C:") and network prefixes ("//"); only the relative and
    // absolute conversions look at the file system. Kept on purpose: all
    // comparisons between paths are case-insensitive, because the file systems
    // served are; only the search for ':' and the replacement of backslashes are
    // case-sensitive. The separator that the functions write is '/'.

    /// The network-path prefix, "//".
    static const QString kUncPathPrefixFrontSlashes;
    /// The characters that FixInvalidCharsInFileName() replaces: backslash, / : * ? " < > |
    static const QString kInvalidFileNameChars;

    /**
     * @brief Normalises a path: no runs of '/', no "." or ".." components and no
     * trailing '/' except on the root ("/").
     *
     * Outer white space is trimmed before cleaning; an empty path stays empty.
     * A text whose first ':' stands at position 2 or later (a URL such as
     * "abc://x") only gets every backslash turned into '/': no trimming, no cleaning.
     * Kept on purpose: on other paths backslashes stay as written.
     * Kept on purpose: the trimming happens once, before cleaning, so a result
     * whose first or last component starts or ends with a space ("./ a" gives
     * " a") changes again when cleaned a second time.
     */
    static QString CleanPath(const QString& path);

    /// Debug hook: always true, examines nothing. Callers wrap it in assertions.
    static bool AssertCleanPath(QString path);
    /// Debug hook: always true, examines nothing. Callers wrap it in assertions.
    static bool AssertCleanPath(const QStringList& paths);

    /**
     * @brief Absolute form of @p path, taken relative to @p base.
     *
     * An absolute @p path is only cleaned. Otherwise it is joined to @p base, or
     * to the folder that holds @p base when @p baseIsFile, and cleaned. @p base
     * need not exist; a relative @p base is taken from the current folder when
     * @p baseIsFile.
     */
    static QString RelativeToAbsolutePath(
        const QString& path, const QString& base, bool baseIsFile);

    /**
     * @brief Form of the absolute @p path relative to @p base (or to the folder
     * that holds it when @p baseIsFile); may start with "../".
     *
     * A relative @p path is returned cleaned, as it is already relative. @p base
     * need not exist. This comparison follows the file system's case rules.
     */
    static QString AbsoluteToRelativePath(
        const QString& path, const QString& base, bool baseIsFile);

    /**
     * @brief True when @p child lies strictly below @p parent (case-insensitive).
     *
     * Both are cleaned first. "/a/b" is the parent of "/A/B/c" but not of
     * "/a/bc". Kept on purpose: a root parent loses its slash before the
     * comparison, so "/" (and the empty path) is the parent of every absolute
     * path, "/" itself included.
     */
    static bool IsParentPath(const QString& parent, const QString& child);

    /// True when IsParentPath(), or when both cleaned paths are equal (case-insensitive).
    static bool IsParentOrSamePath(const QString& parent, const QString& child);

    /**
     * @brief The longest common leading run of components of two paths, or ""
     * when they have none.
     *
     * Empty paths and URL-like texts (first ':' at position 2 or later) give "".
     * Two drive paths must share the drive ("c:/a/b" and "C:/A/x" give "c:/a");
     * the spelling is that of the path with fewer components.
     * Kept on purpose: two plain absolute paths give their common part without
     * the leading '/' ("/Users/a/b" and "/users/A/c" give "Users/a"); callers
     * test it for emptiness or compare it with like results.
     * Kept on purpose: only the first path's prefix is checked; when the first
     * has no drive, the second's drive is skipped without comparison. The final
     * cleaning folds a network prefix to a single '/'.
     */
    static QString GetCommonParentPath(const QString& path1, const QString& path2);

    /// True when GetCommonParentPath() is not empty.
    static bool HasCommonParentPath(const QString& path1, const QString& path2);

    /**
     * @brief The part of @p path below @p parent, without a leading '/'.
     *
     * "" when both are the same path (case-insensitive). Kept on purpose: when
     * @p path is not below @p parent, the result is @p path as given, not
     * cleaned, only stripped of leading slashes ("/b/c" under "/a" gives "b/c").
     */
    static QString GetSubPath(const QString& parent, const QString& path);

    /// The cleaned path up to and including its first ':' ("C:" for "C:/dir"), else "".
    static QString GetDrive(const QString& path);

    /// True when @p path starts with two characters that are each '/' or a backslash.
    static bool IsUNCPath(const QString& path);

    /**
     * @brief @p name with each character of kInvalidFileNameChars replaced by
     * @p replacement (an empty replacement deletes them).
     *
     * Kept on purpose: backslashes are replaced in a second, literal pass over
     * the result, so backslashes inside @p replacement itself are replaced too.
     */
    static QString FixInvalidCharsInFileName(const QString& name, const QString& replacement);

    // (end of path algebra)

    // -----------------------------------------------------------------------
    // File operations (GeneralUtil_files.cpp)
    // -----------------------------------------------------------------------

    /**
     * @brief Copies (or moves) @p source to @p target, keeping a backup of a replaced target.
     *
     * Creates the target's folder when missing. An existing target is refused unless
     * @p overwrite is set; then it is first renamed to "<target>.bak" (or the first free
     * "<target>_N.bak", N from 2) and removed only after the copy succeeded.
     * With @p move the source is removed after a complete copy, never before; within one file
     * system (and for a source that is not a link) the move is a rename.
     *
     * @param source the file to copy; it must exist.
     * @param target the full path of the copy, not a folder to copy into.
     * @param move remove @p source once the copy is complete.
     * @param overwrite replace an existing @p target (keeping the backup described above).
     * @param error when not null, receives a text for the failures that explain
     *        themselves; it is never cleared, so an earlier text survives a silent failure.
     * @return false when the copy (or the removal of a moved source) failed; true when
     *         the target holds the copy, even if the backup could not be removed.
     *
     * Kept on purpose: when the copy fails after the old target was renamed, the old
     * target stays under its backup name (it is not restored) so that nothing is lost
     * whatever state the target is in; and the refusal without @p overwrite always says
     * "Target file %1 exists and is read-only", whatever the file's real state.
     * A moved source has its permissions replaced by others-may-write (0002) before it is
     * removed; if the removal fails the source stays with those permissions.
     */
    static bool CopyFile(QString source, QString target, bool move, bool overwrite, QString* error);

    /**
     * @brief The first name derived from @p path that no file uses yet.
     *
     * A path that does not exist is returned unchanged; an empty path is returned as is.
     * Candidates are "<folder>/<base><suffix>.<ext>" (or "<suffix><base>" when
     * @p suffixAfterName is false), where the suffix is @p firstSuffix for the first try
     * when it is not empty, then @p pattern with "%1" replaced by a counter that starts at
     * @p startIndex. An empty pattern means "%1". Empty when the counter runs out.
     * A pattern without "%1" gives a single candidate: when that is taken too, the result
     * is empty at once (every later candidate would be the same name).
     */
    static QString GetUniqueFile(const QString& path, const QString& pattern,
        const QString& firstSuffix, bool suffixAfterName, int startIndex);

    /// GetUniqueFile(path, pattern, "", true, 2): the first alternative of 'a.txt' with
    /// "_%1" is 'a_2.txt' (kept on purpose: 2, not 1).
    static QString GetUniqueFile(const QString& path, const QString& pattern);

    /**
     * @brief A free file name built from @p folder, @p name and @p extension.
     *
     * An empty folder means the system temporary folder, an empty name "Temp". Without an
     * extension it is taken from @p name (after its last '.'), and the name is cut before
     * its first '.'. Kept on purpose: the numbering pattern is "%1%%1" filled with
     * @p separator, which leaves no counter in it, so the result is "<folder>/<name><ext>"
     * when that is free, else one candidate "<name><separator>%<separator><ext>", else empty.
     */
    static QString GetUniqueFile(const QString& folder, const QString& name,
        const QString& extension, const QString& separator);

    /**
     * @brief Absolute paths of the entries of @p folder whose names match @p nameFilter.
     *
     * @param folder the folder to list; a missing folder gives an empty list.
     * @param nameFilter wildcard patterns separated by "|" ("*.txt|*.log"); empty means
     *        "*". When it is empty and @p folder is a file, that file alone is listed.
     * @param filters QDir filters; no filter (0) means files only. "." and ".." never appear.
     * @param recursive also list every sub-folder's matches (after the folder's own); the
     *        sub-folders themselves are listed only when @p filters asks for directories.
     * Unsorted. Symbolic links to folders are followed.
     */
    static QStringList GetFiles(
        QString folder, QString nameFilter, QDir::Filters filters, bool recursive);

    /**
     * @brief Deletes what GetFiles() lists, then every folder of the tree left empty.
     *
     * Read-only entries are made writable first. True when every removal succeeded
     * (and when there was nothing to remove); false for an empty @p folder. The removal of
     * the emptied folders, including @p folder itself, does not change the result.
     */
    static bool DeleteFiles(
        const QString& folder, const QString& nameFilter, QDir::Filters filters, bool recursive);

    /**
     * @brief Removes the empty folders of a tree bottom-up, @p folder itself last.
     *
     * @return whether @p folder itself was removed (false while it still holds anything,
     *         and for an empty or missing path).
     */
    static bool DeleteEmptyDirectories(const QString& folder, QDir::Filters filters);

    /**
     * @brief Deletes a whole tree, hidden entries included.
     *
     * Stops with false at the first entry that cannot be removed. Symbolic links are
     * removed as links; the folders they point to are never entered.
     */
    static bool RemoveDirAndSubDirs(const QString& folder);

    /// Removes repeated entries of @p list, keeping the first occurrence and the order;
    /// returns how many were removed.
    static int RemoveDuplicates(QStringList& list, bool caseInsensitive);

    /// Appends each line of a UTF-8 text file, without its line end, to @p lines (which is
    /// not cleared). False when the file cannot be opened.
    static bool ReadAllLines(const QString& path, QStringList& lines);

    /// Replaces a text file by @p lines (UTF-8, each followed by "\n"). False when the file
    /// cannot be opened for writing.
    static bool WriteAllLines(const QString& path, const QStringList& lines);

    /// Deletes @p path if it exists; false when it does not or cannot be removed.
    static bool ClearLogFile(QString path);

    /// Deletes the log file @p path and, with @p rolledFiles, its rolled copies "<path>.1"
    /// to "<path>.10". Files that cannot be removed are passed over.
    static void ClearLogFile(QString path, bool rolledFiles);

    /**
     * @brief True when @p path cannot be opened for exclusive writing now.
     *
     * Missing, read-only and immutable files count as locked, and so does a file on which
     * another holder keeps an flock() or a POSIX/OFD record lock. A leading "~" stands for
     * the home folder. Note: the probe closes its descriptor, which by POSIX rules also
     * drops fcntl() record locks that the calling process itself holds on the file.
     */
    static bool IsFileLockedForWrite(const QString& path);

    /**
     * @brief The first of @p folders that holds @p fileName.
     *
     * @param fileName a name relative to each folder.
     * @param folders searched in list order; the first folder holding the file wins.
     * @param defaultFolder where @p foundPath points when no folder holds the file; may be empty.
     * @param foundPath cleared, then set to the file's absolute path in the folder that
     *        holds it. When none does and @p defaultFolder is not empty, it is set to the
     *        path in @p defaultFolder all the same (a place to create the file), but the
     *        result is still false.
     */
    static bool SearchFile(
        QString fileName, const QStringList& folders, QString& foundPath, QString defaultFolder);

    /// @p path with every symbolic link along it resolved and cleaned; a missing tail is
    /// kept as written. Relative paths are resolved against the working folder.
    static QString GetSymbolicLinkTarget(const QString& path);

    /// MD5 of a file's content as 32 lower-case hex digits, read in 32 KiB chunks (memory
    /// stays flat for any size). Empty when the path is not a regular file after links (a
    /// FIFO or device is refused at once, never waited on), cannot be opened, or a read
    /// fails part-way: never the digest of a part of the file.
    static QString GenerateCheckSumMD5(const QString& path);

    /// The same digest as GenerateCheckSumMD5(), as bytes, with the same failures (empty).
    static QByteArray GetFileHash(const QString& path);

    /// MD5 of the UTF-8 bytes of @p text as lower-case hex digits.
    static QByteArray GetHash(const QString& text);

    /**
     * @brief Shows or hides @p path in file managers (the freedesktop ".hidden" list).
     *
     * False when the path does not exist or the flag cannot be set; a name starting with
     * "." cannot be made visible. Safe against concurrent callers in any thread or process
     * (the folder is locked while its list changes) and against a hostile folder: a link,
     * FIFO or device in the place of ".hidden" is never followed or opened, and the call
     * returns false without changing anything.
     */
    static bool SetFileVisibility(const QString& path, bool visible);

    // (end of file operations)

    // -----------------------------------------------------------------------
    // Durations, sizes and enumerations (GeneralUtil_values.cpp)
    // -----------------------------------------------------------------------

    /**
     * @brief One row of an enumeration's name table.
     *
     * A name table is a plain array of rows with a separate count, owned by the
     * caller (usually a static table next to the enumeration) and searched in
     * array order. For flag enumerations each value is a single bit.
     */
    struct EnumValueName
    {
        qint32 value; ///< the enumeration value (a single bit for flags)
        QString name; ///< its name, as printed and as parsed back
    };

    /**
     * @brief Splits an ISO 8601 duration ("P1Y2M3DT4H5M6.5S") into its fields.
     *
     * The duration is searched for anywhere in @p text ("xxPT5M" gives 5
     * minutes). Every field is set to 0 first; false for an empty text, no
     * match, or a count that does not fit an int (fields converted before it
     * keep their values). Only the seconds may carry a fraction.
     * Kept on purpose: the "T" is required, so a date-only duration ("P3D")
     * gives false; the server writes "P3DT".
     */
    static bool ParseDuration(const QString& text, int& years, int& months, int& days, int& hours,
        int& minutes, double& seconds);

    /**
     * @brief An ISO 8601 duration as one number of seconds (0 and false on failure).
     *
     * A month counts as 30 days and a year as 365 days. Kept on purpose: the
     * whole minutes, hours, days, months and years are summed in signed 32-bit
     * arithmetic and wrap on overflow (100 years give a negative total); the
     * seconds are added afterwards.
     */
    static bool ParseDuration(const QString& text, double& totalSeconds);

    /**
     * @brief A duration in one unit, its count truncated: "3 day(s)",
     * "2 hour(s)", "59 minute(s)", "1 second(s)", "999 milliseconds".
     *
     * Kept on purpose: hours are shown only from two hours on, so 60 to 119
     * minutes are shown as minutes. The whole seconds are taken as a 32-bit
     * number; below one second (and for negative durations) the text shows the
     * milliseconds left over. Numbers are plain decimal, whatever the locale.
     */
    static QString MilliSecondsToDisplayString(qint64 milliseconds);

    /**
     * @brief A byte count in units of 1024: "1023 bytes", "1.50 KB", "2.0 MB", "5120.00 GB".
     *
     * Counts below 1024 (negative ones too) are shown as whole bytes; otherwise
     * the quotient is written with @p precision digits after a '.' (none for
     * 0), whatever the locale. There is no unit above GB.
     */
    static QString BytesToString(qint64 bytes, int precision);

    /// The value of every set bit of @p mask, lowest first (bit 31 gives INT_MIN).
    static QList<int> GetOneBits(int mask);

    /**
     * @brief The name of @p value in @p table; for flags, the names of all rows
     * that share a bit with @p value, joined by "," in table order.
     *
     * "" when nothing matches or @p table is null. A row whose value is 0 never
     * contributes to a flag name; a row of several bits contributes whenever one
     * of them is set.
     */
    static QString EnumValueToName(int value, const EnumValueName* table, int count, bool isFlags);

    /**
     * @brief The value named @p name in @p table (case-insensitive); for flags,
     * the OR of every row named in the comma-separated @p name.
     *
     * -1 when no row matches or @p table is null. Parts of a flag list are
     * trimmed ("Read, write"). Callers treat -1 as unknown although it is also
     * a legal mask.
     */
    static int EnumNameToValue(
        const QString& name, const EnumValueName* table, int count, bool isFlags);

    /// Every name of @p table in table order; empty for a null table or a count below 1.
    static QStringList GetEnumNames(const EnumValueName* table, int count);

    /// ')' for '(', else 0.
    static wchar_t GetMatchingBrace(wchar_t open);

    /**
     * @brief Position of the ')' that closes the '(' at @p openPos, counting
     * nested round brackets; -1 when there is no '(' at @p openPos or it is
     * never closed. Quotes are not recognised.
     */
    static int FindMatchingBrace(const QString& text, int openPos);

    /**
     * @brief Splits a call text "name(a, b)" into its name and trimmed arguments.
     *
     * @p name is the text before the first '(' (not trimmed); the arguments are
     * the text between it and its matching ')' split at every ',' (empty ones
     * kept); "f()" has none. Text after the ')' is ignored. False for an empty
     * text, no '(' or no matching ')' (the name is set in the last case).
     * Kept on purpose: commas inside nested brackets split too, so "f(a, (b, c))"
     * gives "a", "(b" and "c)".
     */
    static bool ParseFunction(const QString& text, QString& name, QStringList& args);

    /// "1" + @p signature: the method code that QObject::connect() expects for a slot.
    static QString DYNAMIC_SLOT(const char* signature);
    /// "2" + @p signature: the method code that QObject::connect() expects for a signal.
    static QString DYNAMIC_SIGNAL(const char* signature);

    /**
     * @brief Whether a variant of this type may be written to JSON: bool, the
     * 32- and 64-bit integers, double, map, list, string and string list
     * (ids 1 to 6 and 8 to 11); not invalid (0) nor char (7), nor anything else.
     */
    static bool IsTypeSupportedInJson(QMetaType::Type type);

    /// Each variant's own integer conversion, 0 where it has none; order kept.
    static QList<int> ToIntList(const QList<QVariant>& list);
    /// Each integer wrapped in a variant; order kept.
    static QList<QVariant> ToVariantList(const QList<int>& list);

    // (end of durations, sizes and enumerations)

    // -----------------------------------------------------------------------
    // Application locations and processes (GeneralUtil_locations.cpp)
    // -----------------------------------------------------------------------

    // Locations. Each returns "" when the system gives no answer. On Linux the
    // data folders follow the XDG base directories and the application's own
    // plug-ins and resources lie in an FHS tree around its executable:
    // <prefix>/bin/<exe>, <prefix>/lib/<exe>/plugins, <prefix>/share/<exe>/.

    /**
     * @brief Absolute, cleaned path of the running executable.
     *
     * With a QCoreApplication object, its applicationFilePath() (an empty
     * answer stays empty); without one, the target of /proc/self/exe, without the
     * " (deleted)" that the kernel adds once the file was removed or replaced.
     */
    static QString GetAppFilePath();
    /// Folder of GetAppFilePath(); "" when that is empty.
    static QString GetAppDirPath();
    /// The user's data folder: $XDG_DATA_HOME, by default ~/.local/share; cleaned.
    static QString GetAppDataPath();
    /// Same folder as GetAppDataPath() (there is no separate local data folder here).
    static QString GetLocalAppDataPath();
    /// The machine-wide data folder: first absolute entry of $XDG_DATA_DIRS, by default
    /// /usr/local/share; cleaned.
    static QString GetCommonAppDataPath();
    /// Same as GetCommonAppDataPath().
    static QString GetProgramDataPath();
    /// The user's desktop folder (XDG_DESKTOP_DIR of user-dirs.dirs, else ~/Desktop); cleaned.
    static QString GetDesktopPath();
    /// Always "": this platform has no favourites folder.
    static QString GetFavoritesPath();
    /// The system library folder, "/usr/lib".
    static QString GetSystemDirectory();
    /// \<prefix\>/lib/\<exe name\>/plugins, whether it exists or not; "" without an executable
    /// path.
    static QString GetPluginsPath();
    /**
     * @brief Path of the application's resource @p name: \<prefix\>/share/\<exe name\>/\<name\>.
     *
     * Resources lie directly in that folder: a name with a '/' or a name of
     * "." or ".." gives "". Returns "" when no such file or folder exists.
     */
    static QString GetResourcePath(QString name);
    /**
     * @brief Folder of a shared library loaded into this process.
     *
     * A @p name without any '.' gets ".so" ("libz" looks for 'libz.so'). A
     * loaded library matches when its file name, or the file name that its
     * symbolic links resolve to, equals the name or is the name followed by
     * "." and a version ('libz.so.1.2.13' matches "libz" and "libz.so.1").
     * Compared case-sensitively, in load order; the first match wins. The
     * result is the folder of the path that the loader reports; "" when
     * nothing matches.
     */
    static QString GetModulePath(const QString& name);
    /// There are no framework bundles here: the same lookup as GetModulePath().
    static QString GetFrameworkPath(const QString& bundleIdentifier);
    /**
     * @brief Encoded file URL text of @p path, marked as a folder (ends with '/').
     *
     * A relative path is taken from the current folder; "" for an empty path.
     */
    static QString GetApplicationPathURL(const QString& path);
    /**
     * @brief Folder of the service application's executable.
     *
     * Looks for a running process whose executable has the service's name
     * (see SetCompanionAppNames()); else for the executable beside this one;
     * else on PATH. "" when none is found.
     */
    static QString GetNimbAppDirPath();
    /**
     * @brief Folder of the desktop application's executable.
     *
     * A running desktop application first; else, when the service is running,
     * a desktop executable beside the service's; else beside this executable;
     * else on PATH. "" when none is found.
     */
    static QString GetNimbDesktopAppDirPath();
    /**
     * @brief Sets the executable names of the two companion applications.
     *
     * Defaults: "NimbService" and "Nimb Desktop". An empty name keeps the
     * current one. May be called from any thread.
     */
    static void SetCompanionAppNames(const QString& serviceName, const QString& desktopName);
    /// Executable name of the service application.
    static QString GetNimbAppName();
    /// Executable name of the desktop application.
    static QString GetNimbDesktopAppName();
    /// @p path, cleaned.
    static QString LaunchableProcessPath(const QString& path);
    /**
     * @brief Absolute path of a translation file for a locale, or "".
     *
     * Only the file-name part of @p fileName counts; ".xlf" is appended when
     * it has no suffix. The file is looked for in the sub-folder named after
     * the locale (@p localeName, else the system locale as 'en-US') of each
     * folder of the ';'-separated @p searchFolders in order, then of
     * GetAppDirPath(). Only that one locale name is tried (no fallback to the
     * language alone).
     */
    static QString FindLocaleFile(
        const QString& fileName, const QString& searchFolders, const QString& localeName);

    // Processes and system.

    /**
     * @brief Starts the executable @p path with @p arguments, detached from this process.
     *
     * Returns false without starting anything when no file exists at @p path,
     * and false when the system refuses to start it (no log line: the result is the
     * whole report). The child's standard input is /dev/null. The new
     * process is not a child of this one: it is never left as a zombie, and
     * WaitForProcessToQuit() cannot follow it.
     */
    static bool LaunchProcess(QString path, QStringList arguments);
    /// True when a process with that id exists and is not a zombie; false for the id of a
    /// thread that is not a process. @p name is not used.
    static bool IsProcessRunning(const qint64& pid, QString name);
    /**
     * @brief Polls a child process once a second, @p seconds times; true when it has ended.
     *
     * True at once for @p seconds below 1. Each poll that finds the child
     * still running sleeps one second; the loop never stops early. The result
     * is false only when the last informative poll found it running. Kept on
     * purpose: for a process that is not a child of this one (or a pid below
     * 1) every poll fails without sleeping, so the answer is true at once.
     */
    static bool WaitForProcessToQuit(const qint64& pid, int seconds);
    /**
     * @brief Adds or removes an XDG autostart entry for the application at @p appUrl.
     *
     * @p appUrl is a file URL text or a plain path of the executable. Entries
     * live in $XDG_CONFIG_HOME/autostart (by default ~/.config/autostart).
     * Enabling writes "<name>.desktop" (name: the executable's file name
     * without its last suffix), or updates it when it already starts this
     * application; it never replaces an entry that starts another program (or
     * a link), and then uses the first free "<name>-N.desktop" instead. It
     * returns whether the entry was written. Disabling removes every entry of
     * that folder whose Exec program is this application (the same file, or
     * the same path apart from case when it cannot be resolved), and an entry
     * whose Name is that name (case-insensitively) only when its own program
     * cannot be resolved; never an entry that starts another program. It
     * returns whether any entry was removed. False for an empty or unusable
     * URL. Writes no log lines.
     */
    static bool BundleAppLaunchOnStartup(bool enable, const QString& appUrl);
    /// BundleAppLaunchOnStartup() for this process's own executable.
    static bool BundleAppLaunchOnStartup(bool enable);
    /// Folder of the autostart entries: $XDG_CONFIG_HOME/autostart, by default ~/.config/autostart.
    static QString GetAutostartPath();
    /// The platform part of the user agent: "Linux/" and the system's pretty name,
    /// for example "Linux/Debian GNU/Linux 12 (bookworm)".
    static QString GetPlatformInfoForUserAgent();
    /// Architecture and build type, for example "x64/Release" or "arm64/Debug".
    static QString GetBuild();
    /// Always true.
    static bool Is64BitOS();
    /// Always true.
    static bool Is64BitApp();
    /// Always false: there is no system registry here (settings live in the settings store).
    static bool RegistryKeyExists(QString key);
    /// Does nothing; kept for callers shared with other platforms.
    static void OutputDebugString(const QString& text);
    /// Does nothing; kept for callers shared with other platforms.
    static void OutputDebugString(const wchar_t* text);
    /// Crashes the process on purpose by writing "here we die!" to a null address, so that
    /// crash reporting can be exercised. Never returns.
    [[noreturn]] static void Crash();

    // (end of application locations and processes)
};

} // namespace CloudUtil
} // namespace Tessaron
