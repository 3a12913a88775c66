// Value conversions: ISO 8601 durations, display texts of durations and sizes,
// enumeration name tables, call texts and variant lists.

#include "CloudUtil/GeneralUtil.h"

#include <QRegularExpression>

namespace Tessaron {
namespace CloudUtil {

namespace {

// Groups: 2 years, 4 months, 6 days, 8 hours, 10 minutes, 12 seconds.
// Not anchored: the server's duration may sit inside a longer text.
const QRegularExpression& durationExpression()
{
    static const QRegularExpression re(QStringLiteral(
        "P(([0-9]+)Y)?(([0-9]+)M)?(([0-9]+)D)?T(([0-9]+)H)?(([0-9]+)M)?(([0-9]+(\\.[0-9]+)?)S)?"));
    return re;
}

constexpr int kDurationCaptures = 13;

// Converts a captured count when there is one; false when it does not fit.
bool takeCount(const QRegularExpressionMatch& match, int group, int& field)
{
    const QString text = match.captured(group);
    if (text.isEmpty())
        return true;
    bool ok = false;
    const int value = text.toInt(&ok, 10);
    if (!ok)
        return false;
    field = value;
    return true;
}

constexpr quint32 kSecondsPerMinute = 60;
constexpr quint32 kSecondsPerHour = 3600;
constexpr quint32 kSecondsPerDay = 86400;
constexpr quint32 kSecondsPerMonth = 2592000; // 30 days
constexpr quint32 kSecondsPerYear = 31536000; // 365 days

constexpr qint64 kKiB = 1024;
constexpr qint64 kMiB = 1024 * kKiB;
constexpr qint64 kGiB = 1024 * kMiB;

// Types 1 to 11 that JSON can hold, bit (type - 1): all but QChar (7).
constexpr quint32 kJsonTypeMask = 1983;

} // namespace

bool GeneralUtil::ParseDuration(const QString& text, int& years, int& months, int& days, int& hours,
    int& minutes, double& seconds)
{
    years = months = days = hours = minutes = 0;
    seconds = 0;
    if (text.isEmpty())
        return false;
    const QRegularExpression& re = durationExpression();
    const QRegularExpressionMatch match = re.match(text);
    if (!match.hasMatch() || re.captureCount() != kDurationCaptures)
        return false;
    if (!takeCount(match, 2, years) || !takeCount(match, 4, months) || !takeCount(match, 6, days)
        || !takeCount(match, 8, hours) || !takeCount(match, 10, minutes))
        return false;
    const QString secondsText = match.captured(12);
    if (!secondsText.isEmpty())
        seconds = secondsText.toDouble();
    return true;
}

bool GeneralUtil::ParseDuration(const QString& text, double& totalSeconds)
{
    totalSeconds = 0;
    int years, months, days, hours, minutes;
    double seconds;
    if (!ParseDuration(text, years, months, days, hours, minutes, seconds))
        return false;
    // Summed modulo 2^32 and read back as signed: the 32-bit wrap of large
    // durations is part of the result, without the undefined behaviour of a
    // signed overflow.
    const quint32 whole = quint32(minutes) * kSecondsPerMinute + quint32(hours) * kSecondsPerHour
        + quint32(days) * kSecondsPerDay + quint32(months) * kSecondsPerMonth
        + quint32(years) * kSecondsPerYear;
    totalSeconds = double(qint32(whole)) + seconds;
    return true;
}

QString GeneralUtil::MilliSecondsToDisplayString(qint64 milliseconds)
{
    const qint32 s = qint32(milliseconds / 1000);
    if (s >= 86400)
        return QStringLiteral("%1 day(s)").arg(s / 86400);
    if (s >= 7200)
        return QStringLiteral("%1 hour(s)").arg(s / 3600);
    if (s >= 60)
        return QStringLiteral("%1 minute(s)").arg(s / 60);
    if (s >= 1)
        return QStringLiteral("%1 second(s)").arg(s);
    const qint32 rest = qint32(quint32(milliseconds) - quint32(s) * 1000u);
    return QStringLiteral("%1 milliseconds").arg(rest);
}

QString GeneralUtil::BytesToString(qint64 bytes, int precision)
{
    // QString::arg() without the 'L' flag formats in the C locale: the
    // decimal point is '.' whatever the user's locale.
    if (bytes < kKiB)
        return QStringLiteral("%1 bytes").arg(bytes);
    if (bytes < kMiB)
        return QStringLiteral("%1 KB").arg(double(bytes) / double(kKiB), 0, 'f', precision);
    if (bytes < kGiB)
        return QStringLiteral("%1 MB").arg(double(bytes) / double(kMiB), 0, 'f', precision);
    return QStringLiteral("%1 GB").arg(double(bytes) / double(kGiB), 0, 'f', precision);
}

QList<int> GeneralUtil::GetOneBits(int mask)
{
    QList<int> bits;
    const quint32 m = quint32(mask);
    for (int i = 0; i < 32; ++i) {
        if (m & (1u << i))
            bits.append(int(1u << i));
    }
    return bits;
}

QString GeneralUtil::EnumValueToName(int value, const EnumValueName* table, int count, bool isFlags)
{
    if (!table)
        return QString();
    if (!isFlags) {
        for (int i = 0; i < count; ++i) {
            if (table[i].value == value)
                return table[i].name;
        }
        return QString();
    }
    QStringList names;
    for (int i = 0; i < count; ++i) {
        if (table[i].value & value)
            names.append(table[i].name);
    }
    return names.join(QLatin1Char(','));
}

int GeneralUtil::EnumNameToValue(
    const QString& name, const EnumValueName* table, int count, bool isFlags)
{
    if (!table)
        return -1;
    if (!isFlags) {
        for (int i = 0; i < count; ++i) {
            if (table[i].name.compare(name, Qt::CaseInsensitive) == 0)
                return table[i].value;
        }
        return -1;
    }
    QStringList parts = name.split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (QString& part : parts)
        part = part.trimmed();
    int value = 0;
    bool matched = false;
    for (int i = 0; i < count; ++i) {
        if (parts.contains(table[i].name, Qt::CaseInsensitive)) {
            value |= table[i].value;
            matched = true;
        }
    }
    return matched ? value : -1;
}

QStringList GeneralUtil::GetEnumNames(const EnumValueName* table, int count)
{
    QStringList names;
    if (!table)
        return names;
    for (int i = 0; i < count; ++i)
        names.append(table[i].name);
    return names;
}

wchar_t GeneralUtil::GetMatchingBrace(wchar_t open)
{
    return open == L'(' ? L')' : 0;
}

int GeneralUtil::FindMatchingBrace(const QString& text, int openPos)
{
    if (openPos < 0 || openPos >= text.size() || text.at(openPos) != QLatin1Char('('))
        return -1;
    const QChar close(char16_t(GetMatchingBrace(L'(')));
    int depth = 0;
    for (qsizetype i = openPos; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('('))
            ++depth;
        else if (c == close && --depth == 0)
            return int(i);
    }
    return -1;
}

bool GeneralUtil::ParseFunction(const QString& text, QString& name, QStringList& args)
{
    name = QString();
    args.clear();
    if (text.isEmpty())
        return false;
    const qsizetype open = text.indexOf(QLatin1Char('('));
    if (open < 0)
        return false;
    name = text.left(open);
    const int close = FindMatchingBrace(text, int(open));
    if (close < 0)
        return false;
    if (close == open + 1)
        return true;
    args = text.mid(open + 1, close - open - 1).split(QLatin1Char(','), Qt::KeepEmptyParts);
    for (QString& arg : args)
        arg = arg.trimmed();
    return true;
}

QString GeneralUtil::DYNAMIC_SLOT(const char* signature)
{
    return QStringLiteral("%1%2").arg(QString::number(1), QString::fromLatin1(signature));
}

QString GeneralUtil::DYNAMIC_SIGNAL(const char* signature)
{
    return QStringLiteral("%1%2").arg(QString::number(2), QString::fromLatin1(signature));
}

bool GeneralUtil::IsTypeSupportedInJson(QMetaType::Type type)
{
    const int id = int(type);
    return id >= 1 && id <= 11 && (kJsonTypeMask & (1u << (id - 1))) != 0;
}

QList<int> GeneralUtil::ToIntList(const QList<QVariant>& list)
{
    QList<int> ints;
    ints.reserve(list.size());
    for (const QVariant& v : list)
        ints.append(v.toInt());
    return ints;
}

QList<QVariant> GeneralUtil::ToVariantList(const QList<int>& list)
{
    QList<QVariant> variants;
    variants.reserve(list.size());
    for (int i : list)
        variants.append(QVariant(i));
    return variants;
}

} // namespace CloudUtil
} // namespace Tessaron
