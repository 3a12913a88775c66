// Child process of the values test: prints display texts in whatever locale
// its environment sets, after one line that shows the locale took effect.

#include "CloudUtil/GeneralUtil.h"

#include <QCoreApplication>
#include <QLocale>

#include <cstdio>

using Tessaron::CloudUtil::GeneralUtil;

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    std::printf("system %s\n%s\n%s\n%s\n", qPrintable(QLocale::system().toString(1234.5, 'f', 1)),
        qPrintable(GeneralUtil::BytesToString(1536, 2)),
        qPrintable(GeneralUtil::BytesToString(qint64(1234) << 30, 1)),
        qPrintable(GeneralUtil::MilliSecondsToDisplayString(qint64(86400000) * 1234)));
    return 0;
}
