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
    const QStringList lines{
        QStringLiteral("system ") + QLocale::system().toString(1234.5, 'f', 1),
        GeneralUtil::BytesToString(1536, 2),
        GeneralUtil::BytesToString(qint64(1234) << 30, 1),
        GeneralUtil::MilliSecondsToDisplayString(qint64(86400000) * 1234),
    };
    for (const QString& line : lines)
        std::printf("%s\n", line.toUtf8().constData());
    return 0;
}
