// StringUtil: bounded wide copies, trimming, dividing, lists and variables.

#include "CloudUtil/StringUtil.h"

#include <gtest/gtest.h>

#include <cwchar>

using Tessaron::CloudUtil::StringUtil;
using Map = QMap<QString, QString>;

TEST(StringUtilTest, QStringToWcharIsBoundedAndTerminated)
{
    const struct
    {
        QString text;
        bool nullBuffer;
        int bufLen;
        int expected;
        std::wstring written;
    } rows[] = {
        { "abcdef", false, 4, 3, L"abc" },
        { "abcdef", true, 4, 6, L"" },
        { "", false, 10, 0, L"" },
        { "abc", false, 0, 0, L"" },
        { "abc", false, -3, 0, L"" },
        { "abc", false, 3, 2, L"ab" },
        { "abc", false, 1, 0, L"" },
        { QString::fromUtf8("h\xc3\xa9llo"), false, 10, 5, L"h\u00e9llo" },
        // A character outside the BMP stays whole: one 32-bit wide character.
        { QString::fromUtf8("a\xf0\x9f\x98\x80"
                            "b"),
            false, 10, 3, L"a\U0001F600b" },
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text.toStdString() + " into " + std::to_string(row.bufLen));
        wchar_t buffer[16];
        std::wmemset(buffer, L'#', 16);
        EXPECT_EQ(
            StringUtil::QStringToWchar(row.text, row.nullBuffer ? nullptr : buffer, row.bufLen),
            row.expected);
        if (row.nullBuffer || row.bufLen < 1) {
            EXPECT_EQ(buffer[0], L'#') << "wrote into the buffer";
            continue;
        }
        EXPECT_EQ(std::wstring(buffer), row.written);
        EXPECT_EQ(buffer[row.bufLen], L'#') << "wrote past the buffer";
    }
    Tessaron::CloudUtil::QStringToWchar holder(QStringLiteral("x/y z"));
    EXPECT_EQ(std::wstring(holder.data()), L"x/y z");
}

TEST(StringUtilTest, TrimRemovesAndCounts)
{
    const struct
    {
        QString text;
        wchar_t c;
        bool left;
        QString result;
        int removed;
    } rows[] = {
        { "path///", L'/', false, "path", 3 },
        { "", L'/', true, "", 0 },
        { "", L'/', false, "", 0 },
        { "//a/b/", L'/', true, "a/b/", 2 },
        { "////", L'/', true, "", 4 },
        { "a/", L'/', true, "a/", 0 },
        { "Xxx", L'x', true, "Xxx", 0 },
    };
    for (const auto& row : rows) {
        QString s = row.text;
        EXPECT_EQ(row.left ? StringUtil::TrimLeft(s, row.c) : StringUtil::TrimRight(s, row.c),
            row.removed)
            << row.text.toStdString();
        EXPECT_EQ(s, row.result);
    }
    QStringList list { "  a ", "\tb\n", "", "c" };
    StringUtil::Trim(list);
    EXPECT_EQ(list, (QStringList { "a", "b", "", "c" }));
}

TEST(StringUtilTest, IsTextElided)
{
    const struct
    {
        QString text;
        bool elided;
    } rows[] = {
        { "Long na...", true },
        { "...", true },
        { "a...b", false },
        { "a...b...", true },
        { "a..", false },
        { "", false },
        { "....", true },
    };
    for (const auto& row : rows)
        EXPECT_EQ(StringUtil::IsTextElided(row.text), row.elided) << row.text.toStdString();
}

