// The sharing file engine: with the handler installed, ordinary files behave as
// without it, while resources and the empty name stay with Qt's own engines.

#include "TestUtil.h"

#include "Sync/SyncCore/QSharingFileEngine.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QVariant>

#include <gtest/gtest.h>

namespace {

// What a series of ordinary operations observes, to compare with and without the handler.
QStringList exercise(const QString& folder)
{
    QStringList seen;
    const auto note = [&](auto value) { seen << QVariant::fromValue(value).toString(); };
    QFile file(folder + "/a.txt");
    note(file.open(QIODevice::WriteOnly));
    note(file.write("hello\nworld\n"));
    file.close();
    note(QFileInfo(file.fileName()).size());
    note(file.open(QIODevice::ReadWrite | QIODevice::Append));
    note(file.write("more"));
    file.close();
    note(file.open(QIODevice::ReadOnly));
    note(file.readLine());
    note(file.readAll());
    note(file.seek(1));
    note(file.read(3));
    file.close();
    note(file.rename(folder + "/b.txt"));
    note(QFile::copy(folder + "/b.txt", folder + "/c.txt"));
    note(QDir(folder).mkdir("d"));
    note(QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name).join(','));
    note(QFile(folder + "/missing").open(QIODevice::ReadOnly));
    note(QFile::remove(folder + "/c.txt"));
    note(QFileInfo(folder + "/d").isDir());
    return seen;
}

// Notes every name Qt asks the handler about.
struct CountingHandler : QSharingFileEngineHandler
{
    mutable QStringList asked;
    QAbstractFileEngine* create(const QString& fileName) const override
    {
        asked << fileName;
        return QSharingFileEngineHandler::create(fileName);
    }
};

} // namespace

TEST(QSharingFileEngine, OrdinaryFilesBehaveAsWithTheNativeEngine)
{
    testutil::TempDir plain;
    testutil::TempDir shared;
    const QStringList expected = exercise(plain.path());
    CountingHandler handler;
    EXPECT_EQ(exercise(shared.path()), expected);
    EXPECT_TRUE(handler.asked.contains(shared.filePath("a.txt"))) << "Qt must ask the handler";
    EXPECT_EQ(testutil::readFile(shared.filePath("b.txt")), "hello\nworld\nmore");
}

TEST(QSharingFileEngineHandler, LeavesResourcesAndTheEmptyNameToQt)
{
    QSharingFileEngineHandler handler;
    for (const QString path : { "/tmp/x", "relative/x.txt" }) {
        std::unique_ptr<QAbstractFileEngine> engine(handler.create(path));
        EXPECT_NE(dynamic_cast<QSharingFileEngine*>(engine.get()), nullptr) << path.toStdString();
        EXPECT_EQ(engine->fileName(QAbstractFileEngine::DefaultName), path);
    }
    EXPECT_EQ(handler.create(QString()), nullptr);
    EXPECT_EQ(handler.create(":/icons/a.png"), nullptr);
    EXPECT_FALSE(QFile(QString()).exists());
    EXPECT_FALSE(QFile(QString()).open(QIODevice::ReadOnly));

    QFile resource(":/synccoretest/a.txt");
    ASSERT_TRUE(resource.open(QIODevice::ReadOnly));
    EXPECT_EQ(resource.readAll(), "read from the resource system\n");
    EXPECT_TRUE(QFileInfo(":/synccoretest").isDir());
}
