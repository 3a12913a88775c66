// GeneralUtil value conversions: durations, display texts, bit masks,
// enumeration name tables, call texts, connection codes and variant lists.

#include "CloudUtil/GeneralUtil.h"

#include "TestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <vector>

using Tessaron::CloudUtil::GeneralUtil;
using EnumValueName = GeneralUtil::EnumValueName;

TEST(ValuesTest, ParseDuration)
{
    const struct
    {
        QString text;
        bool ok;
        int y, mo, d, h, mi;
        double s, total;
    } rows[] = {
        { "P1Y2M3DT4H5M6.5S", true, 1, 2, 3, 4, 5, 6.5, 36993906.5 },
        { "PT0.5S", true, 0, 0, 0, 0, 0, 0.5, 0.5 },
        { "PT1.25S and more", true, 0, 0, 0, 0, 0, 1.25, 1.25 },
        { "P3DT", true, 0, 0, 3, 0, 0, 0, 259200 },
        { "xxPT5M", true, 0, 0, 0, 0, 5, 0, 300 },
        { "P5MT", true, 0, 5, 0, 0, 0, 0, 12960000 },
        // Kept on purpose: the "T" is required.
        { "P3D", false, 0, 0, 0, 0, 0, 0, 0 },
        { "", false, 0, 0, 0, 0, 0, 0, 0 },
        { "pt5m", false, 0, 0, 0, 0, 0, 0, 0 },
        // A seconds part without digits after the point is not one: the match stops at "PT".
        { "PT1.S", true, 0, 0, 0, 0, 0, 0, 0 },
        // Kept on purpose: the whole part wraps in 32 bits.
        { "P100YT", true, 100, 0, 0, 0, 0, 0, -1141367296.0 },
        { "P100YT0.5S", true, 100, 0, 0, 0, 0, 0.5, -1141367295.5 },
        // Fields converted before the failing one keep their values.
        { "P99999999999YT", false, 0, 0, 0, 0, 0, 0, 0 },
        { "P1Y99999999999MT", false, 1, 0, 0, 0, 0, 0, 0 },
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(qPrintable(r.text));
        int y = -7, mo = -7, d = -7, h = -7, mi = -7;
        double s = -7, total = -7;
        EXPECT_EQ(GeneralUtil::ParseDuration(r.text, y, mo, d, h, mi, s), r.ok);
        EXPECT_EQ(GeneralUtil::ParseDuration(r.text, total), r.ok);
        EXPECT_EQ((std::vector<double> {
                      double(y), double(mo), double(d), double(h), double(mi), s, total }),
            (std::vector<double> {
                double(r.y), double(r.mo), double(r.d), double(r.h), double(r.mi), r.s, r.total }));
    }
}

TEST(ValuesTest, MilliSecondsToDisplayString)
{
    const struct
    {
        qint64 ms;
        QString text;
    } rows[] = {
        { 0, "0 milliseconds" },
        { 999, "999 milliseconds" },
        { 1000, "1 second(s)" },
        { 59999, "59 second(s)" },
        // Kept on purpose: hours only from two hours on.
        { 3600000, "60 minute(s)" },
        { 7199999, "119 minute(s)" },
        { 7200000, "2 hour(s)" },
        { 86400000, "1 day(s)" },
        { qint64(86400000) * 1234, "1234 day(s)" },
        { -5000, "0 milliseconds" },
        { -5500, "-500 milliseconds" },
        // The whole seconds are a 32-bit number: 2^32 + 1 seconds read as 1.
        { qint64(4294967297) * 1000 + 500, "1 second(s)" },
        { qint64(2147483648) * 1000, "0 milliseconds" },
    };
    for (const auto& r : rows)
        EXPECT_EQ(GeneralUtil::MilliSecondsToDisplayString(r.ms), r.text) << r.ms;
}

TEST(ValuesTest, BytesToString)
{
    const struct
    {
        qint64 bytes;
        int precision;
        QString text;
    } rows[] = {
        { 1023, 2, "1023 bytes" },
        { -5000, 2, "-5000 bytes" },
        { 1024, 2, "1.00 KB" },
        { 1536, 1, "1.5 KB" },
        { 1792, 0, "2 KB" },
        { 1610612736, 2, "1.50 GB" },
        { qint64(5) << 40, 2, "5120.00 GB" },
        // The unit follows the exact threshold; the rounding comes after it.
        { 1048575, 2, "1024.00 KB" },
        { 1073741823, 3, "1024.000 MB" },
        { LLONG_MAX, 2, "8589934592.00 GB" },
    };
    for (const auto& r : rows)
        EXPECT_EQ(GeneralUtil::BytesToString(r.bytes, r.precision), r.text) << r.bytes;
}

