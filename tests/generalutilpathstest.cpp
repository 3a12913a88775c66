// GeneralUtil path algebra: cleaning, parent and common paths, sub-paths,
// relative and absolute forms, drives and invalid file-name characters.

#include "CloudUtil/GeneralUtil.h"

#include "TestUtil.h"

#include <gtest/gtest.h>

#include <random>

using Tessaron::CloudUtil::GeneralUtil;

namespace {

// Random path text built from pieces that exercise the cleaner: dots, empty
// components (runs of '/'), mixed case, inner spaces, backslashes and drives.
class PathGenerator
{
public:
    explicit PathGenerator(unsigned seed) : _rng(seed) {}

    QString component()
    {
        static const char* const pieces[] = {"a", "B", "Docs", "docs", "x y", ".", "..", "",
                                             "file.txt", "dir\\sub", "~", "A b.C", "..."};
        return QString::fromLatin1(pieces[pick(std::size(pieces))]);
    }

    QString path(int maxComponents)
    {
        static const char* const starts[] = {"", "/", "//", "C:/", "c:", "./", "../", " /", "\\\\"};
        QString p = QString::fromLatin1(starts[pick(std::size(starts))]);
        const int n = int(pick(size_t(maxComponents) + 1));
        for (int i = 0; i < n; ++i) {
            if (i > 0)
                p += QLatin1Char('/');
            p += component();
        }
        if (pick(4) == 0)
            p += QLatin1Char('/');
        return p;
    }

    // The same path as another caller might spell it: other case, a "./",
    // a doubled separator or a trailing slash.
    QString respell(const QString& p)
    {
        QString s = pick(2) ? p.toUpper() : p;
        if (pick(3) == 0)
            s.replace(QStringLiteral("/"), QStringLiteral("//"));
        if (pick(3) == 0 && !s.isEmpty())
            s += QStringLiteral("/.");
        return s;
    }

    size_t pick(size_t n) { return n ? _rng() % n : 0; }

private:
    std::mt19937 _rng;
};

} // namespace

// --- CleanPath ---------------------------------------------------------------

struct CleanRow
{
    const char* name;
    QString path;
    QString clean;
};

void PrintTo(const CleanRow& row, std::ostream* os) { *os << row.name; }

class CleanPathTest : public ::testing::TestWithParam<CleanRow> {};

