#include "Sync/SyncCore/SessionToken.h"

#include "platform/Platform.h"

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

QString __TEST_ONLY_MakeSessionToken(const QByteArray& loginName, qint64 processId)
{
    QString name = loginName.isEmpty() ? QStringLiteral("None") : QString::fromLatin1(loginName);
    // The token ends up in kernel object names, where "/" separates levels.
    name.replace(QLatin1Char('/'), QLatin1Char('-'));
    return QStringLiteral("%1-%2").arg(name, QString::number(processId));
}

QString GetSessionAndUserUniqueToken()
{
    QByteArray name = platform::SessionLoginName();
    // A service has no login session, and the program that wakes it must still
    // arrive at the same name: fall back to the effective user.
    if (name.isEmpty())
        name = platform::EffectiveUserName();
    return __TEST_ONLY_MakeSessionToken(name, platform::CurrentProcessId());
}

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
