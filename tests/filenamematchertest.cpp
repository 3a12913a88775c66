// FileNameMatcher: the default patterns, the settings override read from the
// real settings file, agreement with plain QRegularExpression matching, and
// use from many threads at once.

#include "Sync/SyncCore/FileNameMatcher.h"

#include "TestUtil.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

using sync::core::FileNameMatcher;
using sync::core::uploadDownloadExclusionsRegex;

namespace {

const QString settingsKey = QStringLiteral("Exclusions/UploadDownload");
QString settingsFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + "/Tessaron/Tessaron Sync.conf";
}

// What the matcher must answer: any piece, compiled on its own, found
// anywhere in the name. Invalid pieces never match.
struct Reference
{
    QList<QRegularExpression> pieces;
    explicit Reference(const QString& patterns)
    {
        for (const QString& piece : patterns.split(QLatin1Char(';')))
            pieces.append(QRegularExpression(piece, QRegularExpression::CaseInsensitiveOption));
    }
    bool match(const QString& name) const
    {
        return std::any_of(pieces.begin(), pieces.end(),
            [&](auto& re) { return re.isValid() && re.match(name).hasMatch(); });
    }
};

// Puts @p content in place as the Tessaron Sync settings file, so that the
// matcher has to read it from disk. Each write gets a later modification time:
// QSettings re-reads a file only when its size or time changed.
void writeSettingsBytes(const QByteArray& content)
{
    static int generation = 0;
    QDir().mkpath(QFileInfo(settingsFile()).absolutePath());
    QFile file(settingsFile());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    ASSERT_EQ(file.write(content), content.size());
    ASSERT_TRUE(file.flush()); // written now, so the time set below stays
    ASSERT_TRUE(file.setFileTime(
        QDateTime::currentDateTimeUtc().addSecs(++generation), QFileDevice::FileModificationTime));
}

// The same, with the file as Qt itself writes it (made in a scratch folder).
void writeSettings(const QList<QPair<QString, QString>>& values)
{
    testutil::TempDir scratch;
    {
        QSettings writer(scratch.filePath("s.conf"), QSettings::IniFormat);
        for (const auto& v : values)
            writer.setValue(v.first, v.second);
    }
    writeSettingsBytes(testutil::readFile(scratch.filePath("s.conf")));
}

// Names built from fragments that sit on the edges of the patterns: case
// variants, characters whose Unicode case folding reaches ASCII letters (the
// Kelvin sign, the long s), newlines that "$" may skip, a surrogate pair (one
// character, two code units), lone surrogates, separators.
std::vector<QString> edgeNames(int count)
{
    const QStringList fragments = { "thumbs", ".db", "THUMB", "s", "S", "desktop", ".ini",
        ".DS_Store", ".bak", ".BK", "7", "0", "5", ".0001", ".kqz", ".sv$", "$", ".lkz", "2",
        ".log", ".tmp", "~", "#", " ", "/", "\\", "\n", "\r", "\t", "\r\n", "\u212a", "\u017f", "é",
        "É", "日本", "\x7f", "k", "K", "a", "A", "b", "-", "_", ".", "[x]", "\xf0\x9f\x98\x80",
        QString(QChar(0xd800)), QString(QChar(0xdc00)) };
    std::vector<QString> names = { "", "\n", "a\n", "\r\n", "x.bak\n", "thumbs.db\n", "\t",
        "x.ba\t", "a\rb", "\u212a", "\ta", "\na", "\ra" };
    std::mt19937 rng(4711u);
    while (int(names.size()) < count) {
        QString name;
        for (int parts = int(rng() % 5); parts > 0; --parts)
            name += fragments[qsizetype(rng() % fragments.size())];
        names.push_back(name);
    }
    return names;
}

} // namespace

