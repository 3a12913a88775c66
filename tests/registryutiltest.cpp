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

namespace {

QString storeFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/RegistryUtilTest/Store.conf");
}

class RegistryUtilTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        _organisation = QCoreApplication::organizationName();
        _application = QCoreApplication::applicationName();
        QCoreApplication::setOrganizationName(QStringLiteral("RegistryUtilTest"));
        QCoreApplication::setApplicationName(QStringLiteral("Store"));
        QFile::remove(storeFile());
    }

    void TearDown() override
    {
        QFile::remove(storeFile());
        QCoreApplication::setOrganizationName(_organisation);
        QCoreApplication::setApplicationName(_application);
    }

    // Replaces the store with @p ini as written by hand. The later time makes
    // QSettings notice the change even within one second and at equal size.
    static void writeStore(const QByteArray& ini)
    {
        static int generation = 0;
        QDir().mkpath(QFileInfo(storeFile()).absolutePath());
        QFile file(storeFile());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        ASSERT_EQ(file.write(ini), ini.size());
        ASSERT_TRUE(file.flush()); // written now, so the time set below stays
        ++generation;
        ASSERT_TRUE(file.setFileTime(QDateTime::currentDateTimeUtc().addSecs(generation),
                                     QFileDevice::FileModificationTime));
    }

    // What is on disk now, read through a copy of the file, so that no
    // in-process cache of the store can answer instead of the file.
    QVariant onDisk(const QString& path) const
    {
        const QString copy = _scratch.filePath(QStringLiteral("copy%1.conf").arg(++_copies));
        QFile::remove(copy);
        if (!QFile::copy(storeFile(), copy))
            return QVariant();
        return QSettings(copy, QSettings::IniFormat).value(path);
    }

private:
    QString _organisation;
    QString _application;
    testutil::TempDir _scratch;
    mutable int _copies = 0;
};

struct ReadRow
{
    const char* stored; // INI text of value "K/n"; nullptr: absent
    const char* asString;
    int asInt;
    long long asInt64;
};

void PrintTo(const ReadRow& row, std::ostream* os)
{
    *os << "stored " << (row.stored ? row.stored : "<absent>");
}

class RegistryReadTest : public RegistryUtilTest, public ::testing::WithParamInterface<ReadRow>
{
};

} // namespace

TEST_P(RegistryReadTest, ConvertsTheStoredText)
{
    const ReadRow& row = GetParam();
    QByteArray ini = "[Other]\nn=unrelated\n";
    if (row.stored)
        ini += QByteArray("[K]\nn=") + row.stored + '\n';
    writeStore(ini);

    const QString key = QStringLiteral("K");
    const QString name = QStringLiteral("n");
    EXPECT_EQ(RegistryUtil::ReadString(key, name, QStringLiteral("dflt")), QString::fromUtf8(row.asString));
    EXPECT_EQ(RegistryUtil::ReadInt(key, name, -1), row.asInt);
    EXPECT_EQ(RegistryUtil::ReadInt64(key, name, -1), row.asInt64);
    // The machine-wide flag changes nothing.
    EXPECT_EQ(RegistryUtil::ReadString(key, name, QStringLiteral("dflt"), true),
              QString::fromUtf8(row.asString));
    EXPECT_EQ(RegistryUtil::ReadInt64(key, name, -1, true), row.asInt64);
}

INSTANTIATE_TEST_SUITE_P(Values, RegistryReadTest, ::testing::ValuesIn(std::vector<ReadRow>{
    {nullptr, "dflt", -1, -1},                  // the default, with its sign
    {"42", "42", 42, 42},
    {"-7", "-7", -7, -7},
    {"4294967297", "4294967297", 1, 4294967297LL},          // ReadInt keeps the low 32 bits
    {"2147483648", "2147483648", INT_MIN, 2147483648LL},
    {"-4294967296", "-4294967296", 0, -4294967296LL},
    {"hello", "hello", 0, 0},                   // no number: 0, not the default
    {"\"\"", "", 0, 0},
    {"\"a, b\"", "a, b", 0, 0},
}));

