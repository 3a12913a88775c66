// synccore sync and history end to end: the real tool, running the library's
// mirror engine, on real folders. The engine's own cases are its tests'.

#include "TestUtil.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class SyncCommandTest : public ::testing::Test
{
protected:
    QString tool() const { return testutil::builtExecutable(QStringLiteral("synccore")); }
    QString src(const QString& rel = QString()) const
    {
        return dir.filePath(QStringLiteral("src/") + rel);
    }
    QString dst(const QString& rel = QString()) const
    {
        return dir.filePath(QStringLiteral("dst/") + rel);
    }
    QStringList common() const
    {
        return { QStringLiteral("--db"), dir.filePath(QStringLiteral("log.sqlite")),
            QStringLiteral("--log"), dir.filePath(QStringLiteral("sync.log")) };
    }

    void SetUp() override
    {
        ASSERT_FALSE(dir.write(QStringLiteral("src/docs/a.txt"), "alpha\n").isEmpty());
        dir.write(QStringLiteral("src/docs/b & c.md"), "beta & gamma\n");
        dir.write(QStringLiteral("src/nested/deeper/data.csv"), "1,2,3\n");
        dir.write(QStringLiteral("src/big.bin"), QByteArray(3 * 1024 * 1024 + 7, 'z'));
        dir.write(QStringLiteral("src/Thumbs.db"), "thumbs");
        dir.write(QStringLiteral("src/report.bak"), "backup");
        dir.write(QStringLiteral("src/old.bak/inside.txt"), "in an excluded folder");
    }

    /// One pass with --json; the parsed summary.
    QJsonObject pass(int expectedExit = 0)
    {
        const auto r = testutil::run(tool(),
            QStringList { QStringLiteral("sync"), src(), dst(), QStringLiteral("--json") }
                + common());
        EXPECT_EQ(r.exitCode, expectedExit) << r.err.constData();
        return QJsonDocument::fromJson(r.out).object();
    }

    QJsonArray history()
    {
        const auto r = testutil::run(tool(),
            { QStringLiteral("history"), QStringLiteral("--json"), QStringLiteral("--db"),
                dir.filePath(QStringLiteral("log.sqlite")) });
        EXPECT_EQ(r.exitCode, 0) << r.err.constData();
        return QJsonDocument::fromJson(r.out).array();
    }

    int countOf(const QJsonArray& rows, const QString& typeName, const QString& item = QString())
    {
        int n = 0;
        for (const auto& v : rows) {
            const QJsonObject o = v.toObject();
            n += o.value(QStringLiteral("typeName")).toString() == typeName
                && (item.isEmpty() || o.value(QStringLiteral("item")).toString() == item);
        }
        return n;
    }

    /// Every file below the target, relative; working files included.
    QStringList targetFiles() const
    {
        QStringList files;
        QDirIterator it(
            dst(), QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
        while (it.hasNext())
            files << QDir(dst()).relativeFilePath(it.next());
        files.sort();
        return files;
    }

    testutil::TempDir dir;
};

} // namespace

TEST_F(SyncCommandTest, MirrorsThenCopiesOnlyWhatChanged)
{
    QJsonObject s = pass();
    EXPECT_EQ(s.value(QStringLiteral("copied")).toInt(), 4);
    EXPECT_EQ(s.value(QStringLiteral("excluded")).toInt(), 3);
    const QStringList expected { QStringLiteral("big.bin"), QStringLiteral("docs/a.txt"),
        QStringLiteral("docs/b & c.md"), QStringLiteral("nested/deeper/data.csv") };
    EXPECT_EQ(targetFiles(), expected);
    for (const QString& f : expected)
        EXPECT_EQ(testutil::readFile(dst(f)), testutil::readFile(src(f))) << f.toStdString();

    s = pass();
    EXPECT_EQ(s.value(QStringLiteral("copied")).toInt(), 0);
    EXPECT_EQ(s.value(QStringLiteral("unchanged")).toInt(), 4);

    // A changed file replaces its old copy; no backup or download companion stays.
    dir.write(QStringLiteral("src/docs/a.txt"), "alpha, changed\n");
    s = pass();
    EXPECT_EQ(s.value(QStringLiteral("copied")).toInt(), 1);
    EXPECT_EQ(
        testutil::readFile(dst(QStringLiteral("docs/a.txt"))), QByteArray("alpha, changed\n"));
    EXPECT_EQ(targetFiles(), expected);
    EXPECT_FALSE(QFileInfo::exists(dst(QStringLiteral("docs/.{SyncTemp}"))));

    const QJsonArray rows = history();
    EXPECT_EQ(countOf(rows, QStringLiteral("FileUploaded")), 5);
    EXPECT_EQ(countOf(rows, QStringLiteral("FileUploaded"), QStringLiteral("docs/a.txt")), 2);
    EXPECT_EQ(countOf(rows, QStringLiteral("ItemSkipped")), 9);
    // Details resolve to text, names with markup characters included.
    bool sawAmpersand = false;
    for (const auto& v : rows) {
        const QJsonObject o = v.toObject();
        if (o.value(QStringLiteral("item")).toString() == QStringLiteral("docs/b & c.md"))
            sawAmpersand = o.value(QStringLiteral("details")).toString()
                == QStringLiteral("docs/b & c.md (13 bytes) was copied.");
    }
    EXPECT_TRUE(sawAmpersand);
}

