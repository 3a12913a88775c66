// The sharing file engine: with the handler installed, ordinary files behave as
// without it, while resources and the empty name stay with Qt's own engines.

#include "TestUtil.h"

#include "Sync/SyncCore/QSharingFileEngine.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

namespace {

// What a series of ordinary operations observes, to compare with and without the handler.
QStringList exercise(const QString& folder)
{
    QStringList seen;
    QFile file(folder + QStringLiteral("/a.txt"));
    seen << QString::number(file.open(QIODevice::WriteOnly));
    seen << QString::number(file.write("hello\nworld\n"));
    file.close();
    seen << QString::number(QFileInfo(file.fileName()).size());
    seen << QString::number(file.open(QIODevice::ReadWrite | QIODevice::Append));
    seen << QString::number(file.write("more"));
    file.close();
    seen << QString::number(file.open(QIODevice::ReadOnly));
    seen << QString::fromUtf8(file.readLine()) << QString::fromUtf8(file.readAll());
    seen << QString::number(file.seek(1)) << QString::fromUtf8(file.read(3));
    file.close();
    seen << QString::number(file.rename(folder + QStringLiteral("/b.txt")));
    seen << QString::number(QFile::copy(folder + QStringLiteral("/b.txt"), folder + QStringLiteral("/c.txt")));
    seen << QString::number(QDir(folder).mkdir(QStringLiteral("d")));
    QStringList listing = QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);
    seen << listing.join(QLatin1Char(','));
    seen << QString::number(QFile(folder + QStringLiteral("/missing")).open(QIODevice::ReadOnly));
    seen << QString::number(QFile::remove(folder + QStringLiteral("/c.txt")));
    seen << QString::number(QFileInfo(folder + QStringLiteral("/d")).isDir());
    return seen;
}

} // namespace

TEST(QSharingFileEngine, OrdinaryFilesBehaveAsWithTheNativeEngine)
{
    testutil::TempDir plain;
    testutil::TempDir shared;
    const QStringList expected = exercise(plain.path());
    QStringList seen;
    {
        QSharingFileEngineHandler handler;
        seen = exercise(shared.path());
    }
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(testutil::readFile(shared.filePath(QStringLiteral("b.txt"))), "hello\nworld\nmore");
}

TEST(QSharingFileEngineHandler, HandsOutSharingEnginesForOrdinaryPathsOnly)
{
    QSharingFileEngineHandler handler;
    for (const QString& path : {QStringLiteral("/tmp/x"), QStringLiteral("relative/x.txt")}) {
        std::unique_ptr<QAbstractFileEngine> engine(handler.create(path));
        EXPECT_NE(dynamic_cast<QSharingFileEngine*>(engine.get()), nullptr) << path.toStdString();
        EXPECT_EQ(engine->fileName(QAbstractFileEngine::DefaultName), path);
    }
    EXPECT_EQ(handler.create(QString()), nullptr);
    EXPECT_EQ(handler.create(QStringLiteral(":/icons/a.png")), nullptr);

}

TEST(QSharingFileEngineHandler, QtAsksTheHandlerForOrdinaryFiles)
{
    struct CountingHandler : QSharingFileEngineHandler
    {
        mutable QStringList asked;
        QAbstractFileEngine* create(const QString& fileName) const override
        {
            asked << fileName;
            return QSharingFileEngineHandler::create(fileName);
        }
    };
    testutil::TempDir dir;
    const QString path = dir.write(QStringLiteral("f.txt"), "content");
    CountingHandler handler;
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "content");
    EXPECT_TRUE(handler.asked.contains(path));
    EXPECT_TRUE(QFileInfo::exists(path));
    EXPECT_FALSE(QFile(QString()).exists());
    EXPECT_FALSE(QFile(QString()).open(QIODevice::ReadOnly));
}

TEST(QSharingFileEngineHandler, ResourcesStillReadFromTheResourceSystem)
{
    QSharingFileEngineHandler handler;
    QFile resource(QStringLiteral(":/synccoretest/a.txt"));
    ASSERT_TRUE(resource.open(QIODevice::ReadOnly));
    EXPECT_EQ(resource.readAll(), "read from the resource system\n");
    EXPECT_TRUE(QFileInfo(QStringLiteral(":/synccoretest")).isDir());
}