TEST(StringUtilTest, Divide)
{
    const struct
    {
        QString text, separator;
        bool trim;
        QString left, right;
        bool result;
    } rows[] = {
        { "key=value", "=", false, "key", "value", true },
        { " novalue ", "=", true, "novalue", "", false },
        // Kept on purpose: only one character of the separator is skipped.
        { "a::b", "::", false, "a", ":b", true },
        { " k = v ", "=", true, "k", "v", true },
        { " k = v ", "=", false, " k ", " v ", true },
        { "a=b=c", "=", false, "a", "b=c", true },
        { "", "=", true, "", "", false },
        { "a=", "=", false, "a", "", true },
        { "aXb", "x", false, "aXb", "", false },
    };
    for (const auto& row : rows) {
        QString left = "stale", right = "stale";
        EXPECT_EQ(StringUtil::Divide(row.text, row.separator, left, right, row.trim), row.result)
            << row.text.toStdString();
        EXPECT_EQ(left, row.left) << row.text.toStdString();
        EXPECT_EQ(right, row.right) << row.text.toStdString();
    }
}

TEST(StringUtilTest, AddListAndIndexOf)
{
    QStringList target { "a", "B" };
    StringUtil::AddList({ "b", "c", "c", "A" }, target, true);
    EXPECT_EQ(target, (QStringList { "a", "B", "b", "c", "A" }));
    QStringList insensitive { "a", "B" };
    StringUtil::AddList({ "b", "C", "c", "A" }, insensitive, false);
    EXPECT_EQ(insensitive, (QStringList { "a", "B", "C" }));

    const QStringList list { "Alpha", "beta", "alpha" };
    EXPECT_EQ(StringUtil::IndexOf("alpha", list, true), 2);
    EXPECT_EQ(StringUtil::IndexOf("alpha", list, false), 0);
    EXPECT_EQ(StringUtil::IndexOf("gamma", list, false), -1);
}

TEST(StringUtilTest, GetKeyValue)
{
    const Map values { { "HOME", "/u" }, { "Home", "/v" } };
    QString value = "untouched";
    EXPECT_FALSE(StringUtil::GetKeyValue("home", values, value, false));
    EXPECT_EQ(value, "untouched");
    EXPECT_TRUE(StringUtil::GetKeyValue("Home", values, value, true));
    EXPECT_EQ(value, "/v") << "an exact key wins over an earlier case-insensitive one";
    EXPECT_TRUE(StringUtil::GetKeyValue("home", values, value, true));
    EXPECT_EQ(value, "/u") << "first key in map order";
}

TEST(StringUtilTest, ResolveVariables)
{
    const struct
    {
        QString text;
        Map values;
        bool ignoreCase;
        QString result;
        int count;
    } rows[] = {
        { "$(HOME)/x", { { "HOME", "/u" } }, false, "/u/x", 1 },
        { "$(HOME)/x", { { "home", "/u" } }, false, "$(HOME)/x", 0 },
        { "$(HOME)/x", { { "home", "/u" } }, true, "/u/x", 1 },
        { "$(A) $(B)", { { "A", "1" } }, false, "1 $(B)", 1 },
        { "$(A)$(B)", { { "A", "1" }, { "B", "2" } }, false, "12", 2 },
        { "$( A)", { { " A", "1" }, { "A", "1" } }, false, "$( A)", 0 },
        { "a$(X)b", { { "X", "" } }, false, "ab", 1 },
        // A reference after the first character of a value is expanded in turn...
        { "$(A)", { { "A", "x$(B)" }, { "B", "y" } }, false, "xy", 2 },
        // ...one at the first character is not: the search resumes one character on.
        { "$(A)", { { "A", "$(B)" }, { "B", "y" } }, false, "$(B)", 1 },
    };
    for (const auto& row : rows) {
        QString text = row.text;
        EXPECT_EQ(StringUtil::ResolveVariables(text, row.values, row.ignoreCase), row.count)
            << row.text.toStdString();
        EXPECT_EQ(text, row.result) << row.text.toStdString();
    }
    // A value that refers to itself stops growing at the bound.
    QString text = "$(A)";
    EXPECT_EQ(StringUtil::ResolveVariables(text, { { "A", "x$(A)" } }, false), 4096);
    EXPECT_TRUE(text.startsWith(QString(4096, QLatin1Char('x'))));
}
