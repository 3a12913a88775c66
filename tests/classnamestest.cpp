// The names the library's QObject classes answer to in metaObject()->className()
// and inherits(): namespaces as written, never the ABI namespace they live in.

#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/ConnectedToNetwork.h"
#include "Sync/SyncCore/CryptographicHash.h"
#include "Sync/SyncCore/ExitManager.h"
#include "Sync/SyncCore/QDirIteratorWrapper.h"
#include "Sync/SyncCore/QDirWrapper.h"
#include "Sync/SyncCore/QEventLoopWrapper.h"
#include "Sync/SyncCore/QFileInfoWrapper.h"
#include "Sync/SyncCore/QFileWrapper.h"
#include "Sync/SyncCore/WakeupSignalsWrapper.h"

#include <QMetaObject>
#include <QStringList>

#include <gtest/gtest.h>

#include <unistd.h> // declares ::sync(), which the names must live beside

namespace {

/// The class names of @p meta and its bases, most derived first.
QStringList chain(const QMetaObject* meta)
{
    QStringList names;
    for (; meta; meta = meta->superClass())
        names.append(QString::fromLatin1(meta->className()));
    return names;
}

} // namespace

TEST(ClassNamesTest, ClassesAnswerToTheirNamespacedNames)
{
    using namespace sync;
    const QString i = QStringLiteral("sync::interf::"), c = QStringLiteral("sync::core::");
    const QString object = QStringLiteral("QObject");
    const std::pair<const QMetaObject*, QStringList> rows[] = {
        { &core::ActionLog::staticMetaObject, { c + "ActionLog", i + "IActionLog", object } },
        { &core::ConnectedToNetwork::staticMetaObject,
            { c + "ConnectedToNetwork", i + "IConnectedToNetwork", object } },
        { &core::CryptographicHash::staticMetaObject,
            { c + "CryptographicHash", i + "ICryptographicHash", object } },
        { &core::ExitManager::staticMetaObject,
            { c + "ExitManager", i + "IExitController", i + "ICheckForExit", object } },
        { &core::QDirIteratorWrapper::staticMetaObject,
            { c + "QDirIteratorWrapper", i + "IQDirIteratorWrapper", object } },
        { &core::QDirWrapper::staticMetaObject, { c + "QDirWrapper", i + "IQDirWrapper", object } },
        { &core::QEventLoopWrapper::staticMetaObject,
            { c + "QEventLoopWrapper", i + "IQEventLoopWrapper", object } },
        { &core::QFileInfoWrapper::staticMetaObject,
            { c + "QFileInfoWrapper", i + "IQFileInfoWrapper", object } },
        { &core::QFileWrapper::staticMetaObject,
            { c + "QFileWrapper", i + "IQFileWrapper", object } },
        { &syncService::WakeupSignalsWrapper::staticMetaObject,
            { QStringLiteral("sync::syncService::WakeupSignalsWrapper"), QStringLiteral("QThread"),
                object } },
    };
    for (const auto& [meta, expected] : rows)
        EXPECT_EQ(chain(meta).join(QLatin1String(" < ")).toStdString(),
            expected.join(QLatin1String(" < ")).toStdString());

    core::ActionLog log(nullptr);
    EXPECT_STREQ(log.metaObject()->className(), "sync::core::ActionLog");
    EXPECT_TRUE(log.inherits("sync::core::ActionLog"));
    EXPECT_TRUE(log.inherits("sync::interf::IActionLog"));
    EXPECT_FALSE(log.inherits("KvSync_6_0::sync::core::ActionLog"));
    EXPECT_EQ(qobject_cast<interf::IActionLog*>(&log), &log);
}
