// The session token: how a name is written, and what real processes get,
// including children without a login session (setsid) and without a user
// database entry.

#include "Sync/SyncCore/SessionToken.h"

#include "TestUtil.h"
#include "platform/Platform.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QProcess>

#include <unistd.h>

using namespace sync::core;

namespace {

TEST(SessionTokenTest, WritesNameAndProcess)
{
    const struct
    {
        QByteArray login;
        qint64 pid;
        const char* token;
    } rows[] = { { "user1", 4711, "user1-4711" }, { "dom/user", 1, "dom-user-1" },
        { "/a//b/", 70000, "-a--b--70000" }, { "dom\\user", 9, "dom\\user-9" },
        { "", 42, "None-42" } };
    for (const auto& row : rows)
        EXPECT_EQ(__TEST_ONLY_MakeSessionToken(row.login, row.pid), QString::fromLatin1(row.token));
}

/// The effective user's name as the system's own tool reports it.
QString idUserName()
{
    const testutil::ProcessResult r
        = testutil::run(QStringLiteral("id"), { QStringLiteral("-un") });
    EXPECT_EQ(r.exitCode, 0);
    return QString::fromLocal8Bit(r.out).trimmed();
}

/// The helper's lines: token, process id, login name of its session (may be empty).
QStringList runHelper(const QStringList& args)
{
    const testutil::ProcessResult r
        = testutil::run(testutil::builtExecutable(QStringLiteral("sessiontokenhelper")), args);
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    const QStringList lines = QString::fromUtf8(r.out).split(QLatin1Char('\n'));
    return lines.size() >= 3 ? lines : QStringList { QString(), QString(), QString() };
}

TEST(SessionTokenTest, ThisProcessGetsItsNameAndNumber)
{
    const QString token = GetSessionAndUserUniqueToken();
    const QString suffix = QStringLiteral("-%1").arg(QCoreApplication::applicationPid());
    ASSERT_TRUE(token.endsWith(suffix)) << token.toStdString();
    const QByteArray login = platform::SessionLoginName();
    // Without a login session here: the effective user.
    EXPECT_EQ(token.chopped(suffix.size()),
        login.isEmpty() ? idUserName()
                        : QString::fromLatin1(login).replace(QLatin1Char('/'), QLatin1Char('-')));
    EXPECT_EQ(GetSessionAndUserUniqueToken(), token);
}

TEST(SessionTokenTest, TwoProcessesGetDifferentTokens)
{
    // Both run at once, so the system cannot hand them the same number.
    QProcess p[2];
    qint64 pid[2];
    QString token[2];
    for (int i = 0; i < 2; ++i)
        p[i].start(testutil::builtExecutable(QStringLiteral("sessiontokenhelper")), {});
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(p[i].waitForStarted());
        pid[i] = p[i].processId();
    }
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(p[i].waitForFinished());
        token[i] = QString::fromUtf8(p[i].readAllStandardOutput()).section(QLatin1Char('\n'), 0, 0);
        EXPECT_TRUE(token[i].endsWith(QStringLiteral("-%1").arg(pid[i]))) << token[i].toStdString();
    }
    EXPECT_NE(token[0], token[1]);
    // Same user: only the process part differs.
    EXPECT_EQ(token[0].section(QLatin1Char('-'), 0, -2), token[1].section(QLatin1Char('-'), 0, -2));
}

TEST(SessionTokenTest, WithoutLoginSessionTheEffectiveUserIsUsed)
{
    const QStringList out = runHelper({ QStringLiteral("--setsid") });
    // Where the kernel keeps an audit login id, getlogin_r still answers after setsid.
    const QString expectedName = out[2].isEmpty() ? idUserName() : out[2];
    EXPECT_EQ(out[0], QStringLiteral("%1-%2").arg(expectedName, out[1]));
}

TEST(SessionTokenTest, WithoutLoginSessionOrUserEntryTheNameIsNone)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to become a user without a user database entry";
    // A uid far outside any normal range, with no entry in the user database.
    const QStringList out = runHelper(
        { QStringLiteral("--setsid"), QStringLiteral("--uid"), QStringLiteral("3999999") });
    if (!out[2].isEmpty())
        GTEST_SKIP() << "the session keeps a login name (audit login id set): "
                     << out[2].toStdString();
    EXPECT_EQ(out[0], QStringLiteral("None-%1").arg(out[1]));
}

} // namespace
