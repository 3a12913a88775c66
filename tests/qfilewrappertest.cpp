// QFileWrapper: the guarded copy, visibility, free space and the temporary and
// download companions, on real files in a temporary folder.

#include "TestUtil.h"

#include "Sync/SyncCore/Consts.h"
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
using testutil::TempDir;

namespace {

// Collects "LEVEL message" for every event of the class logger while it lives.
class CapturedLog
{
public:
    CapturedLog()
        : _logger(log4cplus::Logger::getInstance("QFileWrapper"))
        , _appender(new Appender(_lines))
    {
        _logger.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
        _logger.addAppender(log4cplus::SharedAppenderPtr(_appender.get()));
    }
    ~CapturedLog() { _logger.removeAppender(log4cplus::SharedAppenderPtr(_appender.get())); }
    const QStringList& lines() const { return _lines; }

private:
    class Appender : public log4cplus::Appender
    {
    public:
        explicit Appender(QStringList& lines) : _lines(lines) {}
        ~Appender() override { destructorImpl(); }
        void close() override {}

    protected:
        void append(const log4cplus::spi::InternalLoggingEvent& event) override
        {
            _lines << QStringLiteral("%1 %2").arg(event.getLogLevel()).arg(
                QString::fromStdString(event.getMessage()));
        }

    private:
        QStringList& _lines;
    };

    QStringList _lines;
    log4cplus::Logger _logger;
    log4cplus::helpers::SharedObjectPtr<Appender> _appender;
};

QString companionName(const std::shared_ptr<IQFileWrapper>& w)
{
    return w ? w->fileName() : QStringLiteral("<null>");
}

} // namespace

TEST(QFileWrapper, CopySucceedsOnceAndThenReportsTheFileError)
{
    TempDir dir;
    const QString source = dir.write(QStringLiteral("s.txt"), "content");
    const QString target = dir.filePath(QStringLiteral("t.txt"));
    QFileWrapper wrapper(std::make_shared<QFile>(source));
    CapturedLog log;

    EXPECT_EQ(wrapper.copy(target), IQFileWrapper::NoError);
    EXPECT_EQ(testutil::readFile(target), "content");
    EXPECT_TRUE(log.lines().isEmpty());

    // QFile::copy never replaces a target.
    EXPECT_EQ(wrapper.copy(target), IQFileWrapper::CopyFailed);
    EXPECT_EQ(int(IQFileWrapper::CopyFailed), 2);
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_EQ(log.lines().first(),
              QStringLiteral("%1 File copy error.  QFile::FileError enum code <%2>.")
                  .arg(log4cplus::WARN_LOG_LEVEL)
                  .arg(int(wrapper.error())));
    EXPECT_NE(wrapper.error(), QFile::NoError);
}

TEST(QFileWrapper, FreeDiskSpaceIsAlwaysUnlimited)
{
    const qint64 unlimited = std::numeric_limits<qint64>::max();
    EXPECT_EQ(unlimited, Q_INT64_C(9223372036854775807));
    QFileWrapper noFile;
    noFile.SetFile(nullptr);
    EXPECT_EQ(noFile.GetFreeDiskSpace(), unlimited);
    QFileWrapper withFile(std::make_shared<QFile>(QStringLiteral("/tmp/anything")));
    EXPECT_EQ(withFile.GetFreeDiskSpace(), unlimited);
}

TEST(QFileWrapper, SetVisibilityTouchesOnlyWhatMustChange)
{
    TempDir dir;
    const QString path = dir.write(QStringLiteral("v.txt"), "v");
    const QString list = dir.filePath(QStringLiteral(".hidden"));
    QFileWrapper wrapper(std::make_shared<QFile>(path));

    EXPECT_TRUE(wrapper.setVisibility(true));
    EXPECT_FALSE(QFileInfo::exists(list)) << "already visible: nothing written";
    EXPECT_TRUE(wrapper.setVisibility(false));
    EXPECT_EQ(testutil::readFile(list), "v.txt\n");
    EXPECT_TRUE(wrapper.setVisibility(false));
    EXPECT_EQ(testutil::readFile(list), "v.txt\n");
    EXPECT_TRUE(wrapper.setVisibility(true));
    EXPECT_FALSE(QFileInfo::exists(list));

    QFileWrapper missing(std::make_shared<QFile>(dir.filePath(QStringLiteral("missing"))));
    EXPECT_FALSE(missing.setVisibility(true));
    EXPECT_FALSE(missing.setVisibility(false));
    EXPECT_FALSE(QFileInfo::exists(list));
}

// ---------------------------------------------------------------------------
// Companion files
// ---------------------------------------------------------------------------

struct TempFileRow
{
    const char* name;
    const char* file;       // relative to the temporary folder
    const char* folderName; // working folder name
    const char* extension;
    const char* expected;   // relative to the temporary folder
};

