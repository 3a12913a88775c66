// FolderUtilities: both separators, prefix rules and list truncation.

#include "Sync/SyncCore/FolderUtilities.h"

#include <gtest/gtest.h>

using sync::core::FolderUtilities;

TEST(FolderUtilitiesTest, GetParentFolderPathCutsAtTheLaterSeparator)
{
    const struct
    {
        QString path, parent;
    } rows[] = {
        { "a/b/c.txt", "a/b" },
        { "a\\b\\c.txt", "a\\b" },
        { "a/b\\c", "a/b" },
        { "a\\b/c", "a\\b" },
        { "/home/ü/日本/x", "/home/ü/日本" },
        { "/file", "" },
        { "\\file", "" },
        { "file", "" },
        { "", "" },
        { "a/b/", "a/b" },
        { "a//b", "a/" },
        { "/", "" },
    };
    for (const auto& r : rows)
        EXPECT_EQ(FolderUtilities::GetParentFolderPath(r.path), r.parent) << qPrintable(r.path);
}

TEST(FolderUtilitiesTest, IsParent)
{
    const struct
    {
        QString path, folder;
        bool sensitive, insensitive;
    } rows[] = {
        { "/a/b/c", "/a/b", true, true },
        { "/a/b/c/d/e", "/a/b", true, true },
        { "/a/b\\c", "/a/b", true, true },
        { "\\a\\b\\c", "\\a\\b", true, true },
        { "/A/B/c", "/a/b", false, true },
        { "/Ä/x", "/ä", false, true },
        { "/a/b", "/a/b", false, false }, // never its own parent
        { "/a/bc", "/a/b", false, false }, // a shared prefix is not a parent
        { "/a/b/c", "/a/b/", false, false },
        { "/a/b//c", "/a/b/", true, true }, // the separator is always added
        { "/a/b/", "/a/b", true, true },
        { "/x", "", true, true },
        { "x/y", "", false, false },
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(qPrintable(r.path + " in " + r.folder));
        EXPECT_EQ(FolderUtilities::IsParent(r.path, r.folder, Qt::CaseSensitive), r.sensitive);
        EXPECT_EQ(FolderUtilities::IsParent(r.path, r.folder, Qt::CaseInsensitive), r.insensitive);
    }
}

TEST(FolderUtilitiesTest, GetTruncatedListKeepsTheFirstItemsAndCountsTheRest)
{
    const struct
    {
        int size, maxCount, kept;
        const char* note;
    } rows[] = {
        { 12, 10, 10, "(...List truncated, 2 more item(s))" }, { 12, 12, 12, nullptr },
        { 12, 20, 12, nullptr }, { 12, 0, 0, "(...List truncated, 12 more item(s))" },
        { 1, 0, 0, "(...List truncated, 1 more item(s))" }, { 0, 0, 0, nullptr },
        { 0, 5, 0, nullptr }, { 1500, 1000, 1000, "(...List truncated, 500 more item(s))" },
        { 3, -1, 0, "(...List truncated, 3 more item(s))" }, // a negative count counts as 0
    };
    for (const auto& r : rows) {
        QStringList list;
        for (int i = 0; i < r.size; ++i)
            list << QStringLiteral("name%1.txt").arg(i);
        EXPECT_EQ(FolderUtilities::GetTruncatedList(list, r.maxCount),
            list.mid(0, r.kept) + (r.note ? QStringList(r.note) : QStringList()))
            << r.size << " items, max " << r.maxCount;
    }
}
