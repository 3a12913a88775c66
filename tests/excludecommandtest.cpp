// "synccore exclude": the tool as a child process, with and without the
// override in the Tessaron Sync settings file of the test's private
// XDG_CONFIG_HOME (which the child inherits).

#include "TestUtil.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

QString settingsFilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/Tessaron/Tessaron Sync.conf");
}

struct CommandRow
{
    const char* setting;       // value of UploadDownloadExclusions; nullptr: absent
    QStringList args;          // after "exclude"
    int exitCode;
    QStringList out;           // expected standard output lines
};

void PrintTo(const CommandRow& row, std::ostream* os)
{
    *os << "exclude " << row.args.join(QLatin1Char(' ')).toStdString() << " with setting "
        << (row.setting ? row.setting : "<absent>");
}

class ExcludeCommandTest : public ::testing::TestWithParam<CommandRow>
{
protected:
    void TearDown() override { QFile::remove(settingsFilePath()); }
};

} // namespace

TEST_P(ExcludeCommandTest, PrintsTheVerdictPerName)
{
    const CommandRow& row = GetParam();
    QFile::remove(settingsFilePath());
    if (row.setting) {
        QSettings settings(settingsFilePath(), QSettings::IniFormat);
        settings.setValue(QStringLiteral("UploadDownloadExclusions"), QString::fromUtf8(row.setting));
        settings.setValue(QStringLiteral("Elsewhere"), QStringLiteral(""));
        settings.sync();
        ASSERT_EQ(settings.status(), QSettings::NoError);
    }

    const testutil::ProcessResult r = testutil::run(testutil::builtExecutable(QStringLiteral("synccore")),
                                                    QStringList{QStringLiteral("exclude")} + row.args);
    EXPECT_EQ(r.signal, 0);
    EXPECT_EQ(r.exitCode, row.exitCode) << r.err.constData();
    const QString out = QString::fromUtf8(r.out);
    EXPECT_EQ(out.isEmpty() ? QStringList() : out.trimmed().split(QLatin1Char('\n')), row.out);
    if (row.exitCode != 0) {
        EXPECT_TRUE(r.err.startsWith("synccore: ")) << r.err.constData();
        EXPECT_EQ(r.err.count('\n'), 1) << "one-line error";
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, ExcludeCommandTest, ::testing::ValuesIn(std::vector<CommandRow>{
    {nullptr, {"Thumbs.db", "report.docx", "Größe.BAK", "dir/thumbs.db"}, 0,
     {"excluded\tThumbs.db", "kept\treport.docx", "excluded\tGröße.BAK", "kept\tdir/thumbs.db"}},
    // the override replaces the defaults
    {"\\.tmp$", {"a.tmp", "a.bak"}, 0, {"excluded\ta.tmp", "kept\ta.bak"}},
    // another key: its value (empty, so everything is excluded), or the defaults when absent
    {"\\.tmp$", {"--key", "Elsewhere", "a.txt"}, 0, {"excluded\ta.txt"}},
    {"\\.tmp$", {"--key=Missing", "a.tmp", "a.bak"}, 0, {"kept\ta.tmp", "excluded\ta.bak"}},
    // bad usage: one line on standard error, nothing on standard output
    {nullptr, {}, 2, {}},
    {nullptr, {"--key"}, 2, {}},
    {nullptr, {"--key", ""}, 2, {}},
    {nullptr, {"--verbose", "a.bak"}, 2, {}},
}));