TEST_F(SyncCommandTest, EntryThatCannotBeMirroredIsNamedAndThePassIsPartial)
{
    ASSERT_EQ(::mkfifo(src(QStringLiteral("docs/pipe")).toLocal8Bit().constData(), 0600), 0);
    // A pass that completed with failed entries is partial, as rsync says it.
    const auto r = testutil::run(tool(),
        QStringList { QStringLiteral("sync"), src(), dst(), QStringLiteral("--json") } + common());
    EXPECT_EQ(r.exitCode, 23) << r.err.constData();
    const QJsonObject s = QJsonDocument::fromJson(r.out).object();
    EXPECT_EQ(s.value(QStringLiteral("failed")).toInt(), 1);
    EXPECT_EQ(s.value(QStringLiteral("copied")).toInt(), 4);
    const QJsonObject failure = s.value(QStringLiteral("failures")).toArray().first().toObject();
    EXPECT_EQ(failure.value(QStringLiteral("path")).toString(), QStringLiteral("docs/pipe"));
    EXPECT_FALSE(failure.value(QStringLiteral("cause")).toString().isEmpty());
    // Standard error names it too, with its cause, on one line.
    const QStringList errors
        = QString::fromUtf8(r.err).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(errors.size(), 1) << r.err.constData();
    EXPECT_TRUE(errors[0].startsWith(QStringLiteral("synccore sync: docs/pipe: ")))
        << qPrintable(errors[0]);
    const QJsonArray rows = history();
    EXPECT_EQ(countOf(rows, QStringLiteral("UploadFailed"), QStringLiteral("docs/pipe")), 1);
    EXPECT_EQ(countOf(rows, QStringLiteral("SyncStarted")), 1);
    EXPECT_EQ(countOf(rows, QStringLiteral("SyncFailed")), 1);
}

