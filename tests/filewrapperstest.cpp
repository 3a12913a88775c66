// The file and folder wrappers on real files in a temporary folder: the guarded copy,
// visibility, the temporary and download companions, rmdir's clean-up, DiskDrive(),
// created() and entries that outlive the iterator.

#include "TestUtil.h"

#include "Sync/SyncCore/QDirIteratorWrapper.h"
#include "Sync/SyncCore/QDirWrapper.h"
#include "Sync/SyncCore/QFileInfoWrapper.h"
#include "Sync/SyncCore/QFileWrapper.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <limits>

using sync::core::QFileWrapper;
using sync::interf::IQFileWrapper;

namespace {

class LineAppender : public log4cplus::Appender
{
public:
    ~LineAppender() override { destructorImpl(); }
    void close() override { }
    QStringList lines; // "LEVEL message"

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override
    {
        lines << QString("%1 %2")
                     .arg(event.getLogLevel())
                     .arg(QString::fromStdString(event.getMessage()));
    }
};

// Collects what the QFileWrapper logger says while it lives.
struct CapturedLog
{
    log4cplus::Logger logger = log4cplus::Logger::getInstance("QFileWrapper");
    log4cplus::SharedAppenderPtr appender { new LineAppender };
    CapturedLog()
    {
        logger.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
        logger.addAppender(appender);
    }
    ~CapturedLog() { logger.removeAppender(appender); }
    const QStringList& lines() const { return static_cast<LineAppender&>(*appender).lines; }
};

QFileWrapper wrap(const QString& path)
{
    return QFileWrapper(std::make_shared<QFile>(path));
}

} // namespace

TEST(QFileWrapper, CopySucceedsOnceAndThenReportsTheFileError)
{
    testutil::TempDir dir;
    const QString target = dir.filePath("t.txt");
    QFileWrapper wrapper = wrap(dir.write("s.txt", "content"));
    CapturedLog log;
    EXPECT_EQ(wrapper.copy(target), IQFileWrapper::NoError);
    EXPECT_EQ(testutil::readFile(target), "content");
    EXPECT_TRUE(log.lines().isEmpty());

    // QFile::copy never replaces a target.
    EXPECT_EQ(wrapper.copy(target), IQFileWrapper::CopyFailed);
    EXPECT_EQ(int(IQFileWrapper::CopyFailed), 2);
    EXPECT_NE(wrapper.error(), QFile::NoError);
    EXPECT_EQ(log.lines(),
        QStringList { QString("%1 File copy error.  QFile::FileError enum code <%2>.")
                          .arg(log4cplus::WARN_LOG_LEVEL)
                          .arg(int(wrapper.error())) });
    // Kept on purpose: free space never refuses a copy.
    EXPECT_EQ(QFileWrapper().GetFreeDiskSpace(), std::numeric_limits<qint64>::max());
    EXPECT_EQ(wrapper.GetFreeDiskSpace(), std::numeric_limits<qint64>::max());
}

TEST(QFileWrapper, SetVisibilityTouchesOnlyWhatMustChange)
{
    testutil::TempDir dir;
    const QString list = dir.filePath(".hidden");
    QFileWrapper wrapper = wrap(dir.write("v.txt", "v"));
    EXPECT_TRUE(wrapper.setVisibility(true));
    EXPECT_FALSE(QFileInfo::exists(list)) << "already visible: nothing written";
    EXPECT_TRUE(wrapper.setVisibility(false));
    EXPECT_TRUE(wrapper.setVisibility(false));
    EXPECT_EQ(testutil::readFile(list), "v.txt\n");
    EXPECT_TRUE(wrapper.setVisibility(true));
    EXPECT_FALSE(QFileInfo::exists(list));

    QFileWrapper missing = wrap(dir.filePath("missing"));
    EXPECT_FALSE(missing.setVisibility(true));
    EXPECT_FALSE(missing.setVisibility(false));
    EXPECT_FALSE(QFileInfo::exists(list));
}

TEST(QFileWrapper, CompanionsAreNamedAndOnlyTheTemporaryFolderIsMade)
{
    testutil::TempDir dir;
    const QString pending = dir.write(".{SyncTemp}/pending.TMP", "keep"); // an existing folder
    const struct
    {
        const char* file;
        const char* folderName; // nullptr: the download companion
        const char* extension;
        const char* expected;
    } rows[] = {
        { "a.txt", ".{SyncTemp}", "TMP", ".{SyncTemp}/a.txt.TMP" },
        { "archive.tar.gz", ".{SyncTemp}", "TMP", ".{SyncTemp}/archive.tar.gz.TMP" },
        { "Makefile", ".{SyncBackup}", "BASE", ".{SyncBackup}/Makefile.BASE" },
        { "sub/deeper/d.bin", "w/x", "DELTA", "sub/deeper/w/x/d.bin.DELTA" },
        { "down/Makefile", nullptr, nullptr, "down/.{SyncTemp}/Makefile.DWN" },
        { "down/sub/archive.tar.gz", nullptr, nullptr, "down/sub/.{SyncTemp}/archive.tar.gz.DWN" },
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.expected);
        QFileWrapper wrapper = wrap(dir.filePath(row.file));
        const auto companion = row.folderName ? wrapper.GetTempFile(row.folderName, row.extension)
                                              : wrapper.GetDownloadedTempFile();
        ASSERT_TRUE(companion);
        EXPECT_EQ(companion->fileName(), dir.filePath(row.expected));
        EXPECT_FALSE(companion->exists()) << "the companion itself is not created";
        EXPECT_FALSE(QFileInfo::exists(wrapper.fileName())) << "nor the file it belongs to";
        EXPECT_EQ(QFileInfo(QFileInfo(companion->fileName()).absolutePath()).isDir(),
            row.folderName != nullptr);
    }
    EXPECT_EQ(testutil::readFile(pending), "keep");
    EXPECT_FALSE(QFileInfo::exists(dir.filePath("down")));
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
        (QStringList { ".{SyncBackup}", ".{SyncTemp}", "sub" }));
}

