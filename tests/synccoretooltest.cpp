// The synccore tool's surface, end to end: the tool of the build tree run as a
// child process (installing it per test would cost a relink of every rpath),
// and its manual page and bash completion as `cmake --install` puts them.

#include "TestUtil.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QRegularExpression>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

QString tool()
{
    return testutil::builtExecutable(QStringLiteral("synccore"));
}

testutil::ProcessResult synccore(const QStringList& args, const QStringList& env = {})
{
    return testutil::run(tool(), args, 60000, env);
}

QStringList lines(const QByteArray& text)
{
    return QString::fromUtf8(text).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

/// Every command with its option names, as the parsers know them.
QMap<QString, QStringList> optionTable()
{
    QMap<QString, QStringList> table;
    for (const QString& line : lines(synccore({ QStringLiteral("__options") }).out)) {
        QStringList fields = line.split(QLatin1Char('\t'));
        const QString name = fields.takeFirst();
        table.insert(name, fields);
    }
    return table;
}

QString dataFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QStringLiteral("/synccore");
}

} // namespace

TEST(SyncCoreToolTest, EveryHelpFormPrintsTheCommandsUsageOptionsAndExamples)
{
    const QMap<QString, QStringList> table = optionTable();
    ASSERT_GE(table.size(), 20);
    for (auto it = table.cbegin(); it != table.cend(); ++it) {
        const QStringList words = it.key().split(QLatin1Char(' '));
        for (const QStringList& args : { words + QStringList { QStringLiteral("--help") },
                 words + QStringList { QStringLiteral("-h") },
                 QStringList { QStringLiteral("help") } + words,
                 words + QStringList { QStringLiteral("x"), QStringLiteral("--help") } }) {
            SCOPED_TRACE(qPrintable(args.join(QLatin1Char(' '))));
            const testutil::ProcessResult r = synccore(args);
            EXPECT_EQ(r.exitCode, 0);
            EXPECT_TRUE(r.err.isEmpty()) << r.err.constData();
            const QString help = QString::fromUtf8(r.out);
            EXPECT_TRUE(help.startsWith(QStringLiteral("Usage: synccore %1").arg(it.key())));
            EXPECT_TRUE(help.contains(QStringLiteral("\nExamples:\n  synccore ")));
            EXPECT_TRUE(help.contains(QStringLiteral("143 for SIGTERM")));
            for (const QString& option : it.value())
                EXPECT_TRUE(
                    help.contains(QRegularExpression(QStringLiteral("(^|[ ,])%1([ ,\n]|$)")
                                                         .arg(QRegularExpression::escape(option)))))
                    << qPrintable(option);
            for (const QString& line : help.split(QLatin1Char('\n')))
                EXPECT_LE(line.size(), 80) << qPrintable(line);
        }
    }
    // The overview and the group help list the commands.
    const struct
    {
        QStringList args;
        const char* text;
    } overviews[] = {
        { { "--help" }, "  log add " },
        { { "-h" }, "  sync " },
        { { "help" }, "  history " },
        { { "log", "--help" }, "  log trim " },
        { { "help", "log" }, "  log clear " },
    };
    for (const auto& row : overviews) {
        const testutil::ProcessResult r = synccore(row.args);
        EXPECT_EQ(r.exitCode, 0) << qPrintable(row.args.join(' '));
        EXPECT_TRUE(r.out.contains(row.text)) << r.out.constData();
    }
    const QStringList version = lines(synccore({ QStringLiteral("--version") }).out);
    EXPECT_EQ(version,
        QStringList({ QStringLiteral("synccore 6.0.0"), QStringLiteral("libKvSyncCore 6.0.0") }));
}

