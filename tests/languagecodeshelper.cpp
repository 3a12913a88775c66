// Prints the language codes of the locale this process was started with
// ("<two> <three> <QLocale::system().name()>"), so that tests can set LANG
// and LC_ALL for a real process.

#include "Sync/SyncCore/LanguageCodes.h"

#include <QLocale>

#include <cstdio>

int main()
{
    std::printf("%s %s %s\n", qPrintable(sync::core::TwoLetterISOCode()),
        qPrintable(sync::core::ThreeLetterISOCode()), qPrintable(QLocale::system().name()));
    return 0;
}
