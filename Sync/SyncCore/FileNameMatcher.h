#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QString>

#include <memory>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief The default exclusion patterns, for FileNameMatcher's @p defaultPatterns.
 *
 * Thirteen regular expressions joined by ";": numbered ".0001.kqz" copies,
 * ".bk1" to ".bk9", ".sv$", ".bak", ".lkz", ".lkz2", ".pcp", ".err", ".log",
 * ".lnk" at the end of a name, and the whole names "thumbs.db", "desktop.ini"
 * and ".DS_Store".
 */
KVSYNCCORE_EXPORT extern const QString uploadDownloadExclusionsRegex;

/**
 * @brief Decides whether a file name is one that the sync engine neither uploads nor downloads.
 *
 * The excluded names are given by a list of regular expressions separated by
 * ";", read once at construction from the setting @p settingsKey of the
 * user settings of organisation "Tessaron", application "Tessaron Sync"
 * (whatever names the host application has set for itself), or taken from
 * @p defaultPatterns when that setting is absent or @p settingsKey is empty.
 * Each piece is matched case-insensitively, unanchored unless it anchors
 * itself with "^" or "$". A piece that is not a valid expression never matches
 * (and is logged at construction).
 *
 * On Linux the setting lives in "$XDG_CONFIG_HOME/Tessaron/Tessaron Sync.conf"
 * (INI). Edited by hand, the value must be quoted with its backslashes
 * doubled: unquoted, the INI reader takes ";" as the start of a comment.
 *
 * Kept on purpose: pieces are neither trimmed nor dropped when empty, and an
 * empty piece matches every name. A setting that is empty, ends in ";" or
 * holds ";;" therefore excludes everything.
 *
 * The patterns are fixed at construction; a later change of the setting only
 * affects matchers made after it. Once constructed, a matcher may be used by
 * any number of threads at once without locking.
 */
class KVSYNCCORE_EXPORT FileNameMatcher
{
public:
    /**
     * Reads the patterns (see the class description) and compiles them.
     * Construction must finish before the matcher is shared between threads.
     */
    FileNameMatcher(QString settingsKey, QString defaultPatterns);
    virtual ~FileNameMatcher();

    /// Shares the compiled patterns of @p other; the settings are not read again.
    FileNameMatcher(const FileNameMatcher&);
    /// Shares the compiled patterns of @p other; not safe while this matcher is in use.
    FileNameMatcher& operator=(const FileNameMatcher&);

    /**
     * @brief True when any pattern is found anywhere in @p name.
     *
     * Pass the bare file name, not a path: the whole-name patterns ("^thumbs\.db$")
     * only hit a bare name. Safe to call from any thread at once; takes no lock
     * and, for fixed-length patterns and most names, allocates nothing.
     * A name that is not well-formed UTF-16 (a lone surrogate) matches nothing,
     * as QRegularExpression refuses to search it.
     */
    bool Match(const QString& name) const;

private:
    struct Plan;

    /// How Match answers; built from _expressions and never changed afterwards.
    std::shared_ptr<const Plan> _plan;
};

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
