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
    const gid_t nobody = 65534;
    if (app.arguments().size() != 2
        || (::geteuid() == 0
            && (::setgroups(0, nullptr) != 0 || ::setgid(nobody) != 0 || ::setuid(nobody) != 0)))
        return 2;
    QString error;
    const bool opened
        = bool(sync::core::SqliteDatabaseFactory::Open(app.arguments().at(1), &error));
    std::printf("%s\n", opened ? "opened" : error.toUtf8().constData());
    return opened ? 0 : 1;
}
