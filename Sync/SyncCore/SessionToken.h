#pragma once

#include "interfaces/SyncNamespace.h"
#include "kvsynccore_export.h"

#include <QByteArray>
#include <QString>

inline namespace KvSync_6_0 {
namespace sync {
namespace core {

/**
 * @brief Names the current user and process in one short text, "<login>-<pid>".
 *
 * Used to keep the names of shared kernel objects (such as the wake-up
 * semaphore) apart between users and between processes, for example
 * "user1-4711".
 *
 * The login name is that of the session (getlogin_r). A process without a
 * login session (a service, a CI job, anything started after setsid) takes
 * the effective user's name instead, and "None" stands in only when neither
 * is known. Every "/" of the name is written as "-", so that the token can
 * be part of a path-like object name. The process number is in decimal.
 *
 * Reentrant; may be called from any thread.
 */
KVSYNCCORE_EXPORT QString GetSessionAndUserUniqueToken();

/**
 * @brief The token for a given login name and process number, as
 * GetSessionAndUserUniqueToken() writes it; an empty name stands for
 * "no login name known" and gives "None". For tests only.
 */
KVSYNCCORE_EXPORT QString __TEST_ONLY_MakeSessionToken(
    const QByteArray& loginName, qint64 processId);

} // namespace core
} // namespace sync
} // namespace KvSync_6_0
