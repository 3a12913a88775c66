// A second process for the process-coordination tests.
//
//   processtesthelper wake PID [LOGIN [UID GID]]
//       wakes the service PID (of LOGIN) once, after dropping to UID/GID when
//       given; prints the result; exit 0 woken, 3 no service, 4 not permitted, 5 failed
//   processtesthelper stale NAME COUNT
//       leaves a semaphore "/NAME" with COUNT pending posts and dies by SIGKILL,
//       as a service killed before it could clean up
//   processtesthelper connected
//       prints how many network interfaces are up and the network status

#include "Sync/SyncCore/ConnectedToNetwork.h"
#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include <QByteArray>
#include <QString>

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <grp.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <semaphore.h>
#include <sys/stat.h>
#include <unistd.h>

using sync::syncService::WakeupSignalsWrapper;

namespace {

int wake(int argc, char** argv)
{
    const qint64 pid = QByteArray(argv[2]).toLongLong();
    const QString login = argc > 3 ? QString::fromUtf8(argv[3]) : QString();
    if (argc > 5) {
        const gid_t gid = gid_t(QByteArray(argv[5]).toUInt());
        const uid_t uid = uid_t(QByteArray(argv[4]).toUInt());
        if (::setgroups(0, nullptr) != 0 || ::setgid(gid) != 0 || ::setuid(uid) != 0) {
            std::perror("dropping privileges");
            return 2;
        }
    }
    QString reason;
    switch (WakeupSignalsWrapper::WakeService(pid, login, &reason)) {
    case WakeupSignalsWrapper::WakeResult::Woken:
        std::puts("woken");
        return 0;
    case WakeupSignalsWrapper::WakeResult::NoService:
        std::printf("no service: %s\n", qPrintable(reason));
        return 3;
    case WakeupSignalsWrapper::WakeResult::NotPermitted:
        std::printf("not permitted: %s\n", qPrintable(reason));
        return 4;
    case WakeupSignalsWrapper::WakeResult::Failed:
        break;
    }
    std::printf("failed: %s\n", qPrintable(reason));
    return 5;
}

int stale(char** argv)
{
    const QByteArray name = '/' + QByteArray(argv[2]);
    const unsigned count = QByteArray(argv[3]).toUInt();
    sem_t* semaphore = ::sem_open(name.constData(), O_CREAT, S_IRUSR | S_IWUSR, count);
    if (semaphore == SEM_FAILED) {
        std::perror("sem_open");
        return 2;
    }
    std::fflush(stdout);
    ::raise(SIGKILL);
    return 2;
}

int connected()
{
    int up = 0;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) == 0) {
        for (ifaddrs* i = list; i; i = i->ifa_next) {
            if (i->ifa_flags & IFF_UP)
                ++up;
        }
        ::freeifaddrs(list);
    }
    std::printf("interfaces up: %d\nconnected: %d\n", up,
        sync::core::ConnectedToNetwork().IsConnected() ? 1 : 0);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    const QByteArray command = argc > 1 ? QByteArray(argv[1]) : QByteArray();
    if (command == "wake" && (argc == 3 || argc == 4 || argc == 6))
        return wake(argc, argv);
    if (command == "stale" && argc == 4)
        return stale(argv);
    if (command == "connected" && argc == 2)
        return connected();
    std::fprintf(
        stderr, "usage: %s wake PID [LOGIN [UID GID]] | stale NAME COUNT | connected\n", argv[0]);
    return 2;
}