// --delete, --dry-run, --exclude and --checksum, one after the other on the same mirror.
TEST_F(SyncCommandTest, EngineOptionsReachThePass)
{
    ASSERT_EQ(pass().value(QStringLiteral("copied")).toInt(), 4);
    const int rowsAfterFirst = history().size();
    dir.write(QStringLiteral("dst/extra.txt"), "only in the target\n");
    dir.write(QStringLiteral("src/docs/new.txt"), "new\n");
    // The target changed behind the journal's back: same size, time and inode.
    const QByteArray stale = dst(QStringLiteral("docs/a.txt")).toLocal8Bit();
    struct stat before = {};
    ASSERT_EQ(::stat(stale.constData(), &before), 0);
    {
        const int fd = ::open(stale.constData(), O_WRONLY);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(::pwrite(fd, "ALPHA", 5, 0), 5);
        ::close(fd);
    }
    const struct timespec times[2] = { before.st_atim, before.st_mtim };
    ASSERT_EQ(::utimensat(AT_FDCWD, stale.constData(), times, 0), 0);

    const struct Row
    {
        QStringList options;
        int copied, deleted;
        bool extraStays, staleStays;
    } rows[] = {
        // Nothing is removed without --delete; the quick check trusts the journal.
        { {}, 1, 0, true, true },
        // A dry run says what it would do and does none of it, history included.
        { { QStringLiteral("--delete"), QStringLiteral("-n"), QStringLiteral("-c") }, 1, 1, true,
            true },
        { { QStringLiteral("--delete"), QStringLiteral("--checksum") }, 1, 1, false, false },
    };
    int historyRows = rowsAfterFirst;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.options.join(QLatin1Char(' ')).toStdString());
        const auto r = testutil::run(tool(),
            QStringList { QStringLiteral("sync"), src(), dst(), QStringLiteral("--json") }
                + row.options + common());
        ASSERT_EQ(r.exitCode, 0) << r.err.constData();
        const QJsonObject s = QJsonDocument::fromJson(r.out).object();
        const bool dryRun = row.options.contains(QStringLiteral("-n"));
        EXPECT_EQ(s.value(QStringLiteral("dryRun")).toBool(), dryRun);
        EXPECT_EQ(s.value(QStringLiteral("copied")).toInt(), row.copied);
        EXPECT_EQ(s.value(QStringLiteral("deleted")).toInt(), row.deleted);
        EXPECT_EQ(QFileInfo::exists(dst(QStringLiteral("extra.txt"))), row.extraStays);
        EXPECT_EQ(testutil::readFile(dst(QStringLiteral("docs/a.txt"))).startsWith("ALPHA"),
            row.staleStays);
        EXPECT_EQ(testutil::readFile(dst(QStringLiteral("docs/new.txt"))), QByteArray("new\n"));
        const int now = history().size();
        if (dryRun)
            EXPECT_EQ(now, historyRows);
        else
            EXPECT_GT(now, historyRows);
        historyRows = now;
    }
    EXPECT_EQ(
        countOf(history(), QStringLiteral("RemoteItemDeleted"), QStringLiteral("extra.txt")), 1);

    // --exclude adds shell wildcards, any case, to the rule for this run only.
    dir.write(QStringLiteral("src/docs/Skip.ISO"), "image");
    QJsonObject s = QJsonDocument::fromJson(
        testutil::run(tool(),
            QStringList { QStringLiteral("sync"), src(), dst(), QStringLiteral("--json"),
                QStringLiteral("--exclude"), QStringLiteral("*.iso"), QStringLiteral("--exclude"),
                QStringLiteral("new.*") }
                + common())
            .out)
                        .object();
    EXPECT_EQ(s.value(QStringLiteral("excluded")).toInt(), 5);
    EXPECT_FALSE(QFileInfo::exists(dst(QStringLiteral("docs/Skip.ISO"))));
    EXPECT_EQ(
        countOf(history(), QStringLiteral("ItemSkipped"), QStringLiteral("docs/Skip.ISO")), 1);
    s = pass();
    EXPECT_EQ(s.value(QStringLiteral("copied")).toInt(), 1) << "the pattern held for one run";
}

TEST_F(SyncCommandTest, RefusesFoldersInsideEachOther)
{
    const struct
    {
        QString source, target;
    } rows[] = {
        { src(), src(QStringLiteral("docs/mirror")) },
        { src(QStringLiteral("nested")), src() },
        { src(), src() },
        { src(QStringLiteral("missing")), dst() },
        // A target that is a link into the source is inside it, whatever its text says.
        { src(), dir.filePath(QStringLiteral("link-into-src/mirror")) },
    };
    ASSERT_TRUE(
        QFile::link(src(QStringLiteral("docs")), dir.filePath(QStringLiteral("link-into-src"))));
    for (const auto& row : rows) {
        const auto r = testutil::run(
            tool(), QStringList { QStringLiteral("sync"), row.source, row.target } + common());
        EXPECT_EQ(r.exitCode, 1) << row.source.toStdString() << " -> " << row.target.toStdString();
        EXPECT_EQ(r.err.count('\n'), 1) << r.err.constData();
    }
    EXPECT_FALSE(QFileInfo::exists(src(QStringLiteral("docs/mirror"))));
    EXPECT_FALSE(QFileInfo::exists(src(QStringLiteral("docs/docs"))));
    EXPECT_FALSE(QFileInfo::exists(dir.filePath(QStringLiteral("log.sqlite"))))
        << "nothing is created";
}

