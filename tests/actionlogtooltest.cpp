// The "synccore log ..." commands, run as the real tool in a child process.

#include "TestUtil.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

testutil::ProcessResult synccore(const QStringList& args)
{
    return testutil::run(testutil::builtExecutable(QStringLiteral("synccore")), args);
}

QStringList lines(const QByteArray& out)
{
    return QString::fromUtf8(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

TEST(ActionLogToolTest, AddListShowRemoveTrimClear)
{
    testutil::TempDir dir;
    const QStringList db = { QStringLiteral("--db"), dir.filePath(QStringLiteral("tool.sqlite")) };

    testutil::ProcessResult r
        = synccore(QStringList { QStringLiteral("log"), QStringLiteral("add") } + db
            + QStringList { QStringLiteral("FileUploaded"), QStringLiteral("/home/u/a.txt"),
                QStringLiteral("a.txt") });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(lines(r.out), QStringList { QStringLiteral("added action 1") });

    r = synccore(
        QStringList { QStringLiteral("log"), QStringLiteral("add"), QStringLiteral("--http"),
            QStringLiteral("404"), QStringLiteral("--message"), QStringLiteral("docs/b.txt") }
        + db + QStringList { QStringLiteral("11"), QStringLiteral("/home/u/docs/b.txt") });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    r = synccore(QStringList { QStringLiteral("log"), QStringLiteral("add"),
                     QStringLiteral("--http"), QStringLiteral("503") }
        + db + QStringList { QStringLiteral("10") });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    r = synccore(QStringList { QStringLiteral("log"), QStringLiteral("add"),
                     QStringLiteral("--details"), QStringLiteral("7"), QStringLiteral("--arg"),
                     QStringLiteral("c.txt"), QStringLiteral("--arg"), QStringLiteral("timeout") }
        + db + QStringList { QStringLiteral("10") });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();

    r = synccore(QStringList { QStringLiteral("log"), QStringLiteral("list") } + db);
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    const QStringList listed = lines(r.out);
    ASSERT_EQ(listed.size(), 4) << r.out.constData();
    EXPECT_TRUE(listed[0].startsWith(QStringLiteral("1  "))) << qPrintable(listed[0]);
    EXPECT_TRUE(listed[0].contains(QStringLiteral("FileUploaded  /home/u/a.txt  a.txt")))
        << qPrintable(listed[0]);
    EXPECT_TRUE(listed[1].contains(QStringLiteral(
        "DownloadFailed  /home/u/docs/b.txt  -  Not found on the server: docs/b.txt")))
        << qPrintable(listed[1]);
    EXPECT_TRUE(listed[2].endsWith(
        QStringLiteral("The server reported error 503. Please try again later.")))
        << qPrintable(listed[2]);
    EXPECT_TRUE(listed[3].endsWith(QStringLiteral("Transfer of c.txt failed: timeout")))
        << qPrintable(listed[3]);

    r = synccore(QStringList { QStringLiteral("log"), QStringLiteral("show") } + db
        + QStringList { QStringLiteral("2") });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_TRUE(
        r.out.contains("details:  <SyncActionDetails detailType=\"3\"><DetailType>3</DetailType>"
                       "<arg position=\"0\">docs/b.txt</arg></SyncActionDetails>"))
        << r.out.constData();

    r = synccore(QStringList { QStringLiteral("log"), QStringLiteral("remove") } + db
        + QStringList { QStringLiteral("1") });
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    r = synccore(QStringList { QStringLiteral("log"), QStringLiteral("trim") } + db);
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(lines(r.out), QStringList { QStringLiteral("removed 0 actions, 3 kept") });
    r = synccore(QStringList { QStringLiteral("log"), QStringLiteral("clear") } + db);
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_EQ(lines(r.out), QStringList { QStringLiteral("removed 3 actions") });
    r = synccore(QStringList { QStringLiteral("log"), QStringLiteral("list") } + db);
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_TRUE(r.out.isEmpty());
}

TEST(ActionLogToolTest, DefaultDatabaseIsUnderTheUsersDataFolder)
{
    // The test main points XDG_DATA_HOME at a private folder.
    const QString expected = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/synccore/actionlog.sqlite");
    QFile::remove(expected);
    testutil::ProcessResult r
        = synccore({ QStringLiteral("log"), QStringLiteral("add"), QStringLiteral("1") });
    ASSERT_EQ(r.exitCode, 0) << r.err.constData();
    EXPECT_TRUE(QFile::exists(expected));
    r = synccore({ QStringLiteral("log"), QStringLiteral("list") });
    EXPECT_EQ(lines(r.out).size(), 1);
}

struct BadInputRow
{
    const char* name;
    QStringList args;
    int exitCode;
    const char* message;
};

class ActionLogToolBadInputTest : public ::testing::TestWithParam<BadInputRow>
{
};

TEST_P(ActionLogToolBadInputTest, OneLineErrorAndNonZeroExit)
{
    testutil::TempDir dir;
    const QString good = dir.filePath(QStringLiteral("good.sqlite"));
    ASSERT_EQ(synccore({ QStringLiteral("log"), QStringLiteral("add"), QStringLiteral("--db"), good,
                           QStringLiteral("1") })
                  .exitCode,
        0);
    const QString garbage = dir.write(QStringLiteral("garbage.sqlite"), QByteArray(4096, 'x'));

    QStringList args = GetParam().args;
    args.replaceInStrings(QStringLiteral("GOOD"), good);
    args.replaceInStrings(QStringLiteral("GARBAGE"), garbage);
    args.replaceInStrings(
        QStringLiteral("MISSING"), dir.filePath(QStringLiteral("missing.sqlite")));
    const testutil::ProcessResult r = synccore(args);
    EXPECT_EQ(r.signal, 0) << "crashed";
    EXPECT_EQ(r.exitCode, GetParam().exitCode);
    const QStringList errors = lines(r.err);
    ASSERT_EQ(errors.size(), 1) << r.err.constData();
    EXPECT_TRUE(errors[0].startsWith(QStringLiteral("synccore: ")));
    EXPECT_TRUE(errors[0].contains(QString::fromUtf8(GetParam().message))) << qPrintable(errors[0]);
    EXPECT_TRUE(r.out.isEmpty());
}

#define LOG(...)                                                                                   \
    QStringList                                                                                    \
    {                                                                                              \
        QStringLiteral("log"), __VA_ARGS__                                                         \
    }
#define S(x) QStringLiteral(x)

INSTANTIATE_TEST_SUITE_P(Tool, ActionLogToolBadInputTest,
    ::testing::Values(BadInputRow { "UnknownId", LOG(S("show"), S("--db"), S("GOOD"), S("42")), 1,
                          "no action with id 42" },
        BadInputRow { "RemoveUnknownId", LOG(S("remove"), S("--db"), S("GOOD"), S("42")), 1,
            "no action with id 42" },
        BadInputRow {
            "NonNumericId", LOG(S("show"), S("--db"), S("GOOD"), S("abc")), 2, "not an action id" },
        BadInputRow { "NoId", LOG(S("remove"), S("--db"), S("GOOD")), 2, "expected one action id" },
        BadInputRow { "NonNumericType", LOG(S("add"), S("--db"), S("GOOD"), S("upload!")), 2,
            "not an action type" },
        BadInputRow { "BadHttpCode",
            LOG(S("add"), S("--db"), S("GOOD"), S("--http"), S("x"), S("1")), 2,
            "not an HTTP status code" },
        BadInputRow {
            "UnreadableDatabase", LOG(S("list"), S("--db"), S("GARBAGE")), 1, "garbage.sqlite" },
        BadInputRow { "UnreadableDatabaseOnAdd", LOG(S("add"), S("--db"), S("GARBAGE"), S("1")), 1,
            "garbage.sqlite" },
        BadInputRow {
            "MissingDatabase", LOG(S("list"), S("--db"), S("MISSING")), 1, "no action log at" },
        BadInputRow { "ExtraArgument", LOG(S("trim"), S("--db"), S("GOOD"), S("now")), 2,
            "takes no arguments" }),
    [](const ::testing::TestParamInfo<BadInputRow>& info) { return std::string(info.param.name); });