TEST_F(RegistryUtilTest, WritesLandInTheApplicationsSettingsFile)
{
    EXPECT_FALSE(RegistryUtil::WriteString(QStringLiteral("K"), QStringLiteral("s"), QStringLiteral("text")))
        << "WriteString always answers false";
    RegistryUtil::WriteInt(QStringLiteral("K"), QStringLiteral("i"), -5);
    RegistryUtil::WriteInt64(QStringLiteral("K"), QStringLiteral("big"), 1LL << 40);
    RegistryUtil::WriteMultiString(QStringLiteral("A/B"), QStringLiteral("list"),
                                   {QStringLiteral("x"), QStringLiteral("y, z")});
    RegistryUtil::WriteString(QStringLiteral("A/B"), QStringLiteral("w"), QStringLiteral("wide"), true);

    ASSERT_TRUE(QFile::exists(storeFile()));
    EXPECT_EQ(onDisk(QStringLiteral("K/s")).toString(), QStringLiteral("text"));
    EXPECT_EQ(onDisk(QStringLiteral("K/i")).toLongLong(), -5);
    EXPECT_EQ(onDisk(QStringLiteral("K/big")).toLongLong(), 1LL << 40);
    EXPECT_EQ(onDisk(QStringLiteral("A/B/list")).toStringList(),
              QStringList({QStringLiteral("x"), QStringLiteral("y, z")}));
    EXPECT_EQ(onDisk(QStringLiteral("A/B/w")).toString(), QStringLiteral("wide"));

    // And through the class again, in both forms.
    EXPECT_EQ(RegistryUtil::ReadInt(QStringLiteral("K"), QStringLiteral("i"), 0), -5);
    EXPECT_EQ(RegistryUtil::ReadInt(QStringLiteral("K"), QStringLiteral("big"), 7, true), 0);
    EXPECT_EQ(RegistryUtil::ReadInt64(QStringLiteral("K"), QStringLiteral("big"), 7), 1LL << 40);
}

TEST_F(RegistryUtilTest, MultiStringsRoundTrip)
{
    const QList<QStringList> lists = {
        {},
        {QStringLiteral("one")},
        {QStringLiteral("a"), QString(), QStringLiteral("c;d"), QStringLiteral("e, f"), QStringLiteral("日本")},
    };
    for (const QStringList& list : lists) {
        RegistryUtil::WriteMultiString(QStringLiteral("L"), QStringLiteral("v"), list);
        EXPECT_EQ(RegistryUtil::ReadMultiString(QStringLiteral("L"), QStringLiteral("v"),
                                                {QStringLiteral("dflt")}), list);
        EXPECT_EQ(onDisk(QStringLiteral("L/v")).toStringList(), list);
    }
    EXPECT_EQ(RegistryUtil::ReadMultiString(QStringLiteral("L"), QStringLiteral("missing"),
                                            {QStringLiteral("dflt")}, true),
              QStringList{QStringLiteral("dflt")});
}

TEST_F(RegistryUtilTest, KeyExistsOnlyForAStoredValue)
{
    RegistryUtil::WriteString(QStringLiteral("K"), QStringLiteral("n"), QStringLiteral("v"));
    RegistryUtil::WriteString(QStringLiteral("A/B"), QStringLiteral("n"), QStringLiteral("v"));

    EXPECT_FALSE(RegistryUtil::KeyExists(QStringLiteral("K")));   // a key holding values: false
    EXPECT_TRUE(RegistryUtil::KeyExists(QStringLiteral("K/n")));
    EXPECT_TRUE(RegistryUtil::KeyExists(QStringLiteral("K/n"), true));
    EXPECT_FALSE(RegistryUtil::KeyExists(QStringLiteral("K/m")));
    EXPECT_FALSE(RegistryUtil::KeyExists(QStringLiteral("A/B")));
    EXPECT_TRUE(RegistryUtil::KeyExists(QStringLiteral("A/B/n")));
}

TEST_F(RegistryUtilTest, DeleteValueRemovesOneValueAndDeleteKeyNothing)
{
    RegistryUtil::WriteString(QStringLiteral("K"), QStringLiteral("n"), QStringLiteral("v"));
    RegistryUtil::WriteString(QStringLiteral("K"), QStringLiteral("m"), QStringLiteral("w"));

    EXPECT_FALSE(RegistryUtil::DeleteKey(QStringLiteral("K"), false));
    EXPECT_FALSE(RegistryUtil::DeleteKey(QStringLiteral("K"), true));
    EXPECT_EQ(onDisk(QStringLiteral("K/n")).toString(), QStringLiteral("v"));

    RegistryUtil::DeleteValue(QStringLiteral("K"), QStringLiteral("n"), false);
    RegistryUtil::DeleteValue(QStringLiteral("K"), QStringLiteral("never-there"), true);
    EXPECT_FALSE(onDisk(QStringLiteral("K/n")).isValid());
    EXPECT_EQ(onDisk(QStringLiteral("K/m")).toString(), QStringLiteral("w"));
    EXPECT_EQ(RegistryUtil::ReadString(QStringLiteral("K"), QStringLiteral("n"), QStringLiteral("gone")),
              QStringLiteral("gone"));
}

TEST_F(RegistryUtilTest, SeesChangesMadeOnDiskBetweenCalls)
{
    writeStore("[K]\nn=first\n");
    EXPECT_EQ(RegistryUtil::ReadString(QStringLiteral("K"), QStringLiteral("n"), QString()),
              QStringLiteral("first"));
    writeStore("[K]\nn=second\n");
    EXPECT_EQ(RegistryUtil::ReadString(QStringLiteral("K"), QStringLiteral("n"), QString()),
              QStringLiteral("second"));
}
