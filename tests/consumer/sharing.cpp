#include <Sync/SyncCore/QSharingFileEngine.h>

#include <QFile>

#include <cstdio>

int main(int argc, char** argv)
{
    // Reads the given file with the sharing engine installed and prints its size.
    if (argc < 2)
        return 2;
    QSharingFileEngineHandler handler;
    QFile file(QString::fromLocal8Bit(argv[1]));
    if (!file.open(QIODevice::ReadOnly))
        return 1;
    std::printf("%lld\n", static_cast<long long>(file.readAll().size()));
    return 0;
}