// The display texts must not follow the user's locale. QLocale::setDefault()
// would not reach QLocale::system(), so a child process runs with a German
// locale in its environment and reports its texts.
TEST(ValuesTest, DisplayTextsIgnoreTheSystemLocale)
{
    const testutil::ProcessResult r
        = testutil::run(testutil::builtExecutable(QStringLiteral("generalutilvalueshelper")), {},
            60000, { "LC_ALL=de_DE.UTF-8", "LANG=de_DE.UTF-8", "LC_NUMERIC=de_DE.UTF-8" });
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QStringList lines = QString::fromUtf8(r.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    // The first line proves that the locale took effect, or the rest would show nothing.
    EXPECT_EQ(lines, QStringList({ "system 1.234,5", "1.50 KB", "1234.0 GB", "1234 day(s)" }));
}

TEST(ValuesTest, GetOneBits)
{
    const struct
    {
        int mask;
        QList<int> bits;
    } rows[] = {
        { 0, {} },
        { 5, { 1, 4 } },
        { INT_MIN, { INT_MIN } },
        { INT_MIN | 1, { 1, INT_MIN } },
        { 0x60, { 0x20, 0x40 } },
    };
    for (const auto& r : rows)
        EXPECT_EQ(GeneralUtil::GetOneBits(r.mask), r.bits) << r.mask;
    EXPECT_EQ(GeneralUtil::GetOneBits(-1).size(), 32);
}

namespace {
const EnumValueName kAccess[]
    = { { 0, "None" }, { 1, "Read" }, { 2, "Write" }, { 4, "Execute" }, { 7, "All" } };
const EnumValueName kColours[]
    = { { 1, "Red" }, { 2, "Green" }, { 2, "Verde" }, { -3, "Negative" } };
} // namespace

TEST(ValuesTest, EnumValueToNameAndBack)
{
    const struct
    {
        int value;
        const EnumValueName* table;
        int count;
        bool isFlags;
        QString text;
    } toName[] = {
        { 1, kColours, 4, false, "Red" },
        { 2, kColours, 4, false, "Green" },
        { -3, kColours, 4, false, "Negative" },
        { 5, kColours, 4, false, "" },
        { 0, kAccess, 5, false, "None" },
        { 4, kAccess, 3, false, "" },
        { 1, nullptr, 3, false, "" },
        { 3, kAccess, 5, true, "Read,Write,All" },
        { 0, kAccess, 5, true, "" }, // the zero row is never shown for flags
        { 8, kAccess, 5, true, "" },
    };
    for (const auto& r : toName)
        EXPECT_EQ(GeneralUtil::EnumValueToName(r.value, r.table, r.count, r.isFlags), r.text)
            << r.value;

    const struct
    {
        QString text;
        const EnumValueName* table;
        int count;
        bool isFlags;
        int value;
    } toValue[] = {
        { "READ", kAccess, 5, false, 1 },
        { "verde", kColours, 4, false, 2 },
        { "Blue", kColours, 4, false, -1 },
        { "Read, write", kAccess, 5, false, -1 },
        { "Read", nullptr, 5, false, -1 },
        { "Read, write", kAccess, 5, true, 3 },
        { ",Read,,Execute,", kAccess, 5, true, 5 },
        { " Read , bogus", kAccess, 5, true, 1 },
        { "bogus", kAccess, 5, true, -1 },
        { "none", kAccess, 5, true, 0 },
        { "All", kAccess, 5, true, 7 },
    };
    for (const auto& r : toValue)
        EXPECT_EQ(GeneralUtil::EnumNameToValue(r.text, r.table, r.count, r.isFlags), r.value)
            << qPrintable(r.text);

    EXPECT_EQ(GeneralUtil::GetEnumNames(kAccess, 5),
        QStringList({ "None", "Read", "Write", "Execute", "All" }));
    EXPECT_EQ(GeneralUtil::GetEnumNames(kAccess, 2), QStringList({ "None", "Read" }));
    EXPECT_TRUE(GeneralUtil::GetEnumNames(kAccess, -1).isEmpty());
    EXPECT_TRUE(GeneralUtil::GetEnumNames(nullptr, 3).isEmpty());
}

TEST(ValuesTest, FlagNamesRoundTrip)
{
    // Single-bit flags, the sign bit included, with names in mixed case.
    EnumValueName table[8];
    const int bits[8] = { 1, 2, 8, 0x100, 0x4000, 0x10000, 0x40000000, INT_MIN };
    for (int i = 0; i < 8; ++i)
        table[i]
            = { bits[i], QStringLiteral("Flag%1%2").arg(i).arg(QLatin1Char(i % 2 ? 'a' : 'B')) };
    for (int subset = 1; subset < 256; ++subset) {
        int value = 0;
        for (int i = 0; i < 8; ++i)
            value |= (subset & (1 << i)) ? bits[i] : 0;
        const QString name = GeneralUtil::EnumValueToName(value, table, 8, true);
        ASSERT_EQ(GeneralUtil::EnumNameToValue(name, table, 8, true), value) << qPrintable(name);
        const QString respelled = name.toLower().replace(QLatin1Char(','), QStringLiteral(" , "));
        ASSERT_EQ(GeneralUtil::EnumNameToValue(respelled, table, 8, true), value)
            << qPrintable(respelled);
    }
}

TEST(ValuesTest, CallTexts)
{
    EXPECT_EQ(GeneralUtil::GetMatchingBrace(L'('), L')');
    EXPECT_EQ(GeneralUtil::GetMatchingBrace(L'['), L'\0');
    EXPECT_EQ(GeneralUtil::GetMatchingBrace(L')'), L'\0');
    const struct
    {
        QString text;
        int openPos, closePos;
    } braces[] = {
        { "f(a)", 1, 3 }, { "f(a(b)c)", 1, 7 }, { "f(a(b)c)", 3, 5 }, { "f(a", 1, -1 },
        { "f(a(b)", 1, -1 }, { "f(a)", 0, -1 }, { "()", -1, -1 }, { "()", 2, -1 },
        { "(\")\")", 0, 2 },
        { "([)]", 0, 2 }, // quotes are not recognised; only round brackets count
    };
    for (const auto& r : braces)
        EXPECT_EQ(GeneralUtil::FindMatchingBrace(r.text, r.openPos), r.closePos)
            << qPrintable(r.text) << r.openPos;

    const struct
    {
        QString text;
        bool ok;
        QString function;
        QStringList args;
    } calls[] = {
        { "f()", true, "f", {} },
        { "Open(a.txt, 3)", true, "Open", { "a.txt", "3" } },
        // Kept on purpose: commas inside nested brackets split too.
        { "f(a, (b, c))", true, "f", { "a", "(b", "c)" } },
        { "f(a", false, "f", {} },
        { "name", false, "", {} },
        { ")(", false, ")", {} },
        { " g ( x ,y, ) tail", true, " g ", { "x", "y", "" } },
        { "f( )", true, "f", { "" } },
        { "f(a)(b)", true, "f", { "a" } },
    };
    for (const auto& r : calls) {
        QString name = QStringLiteral("stale");
        QStringList args { QStringLiteral("stale") };
        EXPECT_EQ(GeneralUtil::ParseFunction(r.text, name, args), r.ok) << qPrintable(r.text);
        EXPECT_EQ(QStringList(name) + args, QStringList(r.function) + r.args) << qPrintable(r.text);
    }
    // Signatures marked as QObject::connect() expects them: Qt's slot and signal codes.
    EXPECT_EQ(GeneralUtil::DYNAMIC_SLOT("deleteLater()"), QStringLiteral("1deleteLater()"));
    EXPECT_EQ(
        GeneralUtil::DYNAMIC_SIGNAL("destroyed(QObject*)"), QStringLiteral("2destroyed(QObject*)"));
}

TEST(ValuesTest, Variants)
{
    for (QMetaType::Type t : { QMetaType::Bool, QMetaType::Int, QMetaType::UInt,
             QMetaType::LongLong, QMetaType::ULongLong, QMetaType::Double, QMetaType::QVariantMap,
             QMetaType::QVariantList, QMetaType::QString, QMetaType::QStringList })
        EXPECT_TRUE(GeneralUtil::IsTypeSupportedInJson(t)) << int(t);
    for (QMetaType::Type t : { QMetaType::UnknownType, QMetaType::QChar, QMetaType::QByteArray,
             QMetaType::QDateTime, QMetaType::QVariantHash, QMetaType::Float, QMetaType::User })
        EXPECT_FALSE(GeneralUtil::IsTypeSupportedInJson(t)) << int(t);

    EXPECT_EQ(GeneralUtil::ToIntList({ 7, "42", "x", 3.0, true, QVariant() }),
        QList<int>({ 7, 42, 0, 3, 1, 0 }));
    const QList<int> ints { INT_MIN, -1, 0, 5, INT_MAX };
    const QList<QVariant> variants = GeneralUtil::ToVariantList(ints);
    EXPECT_TRUE(std::all_of(variants.begin(), variants.end(),
        [](const QVariant& v) { return v.typeId() == QMetaType::Int; }));
    EXPECT_EQ(GeneralUtil::ToIntList(variants), ints);
}

// Their usage errors are checked with those of every other command of the tool.
TEST(ValuesTest, ToolDurationAndSizeCommands)
{
    const QString tool = testutil::builtExecutable(QStringLiteral("synccore"));
    if (!QFileInfo::exists(tool))
        GTEST_SKIP() << "the tool is not built";
    const struct
    {
        QStringList args;
        int exitCode;
        const char* output;
    } rows[] = {
        { { "duration", "P1DT2H" }, 0, "total seconds: 93600" },
        { { "duration", "P1DT2H" }, 0, "display: 1 day(s)" },
        { { "duration", "P3D" }, 1, "not an ISO 8601 duration" },
        { { "size", "1536" }, 0, "1.50 KB" },
        { { "size", "1536", "--precision", "0" }, 0, "2 KB" },
    };
    for (const auto& row : rows) {
        const testutil::ProcessResult r = testutil::run(tool, row.args);
        SCOPED_TRACE(qPrintable(row.args.join(QLatin1Char(' '))));
        EXPECT_EQ(r.exitCode, row.exitCode);
        EXPECT_TRUE((row.exitCode ? r.err : r.out).contains(row.output))
            << r.out.constData() << r.err.constData();
        EXPECT_EQ(r.err.count('\n'), row.exitCode) << "one error line, none on success";
    }
}
