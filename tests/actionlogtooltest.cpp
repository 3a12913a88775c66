// The "synccore log ..." commands, run as the real tool in a child process.

#include "TestUtil.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>
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

TEST(ActionLogToolTest, FailuresAreOneLineNamingTheCommand)
{
    testutil::TempDir dir;
    const QString good = dir.filePath(QStringLiteral("good.sqlite"));
    ASSERT_EQ(log(QStringLiteral("add DB 1"), good).exitCode, 0);
    const QString missing = dir.filePath(QStringLiteral("missing.sqlite"));
    const struct
    {
        const char* args;
        QString db;
        const char* message;
    } rows[] = { { "show DB 42", good, "synccore log show: no action with id 42" },
        { "remove DB 42", good, "synccore log remove: no action with id 42" },
        { "list DB", missing, "synccore log list: " },
        { "add DB 1", dir.path(), "synccore log add: " } };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.args);
        const testutil::ProcessResult r = log(QString::fromLatin1(row.args), row.db);
        EXPECT_EQ(r.signal, 0) << "crashed";
        EXPECT_EQ(r.exitCode, 1);
        const QStringList errors = lines(r.err);
        ASSERT_EQ(errors.size(), 1) << r.err.constData();
        EXPECT_TRUE(errors[0].startsWith(QString::fromUtf8(row.message))) << qPrintable(errors[0]);
        EXPECT_TRUE(r.out.isEmpty());
    }
    EXPECT_FALSE(QFile::exists(missing)) << "reading never creates the database";
}

namespace {

/// A database file the log cannot use, made in a folder of its own.
struct DamagedDatabase
{
    const char* name;
    QString (*make)(const testutil::TempDir& dir);
};

/// A real action log whose pages after the first (the schema) are overwritten:
/// the header is valid, the table's pages are not.
QString corruptPages(const testutil::TempDir& dir)
{
    const QString db = dir.filePath(QStringLiteral("corrupt.sqlite"));
    for (int i = 0; i < 3; ++i)
        if (log(QStringLiteral("add DB FileUploaded /x"), db).exitCode != 0)
            return QString();
    QFile file(db);
    if (!file.open(QIODevice::ReadWrite) || file.size() < 8192)
        return QString();
    const qint64 pageSize = 4096;
    QByteArray garbage(int(file.size() - pageSize), '\0');
    for (int i = 0; i < garbage.size(); ++i)
        garbage[i] = char((i * 7919 + 13) & 0xff);
    file.seek(pageSize);
    file.write(garbage);
    return db;
}

QString randomBytes(const testutil::TempDir& dir)
{
    QByteArray bytes(20000, '\0');
    for (int i = 0; i < bytes.size(); ++i)
        bytes[i] = char((i * 104729 + 7) >> 3);
    return dir.write(QStringLiteral("random.sqlite"), bytes);
}

QString folder(const testutil::TempDir& dir)
{
    QDir().mkpath(dir.filePath(QStringLiteral("folder.sqlite")));
    return dir.filePath(QStringLiteral("folder.sqlite"));
}

/// Every file below @p path with its bytes.
QMap<QString, QByteArray> snapshot(const QString& path)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(path, QDir::Files | QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot,
        QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString file = it.next();
        files.insert(file, testutil::readFile(file));
    }
    return files;
}

class DamagedDatabaseTest : public ::testing::TestWithParam<DamagedDatabase>
{
};

} // namespace

// Every command that uses the database names the file and the cause in one
// line, exits 1 and leaves the file as it was: never "(no actions)" with 0.
TEST_P(DamagedDatabaseTest, EveryDatabaseCommandFailsAndLeavesTheFileAlone)
{
    testutil::TempDir dir;
    const QString db = GetParam().make(dir);
    ASSERT_FALSE(db.isEmpty());
    testutil::TempDir folders;
    const QString source
        = folders.write(QStringLiteral("src/a.txt"), "a").section(QLatin1Char('/'), 0, -2);
    const QMap<QString, QByteArray> before = snapshot(dir.path());
    const QStringList commands[] = { { "history" }, { "history", "--json" }, { "log", "list" },
        { "log", "show", "1" }, { "log", "remove", "1" }, { "log", "trim" }, { "log", "clear" },
        { "log", "add", "1" }, { "sync", source, folders.filePath(QStringLiteral("dst")) } };
    for (const QStringList& command : commands) {
        SCOPED_TRACE(qPrintable(command.join(QLatin1Char(' '))));
        const testutil::ProcessResult r
            = testutil::run(testutil::builtExecutable(QStringLiteral("synccore")),
                command + QStringList { QStringLiteral("--db"), db });
        EXPECT_EQ(QList<int>({ r.signal, r.exitCode }), QList<int>({ 0, 1 }));
        const QStringList errors = lines(r.err);
        ASSERT_EQ(errors.size(), 1) << r.err.constData();
        EXPECT_TRUE(
            errors[0].startsWith(QStringLiteral("synccore %1: ")
                                     .arg(command.mid(0, command[0] == "log" ? 2 : 1).join(' '))))
            << qPrintable(errors[0]);
        EXPECT_TRUE(errors[0].contains(db)) << qPrintable(errors[0]);
        EXPECT_GT(errors[0].size(), QStringLiteral("synccore log list: ").size() + db.size() + 4)
            << "the cause is named";
        EXPECT_TRUE(r.out.isEmpty()) << r.out.constData();
        EXPECT_TRUE(snapshot(dir.path()) == before) << "the database folder changed";
        EXPECT_FALSE(QFileInfo::exists(folders.filePath(QStringLiteral("dst"))));
    }
}

INSTANTIATE_TEST_SUITE_P(Files, DamagedDatabaseTest,
    ::testing::Values(DamagedDatabase { "CorruptPages", corruptPages },
        DamagedDatabase { "RandomBytes", randomBytes }, DamagedDatabase { "Folder", folder }),
    [](const auto& info) { return std::string(info.param.name); });

// An empty name is a typo: a usage error before anything is opened.
TEST(ActionLogToolTest, EmptyDatabaseNameIsAUsageError)
{
    for (const char* command : { "history", "log list", "log add 1", "log clear" }) {
        SCOPED_TRACE(command);
        QStringList args = QString::fromLatin1(command).split(QLatin1Char(' '));
        args << QStringLiteral("--db") << QString();
        const testutil::ProcessResult r
            = testutil::run(testutil::builtExecutable(QStringLiteral("synccore")), args);
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_TRUE(r.err.contains(": --db: the value is empty\n")) << r.err.constData();
        EXPECT_TRUE(r.out.isEmpty());
    }
}
