// FolderUtilities: both separators, prefix rules and list truncation.

#include "Sync/SyncCore/FolderUtilities.h"

#include <gtest/gtest.h>

using sync::core::FolderUtilities;

namespace {

struct ParentRow
{
    const char* path;
    const char* parent;
};

void PrintTo(const ParentRow& row, std::ostream* os)
{
    *os << '\'' << row.path << "' -> '" << row.parent << '\'';
}

struct IsParentRow
{
    const char* path;
    const char* folder;
    bool sensitive;   // expected with Qt::CaseSensitive
    bool insensitive; // expected with Qt::CaseInsensitive
};

void PrintTo(const IsParentRow& row, std::ostream* os)
{
    *os << '\'' << row.path << "' in '" << row.folder << '\'';
}

} // namespace

class ParentFolderTest : public ::testing::TestWithParam<ParentRow>
{
};

TEST_P(ParentFolderTest, CutsAtTheLaterSeparator)
{
    EXPECT_EQ(FolderUtilities::GetParentFolderPath(QString::fromUtf8(GetParam().path)),
              QString::fromUtf8(GetParam().parent));
}

INSTANTIATE_TEST_SUITE_P(Paths, ParentFolderTest, ::testing::ValuesIn(std::vector<ParentRow>{
    {"a/b/c.txt", "a/b"}, {"a\\b\\c.txt", "a\\b"},
    {"a/b\\c", "a/b"}, {"a\\b/c", "a\\b"},   // the later separator wins, whichever it is
    {"/file", ""}, {"\\file", ""}, {"file", ""}, {"", ""},
    {"a/b/", "a/b"}, {"a//b", "a/"}, {"/", ""},
    {"/home/ü/日本/x", "/home/ü/日本"},
}));

class IsParentTest : public ::testing::TestWithParam<IsParentRow>
{
};

TEST_P(IsParentTest, PathLiesInsideFolder)
{
    const IsParentRow& row = GetParam();
    const QString path = QString::fromUtf8(row.path);
    const QString folder = QString::fromUtf8(row.folder);
    EXPECT_EQ(FolderUtilities::IsParent(path, folder, Qt::CaseSensitive), row.sensitive);
    EXPECT_EQ(FolderUtilities::IsParent(path, folder, Qt::CaseInsensitive), row.insensitive);
}

INSTANTIATE_TEST_SUITE_P(Paths, IsParentTest, ::testing::ValuesIn(std::vector<IsParentRow>{
    {"/a/b/c", "/a/b", true, true}, {"/a/b/c/d/e", "/a/b", true, true},
    {"/a/b\\c", "/a/b", true, true}, {"\\a\\b\\c", "\\a\\b", true, true},
    {"/a/b", "/a/b", false, false},          // never its own parent
    {"/a/bc", "/a/b", false, false},         // a shared prefix is not a parent
    {"/A/B/c", "/a/b", false, true},
    {"/a/b/c", "/a/b/", false, false},       // would need a doubled separator
    {"/a/b//c", "/a/b/", true, true},
    {"/a/b/", "/a/b", true, true},
    {"/x", "", true, true},                  // "" + "/" is a prefix of every absolute path
    {"x/y", "", false, false},
    {"/Ä/x", "/ä", false, true},
}));

TEST(FolderUtilitiesTest, DriveTypeIsAlwaysUnknown)
{
    for (const QString& path : {QStringLiteral("/"), QStringLiteral("/media/usb"), QString()})
        EXPECT_EQ(FolderUtilities::GetFolderDriveType(path), sync::interf::DRIVE_TYPE_UNKNOWN);
}

namespace {

struct TruncateRow
{
    int size;
    int maxCount;
    int kept;         // items taken from the list
    const char* note; // the added line, or nullptr
};

void PrintTo(const TruncateRow& row, std::ostream* os)
{
    *os << row.size << " items, max " << row.maxCount;
}

} // namespace

class TruncatedListTest : public ::testing::TestWithParam<TruncateRow>
{
};

TEST_P(TruncatedListTest, KeepsTheFirstItemsAndCountsTheRest)
{
    const TruncateRow& row = GetParam();
    QStringList list;
    for (int i = 0; i < row.size; ++i)
        list << QStringLiteral("name%1.txt").arg(i);

    const QStringList result = FolderUtilities::GetTruncatedList(list, row.maxCount);
    QStringList expected = list.mid(0, row.kept);
    if (row.note)
        expected << QString::fromUtf8(row.note);
    EXPECT_EQ(result, expected);
}

INSTANTIATE_TEST_SUITE_P(Lists, TruncatedListTest, ::testing::ValuesIn(std::vector<TruncateRow>{
    {12, 10, 10, "(...List truncated, 2 more item(s))"},
    {12, 12, 12, nullptr}, {12, 20, 12, nullptr},
    {12, 0, 0, "(...List truncated, 12 more item(s))"},
    {1, 0, 0, "(...List truncated, 1 more item(s))"},
    {0, 0, 0, nullptr}, {0, 5, 0, nullptr},
    {3, -1, 0, "(...List truncated, 3 more item(s))"},   // a negative count counts as 0
    {1500, 1000, 1000, "(...List truncated, 500 more item(s))"},
}));
