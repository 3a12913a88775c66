// File commands: checksums, visibility in file managers, copying with a backup.

#include "Command.h"

#include "CloudUtil/GeneralUtil.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <atomic>
#include <chrono>
#include <thread>

using Tessaron::CloudUtil::GeneralUtil;

namespace {

constexpr qint64 kProgressFromSize = 64 * 1024 * 1024;

// How far this process has read into @p path: the position of the descriptor that
// has it open, from /proc/self/fdinfo. -1 when no descriptor is found.
qint64 readPosition(const QString& canonicalPath)
{
    const QDir fds(QStringLiteral("/proc/self/fd"));
    const QStringList entries = fds.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    for (const QString& fd : entries) {
        if (QFile::symLinkTarget(fds.filePath(fd)) != canonicalPath)
            continue;
        QFile info(QStringLiteral("/proc/self/fdinfo/") + fd);
        if (!info.open(QIODevice::ReadOnly))
            continue;
        const QList<QByteArray> lines = info.readAll().split('\n');
        for (const QByteArray& line : lines) {
            if (line.startsWith("pos:"))
                return line.mid(4).trimmed().toLongLong();
        }
    }
    return -1;
}

QString mebibytes(qint64 bytes)
{
    return QStringLiteral("%1 MiB").arg(bytes / (1024 * 1024));
}

// Hashes on a worker thread and redraws one progress line until it is done.
QString checksumWithProgress(const QString& path, qint64 size)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    std::atomic<bool> done{false};
    QString sum;
    std::thread worker([&] {
        sum = GeneralUtil::GenerateCheckSumMD5(path);
        done = true;
    });
    const QString up = QStringLiteral("\x1b[1A\x1b[2K"); // back over the previous progress line
    bool drawn = false;
    while (!done) {
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
        const qint64 position = readPosition(canonical);
        if (done || position < 0)
            continue;
        tool::out((drawn ? up : QString())
                  + QStringLiteral("%1: %2% (%3 of %4)")
                        .arg(path)
                        .arg(size > 0 ? position * 100 / size : 100)
                        .arg(mebibytes(position), mebibytes(size)));
        drawn = true;
    }
    worker.join();
    if (drawn)
        tool::out(up + QStringLiteral("\x1b[1A")); // leave the cursor where the line began
    return sum;
}

int setVisible(const QStringList& args, bool visible)
{
    const QString verb = visible ? QStringLiteral("show") : QStringLiteral("hide");
    if (args.size() != 1)
        return tool::usageError(QStringLiteral("%1 takes one PATH").arg(verb));
    const QString& path = args.first();
    if (!QFileInfo::exists(path))
        return tool::failure(QStringLiteral("%1: no such file or folder").arg(path));
    if (visible && QFileInfo(QDir::cleanPath(path)).fileName().startsWith(QLatin1Char('.')))
        return tool::failure(QStringLiteral("%1: a name starting with '.' is always hidden").arg(path));
    if (!GeneralUtil::SetFileVisibility(path, visible))
        return tool::failure(QStringLiteral("cannot %1 %2 (the folder's .hidden list cannot be written)")
                                 .arg(verb, path));
    return 0;
}

} // namespace

SYNCCORE_COMMAND("md5", "FILE...",
                 "Print each file's MD5 checksum as md5sum does (progress on a terminal for large files)",
                 [](const QStringList& args) {
    if (args.isEmpty())
        return tool::usageError(QStringLiteral("md5 needs at least one FILE"));
    int result = 0;
    for (const QString& path : args) {
        const QFileInfo info(path);
        if (!info.isFile()) {
            tool::err(QStringLiteral("%1: not a file").arg(path));
            result = 1;
            continue;
        }
        const QString sum = tool::stdoutIsTerminal() && info.size() >= kProgressFromSize
            ? checksumWithProgress(path, info.size())
            : GeneralUtil::GenerateCheckSumMD5(path);
        if (sum.isEmpty()) {
            tool::err(QStringLiteral("%1: cannot be read").arg(path));
            result = 1;
            continue;
        }
        tool::out(QStringLiteral("%1  %2").arg(sum, path));
    }
    return result;
});

SYNCCORE_COMMAND("hide", "PATH", "Hide a file or folder in file managers (the folder's .hidden list)",
                 [](const QStringList& args) { return setVisible(args, false); });

SYNCCORE_COMMAND("show", "PATH", "Show a file or folder hidden by 'hide' again",
                 [](const QStringList& args) { return setVisible(args, true); });

SYNCCORE_COMMAND("copy", "SOURCE TARGET [--move] [--overwrite]",
                 "Copy or move a file; an existing target is replaced only with --overwrite, via a .bak backup",
                 [](const QStringList& argsIn) {
    QStringList args = argsIn;
    const bool move = tool::takeFlag(args, QStringLiteral("move"));
    const bool overwrite = tool::takeFlag(args, QStringLiteral("overwrite"));
    for (const QString& arg : std::as_const(args)) {
        if (arg.startsWith(QLatin1String("--")))
            return tool::usageError(QStringLiteral("copy: unknown option %1").arg(arg));
    }
    if (args.size() != 2)
        return tool::usageError(QStringLiteral("copy takes SOURCE and TARGET"));
    QString error;
    if (!GeneralUtil::CopyFile(args.at(0), args.at(1), move, overwrite, &error)) {
        if (error.isEmpty())
            error = QStringLiteral("cannot copy %1 to %2").arg(args.at(0), args.at(1));
        return tool::failure(error);
    }
    if (!error.isEmpty())
        tool::err(error); // copied, but the backup of the old target could not be removed
    return 0;
});