// The target is made only once the database opened: a failed command leaves nothing behind.
TEST_F(SyncCommandTest, DatabaseThatCannotOpenLeavesNoTarget)
{
    const auto r = testutil::run(tool(),
        { QStringLiteral("sync"), src(), dst(QStringLiteral("deeper/still")),
            QStringLiteral("--db"), dir.filePath(QStringLiteral("missing/log.sqlite")) });
    EXPECT_EQ(r.exitCode, 1) << r.err.constData();
    EXPECT_EQ(r.err.count('\n'), 1) << r.err.constData();
    EXPECT_FALSE(QFileInfo::exists(dst())) << "the target and the folders above it go again";
}

namespace {

/// A running `sync --watch` with its standard output collected.
struct Service
{
    QProcess process;
    QByteArray out;

    bool waitForSummaries(int count)
    {
        for (int i = 0; i < 300 && out.count("files:") < count; ++i) {
            process.waitForReadyRead(100);
            out += process.readAllStandardOutput();
        }
        return out.count("files:") >= count;
    }
};

} // namespace

// Woken, fed a change through inotify, then stopped by a signal: status 128 + N
// after the log was flushed, and each excluded item recorded once for the whole run.
TEST_F(SyncCommandTest, WatchIsWokenAndEndsWith128PlusTheSignal)
{
    for (const int signal : { SIGTERM, SIGINT }) {
        SCOPED_TRACE(signal);
        QFile::remove(dir.filePath(QStringLiteral("log.sqlite")));
        Service service;
        service.process.start(tool(),
            QStringList { QStringLiteral("sync"), src(), dst(), QStringLiteral("--watch"),
                QStringLiteral("--interval"), QStringLiteral("3600") }
                + common());
        ASSERT_TRUE(service.process.waitForStarted());
        ASSERT_TRUE(service.waitForSummaries(1)) << service.out.constData();
        ASSERT_TRUE(QFileInfo::exists(dst(QStringLiteral("docs/a.txt"))));

        // A wake-up call runs a full pass, though nothing changed.
        const auto woke = testutil::run(tool(),
            { QStringLiteral("wake"), QStringLiteral("--pid"),
                QString::number(service.process.processId()) });
        EXPECT_EQ(woke.exitCode, 0) << woke.err.constData();
        ASSERT_TRUE(service.waitForSummaries(2)) << service.out.constData();
        EXPECT_TRUE(service.out.trimmed().split('\n').last().contains(" 0 copied (0 B), "))
            << service.out.constData();
        // A change in a subfolder comes over by itself, inotify watching the whole tree.
        const QString late = QStringLiteral("nested/late%1.txt").arg(signal);
        dir.write(QStringLiteral("src/") + late, "added while watching\n");
        for (int i = 0; i < 100 && !QFileInfo::exists(dst(late)); ++i)
            QThread::msleep(50);
        EXPECT_EQ(testutil::readFile(dst(late)), QByteArray("added while watching\n"));

        ::kill(pid_t(service.process.processId()), signal);
        ASSERT_TRUE(service.process.waitForFinished(5000));
        EXPECT_EQ(service.process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(service.process.exitCode(), 128 + signal);
        const QJsonArray rows = history();
        EXPECT_EQ(countOf(rows, QStringLiteral("FileUploaded"), late), 1);
        EXPECT_EQ(countOf(rows, QStringLiteral("ItemSkipped")), 3)
            << "an exclusion is recorded once per run";
    }
}

// Another process holds the database's write lock while the service flushes:
// the service says so in one line naming the file and stops with status 1,
// instead of carrying on while its history goes nowhere.
TEST_F(SyncCommandTest, WatchStopsWhenItsRowsCannotBeWritten)
{
    if (!testutil::haveProgram(QStringLiteral("sqlite3")))
        GTEST_SKIP() << "the sqlite3 program is needed to hold the database's lock";
    Service service;
    service.process.start(tool(),
        QStringList { QStringLiteral("sync"), src(), dst(), QStringLiteral("--watch"),
            QStringLiteral("--interval"), QStringLiteral("3600") }
            + common());
    ASSERT_TRUE(service.waitForSummaries(1)) << service.out.constData();
    QProcess holder;
    holder.start(QStringLiteral("sqlite3"), { dir.filePath(QStringLiteral("log.sqlite")) });
    ASSERT_TRUE(holder.waitForStarted());
    holder.write(
        "BEGIN EXCLUSIVE; INSERT INTO ActionLog(actionType) VALUES (99); SELECT 'held';\n");
    ASSERT_TRUE(holder.waitForReadyRead(10000));
    ASSERT_EQ(holder.readAllStandardOutput(), QByteArray("held\n"));

    dir.write(QStringLiteral("src/late.txt"), "late\n");
    ASSERT_EQ(testutil::run(tool(),
                  { QStringLiteral("wake"), QStringLiteral("--pid"),
                      QString::number(service.process.processId()) })
                  .exitCode,
        0);
    ASSERT_TRUE(service.process.waitForFinished(120000));
    holder.write("ROLLBACK;\n.quit\n");
    holder.waitForFinished(5000);
    EXPECT_EQ(service.process.exitCode(), 1);
    const QStringList errors = QString::fromUtf8(service.process.readAllStandardError())
                                   .split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    ASSERT_EQ(errors.size(), 1);
    EXPECT_TRUE(errors[0].startsWith(QStringLiteral("synccore sync: ")
        + dir.filePath(QStringLiteral("log.sqlite")) + QStringLiteral(": ")))
        << qPrintable(errors[0]);
}

TEST_F(SyncCommandTest, VerboseListsEachCopyAndQuietPrintsNothing)
{
    const struct
    {
        const char* option;
        QStringList out;
    } rows[] = {
        { "-v",
            { "big.bin", "docs/", "docs/a.txt", "docs/b & c.md", "nested/", "nested/deeper/",
                "nested/deeper/data.csv" } },
        { "--quiet", {} },
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.option);
        QDir(dst()).removeRecursively();
        const auto r = testutil::run(tool(),
            QStringList { QStringLiteral("sync"), QLatin1String(row.option), src(), dst() }
                + common());
        EXPECT_EQ(r.exitCode, 0) << r.err.constData();
        QStringList out = QString::fromUtf8(r.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        if (!row.out.isEmpty()) {
            ASSERT_FALSE(out.isEmpty());
            EXPECT_TRUE(out.takeLast().startsWith(QStringLiteral("4 files: 4 copied (3.00 MiB)")))
                << r.out.constData();
            out.sort();
        }
        EXPECT_EQ(out, row.out) << r.out.constData();
        EXPECT_TRUE(r.err.isEmpty()) << r.err.constData();
    }
}

TEST_F(SyncCommandTest, SigtermMidPassLeavesOnlyWholeFiles)
{
    for (int i = 0; i < 1500; ++i)
        dir.write(QStringLiteral("src/many/f%1.dat").arg(i, 4, 10, QLatin1Char('0')),
            QByteArray(8192, char('a' + i % 26)));
    QProcess pass;
    pass.start(tool(),
        QStringList { QStringLiteral("sync"), src(), dst(), QStringLiteral("--json") } + common());
    ASSERT_TRUE(pass.waitForStarted());
    // Stop it as soon as the first file has arrived.
    for (int i = 0; i < 2000 && targetFiles().isEmpty(); ++i)
        QThread::msleep(5);
    ::kill(pid_t(pass.processId()), SIGTERM);
    ASSERT_TRUE(pass.waitForFinished(30000));
    EXPECT_EQ(pass.exitCode(), 128 + SIGTERM) << pass.readAllStandardError().constData();
    const QJsonObject s = QJsonDocument::fromJson(pass.readAllStandardOutput()).object();
    EXPECT_TRUE(s.value(QStringLiteral("interrupted")).toBool());

    const QStringList files = targetFiles();
    EXPECT_LT(files.size(), 1504);
    for (const QString& f : files) {
        EXPECT_FALSE(f.contains(QStringLiteral(".DWN")) || f.endsWith(QStringLiteral(".bak")))
            << f.toStdString();
        EXPECT_EQ(testutil::readFile(dst(f)), testutil::readFile(src(f))) << f.toStdString();
    }
    // The log was flushed: one upload record for each file that arrived, the pass framed.
    const QJsonArray rows = history();
    EXPECT_EQ(countOf(rows, QStringLiteral("FileUploaded")), files.size());
    EXPECT_EQ(countOf(rows, QStringLiteral("SyncStarted")), 1);
}
