// RegistryUtil against the real settings file of the running application
// (under the test's private XDG_CONFIG_HOME), read back from disk.

#include "CloudUtil/RegistryUtil.h"

#include "TestUtil.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <climits>

using Tessaron::CloudUtil::RegistryUtil;

class RegistryUtilTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QCoreApplication::setOrganizationName(QStringLiteral("RegistryUtilTest"));
        QCoreApplication::setApplicationName(QStringLiteral("Store"));
        QFile::remove(_file);
    }
    void TearDown() override { QFile::remove(_file); }

    // Replaces the store with @p ini as written by hand. The later time makes
    // QSettings notice the change even within one second and at equal size.
    void writeStore(const QByteArray& ini)
    {
        static int generation = 0;
        QDir().mkpath(QFileInfo(_file).absolutePath());
        QFile file(_file);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_EQ(file.write(ini), ini.size());
        ASSERT_TRUE(file.flush()); // written now, so the time set below stays
        ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTimeUtc().addSecs(++generation),
            QFileDevice::FileModificationTime));
    }

    // What is on disk now, read through a copy of the file, so that no
    // in-process cache of the store can answer instead of the file.
    QVariant onDisk(const QString& path)
    {
        const QString copy = _scratch.filePath(QStringLiteral("copy%1.conf").arg(++_copies));
        return QFile::copy(_file, copy) ? QSettings(copy, QSettings::IniFormat).value(path)
                                        : QVariant();
    }

    const QString _file = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + "/RegistryUtilTest/Store.conf";
    testutil::TempDir _scratch;
    int _copies = 0;
};

// Each row rewrites the file on disk, so this also shows that every call
// reads the file as it is now.
TEST_F(RegistryUtilTest, ReadsConvertTheStoredText)
{
    const struct
    {
        const char* stored;
        QString asString;
        int asInt;
        long long asInt64;
    } rows[] = {
        { nullptr, "dflt", -1, -1 }, // absent: the default, with its sign
        { "42", "42", 42, 42 },
        { "-7", "-7", -7, -7 },
        { "hello", "hello", 0, 0 }, // no number: 0, not the default
        { "\"\"", "", 0, 0 },
        { "\"a, b\"", "a, b", 0, 0 },
        // ReadInt keeps the low 32 bits
        { "4294967297", "4294967297", 1, 4294967297LL },
        { "2147483648", "2147483648", INT_MIN, 2147483648LL },
        { "-4294967296", "-4294967296", 0, -4294967296LL },
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.stored ? r.stored : "<absent>");
        writeStore(QByteArray("[Other]\nn=unrelated\n")
            + (r.stored ? QByteArray("[K]\nn=") + r.stored + '\n' : QByteArray()));
        EXPECT_EQ(RegistryUtil::ReadString("K", "n", "dflt"), r.asString);
        EXPECT_EQ(RegistryUtil::ReadInt("K", "n", -1), r.asInt);
        EXPECT_EQ(RegistryUtil::ReadInt64("K", "n", -1), r.asInt64);
        // The machine-wide flag changes nothing.
        EXPECT_EQ(RegistryUtil::ReadString("K", "n", "dflt", true), r.asString);
        EXPECT_EQ(RegistryUtil::ReadInt64("K", "n", -1, true), r.asInt64);
    }
}

TEST_F(RegistryUtilTest, WritesLandInTheApplicationsSettingsFile)
{
    EXPECT_FALSE(RegistryUtil::WriteString("K", "s", "text")) << "WriteString always answers false";
    RegistryUtil::WriteInt("K", "i", -5);
    RegistryUtil::WriteInt64("K", "big", 1LL << 40);
    RegistryUtil::WriteString("A/B", "w", "wide", true);
    EXPECT_EQ(onDisk("K/s").toString(), QStringLiteral("text"));
    EXPECT_EQ(onDisk("K/i").toLongLong(), -5);
    EXPECT_EQ(onDisk("K/big").toLongLong(), 1LL << 40);
    EXPECT_EQ(onDisk("A/B/w").toString(), QStringLiteral("wide"));
    // And through the class again, in both forms.
    EXPECT_EQ(RegistryUtil::ReadInt("K", "i", 0), -5);
    EXPECT_EQ(RegistryUtil::ReadInt64("K", "big", 7), 1LL << 40);

    for (const QStringList& list :
        { QStringList(), QStringList { "one" }, QStringList { "a", "", "c;d", "e, f", "日本" } }) {
        RegistryUtil::WriteMultiString("A/B", "list", list);
        EXPECT_EQ(RegistryUtil::ReadMultiString("A/B", "list", { "dflt" }), list);
        EXPECT_EQ(onDisk("A/B/list").toStringList(), list);
    }
    EXPECT_EQ(
        RegistryUtil::ReadMultiString("L", "missing", { "dflt" }, true), QStringList { "dflt" });

    // A key exists only for a stored value, not for a key that holds values.
    EXPECT_FALSE(RegistryUtil::KeyExists("K") || RegistryUtil::KeyExists("A/B")
        || RegistryUtil::KeyExists("K/x"));
    EXPECT_TRUE(RegistryUtil::KeyExists("K/s"));
    EXPECT_TRUE(RegistryUtil::KeyExists("K/s", true));
    EXPECT_TRUE(RegistryUtil::KeyExists("A/B/w"));
    // DeleteKey deletes nothing; DeleteValue one value.
    EXPECT_FALSE(RegistryUtil::DeleteKey("K", false) || RegistryUtil::DeleteKey("K", true));
    EXPECT_EQ(onDisk("K/s").toString(), QStringLiteral("text"));
    RegistryUtil::DeleteValue("K", "s", false);
    RegistryUtil::DeleteValue("K", "never-there", true);
    EXPECT_FALSE(onDisk("K/s").isValid());
    EXPECT_EQ(onDisk("K/i").toLongLong(), -5);
    EXPECT_EQ(RegistryUtil::ReadString("K", "s", "gone"), QStringLiteral("gone"));
}

// An empty value name names no value: it must not take the group, or the whole store, with it.
TEST_F(RegistryUtilTest, DeleteValueWithAnEmptyNameDeletesNothing)
{
    writeStore("[General]\ntop=1\n[K]\na=2\nb=3\nSub\\c=4\n");
    RegistryUtil::DeleteValue("K", "", false);
    RegistryUtil::DeleteValue("", "", true);
    RegistryUtil::DeleteValue("K/Sub", QString(), false);
    for (const char* path : { "top", "K/a", "K/b", "K/Sub/c" })
        EXPECT_TRUE(onDisk(path).isValid()) << path;
    RegistryUtil::DeleteValue("K", "a", false);
    EXPECT_FALSE(onDisk("K/a").isValid());
    EXPECT_EQ(onDisk("K/b").toInt(), 3);
}
