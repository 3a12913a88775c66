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

struct TokenRow
{
    const char* name;
    QByteArray login;
    qint64 pid;
    const char* token;
};

void PrintTo(const TokenRow& row, std::ostream* os)
{
    *os << row.name;
}

class SessionTokenFormatTest : public ::testing::TestWithParam<TokenRow>
{
};

TEST_P(SessionTokenFormatTest, WritesNameAndProcess)
{
    const TokenRow& row = GetParam();
    EXPECT_EQ(__TEST_ONLY_MakeSessionToken(row.login, row.pid), QString::fromLatin1(row.token));
}

INSTANTIATE_TEST_SUITE_P(Names, SessionTokenFormatTest,
    ::testing::Values(TokenRow { "plain", "user1", 4711, "user1-4711" },
        TokenRow { "slash", "dom/user", 1, "dom-user-1" },
        TokenRow { "slashesEverywhere", "/a//b/", 70000, "-a--b--70000" },
        TokenRow { "backslashKept", "dom\\user", 9, "dom\\user-9" },
        TokenRow { "noName", "", 42, "None-42" },
        TokenRow { "largePid", "u", 4194304, "u-4194304" }));

/// The effective user's name as the system's own tool reports it.
QString idUserName()
{
    const testutil::ProcessResult r
        = testutil::run(QStringLiteral("id"), { QStringLiteral("-un") });
    EXPECT_EQ(r.exitCode, 0);
    return QString::fromLocal8Bit(r.out).trimmed();
}

struct HelperOutput
{
    QString token;
    qint64 pid = -1;
    QString sessionLogin;
};

HelperOutput parse(const QByteArray& out)
{
    const QList<QByteArray> lines = out.split('\n');
    HelperOutput h;
    if (lines.size() >= 3) {
        h.token = QString::fromUtf8(lines[0]);
        h.pid = lines[1].toLongLong();
        h.sessionLogin = QString::fromUtf8(lines[2]);
    }
    return h;
}

HelperOutput runHelper(const QStringList& args)
{
    const testutil::ProcessResult r
        = testutil::run(testutil::builtExecutable(QStringLiteral("sessiontokenhelper")), args);
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    return parse(r.out);
}

TEST(SessionTokenTest, ThisProcessGetsItsNameAndNumber)
{
    const QString token = GetSessionAndUserUniqueToken();
    const QString suffix = QStringLiteral("-%1").arg(QCoreApplication::applicationPid());
    ASSERT_TRUE(token.endsWith(suffix)) << token.toStdString();
    const QString name = token.chopped(suffix.size());
    EXPECT_FALSE(name.contains(QLatin1Char('/')));
    const QByteArray login = platform::SessionLoginName();
    if (login.isEmpty())
        EXPECT_EQ(name, idUserName()); // no login session here: the effective user
    else
        EXPECT_EQ(name, QString::fromLatin1(login).replace(QLatin1Char('/'), QLatin1Char('-')));
    EXPECT_EQ(GetSessionAndUserUniqueToken(), token);
}

TEST(SessionTokenTest, TwoProcessesGetDifferentTokens)
{
    // Both run at once, so the system cannot hand them the same number.
    QProcess a, b;
    const QString helper = testutil::builtExecutable(QStringLiteral("sessiontokenhelper"));
    a.start(helper, {});
    b.start(helper, {});
    ASSERT_TRUE(a.waitForStarted());
    ASSERT_TRUE(b.waitForStarted());
    const qint64 pidA = a.processId();
    const qint64 pidB = b.processId();
    ASSERT_TRUE(a.waitForFinished());
    ASSERT_TRUE(b.waitForFinished());
    const HelperOutput outA = parse(a.readAllStandardOutput());
    const HelperOutput outB = parse(b.readAllStandardOutput());
    EXPECT_EQ(outA.pid, pidA);
    EXPECT_EQ(outB.pid, pidB);
    EXPECT_EQ(
        outA.token, outA.token.section(QLatin1Char('-'), 0, -2) + QStringLiteral("-%1").arg(pidA));
    EXPECT_EQ(
        outB.token, outB.token.section(QLatin1Char('-'), 0, -2) + QStringLiteral("-%1").arg(pidB));
    EXPECT_NE(outA.token, outB.token);
    // Same user: only the process part differs.
    EXPECT_EQ(
        outA.token.section(QLatin1Char('-'), 0, -2), outB.token.section(QLatin1Char('-'), 0, -2));
}

TEST(SessionTokenTest, WithoutLoginSessionTheEffectiveUserIsUsed)
{
    const HelperOutput out = runHelper({ QStringLiteral("--setsid") });
    ASSERT_GT(out.pid, 0);
    // Where the kernel keeps an audit login id, getlogin_r still answers after setsid.
    const QString expectedName = out.sessionLogin.isEmpty() ? idUserName() : out.sessionLogin;
    EXPECT_EQ(out.token, QStringLiteral("%1-%2").arg(expectedName).arg(out.pid));
}

TEST(SessionTokenTest, WithoutLoginSessionOrUserEntryTheNameIsNone)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to become a user without a user database entry";
    // A uid far outside any normal range, with no entry in the user database.
    const HelperOutput out = runHelper(
        { QStringLiteral("--setsid"), QStringLiteral("--uid"), QStringLiteral("3999999") });
    ASSERT_GT(out.pid, 0);
    if (!out.sessionLogin.isEmpty())
        GTEST_SKIP() << "the session keeps a login name (audit login id set): "
                     << out.sessionLogin.toStdString();
    EXPECT_EQ(out.token, QStringLiteral("None-%1").arg(out.pid));
}

} // namespace
