// The session token: how a name is written, and what real processes get,
// including children without a login session (setsid) and without a user
// database entry.

#include "Sync/SyncCore/SessionToken.h"

#include "TestUtil.h"

#include <gtest/gtest.h>

#include <QProcess>

#include <unistd.h>
#include <vector>

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

/// Runs @p count helpers at once (so the system cannot hand them the same number);
/// each gives its token, its process id and the login name of its session (may be empty).
std::vector<QStringList> runHelpers(int count, const QStringList& args = {})
{
    std::vector<QProcess> processes(static_cast<size_t>(count));
    for (QProcess& p : processes)
        p.start(testutil::builtExecutable(QStringLiteral("sessiontokenhelper")), args);
    std::vector<QStringList> lines;
    for (QProcess& p : processes) {
        EXPECT_TRUE(p.waitForFinished());
        EXPECT_EQ(p.exitCode(), 0) << p.readAllStandardError().constData();
        lines.push_back(QString::fromUtf8(p.readAllStandardOutput()).split(QLatin1Char('\n')));
        if (lines.back().size() < 3)
            lines.back() = QStringList { QStringLiteral("no output"), QString(), QString() };
    }
    return lines;
}

/// The session's login name with "/" replaced or, without a login session, the effective user's
/// name; then the process id.
QString expectedToken(QStringList lines)
{
    const QString name
        = lines[2].isEmpty() ? idUserName() : lines[2].replace(QLatin1Char('/'), QLatin1Char('-'));
    return name + QLatin1Char('-') + lines[1];
}

TEST(SessionTokenTest, TwoProcessesGetTheirOwnTokens)
{
    const std::vector<QStringList> out = runHelpers(2);
    EXPECT_EQ(out[0][0], expectedToken(out[0]));
    EXPECT_EQ(out[1][0], expectedToken(out[1]));
    EXPECT_NE(out[0][0], out[1][0]);
}

TEST(SessionTokenTest, WithoutLoginSessionTheEffectiveUserIsUsed)
{
    // Where the kernel keeps an audit login id, getlogin_r still answers after setsid.
    const QStringList out = runHelpers(1, { QStringLiteral("--setsid") })[0];
    EXPECT_EQ(out[0], expectedToken(out));
}

TEST(SessionTokenTest, WithoutLoginSessionOrUserEntryTheNameIsNone)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to become a user without a user database entry";
    // A uid far outside any normal range, with no entry in the user database.
    const QStringList out = runHelpers(
        1, { QStringLiteral("--setsid"), QStringLiteral("--uid"), QStringLiteral("3999999") })[0];
    if (!out[2].isEmpty())
        GTEST_SKIP() << "the session keeps a login name (audit login id set): "
                     << out[2].toStdString();
    EXPECT_EQ(out[0], QStringLiteral("None-%1").arg(out[1]));
}

} // namespace
