#include "SyncPass.h"

#include "CloudUtil/GeneralUtil.h"
#include "Sync/SyncCore/Consts.h"
#include "Sync/SyncCore/FileNameMatcher.h"
#include "Sync/SyncCore/QFileWrapper.h"
#include "interfaces/IActionLog.h"
#include "interfaces/ICheckForExit.h"

#include <QDir>
#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFileInfo>

#include <future>

using Tessaron::CloudUtil::GeneralUtil;
using namespace sync::core;

namespace tool {

namespace {
// From this size on, source and target are hashed on two threads at once.
constexpr qint64 kHashAlongsideBytes = 4 * 1024 * 1024;
} // namespace

SyncPass::SyncPass(
    sync::interf::IActionLog& log, FileNameMatcher& matcher, sync::interf::ICheckForExit& exit)
    : _log(log)
    , _matcher(matcher)
    , _exit(exit)
{ }

void SyncPass::setProgressCallback(std::function<void(const SyncProgress&)> callback)
{
    _progress = std::move(callback);
}

void SyncPass::setCopiedCallback(std::function<void(const QString&)> callback)
{
    _copied = std::move(callback);
}

void SyncPass::_Read(qint64 bytes)
{
    _done.bytesDone += bytes;
    if (_progress)
        _progress(_done);
}

void SyncPass::_Record(
    int type, const QString& relative, int detailsType, const QVector<QString>& args)
{
    // The log puts details arguments into its document as they stand.
    QVector<QString> escaped;
    for (const QString& arg : args)
        escaped.append(arg.toHtmlEscaped());
    _log.AddAction(action::ActionType(type), relative, QFileInfo(relative).fileName(),
        SyncDetails(_log.BuildDetailsXml(actionDetails::DetailsType(detailsType), escaped)));
    ++_actionsAdded;
}

QString SyncPass::PrepareFolders(QString& source, QString& target, bool createTarget)
{
    source = GeneralUtil::CleanPath(QFileInfo(source).absoluteFilePath());
    target = GeneralUtil::CleanPath(QFileInfo(target).absoluteFilePath());
    const QFileInfo sourceInfo(source);
    if (!sourceInfo.isDir())
        return QStringLiteral("source %1 is not a folder").arg(source);
    if (GeneralUtil::IsParentOrSamePath(source, target))
        return QStringLiteral("target %1 lies inside source %2").arg(target, source);
    if (GeneralUtil::IsParentPath(target, source))
        return QStringLiteral("source %1 lies inside target %2").arg(source, target);
    const QFileInfo targetInfo(target);
    if (targetInfo.exists() && !targetInfo.isDir())
        return QStringLiteral("target %1 exists and is not a folder").arg(target);
    if (createTarget && !targetInfo.exists() && !QDir().mkpath(target))
        return QStringLiteral("cannot create target folder %1").arg(target);
    return QString();
}

SyncSummary SyncPass::Run(const QString& source, const QString& target)
{
    QElapsedTimer clock;
    clock.start();
    SyncSummary summary;
    _workingFolders.clear();

    QList<Item> items;
    _Collect(source, source, items, summary);
    summary.files += int(items.size());
    for (const Item& item : items)
        summary.bytesTotal += item.size;

    _done = SyncProgress();
    _done.filesTotal = summary.files;
    _done.bytesTotal = summary.bytesTotal;
    for (const Item& item : items) {
        // Between files, never inside one: a file is either put in place whole or not at all.
        if (_exit.IsCanceling()) {
            summary.interrupted = true;
            break;
        }
        const qint64 before = _done.bytesDone;
        _SyncFile(source, target, item, summary);
        // Files compared but not copied count once they are done.
        ++_done.filesDone;
        _Read(before + item.size - _done.bytesDone);
    }

    // The download companions are gone; their working folders need not stay.
    for (const QString& folder : qAsConst(_workingFolders))
        QDir().rmdir(folder);

    _log.Flush();
    summary.elapsedMs = clock.elapsed();
    return summary;
}

void SyncPass::_Collect(
    const QString& root, const QString& folder, QList<Item>& items, SyncSummary& summary)
{
    const QFileInfoList entries = QDir(folder).entryInfoList(
        QDir::Files | QDir::Dirs | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
        QDir::Name | QDir::DirsFirst);
    for (const QFileInfo& entry : entries) {
        const QString name = entry.fileName();
        // The working folders of the sync itself are never content.
        if (name == consts::TEMP_FOLDER_NAME || name == consts::BASE_FOLDER_NAME)
            continue;
        const QString relative = GeneralUtil::GetSubPath(root, entry.absoluteFilePath());
        if (_matcher.Match(name)) {
            ++summary.excluded;
            if (!_excludedRecorded.contains(relative)) {
                _excludedRecorded.insert(relative);
                _Record(action::ItemSkipped, relative, actionDetails::ItemExcluded, { relative });
            }
            continue;
        }
        if (entry.isDir()) {
            // A linked folder could lead back into the tree; only real folders are walked.
            if (!entry.isSymLink())
                _Collect(root, entry.absoluteFilePath(), items, summary);
            continue;
        }
        if (!entry.isFile() && !entry.isSymLink()) {
            // A pipe or a device would block a reader or never end: not content.
            Item special { relative, 0 };
            ++summary.files;
            _Fail(special, QStringLiteral("%1 is not a regular file").arg(entry.absoluteFilePath()),
                summary);
            continue;
        }
        // A dangling link stays in: reading it fails and is recorded with its path.
        items.append(Item { relative, entry.size() });
    }
}

bool SyncPass::_SyncFile(
    const QString& source, const QString& target, const Item& item, SyncSummary& summary)
{
    const QString from = source + QLatin1Char('/') + item.relative;
    const QString to = target + QLatin1Char('/') + item.relative;

    const QFileInfo toInfo(to);
    if (toInfo.isDir()) {
        _Fail(item, QStringLiteral("a folder is in the way at %1").arg(to), summary);
        return false;
    }
    // Checksums are compared only when there is a target to compare with; a
    // missing target is simply written.
    QString sourceSum;
    // Different sizes mean different checksums: such a file is simply written.
    if (toInfo.exists() && toInfo.size() == item.size) {
        // Large files are hashed side by side on two threads: the pass waits for
        // the disk and the hash, not for one file after the other.
        std::future<QString> targetSum;
        const bool alongside = item.size >= kHashAlongsideBytes;
        if (alongside)
            targetSum = std::async(
                std::launch::async, [to] { return GeneralUtil::GenerateCheckSumMD5(to); });
        sourceSum = GeneralUtil::GenerateCheckSumMD5(from);
        const QString existingSum
            = alongside ? targetSum.get() : GeneralUtil::GenerateCheckSumMD5(to);
        if (sourceSum.isEmpty()) {
            _Fail(item, QStringLiteral("cannot read %1").arg(from), summary);
            return false;
        }
        if (existingSum == sourceSum) {
            ++summary.unchanged;
            return true;
        }
    }

    const QString partial = _Companion(to, item, summary);
    if (partial.isEmpty())
        return false;

    // The companion is written and hashed in one read of the source; what is put
    // in place must be what was compared, or the source changed meanwhile.
    QString error;
    const QString writtenSum = _WriteCompanion(from, partial, &error);
    if (writtenSum.isEmpty() || (!sourceSum.isEmpty() && writtenSum != sourceSum)) {
        QFile::remove(partial);
        _Fail(item,
            error.isEmpty() ? QStringLiteral("%1 changed while it was copied").arg(from) : error,
            summary);
        return false;
    }
    if (!GeneralUtil::CopyFile(partial, to, true, true, &error)) {
        QFile::remove(partial);
        _Fail(item, error.isEmpty() ? QStringLiteral("cannot replace %1").arg(to) : error, summary);
        return false;
    }

    ++summary.copied;
    summary.bytesCopied += item.size;
    _Record(action::FileUploaded, item.relative, actionDetails::FileTransferred,
        { item.relative, QString::number(item.size) });
    if (_copied)
        _copied(item.relative);
    return true;
}

QString SyncPass::_Companion(const QString& to, const Item& item, SyncSummary& summary)
{
    // Written through the download companion first, so that a reader of the
    // target never sees a half-written file.
    QFileWrapper targetFile;
    targetFile.setFileName(to);
    const std::shared_ptr<sync::interf::IQFileWrapper> companion
        = targetFile.GetDownloadedTempFile();
    const QString partial = companion ? companion->fileName() : QString();
    if (partial.isEmpty()) {
        _Fail(item, QStringLiteral("no download companion for %1").arg(to), summary);
        return QString();
    }
    const QString workingFolder = QFileInfo(partial).absolutePath();
    if (!QFileInfo::exists(workingFolder)) {
        if (!QDir().mkpath(workingFolder)) {
            _Fail(item, QStringLiteral("cannot create %1").arg(workingFolder), summary);
            return QString();
        }
        _workingFolders.append(workingFolder);
    }
    return partial;
}

QString SyncPass::_WriteCompanion(const QString& from, const QString& partial, QString* error)
{
    QFile in(from);
    QFile out(partial);
    if (!in.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(from, in.errorString());
        return QString();
    }
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        *error = QStringLiteral("cannot write %1: %2").arg(partial, out.errorString());
        return QString();
    }
    QCryptographicHash hash(QCryptographicHash::Md5);
    QByteArray buffer(1 << 20, Qt::Uninitialized);
    for (;;) {
        const qint64 n = in.read(buffer.data(), buffer.size());
        if (n < 0) {
            *error = QStringLiteral("cannot read %1: %2").arg(from, in.errorString());
            return QString();
        }
        if (n == 0)
            break;
        hash.addData(QByteArrayView(buffer.constData(), n));
        _Read(n);
        if (out.write(buffer.constData(), n) != n) {
            *error = QStringLiteral("cannot write %1: %2").arg(partial, out.errorString());
            return QString();
        }
    }
    if (!out.flush()) {
        *error = QStringLiteral("cannot write %1: %2").arg(partial, out.errorString());
        return QString();
    }
    return QString::fromLatin1(hash.result().toHex());
}

void SyncPass::_Fail(const Item& item, const QString& reason, SyncSummary& summary)
{
    ++summary.failed;
    summary.failures.append(QStringLiteral("%1: %2").arg(item.relative, reason));
    _Record(action::UploadFailed, item.relative, actionDetails::TransferFailed,
        { item.relative, reason });
}

} // namespace tool
