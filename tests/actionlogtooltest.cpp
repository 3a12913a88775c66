// The "synccore log ..." commands, run as the real tool in a child process.

#include "TestUtil.h"

#include <QFile>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

/// Runs "synccore log ARGS", with DB in @p args replaced by "--db @p db".
testutil::ProcessResult log(const QString& args, const QString& db = {})
{
    QStringList list = QStringList { QStringLiteral("log") } + args.split(QLatin1Char(' '));
    const qsizetype at = list.indexOf(QStringLiteral("DB"));
    if (at >= 0)
        list.replace(at, QStringLiteral("--db")), list.insert(at + 1, db);
    return testutil::run(testutil::builtExecutable(QStringLiteral("synccore")), list);
}

QStringList lines(const QByteArray& out)
{
    return QString::fromUtf8(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

TEST(ActionLogToolTest, AddListShowRemoveTrimClear)
{
    testutil::TempDir dir;
    const QString db = dir.filePath(QStringLiteral("tool.sqlite"));
    for (const char* add : { "add DB FileUploaded /home/u/a.txt a.txt",
             "add --http 404 --message docs/b.txt DB 11 /home/u/docs/b.txt", "add --http 503 DB 10",
             "add --details 7 --arg c.txt --arg timeout DB 10" })
        ASSERT_EQ(log(QString::fromLatin1(add), db).exitCode, 0) << add;

    const QStringList listed = lines(log(QStringLiteral("list DB"), db).out);
    ASSERT_EQ(listed.size(), 4);
    EXPECT_TRUE(listed[0].startsWith(QStringLiteral("1  "))) << qPrintable(listed[0]);
    EXPECT_TRUE(listed[0].contains(QStringLiteral("FileUploaded  /home/u/a.txt  a.txt")));
    EXPECT_TRUE(listed[1].contains(QStringLiteral(
        "DownloadFailed  /home/u/docs/b.txt  -  Not found on the server: docs/b.txt")))
        << qPrintable(listed[1]);
    EXPECT_TRUE(listed[2].endsWith(
        QStringLiteral("The server reported error 503. Please try again later.")));
    EXPECT_TRUE(listed[3].endsWith(QStringLiteral("Transfer of c.txt failed: timeout")));
    EXPECT_TRUE(
        log(QStringLiteral("show DB 2"), db)
            .out.contains("details:  <SyncActionDetails detailType=\"3\"><DetailType>3</DetailType>"
                          "<arg position=\"0\">docs/b.txt</arg></SyncActionDetails>"));

    EXPECT_EQ(log(QStringLiteral("remove DB 1"), db).exitCode, 0);
    EXPECT_EQ(lines(log(QStringLiteral("trim DB"), db).out),
        QStringList { QStringLiteral("removed 0 actions, 3 kept") });
    EXPECT_EQ(lines(log(QStringLiteral("clear DB"), db).out),
        QStringList { QStringLiteral("removed 3 actions") });
    EXPECT_TRUE(log(QStringLiteral("list DB"), db).out.isEmpty());

    // Without --db: a file under the user's data folder (the test main points XDG_DATA_HOME at a
    // temporary one).
    const QString standard = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/synccore/actionlog.sqlite");
    QFile::remove(standard);
    ASSERT_EQ(log(QStringLiteral("add 1")).exitCode, 0);
    EXPECT_TRUE(QFile::exists(standard));
    EXPECT_EQ(lines(log(QStringLiteral("list")).out).size(), 1);
}

TEST(ActionLogToolTest, BadInputGivesOneLineErrorAndNonZeroExit)
{
    testutil::TempDir dir;
    const QString good = dir.filePath(QStringLiteral("good.sqlite"));
    ASSERT_EQ(log(QStringLiteral("add DB 1"), good).exitCode, 0);
    const QString garbage = dir.write(QStringLiteral("garbage.sqlite"), QByteArray(4096, 'x'));
    const QString missing = dir.filePath(QStringLiteral("missing.sqlite"));
    const struct
    {
        const char* args;
        QString db;
        int exitCode;
        const char* message;
    } rows[] = { { "show DB 42", good, 1, "no action with id 42" },
        { "remove DB 42", good, 1, "no action with id 42" },
        { "show DB abc", good, 2, "not an action id" },
        { "remove DB", good, 2, "expected one action id" },
        { "add DB upload!", good, 2, "not an action type" },
        { "add DB --http x 1", good, 2, "not an HTTP status code" },
        { "list DB", garbage, 1, "garbage.sqlite" }, { "add DB 1", garbage, 1, "garbage.sqlite" },
        { "list DB", missing, 1, "no action log at" },
        { "trim DB now", good, 2, "takes no arguments" } };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.args);
        const testutil::ProcessResult r = log(QString::fromLatin1(row.args), row.db);
        EXPECT_EQ(r.signal, 0) << "crashed";
        EXPECT_EQ(r.exitCode, row.exitCode);
        const QStringList errors = lines(r.err);
        ASSERT_EQ(errors.size(), 1) << r.err.constData();
        EXPECT_TRUE(errors[0].startsWith(QStringLiteral("synccore: ")));
        EXPECT_TRUE(errors[0].contains(QString::fromUtf8(row.message))) << qPrintable(errors[0]);
        EXPECT_TRUE(r.out.isEmpty());
    }
}
