// GeneralUtil value conversions: durations, display texts, bit masks,
// enumeration name tables, call texts, connection codes and variant lists.

#include "CloudUtil/GeneralUtil.h"

#include "TestUtil.h"

#include <QPointer>

#include <gtest/gtest.h>

#include <climits>
#include <random>

using Tessaron::CloudUtil::GeneralUtil;
using EnumValueName = GeneralUtil::EnumValueName;

// --- ParseDuration --------------------------------------------------------------

struct DurationRow
{
    const char* name;
    QString text;
    bool ok;
    int years, months, days, hours, minutes;
    double seconds;
    double total; // of the seconds overload; 0 when it fails
};

void PrintTo(const DurationRow& row, std::ostream* os) { *os << row.name; }

class ParseDurationTest : public ::testing::TestWithParam<DurationRow> {};

TEST_P(ParseDurationTest, Fields)
{
    const DurationRow& row = GetParam();
    int y = -7, mo = -7, d = -7, h = -7, mi = -7;
    double s = -7;
    EXPECT_EQ(GeneralUtil::ParseDuration(row.text, y, mo, d, h, mi, s), row.ok);
    EXPECT_EQ(y, row.years);
    EXPECT_EQ(mo, row.months);
    EXPECT_EQ(d, row.days);
    EXPECT_EQ(h, row.hours);
    EXPECT_EQ(mi, row.minutes);
    EXPECT_DOUBLE_EQ(s, row.seconds);

    double total = -7;
    EXPECT_EQ(GeneralUtil::ParseDuration(row.text, total), row.ok);
    EXPECT_DOUBLE_EQ(total, row.total);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ParseDurationTest,
    ::testing::Values(
        DurationRow{"all", QStringLiteral("P1Y2M3DT4H5M6.5S"), true, 1, 2, 3, 4, 5, 6.5, 36993906.5},
        DurationRow{"fraction", QStringLiteral("PT0.5S"), true, 0, 0, 0, 0, 0, 0.5, 0.5},
        // Kept on purpose: the "T" is required.
        DurationRow{"dateOnly", QStringLiteral("P3D"), false, 0, 0, 0, 0, 0, 0, 0},
        DurationRow{"dateWithT", QStringLiteral("P3DT"), true, 0, 0, 3, 0, 0, 0, 259200},
        DurationRow{"inText", QStringLiteral("xxPT5M"), true, 0, 0, 0, 0, 5, 0, 300},
        DurationRow{"monthBeforeT", QStringLiteral("P5MT"), true, 0, 5, 0, 0, 0, 0, 12960000},
        DurationRow{"trailingText", QStringLiteral("PT1.25S and more"), true, 0, 0, 0, 0, 0, 1.25, 1.25},
        DurationRow{"empty", QString(), false, 0, 0, 0, 0, 0, 0, 0},
        DurationRow{"lowerCase", QStringLiteral("pt5m"), false, 0, 0, 0, 0, 0, 0, 0},
        // A seconds part without digits after the point is not one: the match stops at "PT".
        DurationRow{"brokenSeconds", QStringLiteral("PT1.S"), true, 0, 0, 0, 0, 0, 0, 0},
        // Kept on purpose: the whole part wraps in 32 bits.
        DurationRow{"hundredYearsWrap", QStringLiteral("P100YT"), true, 100, 0, 0, 0, 0, 0, -1141367296.0},
        DurationRow{"wrapThenSeconds", QStringLiteral("P100YT0.5S"), true, 100, 0, 0, 0, 0, 0.5, -1141367295.5},
        DurationRow{"countTooLarge", QStringLiteral("P99999999999YT"), false, 0, 0, 0, 0, 0, 0, 0},
        // Fields converted before the failing one keep their values.
        DurationRow{"laterCountTooLarge", QStringLiteral("P1Y99999999999MT"), false, 1, 0, 0, 0, 0, 0, 0}),
    [](const auto& info) { return std::string(info.param.name); });

// --- MilliSecondsToDisplayString -----------------------------------------------------

