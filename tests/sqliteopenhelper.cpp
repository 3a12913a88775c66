// Opens a database file with SqliteDatabaseFactory, as an unprivileged user
// when started as root (file permissions do not bind root), and prints
// "opened" or the error message. Started by sqlitedatabasefactorytest.

#include "database/SqliteDatabaseFactory.h"

#include <QCoreApplication>
#include <QStringList>

#include <cstdio>
#include <grp.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 2) {
        std::fprintf(stderr, "usage: sqliteopenhelper <database file>\n");
        return 2;
    }
    if (::geteuid() == 0) {
        const gid_t nobodyGroup = 65534;
        const uid_t nobody = 65534;
        if (::setgroups(0, nullptr) != 0 || ::setgid(nobodyGroup) != 0 || ::setuid(nobody) != 0) {
            std::fprintf(stderr, "cannot drop root privileges\n");
            return 3;
        }
    }
    QString error;
    const auto factory = sync::core::SqliteDatabaseFactory::Open(args.at(1), &error);
    if (factory) {
        std::printf("opened\n");
        return 0;
    }
    std::printf("%s\n", error.toUtf8().constData());
    return 1;
}
