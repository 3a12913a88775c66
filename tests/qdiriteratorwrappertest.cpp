// QDirIteratorWrapper: iteration as QDirIterator's, and entries that outlive next().

#include "TestUtil.h"

#include "Sync/SyncCore/QDirIteratorWrapper.h"
#include "interfaces/IQFileInfoWrapper.h"

#include <QSet>

#include <gtest/gtest.h>

using sync::core::QDirIteratorWrapper;

TEST(QDirIteratorWrapper, WalksTheTreeAndHandsOutIndependentEntries)
{
    testutil::TempDir dir;
    dir.write(QStringLiteral("a.txt"), "a");
    dir.write(QStringLiteral("sub/b.txt"), "bb");
    QDirIteratorWrapper it(dir.path(), QDir::Files, QDirIterator::Subdirectories);
    EXPECT_EQ(it.path(), dir.path());

    QSet<QString> names;
    std::vector<std::shared_ptr<sync::interf::IQFileInfoWrapper>> infos;
    while (it.hasNext()) {
        const QString next = it.next();
        EXPECT_EQ(next, it.filePath());
        names.insert(it.fileName());
        infos.push_back(it.fileInfo());
    }
    EXPECT_EQ(names, (QSet<QString>{QStringLiteral("a.txt"), QStringLiteral("b.txt")}));
    ASSERT_EQ(infos.size(), 2u);
    // Each entry is a copy: it still describes its own file after the iterator moved on.
    qint64 total = 0;
    for (const auto& info : infos) {
        EXPECT_TRUE(info->isFile());
        total += info->size();
    }
    EXPECT_EQ(total, 3);
    EXPECT_NE(infos[0]->absoluteFilePath(), infos[1]->absoluteFilePath());
}

