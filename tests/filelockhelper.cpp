// Holds a lock on a file, or changes visibilities, for a test in another process.
//
//   filelockhelper flock|posix|ofd PATH
//       takes an exclusive lock of the given kind on PATH, prints "locked" and
//       keeps it until standard input closes
//   filelockhelper hide FOLDER PREFIX COUNT
//       waits for a line on standard input, then hides the files PREFIX0 ..
//       PREFIX<COUNT-1> of FOLDER one by one (creating each first), so that
//       several of these race on the folder's ".hidden"
//
// Exit code 1 when the lock cannot be taken or a file cannot be hidden, 2 on bad usage.

#include "CloudUtil/GeneralUtil.h"

#include <QDir>
#include <QFile>
#include <QString>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

int hideFiles(const char* folder, const char* prefix, int count)
{
    const QDir dir(QFile::decodeName(folder));
    for (int i = 0; i < count; ++i)
        QFile(dir.filePath(QStringLiteral("%1%2").arg(QString::fromUtf8(prefix)).arg(i)))
            .open(QIODevice::WriteOnly);
    char line[16];
    if (!std::fgets(line, sizeof line, stdin))
        return 2;
    int failed = 0;
    for (int i = 0; i < count; ++i) {
        const QString name = QStringLiteral("%1%2").arg(QString::fromUtf8(prefix)).arg(i);
        if (!Tessaron::CloudUtil::GeneralUtil::SetFileVisibility(dir.filePath(name), false))
            ++failed;
    }
    return failed == 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 5 && std::strcmp(argv[1], "hide") == 0)
        return hideFiles(argv[2], argv[3], std::atoi(argv[4]));
    const int fd = argc == 3 ? ::open(argv[2], O_RDWR) : -1;
    if (fd < 0)
        return argc == 3 ? 1 : 2;
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    int result = 0;
    if (std::strcmp(argv[1], "flock") == 0)
        result = ::flock(fd, LOCK_EX | LOCK_NB);
    else if (std::strcmp(argv[1], "posix") == 0 || std::strcmp(argv[1], "ofd") == 0)
        result = ::fcntl(fd, std::strcmp(argv[1], "ofd") == 0 ? F_OFD_SETLK : F_SETLK, &lock);
    else
        return 2;
    if (result != 0)
        return 1;
    std::puts("locked");
    std::fflush(stdout);
    char buffer[64];
    while (::read(STDIN_FILENO, buffer, sizeof buffer) > 0) { }
    return 0;
}