TEST(FileNameMatcherTest, DefaultsOrTheOverrideFromTheSettingsFile)
{
    // setting nullptr: no settings file at all, so the defaults apply
    const struct
    {
        const char* setting;
        QStringList excluded, kept;
    } rows[] = {
        // whole names, any case, and only the whole name (a path is not a bare name)
        { nullptr,
            { "thumbs.db", "THUMBS.DB", "Desktop.INI", "desktop.ini.bak", ".DS_Store",
                ".ds_store" },
            { "mythumbs.db", "thumbs.db.txt", "thumbs_db", "old desktop.ini", "x.DS_Store",
                "DS_Store", "folder/thumbs.db" } },
        // extensions at the end only
        { nullptr,
            { "Drawing.BAK", ".bak", "folder/report.bak", "a.lkz", "a.lkz2", "a.pcp", "a.err",
                "a.Log", "a.lnk", "日本語.log" },
            { "file.bak.txt", "bak", "a.lkz3", "catalog", "a.logs", "a_lnk", "", "report.docx",
                "a.b.c" } },
        // numbered copies with exactly four digits, backups .bk1 to .bk9, the escaped dollar
        { nullptr,
            { "house.0007.kqz", "house.0007.KQZ", "a.bk1", "a.bk9", "a.BK3", "plan.sv$", "plan.SV$",
                "Größe.bak" },
            { "house.007.kqz", "house.00007.kqz", "house.0a07.kqz", "house.0007.kqz.txt", "a.bk0",
                "a.bk10", "a.bk", "plan.sv", "plan.sv$x", "日本語.txt", "Ünïcödé",
                "thumbs.db\u00a0" } },
        // present: only the setting's pieces apply
        { "\\.tmp$;^~", { "a.tmp", "a.TMP", "~lock.docx" }, { "a.bak", "a~b" } },
        // kept on purpose: an empty piece matches every name
        { "", { "report.docx", "" }, {} },
        { "\\.tmp$;", { "x" }, {} },
        { ";\\.tmp$", { "x" }, {} },
        { "\\.tmp$;;\\.bak$", { "x" }, {} },
        // pieces are not trimmed; an invalid piece never matches, the others still do
        { " \\.tmp$", { "a .tmp" }, { "a.tmp" } },
        { "(", {}, { "(", "" } },
        { "(;\\.tmp$", { "a.tmp" }, { "a(" } },
        { "[z-a]", {}, { "m" } },
        // pieces the engine must decide: groups, repetition, classes, anchors
        { "^(draft|copy) of ;\\d{3,}$", { "Copy of report.docx", "scan1234" },
            { "a copy of x", "scan12" } },
        { "^\\.~lock\\..*#$", { ".~lock.report.odt#" }, { ".~lock.report.odt" } },
        { "é", { "CAFÉ" }, { "cafe" } },
        { "[^a-z0-9.]", { "has space.txt" }, { "plain.txt" } },
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.setting ? r.setting : "<no file>");
        QFile::remove(settingsFile());
        if (r.setting)
            writeSettings({ { settingsKey, QString::fromUtf8(r.setting) }, { "Other/Key", ".*" } });
        const FileNameMatcher matcher(settingsKey, uploadDownloadExclusionsRegex);
        for (const QString& name : r.excluded + r.kept)
            EXPECT_EQ(matcher.Match(name), r.excluded.contains(name)) << qPrintable(name);
    }
    QFile::remove(settingsFile());
}

TEST(FileNameMatcherTest, ReadsTheTessaronFileAtConstructionWhateverTheApplicationIsCalled)
{
    // Nothing else in this program reads the names, so they are not put back.
    QCoreApplication::setOrganizationName(QStringLiteral("Some Host"));
    QCoreApplication::setApplicationName(QStringLiteral("Some App"));
    writeSettingsBytes(
        "[Exclusions]\nUploadDownload=\"\\\\.part$;^~\\\\$\"\n"); // as a user writes it
    const FileNameMatcher handWritten(settingsKey, uploadDownloadExclusionsRegex);
    writeSettings({ { settingsKey, "\\.one$" } });
    const FileNameMatcher one(settingsKey, uploadDownloadExclusionsRegex);
    writeSettings({ { "Other/Key", "\\.one$" } });
    const FileNameMatcher withoutKey(settingsKey, uploadDownloadExclusionsRegex);
    QFile::remove(settingsFile());

    // Each matcher keeps the patterns it was made with.
    EXPECT_TRUE(handWritten.Match("movie.PART"));
    EXPECT_TRUE(handWritten.Match("~$report.docx"));
    EXPECT_TRUE(one.Match("a.one"));
    EXPECT_FALSE(handWritten.Match("a.bak") || handWritten.Match("a.one") || one.Match("movie.part")
        || one.Match("a.bak"));
    EXPECT_TRUE(withoutKey.Match("a.bak")) << "the defaults apply";
    EXPECT_FALSE(withoutKey.Match("a.one")) << "the defaults apply";
}

