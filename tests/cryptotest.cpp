// Encryption of stored values: the byte layout that other builds must read
// (checked against OpenSSL and against fixed values), and the edge cases of
// padding, zero bytes and foreign input.

#include "Sync/SyncCore/Crypto.h"

#include "OpenSslReference.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QStringList>
#include <QVariant>

#include <random>

using namespace sync::core;

namespace {

// The key of the stored format.
const QByteArray storedFormatKey = QByteArray::fromHex("3c915e07d26ab8144fe329709bc50d86");

TEST(StoredValueTest, LayoutMatchesOpenSslAndReadsBack)
{
    const struct
    {
        QString text;
        qsizetype storedBytes;
        const char* fixed = nullptr; // made once with the openssl command: values already on disk
        QString back = QString(); // when not the text: it ends at the first zero character
    } rows[] = {
        // clang-format off
        { QString(), 0 }, { QStringLiteral(""), 0 }, { QStringLiteral("a"), 16 },
        { QStringLiteral("password"), 16, "1b8495cdd299369bb31b2a6ab2d1563d" },
        // A full block gets no padding block: the text ends with the buffer.
        { QStringLiteral("abcdefghijklmnop"), 16 }, { QStringLiteral("abcdefghijklmnopq"), 32 },
        // Lengths count UTF-8 bytes, not characters.
        { QString::fromUtf8("Grüße aus Köln!"), 32, "1e57f88261e15091b0a987b3aec0a9c8c654101d0da615735762291c82113fe3" },
        { QString::fromUtf8("€€€€€€"), 32 }, { QString(77, QLatin1Char('x')), 80 },
        { QStringLiteral("abc") + QChar(0) + QStringLiteral("def"), 16, nullptr, QStringLiteral("abc") },
        { QChar(0) + QStringLiteral("hidden"), 16, nullptr, QStringLiteral("") },
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text.toStdString());
        const QVariant stored = crypto::Encrypt(row.text);
        ASSERT_EQ(stored.typeId(), QMetaType::QByteArray);
        const QByteArray bytes = stored.toByteArray();
        EXPECT_EQ(bytes.size(), row.storedBytes);
        // AES-128-CBC, zero IV, no padding of its own, over the zero-padded UTF-8.
        QByteArray padded = row.text.toUtf8();
        padded.append(QByteArray((16 - padded.size() % 16) % 16, '\0'));
        EXPECT_EQ(bytes.toHex(), opensslref::aes(storedFormatKey, padded, true, true).toHex());
        if (row.fixed) {
            EXPECT_EQ(bytes.toHex(), QByteArray(row.fixed));
        }
        const QString back = crypto::Decrypt(stored);
        EXPECT_FALSE(back.isNull());
        EXPECT_EQ(back, row.back.isNull() ? row.text : row.back);
    }
}

TEST(StoredValueTest, OtherVariantTypesDecryptToNull)
{
    const QByteArray cipher = crypto::Encrypt(QStringLiteral("abc")).toByteArray();
    // The last one has the right bytes but the wrong type.
    for (const QVariant& v : { QVariant(), QVariant(QStringLiteral("abc")), QVariant(42),
             QVariant(QStringList { QStringLiteral("abc") }),
             QVariant(QString::fromLatin1(cipher)) })
        EXPECT_TRUE(crypto::Decrypt(v).isNull()) << v.typeName();
}

TEST(StoredValueTest, PartialTailBlockIsIgnored)
{
    const QByteArray stored
        = crypto::Encrypt(QStringLiteral("abcdefghijklmnopqrstu")).toByteArray();
    ASSERT_EQ(stored.size(), 32);
    // Cut into the second block: only the first decrypts, the tail stays zero and ends the text.
    EXPECT_EQ(crypto::Decrypt(QVariant(stored.left(24))), QStringLiteral("abcdefghijklmnop"));
    EXPECT_EQ(crypto::Decrypt(QVariant(stored.left(15))), QString(""));
    // Trailing bytes after a whole short text change nothing.
    const QByteArray hello = crypto::Encrypt(QStringLiteral("hello")).toByteArray();
    EXPECT_EQ(crypto::Decrypt(QVariant(hello + QByteArray("junk!"))), QStringLiteral("hello"));
}

TEST(StoredValueTest, ForeignBytesDecryptAsOpenSslDoes)
{
    // No error for bytes made with another key: the text is whatever the
    // cipher gives, up to the first zero byte, read as UTF-8.
    std::mt19937 rng(4242);
    for (int round = 0; round < 200; ++round) {
        QByteArray noise(16 * (1 + qsizetype(rng() % 4)), '\0');
        for (char& c : noise)
            c = char(rng());
        const QByteArray plain = opensslref::aes(storedFormatKey, noise, true, false);
        const QString expected = QString::fromUtf8(plain.constData());
        EXPECT_EQ(crypto::Decrypt(QVariant(noise)), expected) << noise.toHex().constData();
    }
}

} // namespace
