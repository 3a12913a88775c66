// QDirWrapper::rmdir: the clean-up of shell metadata before the folder goes.

#include "TestUtil.h"

#include "Sync/SyncCore/QDirWrapper.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

using sync::core::QDirWrapper;

struct RmdirRow
{
    const char* name;
    QStringList files;   // made inside the folder ("x/" makes an empty folder x)
    bool removed;        // the folder is gone and rmdir returned true
    QStringList remains; // entries left inside when it stays
};

class QDirWrapperRmdir : public ::testing::TestWithParam<RmdirRow>
{
};

TEST_P(QDirWrapperRmdir, ClearsMetadataThenRemovesWhenEmpty)
{
    const RmdirRow& row = GetParam();
    testutil::TempDir dir;
    const QString folder = dir.filePath(QStringLiteral("synced"));
    QDir().mkpath(folder);
    for (const QString& f : row.files) {
        if (f.endsWith(QLatin1Char('/')))
            QDir().mkpath(folder + QLatin1Char('/') + f);
        else
            dir.write(QStringLiteral("synced/") + f, "x");
    }
    QDirWrapper wrapper(std::make_shared<QDir>(folder));
    EXPECT_EQ(wrapper.rmdir(folder), row.removed);
    EXPECT_EQ(QFileInfo::exists(folder), !row.removed);
    if (!row.removed) {
        QStringList left = QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                                                  QDir::Name);
        EXPECT_EQ(left, row.remains);
    }
}

const RmdirRow kRmdirRows[] = {
    {"Empty", {}, true, {}},
    {"OnlyMetadata", {".DS_Store", "desktop.ini", "Thumbs.db", ".{SyncTemp}/"}, true, {}},
    {"UserFileKeepsFolderButMetadataGoes", {".DS_Store", "Thumbs.db", "mine.txt"}, false, {"mine.txt"}},
    {"PendingCompanionKeepsTempFolder", {".{SyncTemp}/a.txt.DWN"}, false, {".{SyncTemp}"}},
    {"OtherHiddenFileStays", {".other"}, false, {".other"}},
};

INSTANTIATE_TEST_SUITE_P(Rows, QDirWrapperRmdir, ::testing::ValuesIn(kRmdirRows),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(QDirWrapper, CleanUpWorksOnTheWrappersOwnFolder)
{
    // Kept behaviour: the metadata is cleared from absolutePath(), not from the argument.
    testutil::TempDir dir;
    const QString own = dir.write(QStringLiteral("own/.DS_Store"), "x");
    const QString other = dir.write(QStringLiteral("other/.DS_Store"), "x");
    QDirWrapper wrapper(std::make_shared<QDir>(dir.filePath(QStringLiteral("own"))));
    EXPECT_FALSE(wrapper.rmdir(dir.filePath(QStringLiteral("other"))));
    EXPECT_FALSE(QFileInfo::exists(own));
    EXPECT_TRUE(QFileInfo::exists(other));
}

