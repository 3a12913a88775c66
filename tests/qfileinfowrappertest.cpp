// QFileInfoWrapper: DiskDrive(), created() and the shared QFileInfo.

#include "TestUtil.h"

#include "Sync/SyncCore/QFileInfoWrapper.h"

#include <QDir>

#include <gtest/gtest.h>

using sync::core::QFileInfoWrapper;

TEST(QFileInfoWrapper, DiskDriveIsTheFirstDriveThePathStartsWith)
{
    // On this platform QDir::drives() holds "/" alone.
    ASSERT_EQ(QDir::drives().size(), 1);
    const struct
    {
        const char* path;
        const char* expected;
    } rows[] = {
        {"/home/user/a.txt", "/"},
        {"/", "/"},
        {"relative/a.txt", ""},
        {"", ""},
    };
    QFileInfoWrapper info;
    for (const auto& row : rows) {
        info.setFile(QString::fromUtf8(row.path));
        EXPECT_EQ(info.DiskDrive(), QString::fromUtf8(row.expected)) << row.path;
    }
}

TEST(QFileInfoWrapper, CreatedIsAValidTimeNoLaterThanNow)
{
    testutil::TempDir dir;
    const QDateTime before = QDateTime::currentDateTime().addSecs(-2);
    const QString path = dir.write(QStringLiteral("f.txt"), "x");
    QFileInfoWrapper info;
    info.setFile(path);
    const QDateTime created = info.created();
    ASSERT_TRUE(created.isValid());
    EXPECT_GE(created, before);
    EXPECT_LE(created, QDateTime::currentDateTime().addSecs(2));

    info.setFile(dir.filePath(QStringLiteral("missing")));
    EXPECT_FALSE(info.created().isValid());
}
