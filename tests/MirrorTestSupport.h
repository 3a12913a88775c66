#pragma once

// What the mirror tests share: a source and a target folder, a real SQLite
// database with its action log, and small helpers over raw file calls.

#include "Sync/Mirror/MirrorPass.h"
#include "Sync/SyncCore/ActionLog.h"
#include "Sync/SyncCore/FileNameMatcher.h"
#include "database/SqliteDatabaseFactory.h"
#include "interfaces/IQSqlQueryWrapper.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace mirrortest {

using sync::mirror::MirrorOptions;
using sync::mirror::MirrorPass;
using sync::mirror::MirrorResult;

inline std::string str(const QString& s)
{
    return s.toStdString();
}

inline void writeBytes(const std::string& path, const std::string& content)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(fd, 0) << path;
    ASSERT_EQ(::write(fd, content.data(), content.size()), ssize_t(content.size()));
    ::close(fd);
}

inline std::string readBytes(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW);
    if (fd < 0)
        return "<missing>";
    std::string out;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        out.append(buffer, size_t(n));
    }
    ::close(fd);
    return out;
}

inline bool exists(const std::string& path)
{
    struct stat st;
    return ::lstat(path.c_str(), &st) == 0;
}

/// Every name below @p root (relative, sorted) that contains @p part.
inline QStringList namesContaining(const QString& root, const QString& part)
{
    QStringList out;
    QDir dir(root);
    for (const QString& name :
        dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
        if (name.contains(part))
            out.append(name);
        if (QFileInfo(dir.filePath(name)).isDir() && !QFileInfo(dir.filePath(name)).isSymLink()) {
            for (const QString& sub : namesContaining(dir.filePath(name), part))
                out.append(name + QLatin1Char('/') + sub);
        }
    }
    return out;
}

class MirrorFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(_dir.isValid());
        source = _dir.path() + QStringLiteral("/src");
        target = _dir.path() + QStringLiteral("/dst");
        dbPath = _dir.path() + QStringLiteral("/sync.sqlite");
        QDir().mkpath(source);
        OpenDatabase();
    }

    void TearDown() override
    {
        log.reset();
        database.reset();
    }

    void OpenDatabase(bool withActionLog = true)
    {
        log.reset();
        database.reset();
        QString error;
        database = sync::core::SqliteDatabaseFactory::Open(dbPath, &error);
        ASSERT_TRUE(database) << error.toStdString();
        if (withActionLog) {
            ASSERT_TRUE(database->CreateActionLogTable());
        }
        log = std::make_unique<sync::core::ActionLog>(database);
    }

    MirrorOptions Options() const
    {
        MirrorOptions o;
        o.source = source;
        o.target = target;
        return o;
    }

    MirrorResult Pass(MirrorOptions o)
    {
        MirrorPass pass(std::move(o), log.get(), database, &matcher, nullptr);
        return pass.Run();
    }
    MirrorResult Pass() { return Pass(Options()); }

    std::string S(const std::string& rel) const { return str(source) + '/' + rel; }
    std::string T(const std::string& rel) const { return str(target) + '/' + rel; }

    int CountRows(const QString& table)
    {
        auto q = database->CreateQuery();
        if (!q->prepare(QStringLiteral("SELECT COUNT(*) FROM ") + table) || !q->exec()
            || !q->next())
            return -1;
        return q->value(0).toInt();
    }

    QTemporaryDir _dir;
    QString source, target, dbPath;
    std::shared_ptr<sync::core::SqliteDatabaseFactory> database;
    std::unique_ptr<sync::core::ActionLog> log;
    sync::core::FileNameMatcher matcher { QString(), sync::core::uploadDownloadExclusionsRegex };
};

inline std::string failuresText(const MirrorResult& r)
{
    std::string out;
    for (const auto& f : r.failures)
        out += f.display.toStdString() + ": " + f.cause.toStdString() + "\n";
    return out + r.fatalError.toStdString() + r.historyError.toStdString();
}

} // namespace mirrortest