TEST_P(CleanPathTest, Cleans)
{
    EXPECT_EQ(GeneralUtil::CleanPath(GetParam().path), GetParam().clean);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CleanPathTest,
    ::testing::Values(
        CleanRow{"empty", QString(), QString()},
        CleanRow{"blank", QStringLiteral("  \t "), QString()},
        CleanRow{"everything", QStringLiteral("  /a//b/./c/../ "), QStringLiteral("/a/b")},
        CleanRow{"root", QStringLiteral("/"), QStringLiteral("/")},
        CleanRow{"leadingParentKept", QStringLiteral("../a/../../b"), QStringLiteral("../../b")},
        CleanRow{"aboveRootKept", QStringLiteral("/a/../.."), QStringLiteral("/..")},
        CleanRow{"relativeBackslashKept", QStringLiteral("x/./dir\\y/"), QStringLiteral("x/dir\\y")},
        CleanRow{"driveBackslashKept", QStringLiteral("C:\\a\\b"), QStringLiteral("C:\\a\\b")},
        CleanRow{"driveRootLosesSlash", QStringLiteral("C:/"), QStringLiteral("C:")},
        // A URL only gets its backslashes turned round: spaces and slashes stay.
        CleanRow{"urlBackslashes", QStringLiteral("abc:\\x\\y\\ "), QStringLiteral("abc:/x/y/ ")},
        CleanRow{"urlNotCleaned", QStringLiteral("abc://x//./y/"), QStringLiteral("abc://x//./y/")},
        CleanRow{"colonLateInPath", QStringLiteral(" C:/a/../b"), QStringLiteral(" C:/a/../b")},
        CleanRow{"networkPrefixFolds", QStringLiteral("//server/share/"), QStringLiteral("/server/share")},
        // Kept on purpose: trimming comes before cleaning, so a space that the
        // cleaning uncovers stays.
        CleanRow{"uncoveredSpaceStays", QStringLiteral("./ a"), QStringLiteral(" a")}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CleanPathProperty, IdempotentAndClean)
{
    PathGenerator gen(4711);
    int checked = 0;
    for (int i = 0; i < 20000; ++i) {
        const QString p = gen.path(6);
        const QString once = GeneralUtil::CleanPath(p);
        // The one documented exception: outer white space that the cleaning
        // uncovered is trimmed by a second pass.
        if (once != once.trimmed())
            continue;
        ++checked;
        ASSERT_EQ(GeneralUtil::CleanPath(once), once) << "input: " << p.toStdString();
        if (p.indexOf(QLatin1Char(':')) >= 2)
            continue; // URL-like texts are not cleaned
        ASSERT_FALSE(once.contains(QStringLiteral("//"))) << p.toStdString();
        ASSERT_TRUE(once == QLatin1String("/") || !once.endsWith(QLatin1Char('/'))) << p.toStdString();
        const QStringList parts = once.split(QLatin1Char('/'));
        bool leadingParents = true;
        for (const QString& part : parts) {
            ASSERT_TRUE(part != QLatin1String(".") || once == QLatin1String("."))
                << "'.' left in " << once.toStdString();
            if (part == QLatin1String("..")) {
                ASSERT_TRUE(leadingParents) << "'..' after a name in " << once.toStdString();
            } else if (!part.isEmpty()) {
                leadingParents = false;
            }
        }
    }
    EXPECT_GT(checked, 18000) << "the exception swallowed the property";
}

// --- IsParentPath / IsParentOrSamePath ------------------------------------------

struct ParentRow
{
    const char* name;
    QString parent, child;
    bool isParent, isParentOrSame;
};

void PrintTo(const ParentRow& row, std::ostream* os) { *os << row.name; }

class ParentPathTest : public ::testing::TestWithParam<ParentRow> {};

TEST_P(ParentPathTest, Relates)
{
    const ParentRow& row = GetParam();
    EXPECT_EQ(GeneralUtil::IsParentPath(row.parent, row.child), row.isParent);
    EXPECT_EQ(GeneralUtil::IsParentOrSamePath(row.parent, row.child), row.isParentOrSame);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ParentPathTest,
    ::testing::Values(
        ParentRow{"rootOfAll", QStringLiteral("/"), QStringLiteral("/a"), true, true},
        ParentRow{"notOwnParent", QStringLiteral("/a"), QStringLiteral("/a"), false, true},
        ParentRow{"sameIgnoringCaseAndSlash", QStringLiteral("/a/"), QStringLiteral("/A"), false, true},
        ParentRow{"prefixIsNotParent", QStringLiteral("/a/b"), QStringLiteral("/a/bc"), false, false},
        ParentRow{"caseInsensitive", QStringLiteral("/a/b"), QStringLiteral("/A/B/c"), true, true},
        ParentRow{"cleanedFirst", QStringLiteral("/a/b/../c/"), QStringLiteral("/a/./c//d"), true, true},
        ParentRow{"drive", QStringLiteral("C:/a"), QStringLiteral("c:/A/b"), true, true},
        // Backslashes are separators only in URL-like texts.
        ParentRow{"driveBackslashesUnrelated", QStringLiteral("C:\\a"), QStringLiteral("C:\\a\\b"), false, false},
        ParentRow{"urlBackslashes", QStringLiteral("abc:\\x"), QStringLiteral("abc:\\x\\y"), true, true},
        // Kept on purpose: the root (and the empty path) loses its slash, so it
        // is below itself and above every absolute path.
        ParentRow{"rootOwnParent", QStringLiteral("/"), QStringLiteral("/"), true, true},
        ParentRow{"emptyAboveAbsolute", QString(), QStringLiteral("/a"), true, true},
        ParentRow{"emptyNotAboveRelative", QString(), QStringLiteral("a"), false, false}),
    [](const auto& info) { return std::string(info.param.name); });

// --- GetSubPath ---------------------------------------------------------------

struct SubPathRow
{
    const char* name;
    QString parent, path, sub;
};

void PrintTo(const SubPathRow& row, std::ostream* os) { *os << row.name; }

class SubPathTest : public ::testing::TestWithParam<SubPathRow> {};

TEST_P(SubPathTest, Splits)
{
    EXPECT_EQ(GeneralUtil::GetSubPath(GetParam().parent, GetParam().path), GetParam().sub);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SubPathTest,
    ::testing::Values(
        SubPathRow{"below", QStringLiteral("/a"), QStringLiteral("/a/b/c"), QStringLiteral("b/c")},
        SubPathRow{"same", QStringLiteral("/a"), QStringLiteral("/A"), QString()},
        SubPathRow{"childSpelling", QStringLiteral("/a/"), QStringLiteral("/A/B/./c"), QStringLiteral("B/c")},
        SubPathRow{"drive", QStringLiteral("C:/a"), QStringLiteral("c:/A/b"), QStringLiteral("b")},
        // Kept on purpose: an unrelated path comes back as given, only
        // stripped of leading slashes.
        SubPathRow{"unrelated", QStringLiteral("/a"), QStringLiteral("/b/c"), QStringLiteral("b/c")},
        SubPathRow{"unrelatedNotCleaned", QStringLiteral("/a"), QStringLiteral("//b//./c/"), QStringLiteral("b//./c/")}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ParentPathProperty, ParentImpliesSameAndSubPathRejoins)
{
    PathGenerator gen(1234);
    int parents = 0;
    for (int i = 0; i < 20000; ++i) {
        const QString a = gen.path(3);
        // Half the children are built below the parent, half are random.
        const QString b = gen.pick(2) ? gen.respell(a) + QLatin1Char('/') + gen.path(3).mid(1)
                                      : gen.path(4);
        const bool isParent = GeneralUtil::IsParentPath(a, b);
        const bool parentOrSame = GeneralUtil::IsParentOrSamePath(a, b);
        const QString sub = GeneralUtil::GetSubPath(a, b);
        const std::string where = "parent '" + a.toStdString() + "' child '" + b.toStdString() + "'";
        if (!isParent) {
            if (parentOrSame) {
                ASSERT_EQ(sub, QString()) << where;
            }
            continue;
        }
        ++parents;
        ASSERT_TRUE(parentOrSame) << where;
        ASSERT_FALSE(sub.startsWith(QLatin1Char('/'))) << where;
        // A URL-like child is not cleaned, so a run of '/' right below the
        // parent is lost with the sub-path's leading slashes; rejoining is
        // defined for cleaned paths only.
        if (b.indexOf(QLatin1Char(':')) >= 2)
            continue;
        const QString cleanChild = GeneralUtil::CleanPath(b);
        ASSERT_TRUE(cleanChild.endsWith(sub)) << where << ": the sub-path keeps the child's spelling";
        QString rejoined = GeneralUtil::CleanPath(a);
        if (!rejoined.endsWith(QLatin1Char('/')))
            rejoined += QLatin1Char('/');
        rejoined += sub;
        ASSERT_EQ(rejoined.compare(cleanChild, Qt::CaseInsensitive), 0)
            << where << " rejoined as '" << rejoined.toStdString() << "'";
    }
    EXPECT_GT(parents, 4000) << "too few parent pairs generated to mean anything";
}

// --- GetCommonParentPath -------------------------------------------------------

struct CommonRow
{
    const char* name;
    QString path1, path2, common;
};

void PrintTo(const CommonRow& row, std::ostream* os) { *os << row.name; }

class CommonParentTest : public ::testing::TestWithParam<CommonRow> {};

TEST_P(CommonParentTest, Finds)
{
    const CommonRow& row = GetParam();
    EXPECT_EQ(GeneralUtil::GetCommonParentPath(row.path1, row.path2), row.common);
    EXPECT_EQ(GeneralUtil::HasCommonParentPath(row.path1, row.path2), !row.common.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommonParentTest,
    ::testing::Values(
        CommonRow{"drive", QStringLiteral("c:/a/b"), QStringLiteral("c:/A/x"), QStringLiteral("c:/a")},
        CommonRow{"otherDrive", QStringLiteral("c:/a"), QStringLiteral("d:/a"), QString()},
        CommonRow{"driveOnly", QStringLiteral("C:/x"), QStringLiteral("c:/y"), QStringLiteral("C:")},
        CommonRow{"nothingShared", QStringLiteral("/x/y"), QStringLiteral("/z"), QString()},
        CommonRow{"firstEmpty", QString(), QStringLiteral("/a"), QString()},
        CommonRow{"firstUrl", QStringLiteral("abc://a"), QStringLiteral("/a"), QString()},
        // Kept on purpose: no leading '/' for plain absolute paths.
        CommonRow{"plainAbsolute", QStringLiteral("/Users/a/b"), QStringLiteral("/users/A/c"), QStringLiteral("Users/a")},
        CommonRow{"spellingOfShorter", QStringLiteral("/users/A/c/d"), QStringLiteral("/Users/a/b"), QStringLiteral("Users/a")},
        CommonRow{"samePath", QStringLiteral("/a/b/"), QStringLiteral("/a/./b"), QStringLiteral("a/b")},
        // Kept on purpose: only the first path's prefix is compared.
        CommonRow{"secondDriveSkipped", QStringLiteral("/a/b"), QStringLiteral("C:/a/c"), QStringLiteral("a")},
        CommonRow{"firstDriveCompared", QStringLiteral("C:/a/b"), QStringLiteral("/a/c"), QString()},
        // "1:" is no drive: the first path has no prefix, so the second's drive is skipped.
        CommonRow{"digitIsNoDrive", QStringLiteral("1:/a/b"), QStringLiteral("C:/1:/a/c"), QStringLiteral("1:/a")},
        // Cleaning can uncover a longer scheme, which is compared and put back like a drive.
        CommonRow{"uncoveredScheme", QStringLiteral(".:/../xy:/a/b"), QStringLiteral(".:/../XY:/a/c"), QStringLiteral("xy:/a")},
        CommonRow{"networkFolds", QStringLiteral("\\\\srv/share/x"), QStringLiteral("\\\\SRV/share/y"), QStringLiteral("/srv/share")},
        CommonRow{"networkAgainstPlain", QStringLiteral("\\\\srv/a"), QStringLiteral("/srv/a"), QString()},
        CommonRow{"networkNothingShared", QStringLiteral("\\\\a/x"), QStringLiteral("//b/x"), QString()}),
    [](const auto& info) { return std::string(info.param.name); });

// --- GetDrive / IsUNCPath -------------------------------------------------------

struct PrefixRow
{
    const char* name;
    QString path;
    QString drive;
    bool unc;
};

void PrintTo(const PrefixRow& row, std::ostream* os) { *os << row.name; }

class PrefixTest : public ::testing::TestWithParam<PrefixRow> {};

TEST_P(PrefixTest, DriveAndNetwork)
{
    EXPECT_EQ(GeneralUtil::GetDrive(GetParam().path), GetParam().drive);
    EXPECT_EQ(GeneralUtil::IsUNCPath(GetParam().path), GetParam().unc);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PrefixTest,
    ::testing::Values(
        PrefixRow{"plain", QStringLiteral("/x/y"), QString(), false},
        PrefixRow{"drive", QStringLiteral("C:/x"), QStringLiteral("C:"), false},
        PrefixRow{"url", QStringLiteral("abc://x"), QStringLiteral("abc:"), false},
        // A leading space puts the colon far enough in to make a URL of it.
        PrefixRow{"driveAfterSpace", QStringLiteral("  d:/x "), QStringLiteral("  d:"), false},
        PrefixRow{"backslashes", QStringLiteral("\\\\srv\\x"), QString(), true},
        PrefixRow{"mixed", QStringLiteral("/\\srv"), QString(), true},
        PrefixRow{"oneBackslash", QStringLiteral("\\"), QString(), false}),
    [](const auto& info) { return std::string(info.param.name); });

// --- FixInvalidCharsInFileName ----------------------------------------------------

struct FixRow
{
    const char* name;
    QString fileName, replacement, fixed;
};

void PrintTo(const FixRow& row, std::ostream* os) { *os << row.name; }

class FixInvalidCharsTest : public ::testing::TestWithParam<FixRow> {};

TEST_P(FixInvalidCharsTest, Replaces)
{
    const FixRow& row = GetParam();
    EXPECT_EQ(GeneralUtil::FixInvalidCharsInFileName(row.fileName, row.replacement), row.fixed);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FixInvalidCharsTest,
    ::testing::Values(
        FixRow{"mixed", QStringLiteral("a<b>:c|d"), QStringLiteral("_"), QStringLiteral("a_b__c_d")},
        FixRow{"allNine", QStringLiteral("\\/:*?\"<>|"), QStringLiteral("_"), QStringLiteral("_________")},
        FixRow{"backslash", QStringLiteral("a\\b"), QStringLiteral("_"), QStringLiteral("a_b")},
        FixRow{"deleted", QStringLiteral("a<b>\\c"), QString(), QStringLiteral("abc")},
        FixRow{"nonAscii", QString::fromUtf8("\xc3\xa9t\xc3\xa9?.txt"), QStringLiteral("-"), QString::fromUtf8("\xc3\xa9t\xc3\xa9-.txt")},
        // Kept on purpose: the literal backslash pass also rewrites the
        // backslashes that the first pass wrote.
        FixRow{"backslashInReplacement", QStringLiteral("a<b"), QStringLiteral("x\\"), QStringLiteral("axx\\b")}),
    [](const auto& info) { return std::string(info.param.name); });

// --- RelativeToAbsolutePath / AbsoluteToRelativePath --------------------------------

struct ConvertRow
{
    const char* name;
    bool toAbsolute;
    QString path, base; // "@" stands for the temporary folder
    bool baseIsFile;
    QString result;
};

void PrintTo(const ConvertRow& row, std::ostream* os) { *os << row.name; }

class RelativeAbsoluteTest : public ::testing::TestWithParam<ConvertRow> {};

TEST_P(RelativeAbsoluteTest, Converts)
{
    const ConvertRow& row = GetParam();
    testutil::TempDir tmp;
    ASSERT_FALSE(tmp.write(QStringLiteral("dir/file.txt"), "x").isEmpty());
    QString path = row.path, base = row.base, expected = row.result;
    for (QString* s : {&path, &base, &expected})
        s->replace(QLatin1Char('@'), tmp.path());
    const QString result = row.toAbsolute
                               ? GeneralUtil::RelativeToAbsolutePath(path, base, row.baseIsFile)
                               : GeneralUtil::AbsoluteToRelativePath(path, base, row.baseIsFile);
    EXPECT_EQ(result, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RelativeAbsoluteTest,
    ::testing::Values(
        ConvertRow{"toAbsoluteFolder", true, QStringLiteral("b/../c.txt"), QStringLiteral("@/dir"), false, QStringLiteral("@/dir/c.txt")},
        ConvertRow{"toAbsoluteBesideFile", true, QStringLiteral("c.txt"), QStringLiteral("@/dir/file.txt"), true, QStringLiteral("@/dir/c.txt")},
        ConvertRow{"toAbsoluteMissingBase", true, QStringLiteral("c"), QStringLiteral("@/missing/f"), true, QStringLiteral("@/missing/c")},
        ConvertRow{"alreadyAbsolute", true, QStringLiteral("/abs//x/./y/"), QStringLiteral("@/dir"), false, QStringLiteral("/abs/x/y")},
        ConvertRow{"toRelativeBelow", false, QStringLiteral("@/dir/sub/c.txt"), QStringLiteral("@/dir"), false, QStringLiteral("sub/c.txt")},
        ConvertRow{"toRelativeBesideFile", false, QStringLiteral("@/other/c.txt"), QStringLiteral("@/dir/file.txt"), true, QStringLiteral("../other/c.txt")},
        ConvertRow{"toRelativeMissingBase", false, QStringLiteral("@/m/a/b"), QStringLiteral("@/m/x/"), false, QStringLiteral("../a/b")},
        ConvertRow{"alreadyRelative", false, QStringLiteral("x/./y//z"), QStringLiteral("@/dir"), false, QStringLiteral("x/y/z")}),
    [](const auto& info) { return std::string(info.param.name); });
