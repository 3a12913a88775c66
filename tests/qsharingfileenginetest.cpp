// The sharing file engine: with the handler installed, ordinary files behave as
// without it, while resources and the empty name stay with Qt's own engines.

#include "TestUtil.h"

#include "Sync/SyncCore/QSharingFileEngine.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QVariant>

#include <sys/stat.h>

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

// A tree of everything a synced folder may hold: files, folders, hidden entries, valid,
// dangling and looping links, unreadable entries and a FIFO; in a folder of its own, so
// that even ".." keeps its times while the test runs.
void makeTree(const testutil::TempDir& dir)
{
    dir.write("tree/file.txt", "content");
    dir.write("tree/.hidden.txt", "h");
    dir.write("tree/folder/inner.txt", "inner");
    dir.write("tree/.hidden-folder/x", "x");
    dir.write("tree/unreadable.txt", "secret");
    QDir().mkpath(dir.filePath("tree/unreadable-folder/sub"));
    QFile::link("file.txt", dir.filePath("tree/link-to-file"));
    QFile::link(dir.filePath("tree/folder"), dir.filePath("tree/link-to-folder"));
    QFile::link("nowhere", dir.filePath("tree/dangling"));
    QFile::link("loop-b", dir.filePath("tree/loop-a"));
    QFile::link("loop-a", dir.filePath("tree/loop-b"));
    ::mkfifo(QFile::encodeName(dir.filePath("tree/fifo")).constData(), 0644);
    QFile::setPermissions(dir.filePath("tree/unreadable.txt"), QFileDevice::WriteOwner);
    QFile::setPermissions(dir.filePath("tree/unreadable-folder"), QFileDevice::WriteOwner);
}

QString describeInfo(const QFileInfo& i, const QString& root)
{
    const auto rel = [&](const QString& p) { return QString(p).replace(root, "<root>"); };
    return QStringList { i.fileName(), QString::number(i.exists()), QString::number(i.isFile()),
        QString::number(i.isDir()), QString::number(i.isSymLink()), QString::number(i.isHidden()),
        QString::number(i.isReadable()), QString::number(i.isWritable()),
        QString::number(i.isExecutable()), QString::number(i.size()),
        QString::number(int(i.permissions()), 16), rel(i.symLinkTarget()),
        rel(i.canonicalFilePath()), rel(i.absoluteFilePath()),
        QString::number(i.lastModified().toMSecsSinceEpoch()), QString::number(i.ownerId()),
        QString::number(i.groupId()), i.owner(), QString::number(i.isRoot()) }
        .join(' ');
}

// Everything QFileInfo, QDir and QFile report about the tree, one line each.
QStringList describeTree(const QString& root)
{
    QStringList seen;
    const QStringList names { "file.txt", ".hidden.txt", "folder", "folder/inner.txt",
        ".hidden-folder", "unreadable.txt", "unreadable-folder", "unreadable-folder/sub",
        "link-to-file", "link-to-folder", "link-to-folder/inner.txt", "dangling", "loop-a", "fifo",
        "missing", "folder/../file.txt" };
    for (const QString& name : names) {
        const QString path = root + '/' + name;
        seen << describeInfo(QFileInfo(path), root);
        seen << name + " exists " + QString::number(QFile::exists(path))
                + QString::number(QDir(path).exists()) + QString::number(QDir(root).exists(name));
        if (name == "fifo")
            continue; // opening it for reading would wait for a writer, with either engine
        QFile file(path);
        const bool opened = file.open(QIODevice::ReadOnly);
        seen << name + " open " + QString::number(opened) + ' ' + QString::number(file.error())
                + ' ' + file.read(16) + ' ' + QString::number(file.size());
    }
    const QDir::Filters filterRows[] = { QDir::AllEntries | QDir::Hidden | QDir::System
            | QDir::NoDotAndDotDot,
        QDir::AllEntries, QDir::Files, QDir::Dirs, QDir::AllDirs | QDir::NoSymLinks, QDir::System,
        QDir::Files | QDir::Readable, QDir::Files | QDir::Hidden, QDir::AllEntries | QDir::Writable,
        QDir::Files | QDir::Executable, QDir::NoFilter, QDir::Dirs | QDir::Hidden | QDir::System };
    for (const QDir::Filters filters : filterRows) {
        for (const QDir::SortFlags sort : { QDir::SortFlags(QDir::Name),
                 QDir::DirsFirst | QDir::Size, QDir::SortFlags(QDir::Type) }) {
            const QString head = QStringLiteral("list %1/%2: ").arg(int(filters)).arg(int(sort));
            seen << head + QDir(root).entryList(filters, sort).join(',');
            QStringList infos;
            for (const QFileInfo& i : QDir(root).entryInfoList(filters, sort))
                infos << describeInfo(i, root);
            seen << head + infos.join(" | ");
        }
    }
    QStringList walked;
    for (QDirIterator it(root,
             QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
             QDirIterator::Subdirectories);
         it.hasNext();)
        walked << it.next().replace(root, "<root>");
    walked.sort();
    seen << "walk " + walked.join(',');
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

// With and without the handler, every answer about every kind of entry is the same.
TEST(QSharingFileEngine, ReportsEveryEntryOfAHostileTreeAsTheNativeEngine)
{
    testutil::TempDir dir;
    makeTree(dir);
    const QString root = dir.filePath("tree");
    const QStringList native = describeTree(root);
    QStringList shared;
    {
        QSharingFileEngineHandler handler;
        shared = describeTree(root);
    }
    ASSERT_EQ(shared.size(), native.size());
    for (int i = 0; i < native.size(); ++i)
        EXPECT_EQ(shared.at(i), native.at(i));
    QFile::setPermissions(dir.filePath("tree/unreadable-folder"),
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}
