// TwoLetterISOCode / ThreeLetterISOCode follow the locale a process starts
// with. QLocale::setDefault does not change QLocale::system(), so every row
// runs the helper as a child process with the locale in its environment.

#include "Sync/SyncCore/LanguageCodes.h"

#include "TestUtil.h"

#include <gtest/gtest.h>

TEST(LanguageCodesTest, CodesFollowTheSystemLocale)
{
    const struct
    {
        QString locale, codes;
    } rows[] = {
        // the eight languages; the three-letter codes are the client's own
        { "en_US.UTF-8", "en enu" },
        { "en_GB", "en enu" },
        { "de_DE.UTF-8", "de deu" },
        { "de_CH", "de deu" },
        { "de_AT.UTF-8", "de deu" },
        { "es_ES.UTF-8", "es esp" },
        { "es_MX", "es esp" },
        { "fr_FR.UTF-8", "fr fra" },
        { "fr_CA", "fr fra" },
        { "it_IT.UTF-8", "it ita" },
        { "ja_JP.UTF-8", "ja jpn" },
        { "ko_KR.UTF-8", "ko kor" },
        // every Chinese locale gives the one code "chs"
        { "zh_CN.UTF-8", "zh chs" },
        { "zh_TW.UTF-8", "zh chs" },
        { "zh_HK", "zh chs" },
        // anything else falls back to English
        { "pt_BR.UTF-8", "en enu" },
        { "nl_NL", "en enu" },
        { "ru_RU.UTF-8", "en enu" },
        { "C", "en enu" },
        { "POSIX", "en enu" },
    };
    for (const auto& r : rows) {
        // Every category is set, so that nothing of the environment that runs
        // the tests leaks into the child's idea of the system locale.
        QStringList env { QStringLiteral("LANGUAGE=") };
        for (const char* name : { "LANG", "LC_ALL", "LC_MESSAGES", "LC_NUMERIC", "LC_CTYPE",
                 "LC_COLLATE", "LC_TIME", "LC_MONETARY" })
            env << QLatin1String(name) + QLatin1Char('=') + r.locale;
        const testutil::ProcessResult p = testutil::run(
            testutil::builtExecutable(QStringLiteral("languagecodeshelper")), {}, 60000, env);
        EXPECT_EQ(p.exitCode, 0) << p.err.constData();
        // The helper prints the two codes, then the system locale it saw.
        EXPECT_EQ(QString::fromUtf8(p.out).section(QLatin1Char(' '), 0, 1), r.codes)
            << qPrintable(r.locale) << ": " << p.out.constData();
    }
}