TEST(SyncCoreToolTest, UsageErrorsNameTheProblemExit2AndCreateNothing)
{
    testutil::TempDir dir;
    const QString db = dir.filePath(QStringLiteral("never.sqlite"));
    const QString target = dir.filePath(QStringLiteral("never-target"));
    const QString source
        = dir.write(QStringLiteral("src/a.txt"), "a").section(QLatin1Char('/'), 0, -2);
    // args ("DB" is the database, "SRC"/"DST" the folders), command in the error, its text
    const struct
    {
        const char* args;
        const char* command;
        const char* message;
    } rows[] = {
        { "history --bogus DB", "history", "unknown option '--bogus'" },
        { "history -x DB", "history", "unknown option '-x'" },
        { "history --limit -1 DB", "history", "--limit: '-1' is not a whole number 0 or more" },
        { "history --limit many DB", "history", "--limit: 'many' is not a whole number" },
        { "history surplus DB", "history", "unexpected argument" },
        { "log add DB", "log add", "missing argument ACTIONTYPE" },
        { "log add upload! DB", "log add", "'upload!' is not an action type" },
        { "log add --http x 1 DB", "log add", "--http: 'x' is not a whole number from 100 to 599" },
        { "log add --message m 1 DB", "log add", "--message needs --http" },
        { "log add --arg a 1 DB", "log add", "--arg needs --details" },
        { "log add 1 2 3 4 DB", "log add", "too many arguments (at most 3)" },
        { "log show abc DB", "log show", "'abc' is not an action id" },
        { "log show 1 --db", "log show", "missing value after '--db'" },
        { "log show 1 --db=", "log show", "--db: the value is empty" },
        { "log", "log", "missing command (one of: add, clear, list, remove, show, trim)" },
        { "log frob", "log", "unknown command 'frob'" },
        { "frob", "", "unknown command 'frob'" },
        { "--frob", "", "unknown option '--frob'" },
        { "help frob", "help", "unknown command 'frob'" },
        { "sync SRC", "sync", "missing argument TARGET" },
        { "sync --interval 5 SRC DST DB", "sync", "--interval needs --watch" },
        { "sync --watch --interval 0 SRC DST DB", "sync", "--interval: '0' is not a whole number" },
        { "sync -q -v SRC DST DB", "sync", "--quiet and --verbose exclude each other" },
        { "sync --log= SRC DST DB", "sync", "--log: the value is empty" },
        { "wake", "wake", "missing option --pid PID" },
        { "wake --pid=-5", "wake", "--pid: '-5' is not a whole number" },
        { "wait now", "wait", "unexpected argument (this command takes none)" },
        { "md5", "md5", "missing argument FILE..." },
        { "decrypt xyz1", "decrypt", "'xyz1' is not hex bytes" },
        { "size 12x", "size", "'12x' is not a number of bytes" },
        { "size --precision 31 1", "size", "--precision: '31' is not a whole number from 0 to 30" },
        { "exclude --key", "exclude", "missing value after '--key'" },
        { "autostart maybe", "autostart", "'maybe' is neither enable nor disable" },
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.args);
        QDir(dataFolder()).removeRecursively();
        QStringList args = QString::fromLatin1(row.args).split(QLatin1Char(' '));
        args.replaceInStrings(QStringLiteral("SRC"), source);
        args.replaceInStrings(QStringLiteral("DST"), target);
        if (const qsizetype at = args.indexOf(QStringLiteral("DB")); at >= 0)
            args.replace(at, QStringLiteral("--db=") + db);
        const testutil::ProcessResult r = synccore(args);
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_TRUE(r.out.isEmpty()) << r.out.constData();
        const QString program = *row.command
            ? QStringLiteral("synccore %1").arg(QLatin1String(row.command))
            : QStringLiteral("synccore");
        const QStringList errors = lines(r.err);
        ASSERT_EQ(errors.size(), 2) << r.err.constData();
        EXPECT_TRUE(
            errors[0].startsWith(QStringLiteral("%1: %2").arg(program, QLatin1String(row.message))))
            << r.err.constData();
        EXPECT_EQ(errors[1], QStringLiteral("Try '%1 --help' for more information.").arg(program));
        EXPECT_FALSE(
            QFileInfo::exists(db) || QFileInfo::exists(target) || QFileInfo::exists(dataFolder()));
    }
    // No command at all: a reminder, and status 2.
    const testutil::ProcessResult none = synccore({});
    EXPECT_EQ(none.exitCode, 2);
    EXPECT_TRUE(none.err.contains("Try 'synccore --help'"));
}

