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

#include <atomic>
#include <random>
#include <thread>
#include <vector>

using sync::core::FileNameMatcher;
using sync::core::uploadDownloadExclusionsRegex;

namespace {

const QString settingsKey = QStringLiteral("Exclusions/UploadDownload");

// What the matcher must answer: any piece, compiled on its own, found
// anywhere in the name. Invalid pieces never match.
class Reference
{
public:
    explicit Reference(const QString& patterns)
    {
        for (const QString& piece : patterns.split(QLatin1Char(';'), Qt::KeepEmptyParts)) {
            QRegularExpression re(piece, QRegularExpression::CaseInsensitiveOption);
            if (re.isValid())
                _pieces.append(re);
        }
    }

    bool match(const QString& name) const
    {
        for (const QRegularExpression& re : _pieces) {
            if (re.match(name).hasMatch())
                return true;
        }
        return false;
    }

private:
    QList<QRegularExpression> _pieces;
};

bool referenceMatch(const QString& patterns, const QString& name)
{
    return Reference(patterns).match(name);
}

QString settingsFilePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/Tessaron/Tessaron Sync.conf");
}

// Writes the Tessaron Sync settings file as Qt itself writes it (made through
// QSettings in a scratch folder, then put in place byte for byte), so that the
// matcher has to read it from disk. Each write gets a later modification time:
// QSettings re-reads a file only when its size or time changed.
void writeSettingsFile(const QList<QPair<QString, QString>>& values)
{
    static int generation = 0;
    testutil::TempDir scratch;
    const QString scratchFile = scratch.filePath(QStringLiteral("scratch.conf"));
    {
        QSettings writer(scratchFile, QSettings::IniFormat);
        for (const auto& v : values)
            writer.setValue(v.first, v.second);
        writer.sync();
        ASSERT_EQ(writer.status(), QSettings::NoError);
    }
    const QByteArray content = testutil::readFile(scratchFile);
    ASSERT_FALSE(content.isEmpty());
    QDir().mkpath(QFileInfo(settingsFilePath()).absolutePath());
    QFile file(settingsFilePath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    ASSERT_EQ(file.write(content), content.size());
    ASSERT_TRUE(file.flush()); // written now, so the time set below stays
    ++generation;
    ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTimeUtc().addSecs(generation),
                                 QFileDevice::FileModificationTime));
    file.close();
}

void removeSettingsFile()
{
    QFile::remove(settingsFilePath());
}

struct NameRow
{
    const char* name; // UTF-8
    bool excluded;
};

void PrintTo(const NameRow& row, std::ostream* os)
{
    *os << '\'' << row.name << "' " << (row.excluded ? "excluded" : "kept");
}

} // namespace

// --- the default patterns ------------------------------------------------------

TEST(FileNameMatcherTest, DefaultPatternsAreTheThirteenDocumentedOnes)
{
    EXPECT_EQ(uploadDownloadExclusionsRegex,
              QStringLiteral("\\.[0-9]{4}\\.kqz$;\\.bk[1-9]{1}$;\\.sv\\$$;\\.bak$;\\.lkz$;\\.lkz2$;"
                             "\\.pcp$;\\.err$;\\.log$;\\.lnk$;^thumbs\\.db$;^desktop\\.ini$;"
                             "^\\.DS_Store$"));
}

class DefaultPatternTest : public ::testing::TestWithParam<NameRow>
{
protected:
    void SetUp() override { removeSettingsFile(); }
};

TEST_P(DefaultPatternTest, ExcludesExactlyTheDocumentedNames)
{
    const NameRow& row = GetParam();
    const FileNameMatcher matcher(settingsKey, uploadDownloadExclusionsRegex);
    const QString name = QString::fromUtf8(row.name);
    EXPECT_EQ(matcher.Match(name), row.excluded);
    // The same answer as matching each pattern on its own.
    EXPECT_EQ(matcher.Match(name), referenceMatch(uploadDownloadExclusionsRegex, name));
}

