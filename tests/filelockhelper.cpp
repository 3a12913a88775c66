// Holds a lock on a file for a test in another process.
//
//   filelockhelper flock|posix|ofd PATH
//
// Takes an exclusive lock of the given kind on PATH, prints "locked" and keeps
// it until standard input closes. Exit code 1 when the lock cannot be taken,
// 2 on bad usage.

#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

int main(int argc, char** argv)
{
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