class GetTempFile : public ::testing::TestWithParam<TempFileRow>
{
};

TEST_P(GetTempFile, NamesTheCompanionAndMakesItsFolder)
{
    const TempFileRow& row = GetParam();
    TempDir dir;
    QFileWrapper wrapper(std::make_shared<QFile>(dir.filePath(QString::fromUtf8(row.file))));
    const auto companion =
        wrapper.GetTempFile(QString::fromUtf8(row.folderName), QString::fromUtf8(row.extension));
    const QString expected = dir.filePath(QString::fromUtf8(row.expected));
    ASSERT_TRUE(companion);
    EXPECT_EQ(companion->fileName(), expected);
    EXPECT_TRUE(QFileInfo(QFileInfo(expected).absolutePath()).isDir());
    EXPECT_FALSE(companion->exists()) << "the companion itself is not created";
    EXPECT_FALSE(QFileInfo::exists(wrapper.fileName())) << "nor the file it belongs to";
}

const TempFileRow kTempFileRows[] = {
    {"KeepsOwnExtension", "a.txt", ".{SyncTemp}", "TMP", ".{SyncTemp}/a.txt.TMP"},
    {"DoubleExtension", "archive.tar.gz", ".{SyncTemp}", "TMP", ".{SyncTemp}/archive.tar.gz.TMP"},
    {"NoExtensionStillDot", "Makefile", ".{SyncBackup}", "BASE", ".{SyncBackup}/Makefile.BASE"},
    {"NestedFolderWithParents", "sub/deeper/d.bin", "w/x", "DELTA", "sub/deeper/w/x/d.bin.DELTA"},
};

INSTANTIATE_TEST_SUITE_P(Rows, GetTempFile, ::testing::ValuesIn(kTempFileRows),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(GetTempFileFolder, ExistingFolderIsUsedAsItIs)
{
    TempDir dir;
    const QString marker = dir.write(QStringLiteral(".{SyncTemp}/pending.TMP"), "keep");
    QFileWrapper wrapper(std::make_shared<QFile>(dir.filePath(QStringLiteral("a.txt"))));
    const auto companion = wrapper.GetTempFile(QStringLiteral(".{SyncTemp}"), QStringLiteral("TMP"));
    EXPECT_EQ(companionName(companion), dir.filePath(QStringLiteral(".{SyncTemp}/a.txt.TMP")));
    EXPECT_EQ(testutil::readFile(marker), "keep");
}

TEST(GetTempFileFolder, FailuresGiveNoWrapperAndOneErrorLine)
{
    TempDir dir;
    CapturedLog log;

    QFileWrapper unnamed;
    EXPECT_FALSE(unnamed.GetTempFile(QStringLiteral(".{SyncTemp}"), QStringLiteral("TMP")));
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_EQ(log.lines().at(0),
              QStringLiteral("%1 Failed to get temp file in QFileWrapper::GetTempFile. File name is not set")
                  .arg(log4cplus::ERROR_LOG_LEVEL));
    EXPECT_FALSE(QFileInfo::exists(QDir::current().filePath(QStringLiteral(".{SyncTemp}"))));

    // A file stands where the working folder should be.
    dir.write(QStringLiteral("blocker"), "b");
    QFileWrapper blocked(std::make_shared<QFile>(dir.filePath(QStringLiteral("a.txt"))));
    EXPECT_FALSE(blocked.GetTempFile(QStringLiteral("blocker"), QStringLiteral("TMP")));
    ASSERT_EQ(log.lines().size(), 2);
    EXPECT_EQ(log.lines().at(1), QStringLiteral("%1 Failed to create temp folder %2")
                                     .arg(log4cplus::ERROR_LOG_LEVEL)
                                     .arg(dir.filePath(QStringLiteral("blocker"))));
}

TEST(GetDownloadedTempFile, NamesTheDownloadWithoutMakingItsFolder)
{
    TempDir dir;
    const struct
    {
        const char* file;
        const char* expected;
    } rows[] = {
        {"Makefile", ".{SyncTemp}/Makefile.DWN"},
        {"report.txt", ".{SyncTemp}/report.txt.DWN"},
        {"sub/archive.tar.gz", "sub/.{SyncTemp}/archive.tar.gz.DWN"},
    };
    for (const auto& row : rows) {
        QFileWrapper wrapper(std::make_shared<QFile>(dir.filePath(QString::fromUtf8(row.file))));
        const auto download = wrapper.GetDownloadedTempFile();
        ASSERT_TRUE(download);
        EXPECT_EQ(download->fileName(), dir.filePath(QString::fromUtf8(row.expected)));
    }
    EXPECT_FALSE(QFileInfo::exists(dir.filePath(sync::core::consts::TEMP_FOLDER_NAME)));
    EXPECT_FALSE(QFileInfo::exists(dir.filePath(QStringLiteral("sub"))));
}
