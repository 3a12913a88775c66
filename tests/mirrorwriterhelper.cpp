// Keeps changing a file until it is killed, as a program writing its output
// would, so that a copy taken meanwhile is torn.
//
//   mirrorwriterhelper FILE grow     appends 64 KiB blocks, starting afresh at 64 MiB
//   mirrorwriterhelper FILE rewrite  rewrites the whole 4 MiB in place, alternating 'A' and 'B'
//
// Creates FILE.ready once the file has content.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: mirrorwriterhelper FILE grow|rewrite\n");
        return 2;
    }
    const std::string file = argv[1];
    const bool grow = std::strcmp(argv[2], "grow") == 0;
    const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | (grow ? O_APPEND : 0), 0644);
    if (fd < 0)
        return 3;
    std::vector<char> block(grow ? 64 * 1024 : 4 * 1024 * 1024);
    bool announced = false;
    for (unsigned long round = 0;; ++round) {
        if (grow) {
            std::memset(block.data(), 'a' + int(round % 26), block.size());
            struct stat st;
            if (::fstat(fd, &st) == 0 && st.st_size >= 64 * 1024 * 1024)
                (void)!::ftruncate(fd, 0);
            if (::write(fd, block.data(), block.size()) < 0)
                return 4;
        } else {
            std::memset(block.data(), round % 2 ? 'B' : 'A', block.size());
            // In pieces, as most writers do: a reader in between sees both letters.
            for (size_t at = 0; at < block.size(); at += 256 * 1024) {
                if (::pwrite(fd, block.data() + at, 256 * 1024, off_t(at)) < 0)
                    return 4;
            }
        }
        if (!announced) {
            announced = true;
            const int ready = ::open((file + ".ready").c_str(), O_WRONLY | O_CREAT, 0644);
            ::close(ready);
        }
    }
}
