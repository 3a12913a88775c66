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
 * Failures are plain results (false, an empty string or list, -1), often with
 * a log line. The implementation is split by topic over GeneralUtil_paths.cpp,
 * GeneralUtil_files.cpp, GeneralUtil_values.cpp and GeneralUtil_locations.cpp.
 */
class KVSYNCCORE_EXPORT GeneralUtil
{
public:
    GeneralUtil() = delete;

    // -----------------------------------------------------------------------
    // Path algebra (GeneralUtil_paths.cpp)
    // -----------------------------------------------------------------------

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
     * With @p move the source is removed after a complete copy, never before.
     *
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
    static bool CopyFile(QString source, QString target, bool move, bool overwrite,
                         QString* error);

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
                                 const QString& firstSuffix, bool suffixAfterName,
                                 int startIndex);

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
     * @param nameFilter wildcard patterns separated by "|" ("*.txt|*.log"); empty means
     *        "*". When it is empty and @p folder is a file, that file alone is listed.
     * @param filters QDir filters; no filter (0) means files only. "." and ".." never appear.
     * @param recursive also list every sub-folder's matches (after the folder's own); the
     *        sub-folders themselves are listed only when @p filters asks for directories.
     * Unsorted. Symbolic links to folders are followed.
     */
    static QStringList GetFiles(QString folder, QString nameFilter, QDir::Filters filters,
                                bool recursive);

    /**
     * @brief Deletes what GetFiles() lists, then every folder of the tree left empty.
     *
     * Read-only entries are made writable first. True when every removal succeeded
     * (and when there was nothing to remove); false for an empty @p folder. The removal of
     * the emptied folders, including @p folder itself, does not change the result.
     */
    static bool DeleteFiles(const QString& folder, const QString& nameFilter,
                            QDir::Filters filters, bool recursive);

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
     * @param foundPath cleared, then set to the file's absolute path in the folder that
     *        holds it. When none does and @p defaultFolder is not empty, it is set to the
     *        path in @p defaultFolder all the same (a place to create the file), but the
     *        result is still false.
     */
    static bool SearchFile(QString fileName, const QStringList& folders, QString& foundPath,
                           QString defaultFolder);

    /// @p path with every symbolic link along it resolved and cleaned; a missing tail is
    /// kept as written. Relative paths are resolved against the working folder.
    static QString GetSymbolicLinkTarget(const QString& path);

    /// MD5 of a file's content as 32 lower-case hex digits, read in 32 KiB chunks (memory
    /// stays flat for any size); empty when the file cannot be opened.
    static QString GenerateCheckSumMD5(const QString& path);

    /// The same digest as GenerateCheckSumMD5(), as bytes, reading the whole file into
    /// memory at once; empty when the file cannot be opened.
    static QByteArray GetFileHash(const QString& path);

    /// MD5 of the UTF-8 bytes of @p text as lower-case hex digits.
    static QByteArray GetHash(const QString& text);

    /**
     * @brief Shows or hides @p path in file managers (the freedesktop ".hidden" list).
     *
     * False when the path does not exist or the flag cannot be set; a name starting with
     * "." cannot be made visible.
     */
    static bool SetFileVisibility(const QString& path, bool visible);

    // (end of file operations)

    // -----------------------------------------------------------------------
    // Durations, sizes and enumerations (GeneralUtil_values.cpp)
    // -----------------------------------------------------------------------

    // (end of durations, sizes and enumerations)

    // -----------------------------------------------------------------------
    // Application locations and processes (GeneralUtil_locations.cpp)
    // -----------------------------------------------------------------------

    // (end of application locations and processes)
};

} // namespace CloudUtil
} // namespace Tessaron
