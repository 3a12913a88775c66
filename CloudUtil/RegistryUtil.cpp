#include "CloudUtil/RegistryUtil.h"

#include <QSettings>
#include <QVariant>

#include <cstdint>
#include <utility>

namespace Tessaron {
namespace CloudUtil {

namespace {

// One fresh store per call, so that every call sees what earlier calls wrote;
// QSettings writes pending changes back when it goes.
QVariant readValue(const QString& key, const QString& name, const QVariant& defaultValue)
{
    QSettings settings;
    settings.beginGroup(key);
    const QVariant value = settings.value(name, defaultValue);
    settings.endGroup();
    return value;
}

void writeValue(const QString& key, const QString& name, const QVariant& value)
{
    QSettings settings;
    settings.beginGroup(key);
    settings.setValue(name, value);
    settings.endGroup();
}

} // namespace

bool RegistryUtil::KeyExists(QString key, bool /*machineWide*/)
{
    QSettings settings;
    return settings.contains(key);
}

bool RegistryUtil::KeyExists(QString key)
{
    return KeyExists(std::move(key), false);
}

void RegistryUtil::DeleteValue(QString key, QString name, bool /*machineWide*/)
{
    // QSettings::remove("") removes the whole group (the whole store outside any group).
    if (name.isEmpty())
        return;
    QSettings settings;
    settings.beginGroup(key);
    settings.remove(name);
    settings.endGroup();
}

bool RegistryUtil::DeleteKey(QString /*key*/, bool /*machineWide*/)
{
    // Callers on this platform never remove whole keys; the result carries no meaning.
    return false;
}

QString RegistryUtil::ReadString(
    QString key, QString name, QString defaultValue, bool /*machineWide*/)
{
    return readValue(key, name, defaultValue).toString();
}

QString RegistryUtil::ReadString(QString key, QString name, QString defaultValue)
{
    return ReadString(std::move(key), std::move(name), std::move(defaultValue), false);
}

bool RegistryUtil::WriteString(QString key, QString name, QString value, bool /*machineWide*/)
{
    writeValue(key, name, value);
    // Callers do not rely on the result; it has always been false here.
    return false;
}

bool RegistryUtil::WriteString(QString key, QString name, QString value)
{
    return WriteString(std::move(key), std::move(name), std::move(value), false);
}

QStringList RegistryUtil::ReadMultiString(
    QString key, QString name, QStringList defaultValue, bool /*machineWide*/)
{
    return readValue(key, name, defaultValue).toStringList();
}

QStringList RegistryUtil::ReadMultiString(QString key, QString name, QStringList defaultValue)
{
    return ReadMultiString(std::move(key), std::move(name), std::move(defaultValue), false);
}

void RegistryUtil::WriteMultiString(
    QString key, QString name, QStringList value, bool /*machineWide*/)
{
    writeValue(key, name, value);
}

void RegistryUtil::WriteMultiString(QString key, QString name, QStringList value)
{
    WriteMultiString(std::move(key), std::move(name), std::move(value), false);
}

int RegistryUtil::ReadInt(QString key, QString name, int defaultValue, bool machineWide)
{
    const long long value = ReadInt64(std::move(key), std::move(name), defaultValue, machineWide);
    return static_cast<int>(static_cast<std::uint32_t>(value));
}

int RegistryUtil::ReadInt(QString key, QString name, int defaultValue)
{
    return ReadInt(std::move(key), std::move(name), defaultValue, false);
}

long long RegistryUtil::ReadInt64(
    QString key, QString name, long long defaultValue, bool /*machineWide*/)
{
    return readValue(key, name, QVariant(qlonglong(defaultValue))).toLongLong();
}

long long RegistryUtil::ReadInt64(QString key, QString name, long long defaultValue)
{
    return ReadInt64(std::move(key), std::move(name), defaultValue, false);
}

void RegistryUtil::WriteInt(QString key, QString name, int value, bool machineWide)
{
    WriteInt64(std::move(key), std::move(name), static_cast<long long>(value), machineWide);
}

void RegistryUtil::WriteInt(QString key, QString name, int value)
{
    WriteInt(std::move(key), std::move(name), value, false);
}

void RegistryUtil::WriteInt64(QString key, QString name, long long value, bool /*machineWide*/)
{
    writeValue(key, name, QVariant(qlonglong(value)));
}

void RegistryUtil::WriteInt64(QString key, QString name, long long value)
{
    WriteInt64(std::move(key), std::move(name), value, false);
}

} // namespace CloudUtil
} // namespace Tessaron
