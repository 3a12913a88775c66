// Opens a database file with SqliteDatabaseFactory, as an unprivileged user
// when started as root (file permissions do not bind root), and prints
// "opened" or the error message (exit 0 or 1; 3 when opening without a message
// pointer gave another answer). Started by sqlitedatabasefactorytest.

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
    const QString path = app.arguments().at(1);
    QString error;
    const bool quiet = bool(sync::core::SqliteDatabaseFactory::Open(path)); // no message pointer
    const bool opened = bool(sync::core::SqliteDatabaseFactory::Open(path, &error));
    std::printf("%s\n", opened ? "opened" : error.toUtf8().constData());
    return quiet != opened ? 3 : opened ? 0 : 1;
}
