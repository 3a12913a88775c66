// Encryption of stored values: the byte layout that other builds must read
// (checked against OpenSSL and against fixed values), and the edge cases of
// padding, zero bytes and foreign input.

#include "Sync/SyncCore/Crypto.h"

#include "OpenSslReference.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QStringList>
#include <QVariant>

#include <cstring>
#include <random>

using namespace sync::core;

namespace {

// The key of the stored format.
const QByteArray storedFormatKey = QByteArray::fromHex("3c915e07d26ab8144fe329709bc50d86");

QByteArray zeroPadded(QByteArray bytes)
{
    if (bytes.size() % 16)
        bytes.append(QByteArray(16 - bytes.size() % 16, '\0'));
    return bytes;
}

struct StoredValueRow
{
    const char* name;
    QString text;
    qsizetype storedBytes;
};

void PrintTo(const StoredValueRow& row, std::ostream* os)
{
    *os << row.name;
}

class StoredValueTest : public ::testing::TestWithParam<StoredValueRow>
{
};

TEST_P(StoredValueTest, LayoutMatchesOpenSslAndReadsBack)
{
    const StoredValueRow& row = GetParam();
    const QVariant stored = crypto::Encrypt(row.text);
    ASSERT_EQ(stored.typeId(), QMetaType::QByteArray);
    const QByteArray bytes = stored.toByteArray();
    EXPECT_EQ(bytes.size(), row.storedBytes);
    // AES-128-CBC, zero IV, no padding of its own, over the zero-padded UTF-8.
    EXPECT_EQ(bytes.toHex(),
        opensslref::aes(storedFormatKey, zeroPadded(row.text.toUtf8()), true, true).toHex());
    const QString back = crypto::Decrypt(stored);
    EXPECT_FALSE(back.isNull());
    EXPECT_EQ(back, row.text);
}

INSTANTIATE_TEST_SUITE_P(Lengths, StoredValueTest,
    ::testing::Values(StoredValueRow { "empty", QString(), 0 },
        StoredValueRow { "emptyNotNull", QStringLiteral(""), 0 },
        StoredValueRow { "one", QStringLiteral("a"), 16 },
        StoredValueRow { "fifteen", QStringLiteral("abcdefghijklmno"), 16 },
        // A full block gets no padding block: the text ends with the buffer.
        StoredValueRow { "sixteen", QStringLiteral("abcdefghijklmnop"), 16 },
        StoredValueRow { "seventeen", QStringLiteral("abcdefghijklmnopq"), 32 },
        StoredValueRow { "thirtytwo", QStringLiteral("abcdefghijklmnopabcdefghijklmnop"), 32 },
        // Lengths count UTF-8 bytes, not characters.
        StoredValueRow { "umlauts", QString::fromUtf8("Grüße aus Köln!"), 32 },
        StoredValueRow { "euroSigns", QString::fromUtf8("€€€€€€"), 32 },
        StoredValueRow { "fiveBlocks", QString(77, QLatin1Char('x')), 80 }));

TEST(StoredValueFormatTest, ValuesOfOtherBuildsReadBack)
{
    // Made once with the openssl command over the zero-padded UTF-8; they
    // stand for values already on disk.
    struct Row
    {
        QString text;
        const char* stored;
    };
    const Row rows[] = {
        { QStringLiteral("password"), "1b8495cdd299369bb31b2a6ab2d1563d" },
        { QString::fromUtf8("Grüße aus Köln!"),
            "1e57f88261e15091b0a987b3aec0a9c8c654101d0da615735762291c82113fe3" },
    };
    for (const Row& row : rows) {
        EXPECT_EQ(crypto::Encrypt(row.text).toByteArray().toHex(), QByteArray(row.stored));
        EXPECT_EQ(crypto::Decrypt(QVariant(QByteArray::fromHex(row.stored))), row.text);
    }
}

TEST(StoredValueFormatTest, EqualTextsGiveEqualBytes)
{
    // Deliberate: fixed key and zero IV make a stored value recognisable.
    EXPECT_EQ(crypto::Encrypt(QStringLiteral("secret")), crypto::Encrypt(QStringLiteral("secret")));
    EXPECT_NE(crypto::Encrypt(QStringLiteral("secret")), crypto::Encrypt(QStringLiteral("secreT")));
}

TEST(StoredValueFormatTest, TextIsCutAtItsFirstZeroCharacter)
{
    const QString withZero = QStringLiteral("abc") + QChar(0) + QStringLiteral("def");
    EXPECT_EQ(crypto::Encrypt(withZero).toByteArray().size(), 16);
    EXPECT_EQ(crypto::Decrypt(crypto::Encrypt(withZero)), QStringLiteral("abc"));
    const QString leadingZero = QString(QChar(0)) + QStringLiteral("hidden");
    const QString back = crypto::Decrypt(crypto::Encrypt(leadingZero));
    EXPECT_TRUE(back.isEmpty());
    EXPECT_FALSE(back.isNull());
}

TEST(StoredValueFormatTest, OtherVariantTypesDecryptToNull)
{
    const QByteArray cipher = crypto::Encrypt(QStringLiteral("abc")).toByteArray();
    const QVariant others[] = {
        QVariant(),
        QVariant(QStringLiteral("abc")),
        QVariant(QString::fromLatin1(cipher)), // the right bytes, the wrong type
        QVariant(42),
        QVariant(QStringList { QStringLiteral("abc") }),
    };
    for (const QVariant& v : others)
        EXPECT_TRUE(crypto::Decrypt(v).isNull()) << v.typeName();
}

TEST(StoredValueFormatTest, PartialTailBlockIsIgnored)
{
    const QString text = QStringLiteral("abcdefghijklmnopqrstu"); // 21 bytes, two blocks
    const QByteArray stored = crypto::Encrypt(text).toByteArray();
    ASSERT_EQ(stored.size(), 32);
    // Cut into the second block: only the first decrypts, the tail stays zero and ends the text.
    EXPECT_EQ(crypto::Decrypt(QVariant(stored.left(24))), QStringLiteral("abcdefghijklmnop"));
    EXPECT_EQ(crypto::Decrypt(QVariant(stored.left(15))), QString(""));
    // Trailing bytes after a whole short text change nothing.
    const QByteArray shortText = crypto::Encrypt(QStringLiteral("hello")).toByteArray();
    EXPECT_EQ(crypto::Decrypt(QVariant(shortText + QByteArray("junk!"))), QStringLiteral("hello"));
}

TEST(StoredValueFormatTest, ForeignBytesDecryptAsOpenSslDoes)
{
    // No error for bytes made with another key: the text is whatever the
    // cipher gives, up to the first zero byte, read as UTF-8.
    std::mt19937 rng(4242);
    for (int round = 0; round < 200; ++round) {
        QByteArray noise(16 * (1 + qsizetype(rng() % 4)), '\0');
        for (char& c : noise)
            c = char(rng());
        const QByteArray plain = opensslref::aes(storedFormatKey, noise, true, false);
        const int zero = plain.indexOf('\0');
        const QString expected = QString::fromUtf8(zero < 0 ? plain : plain.left(zero));
        EXPECT_EQ(crypto::Decrypt(QVariant(noise)), expected) << noise.toHex().constData();
    }
}

} // namespace
