// A second process for the process-coordination tests.
//
//   processtesthelper wake PID [LOGIN [UID]]
//       wakes the service PID (of LOGIN) once, after dropping to user and group
//       UID when given; prints the result; exit 0 woken, 3 no service,
//       4 not permitted, 5 failed
//   processtesthelper stale NAME
//       leaves a semaphore "/NAME" with three pending posts and dies by SIGKILL,
//       as a service killed before it could clean up

#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include <QByteArray>
#include <QString>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <grp.h>
#include <semaphore.h>
#include <unistd.h>

using sync::syncService::WakeupSignalsWrapper;

int main(int argc, char** argv)
{
    const QByteArray command = argc > 1 ? QByteArray(argv[1]) : QByteArray();
    if (command == "wake" && argc >= 3 && argc <= 5) {
        const auto id = argc > 4 ? QByteArray(argv[4]).toUInt() : 0u;
        if (argc > 4 && (::setgroups(0, nullptr) != 0 || ::setgid(id) != 0 || ::setuid(id) != 0)) {
            std::perror("dropping privileges");
            return 2;
        }
        QString reason;
        const int result = int(WakeupSignalsWrapper::WakeService(QByteArray(argv[2]).toLongLong(),
            argc > 3 ? QString::fromUtf8(argv[3]) : QString(), &reason));
        const char* names[] = { "woken", "no service", "not permitted", "failed" }; // WakeResult
        std::printf("%s: %s\n", names[result], qPrintable(reason));
        return result == 0 ? 0 : 2 + result;
    }
    if (command == "stale" && argc == 3) {
        if (::sem_open(('/' + QByteArray(argv[2])).constData(), O_CREAT, 0600, 3u) != SEM_FAILED)
            ::raise(SIGKILL);
        std::perror("sem_open");
        return 2;
    }
    std::fprintf(stderr, "usage: %s wake PID [LOGIN [UID]] | stale NAME\n", argv[0]);
    return 2;
}
