#pragma once

#include "kvsynccore_export.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <memory>

namespace Tessaron {
namespace CloudUtil {

/// Marker of elided text: "...".
KVSYNCCORE_EXPORT extern const QString kEllipsisText;
/// A variable reference: "$(" then one or more non-blank characters then ")".
KVSYNCCORE_EXPORT extern const QString kVariableRegExp;

/**
 * @brief Owns a zero-terminated wide-character copy of a string.
 *
 * Characters outside the Basic Multilingual Plane become one `wchar_t` each
 * (wide characters are 32 bits here), so the copy never splits a surrogate pair.
 */
class KVSYNCCORE_EXPORT QStringToWchar
{
public:
    /// Copies @p text at once; later changes to @p text do not reach the copy.
    explicit QStringToWchar(const QString& text);
    ~QStringToWchar();

    QStringToWchar(const QStringToWchar&) = delete;
    QStringToWchar& operator=(const QStringToWchar&) = delete;

    /// The terminated copy; valid while the holder lives.
    const wchar_t* data() const;

private:
    std::unique_ptr<wchar_t[]> _buffer;
};

/**
 * @brief Small text operations used throughout the utilities.
 *
 * Static only; every operation runs on the caller's thread.
 */
class KVSYNCCORE_EXPORT StringUtil
{
public:
    StringUtil() = delete;

    /**
     * Bounded copy of @p s into @p buf (room for @p bufLen wide characters, the
     * terminator included). Returns the number of characters written without
     * the terminator; with a null @p buf, the room needed without the
     * terminator (`s.length()`), writing nothing; with @p bufLen below 1, 0.
     */
    static int QStringToWchar(const QString& s, wchar_t* buf, int bufLen);

    /// Replaces every element by its trimmed() form, in place.
    static void Trim(QStringList& list);
    /// Removes every leading @p c; returns how many were removed.
    static int TrimLeft(QString& s, wchar_t c);
    /// Removes every trailing @p c; returns how many were removed.
    static int TrimRight(QString& s, wchar_t c);

    /// True when the last "..." of @p s ends exactly at its end.
    static bool IsTextElided(QString s);

    /**
     * Splits @p text at the first @p separator (case-sensitive) into @p left and
     * @p right, trimming both when @p trim is set. Returns false (with all of
     * @p text in @p left) when there is no separator, and false for empty text.
     *
     * Kept on purpose: @p right starts one character after the separator's
     * first character whatever the separator's length ("a::b" at "::" gives
     * "a" and ":b"). Callers divide at one-character separators.
     */
    static bool Divide(
        const QString& text, const QString& separator, QString& left, QString& right, bool trim);

    /// Appends each element of @p source that @p target does not contain yet, in order.
    static void AddList(const QStringList& source, QStringList& target, bool caseSensitive);

    /// Index of the first element of @p list equal to @p s, or -1.
    static int IndexOf(QString s, const QStringList& list, bool caseSensitive);

    /**
     * Expands every "$(NAME)" of @p text whose NAME is in @p values, in place;
     * returns the number of references replaced. Unknown names stay as written.
     * The search goes on one character after each reference, so a value that
     * holds a reference after its first character is expanded in turn. A value
     * that refers to itself would grow without end: expansion stops after
     * 4096 replacements.
     */
    static int ResolveVariables(
        QString& text, const QMap<QString, QString>& values, bool ignoreCase);

    /**
     * Looks @p key up in @p values: exactly first, then (with @p ignoreCase) the
     * first key in map order that matches case-insensitively. On success sets
     * @p value and returns true; otherwise leaves @p value untouched.
     */
    static bool GetKeyValue(
        const QString& key, QMap<QString, QString> values, QString& value, bool ignoreCase);
};

} // namespace CloudUtil
} // namespace Tessaron
