// "synccore exclude": the tool as a child process, with and without the
// override in the Tessaron Sync settings file of the test's private
// XDG_CONFIG_HOME (which the child inherits).

#include "TestUtil.h"

#include <QFile>
#include <QSettings>
#include <QStandardPaths>

#include <gtest/gtest.h>

TEST(ExcludeCommandTest, PrintsTheVerdictPerName)
{
    const QString settingsFile
        = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/Tessaron/Tessaron Sync.conf");
    // setting: value of UploadDownloadExclusions, nullptr for none; out: standard output lines
    const struct
    {
        const char* setting;
        QStringList args;
        int exitCode;
        QStringList out;
    } rows[] = {
        { nullptr, { "Thumbs.db", "report.docx", "Größe.BAK", "dir/thumbs.db" }, 0,
            { "excluded\tThumbs.db", "kept\treport.docx", "excluded\tGröße.BAK",
                "kept\tdir/thumbs.db" } },
        // the override replaces the defaults
        { "\\.tmp$", { "a.tmp", "a.bak" }, 0, { "excluded\ta.tmp", "kept\ta.bak" } },
        // another key: its value (empty, so everything is excluded), or the defaults when absent
        { "\\.tmp$", { "--key", "Elsewhere", "a.txt" }, 0, { "excluded\ta.txt" } },
        { "\\.tmp$", { "--key=Missing", "a.tmp", "a.bak" }, 0,
            { "kept\ta.tmp", "excluded\ta.bak" } },
        // bad usage: one line on standard error, nothing on standard output
        { nullptr, {}, 2, {} },
        { nullptr, { "--key" }, 2, {} },
        { nullptr, { "--key", "" }, 2, {} },
        { nullptr, { "--verbose", "a.bak" }, 2, {} },
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(qPrintable(r.args.join(QLatin1Char(' '))));
        QFile::remove(settingsFile);
        if (r.setting) {
            QSettings settings(settingsFile, QSettings::IniFormat);
            settings.setValue(
                QStringLiteral("UploadDownloadExclusions"), QString::fromUtf8(r.setting));
            settings.setValue(QStringLiteral("Elsewhere"), QStringLiteral(""));
            settings.sync();
            ASSERT_EQ(settings.status(), QSettings::NoError);
        }
        const testutil::ProcessResult p
            = testutil::run(testutil::builtExecutable(QStringLiteral("synccore")),
                QStringList { "exclude" } + r.args);
        EXPECT_EQ(QList<int>({ p.signal, p.exitCode }), QList<int>({ 0, r.exitCode }))
            << p.err.constData();
        EXPECT_EQ(QString::fromUtf8(p.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts), r.out);
        EXPECT_TRUE(
            r.exitCode == 0 || (p.err.startsWith("synccore exclude: ") && p.err.count('\n') == 2))
            << p.err.constData();
    }
    QFile::remove(settingsFile);
}
