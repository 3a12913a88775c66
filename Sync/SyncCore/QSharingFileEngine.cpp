#include "Sync/SyncCore/QSharingFileEngine.h"

QSharingFileEngine::QSharingFileEngine() = default;

QSharingFileEngine::QSharingFileEngine(const QString& fileName)
    : QFSFileEngine(fileName)
{
}

QSharingFileEngine::~QSharingFileEngine() = default;

bool QSharingFileEngine::open(QIODevice::OpenMode mode,
                              std::optional<QFile::Permissions> permissions)
{
    return QFSFileEngine::open(mode, permissions);
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
