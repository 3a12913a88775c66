#pragma once

#include "kvsynccore_export.h"

#include <QString>
#include <QStringList>

namespace Tessaron {
namespace CloudUtil {

/**
 * @brief Persistent settings phrased as a registry: keys (folders) holding named values.
 *
 * Values are stored through a default-constructed QSettings: the current
 * user's settings of the running application, under the organisation and
 * application names the host application has set on its QCoreApplication
 * (this library sets neither). A key is a settings group path ("A/B"), a value
 * name a key inside that group, so value "n" of key "K" is the setting "K/n".
 *
 * Every call makes its own QSettings and lets it go before returning, so each
 * call sees what earlier calls wrote; the class keeps no state. Calls from
 * several threads are as safe as QSettings makes concurrent access to one file.
 *
 * The trailing @c machineWide flag exists for platforms with a machine-wide
 * registry; here it is accepted and ignored. Nothing reports failure: a
 * missing value reads as the default, an unconvertible one as Qt's conversion
 * of it (empty string, empty list, 0).
 */
class KVSYNCCORE_EXPORT RegistryUtil
{
public:
    RegistryUtil() = delete;

    /**
     * @brief True when a value is stored under exactly the path @p key.
     *
     * Kept on purpose: a key that only holds values ("K" when "K/n" is set) is
     * false. Test a single value by passing its whole path, "K/n".
     */
    static bool KeyExists(QString key, bool machineWide);
    /// The same without the (ignored) machine-wide flag.
    static bool KeyExists(QString key);

    /// Removes value @p name of key @p key; a missing value is no error. An empty
    /// @p name names no value and deletes nothing (never the key or the whole store).
    static void DeleteValue(QString key, QString name, bool machineWide);

    /// Kept on purpose: does nothing and returns false; the result is no failure signal.
    static bool DeleteKey(QString key, bool machineWide);

    /// Value @p name of key @p key as a string, @p defaultValue when absent.
    static QString ReadString(QString key, QString name, QString defaultValue, bool machineWide);
    /// The same without the (ignored) machine-wide flag.
    static QString ReadString(QString key, QString name, QString defaultValue);

    /**
     * @brief Writes a string value.
     *
     * Kept on purpose: returns false whatever happened; callers must not take
     * the result as a failure signal.
     */
    static bool WriteString(QString key, QString name, QString value, bool machineWide);
    /// The same without the (ignored) machine-wide flag.
    static bool WriteString(QString key, QString name, QString value);

    /// Value @p name of key @p key as a string list, @p defaultValue when absent.
    static QStringList ReadMultiString(
        QString key, QString name, QStringList defaultValue, bool machineWide);
    /// The same without the (ignored) machine-wide flag.
    static QStringList ReadMultiString(QString key, QString name, QStringList defaultValue);

    /// Writes a string list value.
    static void WriteMultiString(QString key, QString name, QStringList value, bool machineWide);
    /// The same without the (ignored) machine-wide flag.
    static void WriteMultiString(QString key, QString name, QStringList value);

    /**
     * @brief ReadInt64() cut to its low 32 bits.
     *
     * A stored 4294967297 reads as 1; the default keeps its sign (-1 stays -1).
     */
    static int ReadInt(QString key, QString name, int defaultValue, bool machineWide);
    /// The same without the (ignored) machine-wide flag.
    static int ReadInt(QString key, QString name, int defaultValue);

    /// Value @p name of key @p key as a 64-bit integer, @p defaultValue when absent; 0 when it
    /// does not convert.
    static long long ReadInt64(QString key, QString name, long long defaultValue, bool machineWide);
    /// The same without the (ignored) machine-wide flag.
    static long long ReadInt64(QString key, QString name, long long defaultValue);

    /// Writes a 32-bit value, stored as a 64-bit integer (widened with its sign).
    static void WriteInt(QString key, QString name, int value, bool machineWide);
    /// The same without the (ignored) machine-wide flag.
    static void WriteInt(QString key, QString name, int value);

    /// Writes a 64-bit integer value.
    static void WriteInt64(QString key, QString name, long long value, bool machineWide);
    /// The same without the (ignored) machine-wide flag.
    static void WriteInt64(QString key, QString name, long long value);
};

} // namespace CloudUtil
} // namespace Tessaron
