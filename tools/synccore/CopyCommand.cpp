// copy: the library's copy and move with its backup protocol.

#include "Command.h"
#include "Format.h"

#include "CloudUtil/GeneralUtil.h"
#include "platform/PlatformFs.h"

#include <QFileInfo>
#include <QTemporaryFile>

using Tessaron::CloudUtil::GeneralUtil;

namespace {

/// Copies @p source into a new companion beside @p target, counting the bytes on
/// @p progress; the companion's path, empty after printing the error.
QString writeCompanion(const QString& source, const QString& target, tool::Progress& progress)
{
    QFile in(source);
    QTemporaryFile out(target + QStringLiteral(".synccore-XXXXXX"));
    if (!in.open(QIODevice::ReadOnly) || !out.open()) {
        tool::failure(QStringLiteral("cannot copy %1 to %2: %3")
                          .arg(source, target, in.isOpen() ? out.errorString() : in.errorString()));
        return QString();
    }
    progress.setTotals(in.size(), 1);
    const platform::fs::ReadBuffer buffer(1 << 16);
    qint64 n = 0;
    while ((n = in.read(buffer.data(), qint64(buffer.size()))) > 0) {
        if (out.write(buffer.data(), n) != n)
            break;
        progress.addBytes(n);
    }
    if (n != 0 || !out.flush()) {
        tool::failure(QStringLiteral("cannot copy %1 to %2: %3")
                          .arg(source, target, n < 0 ? in.errorString() : out.errorString()));
        return QString();
    }
    out.setPermissions(in.permissions());
    out.setAutoRemove(false);
    return out.fileName();
}

int run(const tool::Invocation& in)
{
    const QString source = in.argument(0);
    const QString target = in.argument(1);
    const bool move = in.isSet(QStringLiteral("move"));
    const bool overwrite = in.isSet(QStringLiteral("overwrite"));
    // A copy with progress reads the source itself into a companion, which the
    // library then moves into place with its backup protocol; a move is a rename.
    tool::Progress progress(tool::Progress::wanted() && !move && QFileInfo(source).isFile()
        && (overwrite || !QFileInfo::exists(target)));
    QString from = source;
    if (progress.enabled() && (from = writeCompanion(source, target, progress)).isEmpty())
        return tool::ExitFailure;
    progress.finish();
    QString error;
    if (!GeneralUtil::CopyFile(from, target, move || from != source, overwrite, &error)) {
        if (from != source)
            QFile::remove(from);
        return tool::failure(
            error.isEmpty() ? QStringLiteral("cannot copy %1 to %2").arg(source, target) : error);
    }
    if (!error.isEmpty())
        tool::err(error); // copied, but the backup of the old target could not be removed
    return tool::ExitSuccess;
}

tool::Command definition()
{
    tool::Command c;
    c.name = QStringLiteral("copy");
    c.synopsis = QStringLiteral("[OPTIONS] SOURCE TARGET");
    c.summary = QStringLiteral("Copy or move a file, replacing a target only via a backup");
    c.description = QStringLiteral(
        "Copy (or with --move, move) the file SOURCE to TARGET with the library's file "
        "operation. An existing TARGET is replaced only with --overwrite: it is first renamed "
        "to a .bak backup, which is removed once the new file is in place and put back when "
        "the copy fails. Progress is drawn on standard error when it is a terminal.");
    c.options = {
        { QStringLiteral("move"),
            QStringLiteral(
                "Move instead of copying (a rename when both lie on one file system).") },
        { QStringLiteral("overwrite"), QStringLiteral("Replace an existing TARGET.") },
    };
    c.arguments = { { QStringLiteral("SOURCE"), QStringLiteral("The file to copy.") },
        { QStringLiteral("TARGET"), QStringLiteral("The new file's path.") } };
    c.minArguments = c.maxArguments = 2;
    c.examples = { QStringLiteral("synccore copy --overwrite report.pdf /mnt/share/report.pdf") };
    c.run = run;
    return c;
}

} // namespace

SYNCCORE_COMMAND(definition);
