// StringUtil: bounded wide copies, trimming, dividing, lists and variables.

#include "CloudUtil/StringUtil.h"

#include <gtest/gtest.h>

#include <cwchar>

using Tessaron::CloudUtil::StringUtil;

struct WcharRow
{
    const char* name;
    QString text;
    bool nullBuffer;
    int bufLen;
    int expected;
    std::wstring written; // buffer content up to the terminator
};

class QStringToWcharTest : public ::testing::TestWithParam<WcharRow> {};

TEST_P(QStringToWcharTest, BoundedCopy)
{
    const WcharRow& row = GetParam();
    wchar_t buffer[16];
    std::wmemset(buffer, L'#', 16);
    const int result = StringUtil::QStringToWchar(row.text, row.nullBuffer ? nullptr : buffer, row.bufLen);
    EXPECT_EQ(result, row.expected);
    if (row.nullBuffer || row.bufLen < 1) {
        EXPECT_EQ(buffer[0], L'#') << "wrote into the buffer";
        return;
    }
    EXPECT_EQ(std::wstring(buffer), row.written);
    EXPECT_EQ(buffer[row.bufLen], L'#') << "wrote past the buffer";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, QStringToWcharTest,
    ::testing::Values(
        WcharRow{"truncated", QStringLiteral("abcdef"), false, 4, 3, L"abc"},
        WcharRow{"nullBufferGivesLength", QStringLiteral("abcdef"), true, 4, 6, L""},
        WcharRow{"empty", QString(), false, 10, 0, L""},
        WcharRow{"zeroLength", QStringLiteral("abc"), false, 0, 0, L""},
        WcharRow{"negativeLength", QStringLiteral("abc"), false, -3, 0, L""},
        WcharRow{"fits", QStringLiteral("abc"), false, 10, 3, L"abc"},
        WcharRow{"exactlyNoRoomForLast", QStringLiteral("abc"), false, 3, 2, L"ab"},
        WcharRow{"oneSlotOnlyTerminator", QStringLiteral("abc"), false, 1, 0, L""},
        WcharRow{"nonAscii", QString::fromUtf8("h\xc3\xa9llo"), false, 10, 5, L"h\u00e9llo"},
        // A character outside the BMP stays whole: one 32-bit wide character.
        WcharRow{"surrogatePair", QString::fromUtf8("a\xf0\x9f\x98\x80" "b"), false, 10, 3, L"a\U0001F600b"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(QStringToWcharHolderTest, OwnsTerminatedCopy)
{
    Tessaron::CloudUtil::QStringToWchar holder(QStringLiteral("x/y z"));
    EXPECT_EQ(std::wstring(holder.data()), L"x/y z");
    Tessaron::CloudUtil::QStringToWchar empty{QString()};
    EXPECT_EQ(empty.data()[0], L'\0');
}

struct TrimRow
{
    const char* name;
    QString text;
    wchar_t c;
    bool left;
    QString result;
    int removed;
};

class TrimTest : public ::testing::TestWithParam<TrimRow> {};

TEST_P(TrimTest, RemovesAndCounts)
{
    const TrimRow& row = GetParam();
    QString s = row.text;
    const int removed = row.left ? StringUtil::TrimLeft(s, row.c) : StringUtil::TrimRight(s, row.c);
    EXPECT_EQ(s, row.result);
    EXPECT_EQ(removed, row.removed);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TrimTest,
    ::testing::Values(
        TrimRow{"rightSlashes", QStringLiteral("path///"), L'/', false, QStringLiteral("path"), 3},
        TrimRow{"leftEmpty", QString(), L'/', true, QString(), 0},
        TrimRow{"rightEmpty", QString(), L'/', false, QString(), 0},
        TrimRow{"leftSlashes", QStringLiteral("//a/b/"), L'/', true, QStringLiteral("a/b/"), 2},
        TrimRow{"allRemoved", QStringLiteral("////"), L'/', true, QString(), 4},
        TrimRow{"noneToRemove", QStringLiteral("a/"), L'/', true, QStringLiteral("a/"), 0},
        TrimRow{"caseMatters", QStringLiteral("Xxx"), L'x', true, QStringLiteral("Xxx"), 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(StringUtilTest, TrimList)
{
    QStringList list{QStringLiteral("  a "), QStringLiteral("\tb\n"), QString(), QStringLiteral("c")};
    StringUtil::Trim(list);
    EXPECT_EQ(list, (QStringList{QStringLiteral("a"), QStringLiteral("b"), QString(), QStringLiteral("c")}));
}

TEST(StringUtilTest, IsTextElided)
{
    const struct { QString text; bool elided; } rows[] = {
        {QStringLiteral("Long na..."), true},
        {QStringLiteral("..."), true},
        {QStringLiteral("a...b"), false},
        {QStringLiteral("a...b..."), true},
        {QStringLiteral("a.."), false},
        {QString(), false},
        {QStringLiteral("...."), true},
    };
    for (const auto& row : rows)
        EXPECT_EQ(StringUtil::IsTextElided(row.text), row.elided) << row.text.toStdString();
}

struct DivideRow
{
    const char* name;
    QString text, separator;
    bool trim;
    QString left, right;
    bool result;
};

class DivideTest : public ::testing::TestWithParam<DivideRow> {};

TEST_P(DivideTest, Splits)
{
    const DivideRow& row = GetParam();
    QString left = QStringLiteral("stale"), right = QStringLiteral("stale");
    EXPECT_EQ(StringUtil::Divide(row.text, row.separator, left, right, row.trim), row.result);
    EXPECT_EQ(left, row.left);
    EXPECT_EQ(right, row.right);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DivideTest,
    ::testing::Values(
        DivideRow{"keyValue", QStringLiteral("key=value"), QStringLiteral("="), false, QStringLiteral("key"), QStringLiteral("value"), true},
        DivideRow{"noSeparatorTrimmed", QStringLiteral(" novalue "), QStringLiteral("="), true, QStringLiteral("novalue"), QString(), false},
        // Kept on purpose: only one character of the separator is skipped.
        DivideRow{"longSeparatorSkipsOne", QStringLiteral("a::b"), QStringLiteral("::"), false, QStringLiteral("a"), QStringLiteral(":b"), true},
        DivideRow{"trimmedParts", QStringLiteral(" k = v "), QStringLiteral("="), true, QStringLiteral("k"), QStringLiteral("v"), true},
        DivideRow{"untrimmedParts", QStringLiteral(" k = v "), QStringLiteral("="), false, QStringLiteral(" k "), QStringLiteral(" v "), true},
        DivideRow{"firstSeparatorWins", QStringLiteral("a=b=c"), QStringLiteral("="), false, QStringLiteral("a"), QStringLiteral("b=c"), true},
        DivideRow{"emptyText", QString(), QStringLiteral("="), true, QString(), QString(), false},
        DivideRow{"separatorAtEnd", QStringLiteral("a="), QStringLiteral("="), false, QStringLiteral("a"), QString(), true},
        DivideRow{"caseSensitive", QStringLiteral("aXb"), QStringLiteral("x"), false, QStringLiteral("aXb"), QString(), false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(StringUtilTest, AddListKeepsOrderAndSkipsDuplicates)
{
    QStringList target{QStringLiteral("a"), QStringLiteral("B")};
    StringUtil::AddList({QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("c"), QStringLiteral("A")}, target, true);
    EXPECT_EQ(target, (QStringList{"a", "B", "b", "c", "A"}));

    QStringList insensitive{QStringLiteral("a"), QStringLiteral("B")};
    StringUtil::AddList({QStringLiteral("b"), QStringLiteral("C"), QStringLiteral("c"), QStringLiteral("A")}, insensitive, false);
    EXPECT_EQ(insensitive, (QStringList{"a", "B", "C"}));
}

TEST(StringUtilTest, IndexOf)
{
    const QStringList list{QStringLiteral("Alpha"), QStringLiteral("beta"), QStringLiteral("alpha")};
    EXPECT_EQ(StringUtil::IndexOf(QStringLiteral("alpha"), list, true), 2);
    EXPECT_EQ(StringUtil::IndexOf(QStringLiteral("alpha"), list, false), 0);
    EXPECT_EQ(StringUtil::IndexOf(QStringLiteral("gamma"), list, false), -1);
    EXPECT_EQ(StringUtil::IndexOf(QStringLiteral("x"), QStringList(), true), -1);
}

TEST(StringUtilTest, GetKeyValue)
{
    const QMap<QString, QString> values{{QStringLiteral("HOME"), QStringLiteral("/u")},
                                        {QStringLiteral("Home"), QStringLiteral("/v")}};
    QString value = QStringLiteral("untouched");
    EXPECT_FALSE(StringUtil::GetKeyValue(QStringLiteral("home"), values, value, false));
    EXPECT_EQ(value, QStringLiteral("untouched"));
    EXPECT_TRUE(StringUtil::GetKeyValue(QStringLiteral("Home"), values, value, true));
    EXPECT_EQ(value, QStringLiteral("/v")) << "an exact key wins over an earlier case-insensitive one";
    EXPECT_TRUE(StringUtil::GetKeyValue(QStringLiteral("home"), values, value, true));
    EXPECT_EQ(value, QStringLiteral("/u")) << "first key in map order";
}

struct VariablesRow
{
    const char* name;
    QString text;
    QMap<QString, QString> values;
    bool ignoreCase;
    QString result;
    int count;
};

class ResolveVariablesTest : public ::testing::TestWithParam<VariablesRow> {};

TEST_P(ResolveVariablesTest, Expands)
{
    const VariablesRow& row = GetParam();
    QString text = row.text;
    EXPECT_EQ(StringUtil::ResolveVariables(text, row.values, row.ignoreCase), row.count);
    EXPECT_EQ(text, row.result);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ResolveVariablesTest,
    ::testing::Values(
        VariablesRow{"simple", QStringLiteral("$(HOME)/x"), {{"HOME", "/u"}}, false, QStringLiteral("/u/x"), 1},
        VariablesRow{"caseMismatch", QStringLiteral("$(HOME)/x"), {{"home", "/u"}}, false, QStringLiteral("$(HOME)/x"), 0},
        VariablesRow{"ignoreCase", QStringLiteral("$(HOME)/x"), {{"home", "/u"}}, true, QStringLiteral("/u/x"), 1},
        VariablesRow{"oneUnknown", QStringLiteral("$(A) $(B)"), {{"A", "1"}}, false, QStringLiteral("1 $(B)"), 1},
        VariablesRow{"adjacentAreTwo", QStringLiteral("$(A)$(B)"), {{"A", "1"}, {"B", "2"}}, false, QStringLiteral("12"), 2},
        VariablesRow{"blankIsNoReference", QStringLiteral("$( A)"), {{" A", "1"}, {"A", "1"}}, false, QStringLiteral("$( A)"), 0},
        VariablesRow{"emptyValue", QStringLiteral("a$(X)b"), {{"X", ""}}, false, QStringLiteral("ab"), 1},
        // A reference after the first character of a value is expanded in turn.
        VariablesRow{"nestedAfterFirst", QStringLiteral("$(A)"), {{"A", "x$(B)"}, {"B", "y"}}, false, QStringLiteral("xy"), 2},
        // At the first character it is not: the search resumes one character on.
        VariablesRow{"nestedAtFirst", QStringLiteral("$(A)"), {{"A", "$(B)"}, {"B", "y"}}, false, QStringLiteral("$(B)"), 1},
        VariablesRow{"noReferences", QStringLiteral("plain $ text ()"), {{"A", "1"}}, false, QStringLiteral("plain $ text ()"), 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(StringUtilTest, SelfReferenceStopsInsteadOfGrowingForever)
{
    QString text = QStringLiteral("$(A)");
    const int count = StringUtil::ResolveVariables(text, {{QStringLiteral("A"), QStringLiteral("x$(A)")}}, false);
    EXPECT_EQ(count, 4096);
    EXPECT_TRUE(text.startsWith(QString(4096, QLatin1Char('x'))));
}
