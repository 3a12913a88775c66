// SyncException, Finally and the on-disk constants.

#include "Sync/SyncCore/Consts.h"
#include "Sync/SyncCore/Finally.h"
#include "Sync/SyncCore/SyncException.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <stdexcept>
#include <unistd.h> // must coexist with the sync namespace

using namespace sync::core;

TEST(SyncExceptionTest, WhatIsTheUtf8OfTheMessage)
{
    struct Row
    {
        QString message;
        QByteArray utf8;
    };
    const Row rows[] = {
        { QString(), QByteArray("") },
        { QStringLiteral("plain"), QByteArray("plain") },
        { QString::fromUtf8("Größe – 日本"),
            QByteArray("Gr\xc3\xb6\xc3\x9f"
                       "e \xe2\x80\x93 \xe6\x97\xa5\xe6\x9c\xac") },
    };
    for (const Row& row : rows) {
        const SyncException e(row.message);
        ASSERT_NE(e.what(), nullptr) << row.utf8.constData();
        EXPECT_STREQ(e.what(), row.utf8.constData());
        // The pointer is stable: what() never re-encodes.
        EXPECT_EQ(e.what(), e.what());
        const SyncException copy(e);
        EXPECT_STREQ(copy.what(), row.utf8.constData());
        EXPECT_EQ(copy.message(), row.message);
    }
}

TEST(SyncExceptionTest, CaughtAsStdException)
{
    try {
        throw SyncException(QStringLiteral("boom"));
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "boom");
        return;
    }
    FAIL() << "not caught";
}

TEST(FinallyTest, RunsOnceOnNormalExitAndOnException)
{
    int runs = 0;
    {
        Finally guard([&] { ++runs; });
        EXPECT_EQ(runs, 0);
    }
    EXPECT_EQ(runs, 1);

    try {
        Finally guard([&] { ++runs; });
        throw std::runtime_error("leave");
    } catch (const std::runtime_error&) { }
    EXPECT_EQ(runs, 2);
}

TEST(FinallyTest, EmptyActionRaisesBadFunctionCall)
{
    EXPECT_THROW({ Finally guard { std::function<void()>() }; }, std::bad_function_call);
}

TEST(FinallyTest, ThrowingActionIsNotSwallowed)
{
    EXPECT_THROW(
        { Finally guard([] { throw std::runtime_error("from action"); }); }, std::runtime_error);
}

TEST(ConstsTest, OnDiskNames)
{
    EXPECT_EQ(consts::TEMP_FOLDER_NAME, QStringLiteral(".{SyncTemp}"));
    EXPECT_EQ(consts::BASE_FOLDER_NAME, QStringLiteral(".{SyncBackup}"));
    EXPECT_EQ(consts::BASE_FILE_EXTN, QStringLiteral("BASE"));
    EXPECT_EQ(consts::TEMP_FILE_EXTN, QStringLiteral("TMP"));
    EXPECT_EQ(consts::DELTA_FILE_EXTN, QStringLiteral("DELTA"));
    static_assert(consts::LOCAL_FILE_MAX_PATH == 256, "file path limit");
    static_assert(consts::LOCAL_FOLDER_MAX_PATH == 256, "folder path limit");
}
