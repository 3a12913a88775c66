#include "Sync/SyncCore/QSharingFileEngine.h"

#include "platform/Platform.h"

QSharingFileEngine::QSharingFileEngine() = default;

QSharingFileEngine::QSharingFileEngine(const QString& fileName)
    : QFSFileEngine(fileName)
{ }

QSharingFileEngine::~QSharingFileEngine() = default;

bool QSharingFileEngine::open(
    QIODevice::OpenMode mode, std::optional<QFile::Permissions> permissions)
{
    return QFSFileEngine::open(mode, permissions);
}

QAbstractFileEngine::FileFlags QSharingFileEngine::fileFlags(FileFlags type) const
{
    FileFlags flags = QFSFileEngine::fileFlags(type);
    // QFSFileEngine takes an entry that lstat() finds for existing; Qt's native engine asks
    // for the link's target, so a dangling or looping link does not exist (and QDir lists
    // it only as a system entry).
    if (flags.testFlag(ExistsFlag) && !platform::ExistsAfterLinks(fileName(DefaultName)))
        flags &= ~FileFlags(ExistsFlag);
    return flags;
}

QSharingFileEngineHandler::QSharingFileEngineHandler() = default;

QSharingFileEngineHandler::~QSharingFileEngineHandler() = default;

QAbstractFileEngine* QSharingFileEngineHandler::create(const QString& fileName) const
{
    if (fileName.isEmpty())
        return nullptr;
    if (fileName.startsWith(QLatin1Char(':')))
        return nullptr; // resources keep their own engine
    return new QSharingFileEngine(fileName);
}
