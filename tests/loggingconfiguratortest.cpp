// LoggingConfigurator and ScopeLogger against real log4cplus writing real files.

#include "Sync/SyncCore/LoggingConfigurator.h"
#include "Sync/SyncCore/ScopeLogger.h"

#include "TestUtil.h"

#include <QDateTime>
#include <QFileInfo>
#include <QRegularExpression>

#include <log4cplus/hierarchy.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <gtest/gtest.h>

using sync::core::LoggingConfigurator;
using sync::core::ScopeLogger;

namespace {

QStringList linesOf(const QString& path)
{
    return QString::fromUtf8(testutil::readFile(path)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

} // namespace

struct PropertyRow
{
    const char* name;
    QString path, level, appender;
    std::string rootLogger; // empty: no rootLogger property at all
    bool appenderMade;
};

class LoggingPropertiesTest : public ::testing::TestWithParam<PropertyRow>
{
};

TEST_P(LoggingPropertiesTest, Properties)
{
    const PropertyRow& row = GetParam();
    log4cplus::Hierarchy hierarchy;
    LoggingConfigurator c(
        row.path, row.level, row.appender, QStringLiteral("5MB"), QStringLiteral("4"), hierarchy);
    const auto& p = c.Properties();
    EXPECT_EQ(p.getProperty("rootLogger"), row.rootLogger);
    EXPECT_EQ(c.HasFileAppender(), row.appenderMade);
    if (row.appenderMade) {
        EXPECT_EQ(p.getProperty("appender.FILE.layout"), "log4cplus::PatternLayout");
        EXPECT_EQ(p.getProperty("appender.FILE.layout.ConversionPattern"),
            "%d{%Y-%m-%dT%H:%M:%S.%qZ} [%t] [%c %p] %m%n");
        EXPECT_EQ(p.getProperty("appender.FILE.MaxFileSize"), "5MB");
        EXPECT_EQ(p.getProperty("appender.FILE.MaxBackupIndex"), "4");
        EXPECT_EQ(p.getProperty("appender.FILE.File"), row.path.toStdString());
    } else {
        EXPECT_TRUE(p.propertyNames().empty());
    }
    hierarchy.shutdown();
}

static testutil::TempDir& propertyDir()
{
    static testutil::TempDir dir;
    return dir;
}

INSTANTIATE_TEST_SUITE_P(Rows, LoggingPropertiesTest,
    ::testing::Values(
        PropertyRow { "emptyPath", QString(), QStringLiteral("DEBUG"), QString(), "", false },
        PropertyRow {
            "defaults", propertyDir().filePath("a.log"), QString(), QString(), "INFO, FILE", true },
        PropertyRow { "debug", propertyDir().filePath("b.log"), QStringLiteral("DEBUG"), QString(),
            "DEBUG, FILE", true },
        // Only the rootLogger value follows the appender name; the appender is still "FILE".
        PropertyRow { "otherName", propertyDir().filePath("c.log"), QStringLiteral("WARN"),
            QStringLiteral("MAIN"), "WARN, MAIN", true }),
    [](const auto& info) { return std::string(info.param.name); });

TEST(LoggingOutputTest, LineFormatIsIsoUtcThreadLoggerLevelMessage)
{
    testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("service.log"));
    log4cplus::Hierarchy hierarchy;
    LoggingConfigurator c(
        path, QString(), QString(), QStringLiteral("1MB"), QStringLiteral("1"), hierarchy);
    c.configure();

    const QDateTime before = QDateTime::currentDateTimeUtc().addMSecs(-1000);
    log4cplus::Logger logger = hierarchy.getInstance("SyncCore");
    {
        ScopeLogger scope(logger, QStringLiteral("Sync"));
        LOG4CPLUS_INFO(logger, "inside " << 42);
        LOG4CPLUS_DEBUG(logger, "below the root level");
    }
    const QDateTime after = QDateTime::currentDateTimeUtc().addMSecs(1000);
    hierarchy.shutdown();

    const QStringList lines = linesOf(path);
    ASSERT_EQ(lines.size(), 3) << lines.join(QLatin1Char('\n')).toStdString();
    const QRegularExpression format(QStringLiteral(
        R"(^(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3})Z \[[^\]]+\] \[SyncCore INFO\] (.*)$)"));
    const QStringList messages { QStringLiteral("Sync starting"), QStringLiteral("inside 42"),
        QStringLiteral("Sync ending") };
    for (int i = 0; i < lines.size(); ++i) {
        const auto m = format.match(lines[i]);
        ASSERT_TRUE(m.hasMatch()) << lines[i].toStdString();
        EXPECT_EQ(m.captured(2), messages[i]);
        QDateTime stamp
            = QDateTime::fromString(m.captured(1), QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzz"));
        stamp.setTimeZone(QTimeZone::utc());
        EXPECT_TRUE(stamp >= before && stamp <= after)
            << "not the current UTC time: " << lines[i].toStdString();
    }
}

TEST(LoggingOutputTest, NothingWrittenAboveInfo)
{
    testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("quiet.log"));
    log4cplus::Hierarchy hierarchy;
    LoggingConfigurator c(path, QStringLiteral("WARN"), QString(), QStringLiteral("1MB"),
        QStringLiteral("1"), hierarchy);
    c.configure();
    log4cplus::Logger logger = hierarchy.getInstance("sync");
    {
        ScopeLogger scope(logger, QStringLiteral("Sync"));
    }
    LOG4CPLUS_WARN(logger, "a warning");
    hierarchy.shutdown();
    const QStringList lines = linesOf(path);
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines[0].endsWith(QStringLiteral("[sync WARN] a warning")))
        << lines[0].toStdString();
}

TEST(LoggingOutputTest, RollsAtSizeKeepingBackupCount)
{
    testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("roll.log"));
    log4cplus::Hierarchy hierarchy;
    // 200KB is the smallest size log4cplus accepts.
    LoggingConfigurator c(
        path, QString(), QString(), QStringLiteral("200KB"), QStringLiteral("2"), hierarchy);
    c.configure();
    log4cplus::Logger logger = hierarchy.getInstance("SyncCore");
    const std::string payload(1000, 'x');
    for (int i = 0; i < 1000; ++i) // about 1 MB: several roll-overs
        LOG4CPLUS_INFO(logger, i << ' ' << payload);
    hierarchy.shutdown();

    EXPECT_TRUE(QFileInfo::exists(path));
    EXPECT_TRUE(QFileInfo::exists(path + QStringLiteral(".1")));
    EXPECT_TRUE(QFileInfo::exists(path + QStringLiteral(".2")));
    EXPECT_FALSE(QFileInfo::exists(path + QStringLiteral(".3")));
    for (const QString& f : { path, path + QStringLiteral(".1"), path + QStringLiteral(".2") })
        EXPECT_LE(QFileInfo(f).size(), 200 * 1024 + 1100) << f.toStdString();
    // The newest line is in the live file, and the backups hold older ones.
    EXPECT_TRUE(
        linesOf(path).last().endsWith(QStringLiteral("999 ") + QString(1000, QLatin1Char('x'))));
}
