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
    if (argc != 3)
        return 2;
    const char* mode = argv[1];
    const int fd = ::open(argv[2], O_RDWR);
    if (fd < 0)
        return 1;

    bool ok = false;
    if (std::strcmp(mode, "flock") == 0) {
        ok = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
    } else if (std::strcmp(mode, "posix") == 0 || std::strcmp(mode, "ofd") == 0) {
        struct flock lock;
        std::memset(&lock, 0, sizeof lock);
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        ok = ::fcntl(fd, std::strcmp(mode, "ofd") == 0 ? F_OFD_SETLK : F_SETLK, &lock) == 0;
    } else {
        return 2;
    }
    if (!ok)
        return 1;

    std::puts("locked");
    std::fflush(stdout);
    char buffer[64];
    while (::read(STDIN_FILENO, buffer, sizeof buffer) > 0) {
    }
    ::close(fd);
    return 0;
}