INSTANTIATE_TEST_SUITE_P(Names, DefaultPatternTest, ::testing::ValuesIn(std::vector<NameRow>{
    // whole names, any case, and only the whole name
    {"thumbs.db", true}, {"Thumbs.db", true}, {"THUMBS.DB", true},
    {"mythumbs.db", false}, {"thumbs.db.txt", false}, {"thumbs_db", false},
    {"desktop.ini", true}, {"Desktop.INI", true}, {"desktop.ini.bak", true},
    {"old desktop.ini", false},
    {".DS_Store", true}, {".ds_store", true}, {"x.DS_Store", false}, {"DS_Store", false},
    // a path is not a bare name: the whole-name patterns miss it
    {"folder/thumbs.db", false}, {"folder/report.bak", true},
    // extensions at the end only
    {"Drawing.BAK", true}, {"file.bak.txt", false}, {"bak", false}, {".bak", true},
    {"a.lkz", true}, {"a.lkz2", true}, {"a.lkz3", false}, {"a.pcp", true}, {"a.err", true},
    {"a.log", true}, {"a.Log", true}, {"catalog", false}, {"a.logs", false},
    {"a.lnk", true}, {"a_lnk", false},
    // numbered copies: exactly four digits before ".kqz"
    {"house.0007.kqz", true}, {"house.007.kqz", false}, {"house.00007.kqz", false},
    {"house.0a07.kqz", false}, {"house.0007.kqz.txt", false}, {"house.0007.KQZ", true},
    // backups .bk1 to .bk9
    {"a.bk0", false}, {"a.bk1", true}, {"a.bk5", true}, {"a.bk9", true}, {"a.BK3", true},
    {"a.bk10", false}, {"a.bk", false},
    // the escaped dollar
    {"plan.sv$", true}, {"plan.SV$", true}, {"plan.sv", false}, {"plan.sv$x", false},
    // other names
    {"", false}, {"report.docx", false}, {"IMG_0001.JPG", false}, {"a.b.c", false},
    {"Größe.bak", true}, {"日本語.log", true}, {"日本語.txt", false}, {"Ünïcödé", false},
    {"thumbs.db\xc2\xa0", false},
}));

// --- the settings override -----------------------------------------------------

struct OverrideRow
{
    const char* setting;   // nullptr: the setting is absent
    const char* name;
    bool excluded;
};

void PrintTo(const OverrideRow& row, std::ostream* os)
{
    *os << "setting " << (row.setting ? row.setting : "<absent>") << ", '" << row.name << "' "
        << (row.excluded ? "excluded" : "kept");
}

class OverrideTest : public ::testing::TestWithParam<OverrideRow>
{
protected:
    void TearDown() override { removeSettingsFile(); }
};

TEST_P(OverrideTest, SettingReplacesTheDefault)
{
    const OverrideRow& row = GetParam();
    if (row.setting) {
        writeSettingsFile({{settingsKey, QString::fromUtf8(row.setting)},
                           {QStringLiteral("Other/Key"), QStringLiteral(".*")}});
    } else {
        writeSettingsFile({{QStringLiteral("Other/Key"), QStringLiteral(".*")}});
    }
    const FileNameMatcher matcher(settingsKey, uploadDownloadExclusionsRegex);
    EXPECT_EQ(matcher.Match(QString::fromUtf8(row.name)), row.excluded);
}

INSTANTIATE_TEST_SUITE_P(Settings, OverrideTest, ::testing::ValuesIn(std::vector<OverrideRow>{
    // absent: the default applies
    {nullptr, "a.bak", true}, {nullptr, "a.tmp", false},
    // present: only the setting's patterns apply
    {"\\.tmp$", "a.tmp", true}, {"\\.tmp$", "a.TMP", true}, {"\\.tmp$", "a.bak", false},
    {"\\.tmp$;^~", "~lock.docx", true}, {"\\.tmp$;^~", "a~b", false},
    // kept on purpose: an empty piece matches every name
    {"", "report.docx", true}, {"", "", true},
    {"\\.tmp$;", "report.docx", true}, {";\\.tmp$", "report.docx", true},
    {"\\.tmp$;;\\.bak$", "report.docx", true}, {";", "x", true},
    // pieces are not trimmed
    {" \\.tmp$", "a.tmp", false}, {" \\.tmp$", "a .tmp", true},
    // an invalid piece never matches, the others still do
    {"(", "(", false}, {"(", "", false}, {"(;\\.tmp$", "a.tmp", true}, {"(;\\.tmp$", "a(", false},
    {"[z-a]", "m", false},
    // pieces the engine must decide: groups, repetition, classes, anchors
    {"^(draft|copy) of ", "Copy of report.docx", true}, {"^(draft|copy) of ", "a copy of x", false},
    {"\\d{3,}$", "scan1234", true}, {"\\d{3,}$", "scan12", false},
    {"^\\.~lock\\..*#$", ".~lock.report.odt#", true}, {"^\\.~lock\\..*#$", ".~lock.report.odt", false},
    {"[^a-z0-9.]", "plain.txt", false}, {"[^a-z0-9.]", "has space.txt", true},
    {"é", "CAFÉ", true}, {"é", "cafe", false},
}));

