#pragma once

// Uses Qt's private file-engine classes: code that includes this header needs
// Qt6::CorePrivate (the private QtCore headers of the same Qt version).

#include "kvsyncsharingengine_export.h"

#include <QtCore/private/qabstractfileengine_p.h>
#include <QtCore/private/qfsfileengine_p.h>

#include <optional>

/**
 * @brief The file engine through which the client opens ordinary files for sharing.
 *
 * The one place that decides in which mode files are opened for sharing with other
 * programs. On this platform the native engine already opens files shared, so open()
 * forwards unchanged; every other operation is QFSFileEngine's, with one correction
 * in fileFlags() so that results never differ from those of Qt's native engine.
 */
class KVSYNCSHARINGENGINE_EXPORT QSharingFileEngine : public QFSFileEngine
{
public:
    QSharingFileEngine();
    /// An engine for @p fileName, as QFSFileEngine(const QString&).
    explicit QSharingFileEngine(const QString& fileName);
    ~QSharingFileEngine() override;

    using QFSFileEngine::open;
    /// QFSFileEngine::open with both arguments unchanged.
    bool open(QIODevice::OpenMode mode, std::optional<QFile::Permissions> permissions) override;

    /// QFSFileEngine's flags, except that a link whose target is missing (dangling, or a
    /// loop of links) does not exist, as with Qt's native engine: QFileInfo and QDir give
    /// the same answers with the handler installed as without it.
    FileFlags fileFlags(FileFlags type) const override;
};

/**
 * @brief Hands Qt a QSharingFileEngine for every ordinary path.
 *
 * Takes effect when constructed and ends when destroyed (Qt registers handlers
 * itself). The library never makes one: an application that wants shared opening
 * creates one early, before files are opened, and keeps it for its lifetime.
 * Resource paths (":...") and the empty name are left to Qt's own engines.
 */
class KVSYNCSHARINGENGINE_EXPORT QSharingFileEngineHandler : public QAbstractFileEngineHandler
{
public:
    QSharingFileEngineHandler();
    ~QSharingFileEngineHandler() override;

    /// A new engine that Qt takes ownership of, or null to let Qt choose.
    QAbstractFileEngine* create(const QString& fileName) const override;
};