TEST(SyncCoreToolTest, DatabaseIsDbThenSyncCoreDbThenTheDataFolder)
{
    testutil::TempDir dir;
    const QString fromOption = dir.filePath(QStringLiteral("option.sqlite"));
    const QString fromEnvironment = dir.filePath(QStringLiteral("environment.sqlite"));
    const QString standard = dataFolder() + QStringLiteral("/actionlog.sqlite");
    QDir(dataFolder()).removeRecursively();
    const QStringList env { QStringLiteral("SYNCCORE_DB=") + fromEnvironment };
    ASSERT_EQ(synccore({ "log", "add", "1", "--db", fromOption }, env).exitCode, 0);
    ASSERT_EQ(synccore({ "log", "add", "1" }, env).exitCode, 0);
    ASSERT_EQ(synccore({ "log", "add", "1" }, env).exitCode, 0);
    ASSERT_EQ(synccore({ "log", "add", "1" }, { QStringLiteral("SYNCCORE_DB=") }).exitCode, 0);
    const auto count = [](const QStringList& args, const QStringList& env) {
        return QJsonDocument::fromJson(synccore(args, env).out).array().size();
    };
    EXPECT_EQ(count({ "history", "--json", "--db", fromOption }, env), 1);
    EXPECT_EQ(count({ "history", "--json" }, env), 2);
    EXPECT_EQ(count({ "history", "--json", "--db", standard }, {}), 1);
}

TEST(SyncCoreToolTest, JsonTimesCarryTheirOffsetAndParseBack)
{
    testutil::TempDir dir;
    const QString db = dir.filePath(QStringLiteral("log.sqlite"));
    ASSERT_EQ(synccore({ "log", "add", "--db", db, "--details", "7", "--arg", "a<b&c \"d\"",
                           "--arg", "x", "UploadFailed", "docs/a<b&c", "a<b&c" })
                  .exitCode,
        0);
    const QStringList india { QStringLiteral("TZ=Asia/Kolkata") };
    for (const QStringList& args : { QStringList { "history", "--json", "--details", "--db", db },
             QStringList { "log", "list", "--json", "--db", db } }) {
        SCOPED_TRACE(qPrintable(args.join(' ')));
        const testutil::ProcessResult r = synccore(args, india);
        ASSERT_EQ(r.exitCode, 0) << r.err.constData();
        QJsonParseError error;
        const QJsonArray rows = QJsonDocument::fromJson(r.out, &error).array();
        ASSERT_EQ(error.error, QJsonParseError::NoError) << r.out.constData();
        ASSERT_EQ(rows.size(), 1);
        const QJsonObject a = rows.first().toObject();
        const QString time = a.value(QStringLiteral("time")).toString();
        EXPECT_TRUE(time.endsWith(QStringLiteral("+05:30"))) << qPrintable(time);
        EXPECT_LT(qAbs(QDateTime::fromString(time, Qt::ISODateWithMs)
                           .secsTo(QDateTime::currentDateTime())),
            60);
        EXPECT_EQ(a.value(QStringLiteral("typeName")).toString(), QStringLiteral("UploadFailed"));
        // The details arguments were escaped on the way in: they come back exactly.
        EXPECT_EQ(a.value(QStringLiteral("details")).toString(),
            QStringLiteral("Transfer of a<b&c \"d\" failed: x"));
        EXPECT_TRUE(a.value(QStringLiteral("detailsDocument"))
                        .toString()
                        .contains(QStringLiteral("a&lt;b&amp;c")));
    }
    const testutil::ProcessResult text = synccore({ "history", "--details", "--db", db });
    EXPECT_TRUE(text.out.contains("<arg position=\"0\">a&lt;b&amp;c")) << text.out.constData();
    const QJsonObject paths = QJsonDocument::fromJson(synccore({ "paths", "--json" }).out).object();
    EXPECT_EQ(
        paths.value(QStringLiteral("app file")).toString(), QFileInfo(tool()).canonicalFilePath());
}

// Colour on a terminal only (a pseudo-terminal from script(1)), never with NO_COLOR.
TEST(SyncCoreToolTest, HistoryIsColouredOnlyOnATerminalWithoutNoColor)
{
    if (!testutil::haveProgram(QStringLiteral("script")))
        GTEST_SKIP() << "script(1) is needed for a pseudo-terminal";
    testutil::TempDir dir;
    const QString db = dir.filePath(QStringLiteral("log.sqlite"));
    ASSERT_EQ(synccore({ "log", "add", "--db", db, "FileUploaded", "a" }).exitCode, 0);
    ASSERT_EQ(synccore({ "log", "add", "--db", db, "UploadFailed", "b" }).exitCode, 0);
    const QString line = QStringLiteral("'%1' history --db '%2'").arg(tool(), db);
    const struct
    {
        bool terminal;
        QStringList env;
        bool coloured;
    } rows[] = {
        { true, {}, true },
        { true, { "NO_COLOR=1" }, false },
        { false, {}, false },
    };
    for (const auto& row : rows) {
        const QByteArray out = row.terminal
            ? testutil::run(QStringLiteral("script"), { "-qec", line, "/dev/null" }, 60000, row.env)
                  .out
            : synccore({ "history", "--db", db }, row.env).out;
        SCOPED_TRACE(out.constData());
        EXPECT_TRUE(out.contains("FileUploaded") && out.contains("UploadFailed"));
        EXPECT_EQ(out.contains("\x1b[32mFileUploaded"), row.coloured);
        EXPECT_EQ(out.contains("\x1b[31mUploadFailed"), row.coloured);
        EXPECT_EQ(out.contains('\x1b'), row.coloured);
    }
}

