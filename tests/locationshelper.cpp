// A small program that the locations tests start as a real process: it
// reports the locations it sees from wherever it was copied to, writes its
// arguments to a file, sleeps, or crashes on purpose.
//
//   locationshelper where [RESOURCE]            prints "key=value" lines, no QCoreApplication
//   locationshelper write FILE [ARGS...]        writes ARGS to FILE, one per line
//   locationshelper sleep SECONDS
//   locationshelper crash
//   locationshelper autostart enable|disable    autostart entry for this executable
//   locationshelper home                        prints the folders that derive from the home
//   locationshelper appfile [qt]                waits for a line on standard input, then
//                                               prints GetAppFilePath() (with a
//                                               QCoreApplication when "qt" is given)

#include "CloudUtil/GeneralUtil.h"

#include <QCoreApplication>
#include <QFile>
#include <QString>
#include <QStringList>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>

using Tessaron::CloudUtil::GeneralUtil;

int main(int argc, char** argv)
{
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    const QString mode = args.value(0);

    if (mode == "where") {
        std::printf("app=%s\ndir=%s\nplugins=%s\nresource=%s\nservice=%s\ndesktop=%s\n",
            qPrintable(GeneralUtil::GetAppFilePath()), qPrintable(GeneralUtil::GetAppDirPath()),
            qPrintable(GeneralUtil::GetPluginsPath()),
            qPrintable(GeneralUtil::GetResourcePath(args.value(1))),
            qPrintable(GeneralUtil::GetNimbAppDirPath()),
            qPrintable(GeneralUtil::GetNimbDesktopAppDirPath()));
        return 0;
    }
    if (mode == "write" && args.size() >= 2) {
        // Written under another name first, so the test never reads half a file.
        const QString target = args.at(1);
        QFile file(target + QStringLiteral(".part"));
        if (!file.open(QIODevice::WriteOnly))
            return 3;
        for (const QString& a : args.mid(2))
            file.write(a.toUtf8() + '\n');
        file.close();
        return QFile::rename(file.fileName(), target) ? 0 : 4;
    }
    if (mode == "sleep" && args.size() == 2) {
        ::sleep(args.at(1).toUInt());
        return 0;
    }
    if (mode == "crash") {
        // No core file in the test folder; and under AddressSanitizer its own SEGV handler
        // would turn the signal into an exit code, where a crash reporter expects the signal.
        const struct rlimit none = { 0, 0 };
        ::setrlimit(RLIMIT_CORE, &none);
        std::signal(SIGSEGV, SIG_DFL);
        GeneralUtil::Crash();
    }
    if (mode == "home") {
        std::printf("desktop=%s\nautostart=%s\n", qPrintable(GeneralUtil::GetDesktopPath()),
            qPrintable(GeneralUtil::GetAutostartPath()));
        return 0;
    }
    if (mode == "appfile") {
        std::unique_ptr<QCoreApplication> app;
        if (args.value(1) == "qt")
            app = std::make_unique<QCoreApplication>(argc, argv);
        char line[16];
        if (!std::fgets(line, sizeof line, stdin))
            return 3;
        std::printf("%s\n", qPrintable(GeneralUtil::GetAppFilePath()));
        return 0;
    }
    if (mode == "autostart" && args.size() == 2)
        return GeneralUtil::BundleAppLaunchOnStartup(args.at(1) == "enable") ? 0 : 1;
    std::fprintf(stderr, "locationshelper: bad arguments\n");
    return 2;
}