TEST(FileNameMatcherTest, MatchesLikeEachPieceOnItsOwn)
{
    // The defaults; letters with non-ASCII case partners; one-sided anchors; classes, any
    // character, unanchored scans; the empty name and a literal dollar; "." against control
    // characters and "$" against a final newline, one kind per set so that no other piece sends
    // the name to the engine; invalid and engine-only pieces mixed in; escaped blank, hash,
    // brackets and backslash.
    QStringList patternSets = { uploadDownloadExclusionsRegex, "k;s$;^K", "^thumbs\\.db;\\.bak",
        "\\.[a-k]{2}$;^.\\.;[0-9][0-9]", "^$;\\$", "..$", "^.a", "^$",
        "\\.tmp$;(;[z-a];\\d$;\\.(bak|log)$;^~", "\\ ;#;\\[x\\];\\\\" };
    const qsizetype fixedSets = patternSets.size();
    // Random pieces of the syntax the matcher decides without the engine, with
    // a few tokens mixed in that it must leave to the engine.
    const QStringList tokens = { "a", "K", "s", "b", "\\.", ".", "[a-c]", "[0-9]", "[kK\\$]", "{2}",
        "{0}", "^", "$", "\\$", "#", " ", "\\ ", "-", "_", "~", "é", "\\d", "+", "(a|b)", "[^a]",
        "]", "{", ";" };
    std::mt19937 rng(1234u);
    for (int p = 0; p < 300; ++p) {
        patternSets << QString();
        for (int t = 1 + int(rng() % 5); t > 0; --t)
            patternSets.last() += tokens[qsizetype(rng() % tokens.size())];
    }
    const std::vector<QString> names = edgeNames(1500);
    for (qsizetype p = 0; p < patternSets.size(); ++p) {
        const FileNameMatcher matcher(QString(), patternSets[p]);
        const Reference reference(patternSets[p]);
        size_t hits = 0;
        for (const QString& name : names) {
            const bool expected = reference.match(name);
            ASSERT_EQ(matcher.Match(name), expected)
                << qPrintable("pattern '" + patternSets[p] + "', name '" + name + "'");
            hits += expected;
        }
        // A fixed set must meet both answers for the comparison to mean anything.
        EXPECT_TRUE(p >= fixedSets || (hits > 0 && hits < names.size()))
            << qPrintable(patternSets[p]);
    }
}

TEST(FileNameMatcherTest, ManyThreadsShareOneFreshMatcher)
{
    // A mix of pieces that take every route through Match.
    const QString patterns
        = uploadDownloadExclusionsRegex + QStringLiteral(";^(draft|copy) of ;\\d{5,}");
    const std::vector<QString> names = edgeNames(3000);
    const Reference reference(patterns);
    std::vector<char> expected;
    for (const QString& name : names)
        expected.push_back(reference.match(name));
    for (int round = 0; round < 3; ++round) {
        // A matcher nobody has used yet: the first matches of all threads race.
        const FileNameMatcher matcher(QString(), patterns);
        std::atomic<int> ready { 0 }, mismatches { 0 };
        std::vector<std::thread> threads;
        for (size_t t = 0; t < 8; ++t) {
            threads.emplace_back([&, t] {
                for (ready.fetch_add(1); ready.load() < 8;)
                    std::this_thread::yield();
                for (size_t i = t * 377, n = names.size(); i < n + t * 377; ++i)
                    mismatches.fetch_add(matcher.Match(names[i % n]) != bool(expected[i % n]));
            });
        }
        for (auto& thread : threads)
            thread.join();
        EXPECT_EQ(mismatches.load(), 0) << "round " << round;
    }
}

// Log lines name the source file by its path in the tree, not by the folder
// the library happened to be built in.
TEST(FileNameMatcherTest, LogsAnInvalidPatternWithItsPathInTheTree)
{
    testutil::TempDir dir;
    const QString path = dir.filePath(QStringLiteral("matcher.log"));
    log4cplus::SharedAppenderPtr appender(new log4cplus::FileAppender(path.toStdString()));
    appender->setLayout(std::make_unique<log4cplus::PatternLayout>("%F|%m%n"));
    log4cplus::Logger logger = log4cplus::Logger::getInstance("SyncCore");
    logger.addAppender(appender);
    const FileNameMatcher matcher(QString(), QStringLiteral("(unclosed"));
    logger.removeAppender(appender);
    appender->close();

    EXPECT_FALSE(matcher.Match(QStringLiteral("unclosed")));
    const QByteArray log = testutil::readFile(path);
    EXPECT_TRUE(log.startsWith("Sync/SyncCore/FileNameMatcher.cpp|Exclusion pattern '(unclosed'"))
        << log.constData();
}