// The manual page and the completion as installed, against the parsers' options.
class InstalledDocumentation : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const testutil::ProcessResult r = testutil::run(QStringLiteral(SYNCCORE_CMAKE_COMMAND),
            { "--install", SYNCCORE_BINARY_DIR, "--prefix", prefix.path(), "--component", "tool" });
        ASSERT_EQ(r.exitCode, 0) << r.err.constData();
        table = optionTable();
        ASSERT_FALSE(table.isEmpty());
    }
    testutil::TempDir prefix;
    QMap<QString, QStringList> table;
};

TEST_F(InstalledDocumentation, ManualPageDescribesEveryCommandAndOptionAndRenders)
{
    const QString page = prefix.filePath(QStringLiteral("share/man/man1/synccore.1"));
    const QString roff = QString::fromUtf8(testutil::readFile(page))
                             .replace(QStringLiteral("\\-"), QStringLiteral("-"));
    ASSERT_FALSE(roff.isEmpty()) << qPrintable(page);
    const QStringList sections = roff.split(QRegularExpression(QStringLiteral("\n\\.S[SH] ")));
    for (auto it = table.cbegin(); it != table.cend(); ++it) {
        SCOPED_TRACE(qPrintable(it.key()));
        const auto section = std::find_if(sections.begin(), sections.end(), [&](const QString& s) {
            return s.startsWith(QStringLiteral("\"synccore %1 ").arg(it.key()))
                || s.startsWith(QStringLiteral("\"synccore %1\"").arg(it.key()));
        });
        ASSERT_NE(section, sections.end()) << "no section for the command";
        for (const QString& option : it.value()) {
            const bool everywhere
                = option == QLatin1String("-h") || option == QLatin1String("--help");
            EXPECT_TRUE((everywhere ? roff : *section).contains(option)) << qPrintable(option);
        }
    }
    if (!testutil::haveProgram(QStringLiteral("groff")))
        GTEST_SKIP() << "groff is not installed; the page was checked but not rendered";
    const testutil::ProcessResult rendered
        = testutil::run(QStringLiteral("groff"), { "-man", "-Tutf8", "-ww", "-z", page });
    EXPECT_EQ(rendered.exitCode, 0);
    EXPECT_TRUE(rendered.err.isEmpty()) << rendered.err.constData();
}

TEST_F(InstalledDocumentation, BashCompletesEveryCommandAndItsOptions)
{
    const QString script
        = prefix.filePath(QStringLiteral("share/bash-completion/completions/synccore"));
    ASSERT_TRUE(QFileInfo::exists(script));
    // Bash itself, with the installed script, completing "synccore WORDS... -".
    const auto complete = [&](const QStringList& words) {
        QString array;
        for (const QString& w : words)
            array += QStringLiteral(" '%1'").arg(w);
        const QString code
            = QStringLiteral("source '%1'; COMP_WORDS=(synccore%2); "
                             "COMP_CWORD=%3; _synccore; printf '%s\\n' \"${COMPREPLY[@]}\"")
                  .arg(script, array)
                  .arg(words.size());
        QStringList found = lines(testutil::run(QStringLiteral("bash"), { "-c", code }).out);
        found.sort();
        return found;
    };
    QStringList commands;
    for (auto it = table.cbegin(); it != table.cend(); ++it) {
        SCOPED_TRACE(qPrintable(it.key()));
        QStringList expected = it.value();
        expected.sort();
        EXPECT_EQ(complete(it.key().split(QLatin1Char(' ')) + QStringList { QStringLiteral("-") }),
            expected);
        commands.append(it.key().section(QLatin1Char(' '), 0, 0));
    }
    commands.removeDuplicates();
    const QStringList offered = complete({ QString() });
    for (const QString& c : commands)
        EXPECT_TRUE(offered.contains(c)) << qPrintable(c);
}