TEST(QFileWrapper, CompanionFailuresGiveNoWrapperAndOneErrorLine)
{
    testutil::TempDir dir;
    CapturedLog log;
    EXPECT_FALSE(QFileWrapper().GetTempFile(".{SyncTemp}", "TMP"));
    EXPECT_FALSE(QFileInfo::exists(QDir::current().filePath(".{SyncTemp}")));
    dir.write("blocker", "b"); // a file stands where the working folder should be
    EXPECT_FALSE(wrap(dir.filePath("a.txt")).GetTempFile("blocker", "TMP"));
    const int error = log4cplus::ERROR_LOG_LEVEL;
    EXPECT_EQ(log.lines(),
        (QStringList {
            QString("%1 Failed to get temp file in QFileWrapper::GetTempFile. File name is not set")
                .arg(error),
            QString("%1 Failed to create temp folder %2")
                .arg(error)
                .arg(dir.filePath("blocker")) }));
}

TEST(QDirWrapper, RmdirClearsMetadataThenRemovesWhenEmpty)
{
    const struct
    {
        QStringList files; // made inside the folder ("x/" makes an empty folder x)
        QStringList remains; // entries left inside; the folder goes when there are none
    } rows[] = {
        { {}, {} },
        { { ".DS_Store", "desktop.ini", "Thumbs.db", ".{SyncTemp}/" }, {} },
        { { ".DS_Store", "Thumbs.db", "mine.txt" }, { "mine.txt" } },
        { { ".{SyncTemp}/a.txt.DWN" }, { ".{SyncTemp}" } },
        { { ".other" }, { ".other" } },
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.files.join(' ').toStdString());
        testutil::TempDir dir;
        const QString folder = dir.filePath("synced");
        QDir().mkpath(folder);
        for (const QString& f : row.files) {
            if (f.endsWith('/'))
                QDir().mkpath(folder + '/' + f);
            else
                dir.write("synced/" + f, "x");
        }
        EXPECT_EQ(sync::core::QDirWrapper(std::make_shared<QDir>(folder)).rmdir(folder),
            row.remains.isEmpty());
        EXPECT_EQ(QFileInfo::exists(folder), !row.remains.isEmpty());
        if (!row.remains.isEmpty()) {
            EXPECT_EQ(
                QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                row.remains);
        }
    }
    // Kept behaviour: the metadata is cleared from the wrapper's own folder, not the argument's.
    testutil::TempDir dir;
    const QString own = dir.write("own/.DS_Store", "x");
    const QString other = dir.write("other/.DS_Store", "x");
    EXPECT_FALSE(sync::core::QDirWrapper(std::make_shared<QDir>(dir.filePath("own")))
                     .rmdir(dir.filePath("other")));
    EXPECT_FALSE(QFileInfo::exists(own));
    EXPECT_TRUE(QFileInfo::exists(other));
}

TEST(QFileInfoWrapper, DiskDriveAndCreated)
{
    ASSERT_EQ(QDir::drives().size(), 1); // "/" alone on this platform
    sync::core::QFileInfoWrapper info;
    const std::pair<const char*, const char*> rows[]
        = { { "/home/user/a.txt", "/" }, { "/", "/" }, { "relative/a.txt", "" }, { "", "" } };
    for (const auto& [path, drive] : rows) {
        info.setFile(path);
        EXPECT_EQ(info.DiskDrive(), QString(drive)) << path;
    }
    testutil::TempDir dir;
    const QDateTime before = QDateTime::currentDateTime().addSecs(-2);
    info.setFile(dir.write("f.txt", "x"));
    ASSERT_TRUE(info.created().isValid());
    EXPECT_GE(info.created(), before);
    EXPECT_LE(info.created(), QDateTime::currentDateTime().addSecs(2));
    info.setFile(dir.filePath("missing"));
    EXPECT_FALSE(info.created().isValid());
}

TEST(QDirIteratorWrapper, WalksTheTreeAndHandsOutIndependentEntries)
{
    testutil::TempDir dir;
    dir.write("a.txt", "a");
    dir.write("sub/b.txt", "bb");
    sync::core::QDirIteratorWrapper it(dir.path(), QDir::Files, QDirIterator::Subdirectories);
    EXPECT_EQ(it.path(), dir.path());
    QStringList names;
    std::vector<std::shared_ptr<sync::interf::IQFileInfoWrapper>> infos;
    while (it.hasNext()) {
        const QString next = it.next();
        EXPECT_EQ(next, it.filePath());
        names << it.fileName();
        infos.push_back(it.fileInfo());
    }
    names.sort();
    EXPECT_EQ(names, (QStringList { "a.txt", "b.txt" }));
    // Each entry is a copy: it still describes its own file after the iterator moved on.
    ASSERT_EQ(infos.size(), 2u);
    EXPECT_TRUE(infos[0]->isFile() && infos[1]->isFile());
    EXPECT_EQ(infos[0]->size() + infos[1]->size(), 3);
    EXPECT_NE(infos[0]->absoluteFilePath(), infos[1]->absoluteFilePath());
}