struct MillisRow
{
    const char* name;
    qint64 milliseconds;
    QString text;
};

void PrintTo(const MillisRow& row, std::ostream* os) { *os << row.name; }

class MilliSecondsDisplayTest : public ::testing::TestWithParam<MillisRow> {};

TEST_P(MilliSecondsDisplayTest, OneUnit)
{
    EXPECT_EQ(GeneralUtil::MilliSecondsToDisplayString(GetParam().milliseconds), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MilliSecondsDisplayTest,
    ::testing::Values(
        MillisRow{"zero", 0, QStringLiteral("0 milliseconds")},
        MillisRow{"belowSecond", 999, QStringLiteral("999 milliseconds")},
        MillisRow{"second", 1000, QStringLiteral("1 second(s)")},
        MillisRow{"truncatedSeconds", 59999, QStringLiteral("59 second(s)")},
        // Kept on purpose: hours only from two hours on.
        MillisRow{"oneHourAsMinutes", 3600000, QStringLiteral("60 minute(s)")},
        MillisRow{"lastMinutes", 7199999, QStringLiteral("119 minute(s)")},
        MillisRow{"twoHours", 7200000, QStringLiteral("2 hour(s)")},
        MillisRow{"day", 86400000, QStringLiteral("1 day(s)")},
        MillisRow{"noGrouping", qint64(86400000) * 1234, QStringLiteral("1234 day(s)")},
        MillisRow{"negativeWholeSeconds", -5000, QStringLiteral("0 milliseconds")},
        MillisRow{"negativeRest", -5500, QStringLiteral("-500 milliseconds")},
        // The whole seconds are a 32-bit number: 2^32 + 1 seconds read as 1.
        MillisRow{"secondsWrap", qint64(4294967297) * 1000 + 500, QStringLiteral("1 second(s)")},
        MillisRow{"secondsWrapNegative", qint64(2147483648) * 1000, QStringLiteral("0 milliseconds")}),
    [](const auto& info) { return std::string(info.param.name); });

// --- BytesToString ------------------------------------------------------------------

struct BytesRow
{
    const char* name;
    qint64 bytes;
    int precision;
    QString text;
};

void PrintTo(const BytesRow& row, std::ostream* os) { *os << row.name; }

class BytesToStringTest : public ::testing::TestWithParam<BytesRow> {};

TEST_P(BytesToStringTest, Units)
{
    EXPECT_EQ(GeneralUtil::BytesToString(GetParam().bytes, GetParam().precision), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, BytesToStringTest,
    ::testing::Values(
        BytesRow{"lastBytes", 1023, 2, QStringLiteral("1023 bytes")},
        BytesRow{"negative", -5000, 2, QStringLiteral("-5000 bytes")},
        BytesRow{"kilobyte", 1024, 2, QStringLiteral("1.00 KB")},
        BytesRow{"oneDigit", 1536, 1, QStringLiteral("1.5 KB")},
        BytesRow{"noPoint", 1792, 0, QStringLiteral("2 KB")},
        // The unit follows the exact threshold; the rounding comes after it.
        BytesRow{"lastKilobytesRoundUp", 1048575, 2, QStringLiteral("1024.00 KB")},
        BytesRow{"lastMegabytes", 1073741823, 3, QStringLiteral("1024.000 MB")},
        BytesRow{"gigabytes", 1610612736, 2, QStringLiteral("1.50 GB")},
        BytesRow{"terabytesInGigabytes", qint64(5) << 40, 2, QStringLiteral("5120.00 GB")},
        BytesRow{"largest", LLONG_MAX, 2, QStringLiteral("8589934592.00 GB")}),
    [](const auto& info) { return std::string(info.param.name); });

// The display texts must not follow the user's locale. QLocale::setDefault()
// would not reach QLocale::system(), so a child process runs with a German
// locale in its environment and reports its texts.
TEST(DisplayTextLocale, SameUnderGermanLocale)
{
    const testutil::ProcessResult r =
        testutil::run(testutil::builtExecutable(QStringLiteral("generalutilvalueshelper")), {}, 60000,
                      {QStringLiteral("LC_ALL=de_DE.UTF-8"), QStringLiteral("LANG=de_DE.UTF-8"),
                       QStringLiteral("LC_NUMERIC=de_DE.UTF-8")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QStringList lines = QString::fromUtf8(r.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 4) << r.out.toStdString();
    // Proof that the locale took effect, or the rest would show nothing.
    ASSERT_EQ(lines.at(0), QStringLiteral("system 1.234,5")) << "the child did not get the German locale";
    EXPECT_EQ(lines.at(1), QStringLiteral("1.50 KB"));
    EXPECT_EQ(lines.at(2), QStringLiteral("1234.0 GB"));
    EXPECT_EQ(lines.at(3), QStringLiteral("1234 day(s)"));
}

// --- GetOneBits -----------------------------------------------------------------------

TEST(GetOneBitsTest, Rows)
{
    const struct { int mask; QList<int> bits; } rows[] = {
        {0, {}},
        {5, {1, 4}},
        {INT_MIN, {INT_MIN}},
        {INT_MIN | 1, {1, INT_MIN}},
        {0x60, {0x20, 0x40}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(GeneralUtil::GetOneBits(row.mask), row.bits) << row.mask;
}

TEST(GetOneBitsTest, SingleAscendingBitsThatMakeTheMask)
{
    std::mt19937 rng(99);
    for (int i = 0; i < 5000; ++i) {
        const int mask = int(rng());
        const QList<int> bits = GeneralUtil::GetOneBits(mask);
        quint32 rebuilt = 0;
        quint32 previous = 0;
        for (int bit : bits) {
            const quint32 b = quint32(bit);
            ASSERT_EQ(b & (b - 1), 0u) << "not a single bit: " << bit;
            ASSERT_GT(b, previous) << "not ascending";
            previous = b;
            rebuilt |= b;
        }
        ASSERT_EQ(rebuilt, quint32(mask));
    }
    EXPECT_EQ(GeneralUtil::GetOneBits(-1).size(), 32);
}

// --- Enumeration name tables ---------------------------------------------------------

namespace {

const EnumValueName kAccess[] = {
    {0, QStringLiteral("None")},
    {1, QStringLiteral("Read")},
    {2, QStringLiteral("Write")},
    {4, QStringLiteral("Execute")},
    {7, QStringLiteral("All")},
};
constexpr int kAccessCount = int(std::size(kAccess));

const EnumValueName kColours[] = {
    {1, QStringLiteral("Red")},
    {2, QStringLiteral("Green")},
    {2, QStringLiteral("Verde")},
    {-3, QStringLiteral("Negative")},
};
constexpr int kColoursCount = int(std::size(kColours));

} // namespace

struct ToNameRow
{
    const char* name;
    int value;
    const EnumValueName* table;
    int count;
    bool isFlags;
    QString text;
};

void PrintTo(const ToNameRow& row, std::ostream* os) { *os << row.name; }

class EnumValueToNameTest : public ::testing::TestWithParam<ToNameRow> {};

TEST_P(EnumValueToNameTest, Names)
{
    const ToNameRow& row = GetParam();
    EXPECT_EQ(GeneralUtil::EnumValueToName(row.value, row.table, row.count, row.isFlags), row.text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, EnumValueToNameTest,
    ::testing::Values(
        ToNameRow{"value", 1, kColours, kColoursCount, false, QStringLiteral("Red")},
        ToNameRow{"firstOfTwins", 2, kColours, kColoursCount, false, QStringLiteral("Green")},
        ToNameRow{"negative", -3, kColours, kColoursCount, false, QStringLiteral("Negative")},
        ToNameRow{"unknown", 5, kColours, kColoursCount, false, QString()},
        ToNameRow{"zeroValue", 0, kAccess, kAccessCount, false, QStringLiteral("None")},
        ToNameRow{"beyondCount", 4, kAccess, 3, false, QString()},
        ToNameRow{"nullTable", 1, nullptr, 3, false, QString()},
        ToNameRow{"flags", 3, kAccess, kAccessCount, true, QStringLiteral("Read,Write,All")},
        ToNameRow{"flagsZeroRowNeverShown", 0, kAccess, kAccessCount, true, QString()},
        ToNameRow{"flagsUnknownBit", 8, kAccess, kAccessCount, true, QString()}),
    [](const auto& info) { return std::string(info.param.name); });

struct ToValueRow
{
    const char* name;
    QString text;
    const EnumValueName* table;
    int count;
    bool isFlags;
    int value;
};

void PrintTo(const ToValueRow& row, std::ostream* os) { *os << row.name; }

class EnumNameToValueTest : public ::testing::TestWithParam<ToValueRow> {};

TEST_P(EnumNameToValueTest, Values)
{
    const ToValueRow& row = GetParam();
    EXPECT_EQ(GeneralUtil::EnumNameToValue(row.text, row.table, row.count, row.isFlags), row.value);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, EnumNameToValueTest,
    ::testing::Values(
        ToValueRow{"caseInsensitive", QStringLiteral("READ"), kAccess, kAccessCount, false, 1},
        ToValueRow{"twin", QStringLiteral("verde"), kColours, kColoursCount, false, 2},
        ToValueRow{"unknown", QStringLiteral("Blue"), kColours, kColoursCount, false, -1},
        ToValueRow{"listIsNotAName", QStringLiteral("Read, write"), kAccess, kAccessCount, false, -1},
        ToValueRow{"nullTable", QStringLiteral("Read"), nullptr, kAccessCount, false, -1},
        ToValueRow{"flags", QStringLiteral("Read, write"), kAccess, kAccessCount, true, 3},
        ToValueRow{"flagsEmptyParts", QStringLiteral(",Read,,Execute,"), kAccess, kAccessCount, true, 5},
        ToValueRow{"flagsOneUnknown", QStringLiteral(" Read , bogus"), kAccess, kAccessCount, true, 1},
        ToValueRow{"flagsAllUnknown", QStringLiteral("bogus"), kAccess, kAccessCount, true, -1},
        ToValueRow{"flagsZeroRowMatches", QStringLiteral("none"), kAccess, kAccessCount, true, 0},
        ToValueRow{"flagsMultiBitRow", QStringLiteral("All"), kAccess, kAccessCount, true, 7}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(EnumNameTableProperty, FlagNamesRoundTrip)
{
    // Single-bit flags, the sign bit included, with names in mixed case.
    EnumValueName table[8];
    const int bits[8] = {1, 2, 8, 0x100, 0x4000, 0x10000, 0x40000000, INT_MIN};
    for (int i = 0; i < 8; ++i)
        table[i] = {bits[i], QStringLiteral("Flag%1%2").arg(i).arg(QLatin1Char(i % 2 ? 'a' : 'B'))};
    for (int subset = 1; subset < 256; ++subset) {
        int value = 0;
        for (int i = 0; i < 8; ++i) {
            if (subset & (1 << i))
                value |= bits[i];
        }
        const QString name = GeneralUtil::EnumValueToName(value, table, 8, true);
        ASSERT_EQ(GeneralUtil::EnumNameToValue(name, table, 8, true), value) << name.toStdString();
        ASSERT_EQ(GeneralUtil::EnumNameToValue(name.toLower().replace(QLatin1Char(','), QStringLiteral(" , ")),
                                               table, 8, true),
                  value)
            << name.toStdString();
    }
}

TEST(EnumNameTableTest, GetEnumNames)
{
    EXPECT_EQ(GeneralUtil::GetEnumNames(kAccess, kAccessCount),
              (QStringList{"None", "Read", "Write", "Execute", "All"}));
    EXPECT_EQ(GeneralUtil::GetEnumNames(kAccess, 2), (QStringList{"None", "Read"}));
    EXPECT_TRUE(GeneralUtil::GetEnumNames(kAccess, 0).isEmpty());
    EXPECT_TRUE(GeneralUtil::GetEnumNames(kAccess, -1).isEmpty());
    EXPECT_TRUE(GeneralUtil::GetEnumNames(nullptr, 3).isEmpty());
}

// --- Brackets and call texts -------------------------------------------------------------

TEST(BraceTest, MatchingBrace)
{
    EXPECT_EQ(GeneralUtil::GetMatchingBrace(L'('), L')');
    EXPECT_EQ(GeneralUtil::GetMatchingBrace(L'['), L'\0');
    EXPECT_EQ(GeneralUtil::GetMatchingBrace(L')'), L'\0');

    const struct { QString text; int openPos; int closePos; } rows[] = {
        {QStringLiteral("f(a)"), 1, 3},
        {QStringLiteral("f(a(b)c)"), 1, 7},
        {QStringLiteral("f(a(b)c)"), 3, 5},
        {QStringLiteral("f(a"), 1, -1},
        {QStringLiteral("f(a(b)"), 1, -1},
        {QStringLiteral("f(a)"), 0, -1},
        {QStringLiteral("()"), -1, -1},
        {QStringLiteral("()"), 2, -1},
        {QStringLiteral("(\")\")"), 0, 2}, // quotes are not recognised
        {QStringLiteral("([)]"), 0, 2},    // only round brackets count
    };
    for (const auto& row : rows)
        EXPECT_EQ(GeneralUtil::FindMatchingBrace(row.text, row.openPos), row.closePos)
            << row.text.toStdString() << " at " << row.openPos;
}

struct FunctionRow
{
    const char* name;
    QString text;
    bool ok;
    QString function;
    QStringList args;
};

void PrintTo(const FunctionRow& row, std::ostream* os) { *os << row.name; }

class ParseFunctionTest : public ::testing::TestWithParam<FunctionRow> {};

TEST_P(ParseFunctionTest, Splits)
{
    const FunctionRow& row = GetParam();
    QString name = QStringLiteral("stale");
    QStringList args{QStringLiteral("stale")};
    EXPECT_EQ(GeneralUtil::ParseFunction(row.text, name, args), row.ok);
    EXPECT_EQ(name, row.function);
    EXPECT_EQ(args, row.args);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ParseFunctionTest,
    ::testing::Values(
        FunctionRow{"noArguments", QStringLiteral("f()"), true, QStringLiteral("f"), {}},
        FunctionRow{"arguments", QStringLiteral("Open(a.txt, 3)"), true, QStringLiteral("Open"), {"a.txt", "3"}},
        // Kept on purpose: commas inside nested brackets split too.
        FunctionRow{"nested", QStringLiteral("f(a, (b, c))"), true, QStringLiteral("f"), {"a", "(b", "c)"}},
        FunctionRow{"unclosed", QStringLiteral("f(a"), false, QStringLiteral("f"), {}},
        FunctionRow{"noBracket", QStringLiteral("name"), false, QString(), {}},
        FunctionRow{"nameUntrimmedEmptyArgKept", QStringLiteral(" g ( x ,y, ) tail"), true, QStringLiteral(" g "), {"x", "y", ""}},
        FunctionRow{"blankArgument", QStringLiteral("f( )"), true, QStringLiteral("f"), {""}},
        FunctionRow{"textAfterIgnored", QStringLiteral("f(a)(b)"), true, QStringLiteral("f"), {"a"}},
        FunctionRow{"closeBeforeOpen", QStringLiteral(")("), false, QStringLiteral(")"), {}}),
    [](const auto& info) { return std::string(info.param.name); });

// --- Connection codes ------------------------------------------------------------------

TEST(DynamicConnectionTest, CodesConnectThroughQt)
{
    EXPECT_EQ(GeneralUtil::DYNAMIC_SLOT("deleteLater()"), QStringLiteral("1deleteLater()"));
    EXPECT_EQ(GeneralUtil::DYNAMIC_SIGNAL("destroyed(QObject*)"), QStringLiteral("2destroyed(QObject*)"));

    // The codes are what QObject::connect() expects in front of a signature.
    QObject sender;
    QPointer<QObject> receiver = new QObject;
    const QByteArray signal = GeneralUtil::DYNAMIC_SIGNAL("objectNameChanged(QString)").toLatin1();
    const QByteArray slot = GeneralUtil::DYNAMIC_SLOT("deleteLater()").toLatin1();
    ASSERT_TRUE(QObject::connect(&sender, signal.constData(), receiver.data(), slot.constData()));
    sender.setObjectName(QStringLiteral("fired"));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(receiver.isNull()) << "the slot did not run";
}

// --- Variants ----------------------------------------------------------------------------

TEST(VariantTest, TypesSupportedInJson)
{
    const struct { QMetaType::Type type; bool supported; } rows[] = {
        {QMetaType::UnknownType, false}, {QMetaType::Bool, true},       {QMetaType::Int, true},
        {QMetaType::UInt, true},         {QMetaType::LongLong, true},   {QMetaType::ULongLong, true},
        {QMetaType::Double, true},       {QMetaType::QChar, false},     {QMetaType::QVariantMap, true},
        {QMetaType::QVariantList, true}, {QMetaType::QString, true},    {QMetaType::QStringList, true},
        {QMetaType::QByteArray, false},  {QMetaType::QDateTime, false}, {QMetaType::QVariantHash, false},
        {QMetaType::Float, false},       {QMetaType::User, false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(GeneralUtil::IsTypeSupportedInJson(row.type), row.supported) << int(row.type);
}

TEST(VariantTest, IntLists)
{
    const QList<QVariant> mixed{QVariant(7), QVariant(QStringLiteral("42")), QVariant(QStringLiteral("x")),
                                QVariant(3.0), QVariant(true), QVariant()};
    EXPECT_EQ(GeneralUtil::ToIntList(mixed), (QList<int>{7, 42, 0, 3, 1, 0}));

    const QList<int> ints{INT_MIN, -1, 0, 5, INT_MAX};
    const QList<QVariant> variants = GeneralUtil::ToVariantList(ints);
    ASSERT_EQ(variants.size(), ints.size());
    for (const QVariant& v : variants)
        EXPECT_EQ(v.typeId(), QMetaType::Int);
    EXPECT_EQ(GeneralUtil::ToIntList(variants), ints);
    EXPECT_TRUE(GeneralUtil::ToVariantList({}).isEmpty());
}

// --- The synccore tool's commands ----------------------------------------------------------

TEST(ValuesCommandsTest, DurationAndSize)
{
    const QString tool = testutil::builtExecutable(QStringLiteral("synccore"));
    if (!QFileInfo::exists(tool))
        GTEST_SKIP() << "the tool is not built";
    const struct { QStringList args; int exitCode; const char* output; } rows[] = {
        {{"duration", "P1DT2H"}, 0, "total seconds: 93600"},
        {{"duration", "P1DT2H"}, 0, "display: 1 day(s)"},
        {{"duration", "P3D"}, 1, "not an ISO 8601 duration"},
        {{"duration"}, 2, "usage"},
        {{"size", "1536"}, 0, "1.50 KB"},
        {{"size", "1536", "--precision", "0"}, 0, "2 KB"},
        {{"size", "12x"}, 2, "not a number of bytes"},
        {{"size", "1", "2"}, 2, "usage"},
    };
    for (const auto& row : rows) {
        const testutil::ProcessResult r = testutil::run(tool, row.args);
        const std::string where = row.args.join(QLatin1Char(' ')).toStdString();
        EXPECT_EQ(r.exitCode, row.exitCode) << where;
        const QByteArray text = row.exitCode == 0 ? r.out : r.err;
        EXPECT_TRUE(text.contains(row.output)) << where << ": " << text.toStdString();
        if (row.exitCode != 0) {
            EXPECT_EQ(r.err.count('\n'), 1) << where << ": one error line";
        }
    }
}
