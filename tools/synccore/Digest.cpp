#include "Digest.h"

#include "Command.h"
#include "Format.h"

#include <QFile>
#include <QFileInfo>

namespace tool {

namespace {

/// The digest of @p path read in chunks, each counted on @p progress; empty on a read error.
QString readDigest(const QString& path, QCryptographicHash::Algorithm algorithm, Progress& progress)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    QCryptographicHash hash(algorithm);
    QByteArray buffer(1 << 20, Qt::Uninitialized);
    for (;;) {
        const qint64 n = file.read(buffer.data(), buffer.size());
        if (n < 0)
            return QString();
        if (n == 0)
            return QString::fromLatin1(hash.result().toHex());
        hash.addData(QByteArrayView(buffer.constData(), n));
        progress.addBytes(n);
    }
}

} // namespace

int printDigests(const Invocation& in, QCryptographicHash::Algorithm algorithm,
    const std::function<QString(const QString&)>& libraryDigest)
{
    Progress progress(Progress::wanted());
    qint64 total = 0;
    for (const QString& path : in.arguments())
        total += QFileInfo(path).isFile() ? QFileInfo(path).size() : 0;
    progress.setTotals(total, int(in.arguments().size()));
    int status = ExitSuccess;
    for (const QString& path : in.arguments()) {
        // A folder or a device is no file to sum, and a FIFO would never end.
        const QString digest = !QFileInfo(path).isFile() ? QString()
            : Progress::wanted()                         ? readDigest(path, algorithm, progress)
                                                         : libraryDigest(path);
        progress.addFile();
        if (digest.isEmpty()) {
            progress.finish();
            status = failure(QStringLiteral("%1: %2").arg(path,
                QFileInfo::exists(path) && !QFileInfo(path).isFile()
                    ? QStringLiteral("not a file")
                    : QStringLiteral("cannot be read")));
            continue;
        }
        progress.finish();
        out(QStringLiteral("%1  %2").arg(digest, path));
    }
    return status;
}

} // namespace tool
