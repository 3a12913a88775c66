// Child process of the session token tests. Prints, one per line: the token,
// its own process number, and the login name of its session (empty line when
// it has none).
//
//   sessiontokenhelper [--setsid] [--uid N]
//     --setsid  leave the session first: no controlling terminal afterwards
//     --uid N   then become user N (needs root), e.g. one the user database lacks

#include "Sync/SyncCore/SessionToken.h"
#include "platform/Platform.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

int main(int argc, char** argv)
{
    for (int i = 1; i < argc; ++i) {
        const bool uid = std::strcmp(argv[i], "--uid") == 0 && i + 1 < argc;
        const auto id = uid ? static_cast<uid_t>(std::strtoul(argv[++i], nullptr, 10)) : 0;
        if (uid ? setgid(id) != 0 || setuid(id) != 0
                : std::strcmp(argv[i], "--setsid") != 0 || setsid() < 0) {
            std::fprintf(stderr, "cannot apply %s: %s\n", argv[i], std::strerror(errno));
            return 2;
        }
    }
    const QByteArray token = sync::core::GetSessionAndUserUniqueToken().toUtf8();
    std::printf("%s\n%lld\n%s\n", token.constData(), static_cast<long long>(getpid()),
        platform::SessionLoginName().constData());
    return 0;
}
