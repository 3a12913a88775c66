// TwoLetterISOCode / ThreeLetterISOCode follow the locale a process starts
// with. QLocale::setDefault does not change QLocale::system(), so every row
// runs the helper as a child process with LANG and LC_ALL set.

#include "Sync/SyncCore/LanguageCodes.h"

#include "TestUtil.h"

#include <gtest/gtest.h>

namespace {

struct LocaleRow
{
    const char* locale;
    const char* two;
    const char* three;
};

void PrintTo(const LocaleRow& row, std::ostream* os)
{
    *os << row.locale << " -> " << row.two << '/' << row.three;
}

// Runs the helper under @p locale and returns its three words.
QStringList codesUnder(const QString& locale)
{
    // Every category is set, so no variable of the environment that runs the
    // tests can leak into the child's idea of the system locale.
    QStringList env;
    for (const char* name : {"LANG", "LC_ALL", "LC_MESSAGES", "LC_NUMERIC", "LC_CTYPE",
                             "LC_COLLATE", "LC_TIME", "LC_MONETARY"})
        env << QStringLiteral("%1=%2").arg(QLatin1String(name), locale);
    env << QStringLiteral("LANGUAGE=");
    const testutil::ProcessResult r =
        testutil::run(testutil::builtExecutable(QStringLiteral("languagecodeshelper")), {}, 60000, env);
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    return QString::fromUtf8(r.out).trimmed().split(QLatin1Char(' '));
}

} // namespace

class LanguageCodesTest : public ::testing::TestWithParam<LocaleRow>
{
};

TEST_P(LanguageCodesTest, CodesFollowTheSystemLocale)
{
    const LocaleRow& row = GetParam();
    const QStringList words = codesUnder(QString::fromLatin1(row.locale));
    ASSERT_EQ(words.size(), 3) << words.join(QLatin1Char(' ')).toStdString();
    EXPECT_EQ(words[0].toStdString(), row.two) << "system locale " << words[2].toStdString();
    EXPECT_EQ(words[1].toStdString(), row.three) << "system locale " << words[2].toStdString();
}

INSTANTIATE_TEST_SUITE_P(Locales, LanguageCodesTest, ::testing::ValuesIn(std::vector<LocaleRow>{
    // the eight languages; the three-letter codes are the client's own
    {"en_US.UTF-8", "en", "enu"}, {"en_GB", "en", "enu"},
    {"de_DE.UTF-8", "de", "deu"}, {"de_CH", "de", "deu"}, {"de_AT.UTF-8", "de", "deu"},
    {"es_ES.UTF-8", "es", "esp"}, {"es_MX", "es", "esp"},
    {"fr_FR.UTF-8", "fr", "fra"}, {"fr_CA", "fr", "fra"},
    {"it_IT.UTF-8", "it", "ita"}, {"ja_JP.UTF-8", "ja", "jpn"}, {"ko_KR.UTF-8", "ko", "kor"},
    // every Chinese locale gives the one code "chs"
    {"zh_CN.UTF-8", "zh", "chs"}, {"zh_TW.UTF-8", "zh", "chs"}, {"zh_HK", "zh", "chs"},
    // anything else falls back to English
    {"pt_BR.UTF-8", "en", "enu"}, {"nl_NL", "en", "enu"}, {"ru_RU.UTF-8", "en", "enu"},
    {"C", "en", "enu"}, {"POSIX", "en", "enu"},
}));
