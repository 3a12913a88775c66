#include "Digest.h"

#include "Command.h"
#include "Format.h"
#include "platform/PlatformFs.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace tool {

namespace {

/// The digest of @p path read in chunks, each counted on @p progress; empty on a read error.
QString readDigest(const QString& path, QCryptographicHash::Algorithm algorithm, Progress& progress)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    QCryptographicHash hash(algorithm);
    const platform::fs::ReadBuffer buffer(1 << 16);
    for (;;) {
        const qint64 n = file.read(buffer.data(), qint64(buffer.size()));
        if (n < 0)
            return QString();
        if (n == 0)
            return QString::fromLatin1(hash.result().toHex());
        hash.addData(QByteArrayView(buffer.data(), n));
        progress.addBytes(n);
    }
}

} // namespace

int printDigests(const Invocation& in, QCryptographicHash::Algorithm algorithm,
    const std::function<QString(const QString&)>& libraryDigest)
{
    const bool json = in.isSet(QStringLiteral("json"));
    const QString key
        = algorithm == QCryptographicHash::Md5 ? QStringLiteral("md5") : QStringLiteral("sha1");
    Progress progress(Progress::wanted());
    qint64 total = 0;
    for (const QString& path : in.arguments())
        total += QFileInfo(path).isFile() ? QFileInfo(path).size() : 0;
    progress.setTotals(total, int(in.arguments().size()));
    int status = ExitSuccess;
    QJsonArray rows;
    for (const QString& path : in.arguments()) {
        // A folder or a device is no file to sum, and a FIFO would never end.
        const QFileInfo info(path);
        const QString digest = !info.isFile() ? QString()
            : Progress::wanted()              ? readDigest(path, algorithm, progress)
                                              : libraryDigest(path);
        progress.addFile();
        progress.finish();
        if (digest.isEmpty()) {
            const QString cause = info.exists() && !info.isFile()
                ? QStringLiteral("not a file")
                : QStringLiteral("cannot be read");
            status = failure(QStringLiteral("%1: %2").arg(path, cause));
            if (json)
                rows.append(QJsonObject {
                    { QStringLiteral("file"), path }, { QStringLiteral("error"), cause } });
            continue;
        }
        if (json)
            rows.append(QJsonObject { { QStringLiteral("file"), path }, { key, digest },
                { QStringLiteral("size"), info.size() } });
        else
            out(QStringLiteral("%1  %2").arg(digest, path));
    }
    if (json)
        out(QString::fromUtf8(QJsonDocument(rows).toJson(QJsonDocument::Compact)));
    return status;
}

} // namespace tool