TEST(FileNameMatcherSettingsTest, ReadsTheTessaronFileWhateverTheApplicationIsCalled)
{
    writeSettingsFile({{settingsKey, QStringLiteral("\\.part$")}});
    const QString organisation = QCoreApplication::organizationName();
    const QString application = QCoreApplication::applicationName();
    QCoreApplication::setOrganizationName(QStringLiteral("Some Host"));
    QCoreApplication::setApplicationName(QStringLiteral("Some App"));
    const FileNameMatcher matcher(settingsKey, uploadDownloadExclusionsRegex);
    QCoreApplication::setOrganizationName(organisation);
    QCoreApplication::setApplicationName(application);
    removeSettingsFile();

    EXPECT_TRUE(matcher.Match(QStringLiteral("movie.part")));
    EXPECT_FALSE(matcher.Match(QStringLiteral("a.bak")));
}

TEST(FileNameMatcherSettingsTest, ReadsAHandWrittenValueFromTheDocumentedFile)
{
    QDir().mkpath(QFileInfo(settingsFilePath()).absolutePath());
    QFile file(settingsFilePath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("[Exclusions]\nUploadDownload=\"\\\\.part$;^~\\\\$\"\n");
    file.close();
    const FileNameMatcher matcher(settingsKey, uploadDownloadExclusionsRegex);
    removeSettingsFile();

    EXPECT_TRUE(matcher.Match(QStringLiteral("movie.PART")));
    EXPECT_TRUE(matcher.Match(QStringLiteral("~$report.docx")));
    EXPECT_FALSE(matcher.Match(QStringLiteral("a.bak")));
}

TEST(FileNameMatcherSettingsTest, PatternsAreFixedAtConstruction)
{
    writeSettingsFile({{settingsKey, QStringLiteral("\\.one$")}});
    const FileNameMatcher before(settingsKey, uploadDownloadExclusionsRegex);
    writeSettingsFile({{settingsKey, QStringLiteral("\\.two$")}});
    const FileNameMatcher after(settingsKey, uploadDownloadExclusionsRegex);
    removeSettingsFile();
    const FileNameMatcher withoutSetting(settingsKey, uploadDownloadExclusionsRegex);

    EXPECT_TRUE(before.Match(QStringLiteral("a.one")));
    EXPECT_FALSE(before.Match(QStringLiteral("a.two")));
    EXPECT_FALSE(after.Match(QStringLiteral("a.one")));
    EXPECT_TRUE(after.Match(QStringLiteral("a.two")));
    EXPECT_TRUE(withoutSetting.Match(QStringLiteral("a.bak")));
    EXPECT_FALSE(withoutSetting.Match(QStringLiteral("a.two")));
}

// --- agreement with plain QRegularExpression -------------------------------------

namespace {

// Names built from fragments that sit on the edges of the patterns: case
// variants, characters whose Unicode case folding reaches ASCII letters
// (the Kelvin sign, the long s), newlines that "$" may skip, surrogate pairs
// (one character, two code units), a lone surrogate, separators.
std::vector<QString> edgeNames(int count)
{
    const QStringList fragments = {
        QStringLiteral("thumbs"), QStringLiteral(".db"), QStringLiteral("THUMB"), QStringLiteral("s"),
        QStringLiteral("desktop"), QStringLiteral(".ini"), QStringLiteral(".DS_Store"),
        QStringLiteral(".bak"), QStringLiteral(".BK"), QStringLiteral("7"), QStringLiteral("0"),
        QStringLiteral(".0001"), QStringLiteral(".kqz"), QStringLiteral(".sv$"), QStringLiteral("$"),
        QStringLiteral(".lkz"), QStringLiteral("2"), QStringLiteral(".log"), QStringLiteral(".tmp"),
        QStringLiteral("~"), QStringLiteral("#"), QStringLiteral(" "), QStringLiteral("/"),
        QStringLiteral("\\"), QStringLiteral("\n"), QStringLiteral("\r"), QStringLiteral("\t"),
        QString(QChar(0x212a)), QString(QChar(0x017f)), QStringLiteral("é"), QStringLiteral("É"),
        QStringLiteral("日本"), QString(QChar(0x7f)), QStringLiteral("k"), QStringLiteral("K"),
        QStringLiteral("a"), QStringLiteral("-"), QStringLiteral("."), QStringLiteral("[x]"),
        QStringLiteral("\r\n"), QString::fromUtf8("\xf0\x9f\x98\x80"), QString(QChar(0xd800)),
    };
    std::mt19937 rng(4711u);
    std::vector<QString> names = {
        QString(), QStringLiteral("\n"), QStringLiteral("a\n"), QStringLiteral("\r\n"),
        QStringLiteral("x.bak\n"), QStringLiteral("thumbs.db\n"), QStringLiteral("\t"),
        QStringLiteral("x.ba\t"), QStringLiteral("a\rb"), QString(QChar(0x212a)),
        QStringLiteral("\ta"), QStringLiteral("\na"), QStringLiteral("\ra"),
    };
    names.reserve(size_t(count));
    while (int(names.size()) < count) {
        QString name;
        const int parts = int(rng() % 5);
        for (int p = 0; p < parts; ++p)
            name += fragments[qsizetype(rng() % fragments.size())];
        names.push_back(name);
    }
    return names;
}

} // namespace

class AgreementTest : public ::testing::TestWithParam<const char*>
{
};

TEST_P(AgreementTest, MatchesLikeEachPieceOnItsOwn)
{
    const QString patterns = QString::fromUtf8(GetParam());
    const FileNameMatcher matcher(QString(), patterns);
    const Reference reference(patterns);
    int hits = 0;
    const std::vector<QString> names = edgeNames(4000);
    for (const QString& name : names) {
        const bool expected = reference.match(name);
        ASSERT_EQ(matcher.Match(name), expected) << "name '" << name.toStdString() << "'";
        hits += expected;
    }
    // The corpus must exercise both answers for the comparison to mean anything.
    EXPECT_GT(hits, 0);
    EXPECT_LT(hits, int(names.size()));
}

INSTANTIATE_TEST_SUITE_P(PatternSets, AgreementTest, ::testing::Values(
    "\\.[0-9]{4}\\.kqz$;\\.bk[1-9]{1}$;\\.sv\\$$;\\.bak$;\\.lkz$;\\.lkz2$;\\.pcp$;\\.err$;"
    "\\.log$;\\.lnk$;^thumbs\\.db$;^desktop\\.ini$;^\\.DS_Store$",
    "k;s$;^K",                         // letters with non-ASCII case partners
    "^thumbs\\.db;\\.bak",             // one-sided anchors
    "\\.[a-k]{2}$;^.\\.;[0-9][0-9]",   // classes, any character, unanchored scans
    "^$;\\$",                          // empty name only; a literal dollar
    // "." meets control characters, "$" a final newline; one kind per set, so
    // that no other piece sends the name to the engine
    "..$", "^.a", "^$",
    "\\.tmp$;(;[z-a];\\d$;\\.(bak|log)$;^~",  // invalid and engine-only pieces mixed in
    "\\ ;#;\\[x\\];\\\\"               // escaped blank, hash, brackets, backslash
));

TEST(FileNameMatcherAgreementTest, RandomFixedLengthPatternsMatchLikeTheirPieces)
{
    // Pieces made of the syntax the matcher decides without the engine, with
    // a few tokens mixed in that it must leave to the engine.
    const QStringList tokens = {
        QStringLiteral("a"), QStringLiteral("K"), QStringLiteral("s"), QStringLiteral("b"),
        QStringLiteral("\\."), QStringLiteral("."), QStringLiteral("[a-c]"), QStringLiteral("[0-9]"),
        QStringLiteral("[kK\\$]"), QStringLiteral("{2}"), QStringLiteral("{0}"), QStringLiteral("^"),
        QStringLiteral("$"), QStringLiteral("\\$"), QStringLiteral("#"), QStringLiteral(" "),
        QStringLiteral("\\ "), QStringLiteral("-"), QStringLiteral("_"), QStringLiteral("~"),
        QStringLiteral("é"), QStringLiteral("\\d"), QStringLiteral("+"), QStringLiteral("(a|b)"),
        QStringLiteral("[^a]"), QStringLiteral("]"), QStringLiteral("{"), QStringLiteral(";"),
    };
    std::mt19937 rng(1234u);
    // Short names over an alphabet close to the tokens, so that pieces often
    // get far into a name before they decide.
    const QList<QString> letters = {
        QStringLiteral("a"), QStringLiteral("A"), QStringLiteral("b"), QStringLiteral("k"),
        QStringLiteral("K"), QStringLiteral("s"), QStringLiteral("S"), QStringLiteral("."),
        QStringLiteral("$"), QStringLiteral("#"), QStringLiteral(" "), QStringLiteral("-"),
        QStringLiteral("_"), QStringLiteral("~"), QStringLiteral("0"), QStringLiteral("5"),
        QStringLiteral("\t"), QStringLiteral("\n"), QStringLiteral("\r"), QStringLiteral("é"),
        QString(QChar(0x212a)), QString(QChar(0x017f)), QString::fromUtf8("\xf0\x9f\x98\x80"),
        QString(QChar(0xdc00)),
    };
    std::vector<QString> names;
    for (int i = 0; i < 800; ++i) {
        QString name;
        for (int n = int(rng() % 7); n > 0; --n)
            name += letters[qsizetype(rng() % letters.size())];
        names.push_back(name);
    }
    int hits = 0;
    int total = 0;
    for (int p = 0; p < 400; ++p) {
        QString patterns;
        const int count = 1 + int(rng() % 5);
        for (int t = 0; t < count; ++t)
            patterns += tokens[qsizetype(rng() % tokens.size())];
        const FileNameMatcher matcher(QString(), patterns);
        const Reference reference(patterns);
        for (const QString& name : names) {
            const bool expected = reference.match(name);
            ASSERT_EQ(matcher.Match(name), expected)
                << "pattern '" << patterns.toStdString() << "', name '" << name.toStdString() << "'";
            hits += expected;
            ++total;
        }
    }
    EXPECT_GT(hits, total / 20);
    EXPECT_LT(hits, total - total / 20);
}

// --- many threads at once --------------------------------------------------------

TEST(FileNameMatcherConcurrencyTest, ManyThreadsShareOneFreshMatcher)
{
    removeSettingsFile();
    // A mix of pieces that take every route through Match.
    const QString patterns = uploadDownloadExclusionsRegex + QStringLiteral(";^(draft|copy) of ;\\d{5,}");
    const std::vector<QString> names = edgeNames(3000);
    const Reference reference(patterns);
    std::vector<char> expected;
    for (const QString& name : names)
        expected.push_back(reference.match(name));

    for (int round = 0; round < 3; ++round) {
        // A matcher nobody has used yet: the first matches of all threads race.
        const FileNameMatcher matcher(QString(), patterns);
        const int threadCount = 8;
        std::atomic<int> ready{0};
        std::atomic<int> mismatches{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < threadCount; ++t) {
            threads.emplace_back([&, t] {
                ready.fetch_add(1);
                while (ready.load() < threadCount)
                    std::this_thread::yield();
                for (size_t i = 0; i < names.size(); ++i) {
                    const size_t k = (i + size_t(t) * 377) % names.size();
                    if (matcher.Match(names[k]) != bool(expected[k]))
                        mismatches.fetch_add(1);
                }
            });
        }
        for (auto& thread : threads)
            thread.join();
        EXPECT_EQ(mismatches.load(), 0) << "round " << round;
    }
}
