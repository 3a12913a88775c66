// The AES class: published known-answer vectors, OpenSSL as a reference for
// random keys and texts, the AES-instruction path against the table path,
// and the deliberate quirks of the parameter and mode handling.

#include "Sync/SyncCore/AES.h"

#include "OpenSslReference.h"

#include <gtest/gtest.h>

#include <QByteArray>

#include <random>
#include <vector>

namespace {

enum class Path { Table, Hardware };

const char* pathName(Path p)
{
    return p == Path::Table ? "table" : "hardware";
}

/// Every path this processor can run: the hardware one only where it exists.
std::vector<Path> availablePaths()
{
    std::vector<Path> paths { Path::Table };
    if (AES::HasHardwareSupport())
        paths.push_back(Path::Hardware);
    return paths;
}

/// One Encrypt or Decrypt call on a fresh object; @p inPlace uses one buffer for both sides.
QByteArray runAes(Path path, const QByteArray& key, int blockBits, const QByteArray& data,
    AES::BlockMode mode, bool encrypt, bool inPlace = false)
{
    AES aes;
    aes.__TEST_ONLY_UseHardware(path == Path::Hardware);
    EXPECT_EQ(aes.__TEST_ONLY_UsesHardware(), path == Path::Hardware);
    aes.SetParameters(int(key.size()) * 8, blockBits);
    const auto* k = reinterpret_cast<const unsigned char*>(key.constData());
    if (encrypt)
        aes.StartEncryption(k);
    else
        aes.StartDecryption(k);
    QByteArray out = inPlace ? data : QByteArray(data.size(), '\0');
    const unsigned char* in
        = reinterpret_cast<const unsigned char*>(inPlace ? out.constData() : data.constData());
    const unsigned long blocks = static_cast<unsigned long>(data.size() / (blockBits / 8));
    if (encrypt)
        aes.Encrypt(in, reinterpret_cast<unsigned char*>(out.data()), blocks, mode);
    else
        aes.Decrypt(in, reinterpret_cast<unsigned char*>(out.data()), blocks, mode);
    return out;
}

QByteArray randomBytes(std::mt19937& rng, qsizetype n)
{
    QByteArray b(n, '\0');
    for (char& c : b)
        c = char(rng());
    return b;
}

// --- known answers ----------------------------------------------------------

struct KnownAnswer
{
    const char* source;
    const char* key;
    const char* plain;
    const char* cipher;
};

void PrintTo(const KnownAnswer& row, std::ostream* os)
{
    *os << row.source << " key " << row.key;
}

class AesKnownAnswerTest : public ::testing::TestWithParam<KnownAnswer>
{
};

TEST_P(AesKnownAnswerTest, EncryptsAndDecryptsInEcb)
{
    const KnownAnswer& row = GetParam();
    const QByteArray key = QByteArray::fromHex(row.key);
    const QByteArray plain = QByteArray::fromHex(row.plain);
    const QByteArray cipher = QByteArray::fromHex(row.cipher);
    ASSERT_EQ(plain.size(), cipher.size());
    const int blockBits = int(plain.size()) * 8;
    for (Path path : availablePaths()) {
        SCOPED_TRACE(pathName(path));
        EXPECT_EQ(runAes(path, key, blockBits, plain, AES::ECB, true).toHex(), cipher.toHex());
        EXPECT_EQ(runAes(path, key, blockBits, cipher, AES::ECB, false).toHex(), plain.toHex());
        // A single block in CBC: the zero vector leaves it as in ECB.
        EXPECT_EQ(runAes(path, key, blockBits, plain, AES::CBC, true).toHex(), cipher.toHex());
        EXPECT_EQ(runAes(path, key, blockBits, cipher, AES::CBC, false).toHex(), plain.toHex());

        AES one;
        one.__TEST_ONLY_UseHardware(path == Path::Hardware);
        one.SetParameters(int(key.size()) * 8, blockBits);
        one.StartDecryption(reinterpret_cast<const unsigned char*>(key.constData()));
        QByteArray out(plain.size(), '\0');
        one.DecryptBlock(reinterpret_cast<const unsigned char*>(cipher.constData()),
            reinterpret_cast<unsigned char*>(out.data()));
        EXPECT_EQ(out.toHex(), plain.toHex());
    }
}

// FIPS-197 appendices B and C.
const KnownAnswer fips197[] = {
    { "FIPS-197 B", "2b7e151628aed2a6abf7158809cf4f3c", "3243f6a8885a308d313198a2e0370734",
        "3925841d02dc09fbdc118597196a0b32" },
    { "FIPS-197 C.1", "000102030405060708090a0b0c0d0e0f", "00112233445566778899aabbccddeeff",
        "69c4e0d86a7b0430d8cdb78070b4c55a" },
    { "FIPS-197 C.2", "000102030405060708090a0b0c0d0e0f1011121314151617",
        "00112233445566778899aabbccddeeff", "dda97ca4864cdfe06eaf70a0ec0d7191" },
    { "FIPS-197 C.3", "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f",
        "00112233445566778899aabbccddeeff", "8ea2b7ca516745bfeafc49904b496089" },
};
INSTANTIATE_TEST_SUITE_P(Fips197, AesKnownAnswerTest, ::testing::ValuesIn(fips197));

#define ZERO128 "00000000000000000000000000000000"
#define ZERO192 "000000000000000000000000000000000000000000000000"
#define ZERO256 "0000000000000000000000000000000000000000000000000000000000000000"

// NIST AESAVS known-answer sets, a selection from each file.
const KnownAnswer aesavs[] = {
    // GFSbox: zero key, chosen plaintexts.
    { "GFSbox128", ZERO128, "f34481ec3cc627bacd5dc3fb08f273e6",
        "0336763e966d92595a567cc9ce537f5e" },
    { "GFSbox128", ZERO128, "9798c4640bad75c7c3227db910174e72",
        "a9a1631bf4996954ebc093957b234589" },
    { "GFSbox128", ZERO128, "96ab5c2ff612d9dfaae8c31f30c42168",
        "ff4f8391a6a40ca5b25d23bedd44a597" },
    { "GFSbox128", ZERO128, "6a118a874519e64e9963798a503f1d35",
        "dc43be40be0e53712f7e2bf5ca707209" },
    { "GFSbox128", ZERO128, "cb9fceec81286ca3e989bd979b0cb284",
        "92beedab1895a94faa69b632e5cc47ce" },
    { "GFSbox128", ZERO128, "b26aeb1874e47ca8358ff22378f09144",
        "459264f4798f6a78bacb89c15ed3d601" },
    { "GFSbox128", ZERO128, "58c8e00b2631686d54eab84b91f0aca1",
        "08a4e2efec8a8e3312ca7460b9040bbf" },
    { "GFSbox192", ZERO192, "1b077a6af4b7f98229de786d7516b639",
        "275cfc0413d8ccb70513c3859b1d0f72" },
    { "GFSbox192", ZERO192, "9c2d8842e5f48f57648205d39a239af1",
        "c9b8135ff1b5adc413dfd053b21bd96d" },
    { "GFSbox192", ZERO192, "bff52510095f518ecca60af4205444bb",
        "4a3650c3371ce2eb35e389a171427440" },
    { "GFSbox192", ZERO192, "51719783d3185a535bd75adc65071ce1",
        "4f354592ff7c8847d2d0870ca9481b7c" },
    { "GFSbox192", ZERO192, "26aa49dcfe7629a8901a69a9914e6dfd",
        "d5e08bf9a182e857cf40b3a36ee248cc" },
    { "GFSbox192", ZERO192, "941a4773058224e1ef66d10e0a6ee782",
        "067cd9d3749207791841562507fa9626" },
    { "GFSbox256", ZERO256, "014730f80ac625fe84f026c60bfd547d",
        "5c9d844ed46f9885085e5d6a4f94c7d7" },
    { "GFSbox256", ZERO256, "0b24af36193ce4665f2825d7b4749c98",
        "a9ff75bd7cf6613d3731c77c3b6d0c04" },
    { "GFSbox256", ZERO256, "761c1fe41a18acf20d241650611d90f1",
        "623a52fcea5d443e48d9181ab32c7421" },
    { "GFSbox256", ZERO256, "8a560769d605868ad80d819bdba03771",
        "38f2c7ae10612415d27ca190d27da8b4" },
    { "GFSbox256", ZERO256, "91fbef2d15a97816060bee1feaa49afe",
        "1bc704f1bce135ceb810341b216d7abe" },
    // KeySbox: chosen keys, zero plaintext.
    { "KeySbox128", "10a58869d74be5a374cf867cfb473859", ZERO128,
        "6d251e6944b051e04eaa6fb4dbf78465" },
    { "KeySbox128", "caea65cdbb75e9169ecd22ebe6e54675", ZERO128,
        "6e29201190152df4ee058139def610bb" },
    { "KeySbox128", "a2e2fa9baf7d20822ca9f0542f764a41", ZERO128,
        "c3b44b95d9d2f25670eee9a0de099fa3" },
    { "KeySbox128", "b6364ac4e1de1e285eaf144a2415f7a0", ZERO128,
        "5d9b05578fc944b3cf1ccf0e746cd581" },
    { "KeySbox192", "e9f065d7c13573587f7875357dfbb16c53489f6a4bd0f7cd", ZERO128,
        "0956259c9cd5cfd0181cca53380cde06" },
    { "KeySbox192", "15d20f6ebc7e649fd95b76b107e6daba967c8a9484797f29", ZERO128,
        "8e4e18424e591a3d5b6f0876f16f8594" },
    { "KeySbox256", "c47b0294dbbbee0fec4757f22ffeee3587ca4730c3d33b691df38bab076bc558", ZERO128,
        "46f2fb342d6f0ab477476fc501242c5f" },
    { "KeySbox256", "28d46cffa158533194214a91e712fc2b45b518076675affd910edeca5f41ac64", ZERO128,
        "4bf3b0a69aeb6657794f2901b1440ad4" },
    // VarKey: one more leading key bit set per row, zero plaintext.
    { "VarKey128", "80000000000000000000000000000000", ZERO128,
        "0edd33d3c621e546455bd8ba1418bec8" },
    { "VarKey128", "c0000000000000000000000000000000", ZERO128,
        "4bc3f883450c113c64ca42e1112a9e87" },
    { "VarKey128", "e0000000000000000000000000000000", ZERO128,
        "72a1da770f5d7ac4c9ef94d822affd97" },
    { "VarKey128", "ffffffffffffffffffffffffffffffff", ZERO128,
        "a1f6258c877d5fcd8964484538bfc92c" },
    { "VarKey192", "800000000000000000000000000000000000000000000000", ZERO128,
        "de885dc87f5a92594082d02cc1e1b42c" },
    { "VarKey256", "8000000000000000000000000000000000000000000000000000000000000000", ZERO128,
        "e35a6dcb19b201a01ebcfa8aa22b5759" },
    // VarTxt: one more leading plaintext bit set per row, zero key.
    { "VarTxt128", ZERO128, "80000000000000000000000000000000",
        "3ad78e726c1ec02b7ebfe92b23d9ec34" },
    { "VarTxt128", ZERO128, "c0000000000000000000000000000000",
        "aae5939c8efdf2f04e60b9fe7117b2c2" },
    { "VarTxt128", ZERO128, "e0000000000000000000000000000000",
        "f031d4d74f5dcbf39daaf8ca3af6e527" },
    { "VarTxt128", ZERO128, "ffffffffffffffffffffffffffffffff",
        "3f5b8cc9ea855a0afa7347d23e8d664e" },
    { "VarTxt192", ZERO192, "80000000000000000000000000000000",
        "6cd02513e8d4dc986b4afe087a60bd0c" },
    { "VarTxt256", ZERO256, "80000000000000000000000000000000",
        "ddc6bf790c15760d8d9aeb6f9a75fd4e" },
};
INSTANTIATE_TEST_SUITE_P(Aesavs, AesKnownAnswerTest, ::testing::ValuesIn(aesavs));

// Rijndael with 192- and 256-bit blocks: the reference example of the
// Rijndael designers (key 2b7e1516..., input 3243f6a8..., cut to the
// lengths of each row).
const KnownAnswer rijndaelWide[] = {
    { "Rijndael b192 k128", "2b7e151628aed2a6abf7158809cf4f3c",
        "3243f6a8885a308d313198a2e03707344a4093822299f31d",
        "b24d275489e82bb8f7375e0d5fcdb1f481757c538b65148a" },
    { "Rijndael b192 k192", "2b7e151628aed2a6abf7158809cf4f3c762e7160f38b4da5",
        "3243f6a8885a308d313198a2e03707344a4093822299f31d",
        "725ae43b5f3161de806a7c93e0bca93c967ec1ae1b71e1cf" },
    { "Rijndael b192 k256", "2b7e151628aed2a6abf7158809cf4f3c762e7160f38b4da56a784d9045190cfe",
        "3243f6a8885a308d313198a2e03707344a4093822299f31d",
        "0ebacf199e3315c2e34b24fcc7c46ef4388aa475d66c194c" },
    { "Rijndael b256 k128", "2b7e151628aed2a6abf7158809cf4f3c",
        "3243f6a8885a308d313198a2e03707344a4093822299f31d0082efa98ec4e6c8",
        "7d15479076b69a46ffb3b3beae97ad8313f622f67fedb487de9f06b9ed9c8f19" },
    { "Rijndael b256 k192", "2b7e151628aed2a6abf7158809cf4f3c762e7160f38b4da5",
        "3243f6a8885a308d313198a2e03707344a4093822299f31d0082efa98ec4e6c8",
        "5d7101727bb25781bf6715b0e6955282b9610e23a43c2eb062699f0ebf5887b2" },
    { "Rijndael b256 k256", "2b7e151628aed2a6abf7158809cf4f3c762e7160f38b4da56a784d9045190cfe",
        "3243f6a8885a308d313198a2e03707344a4093822299f31d0082efa98ec4e6c8",
        "a49406115dfb30a40418aafa4869b7c6a886ff31602a7dd19c889dc64f7e4e7a" },
};
INSTANTIATE_TEST_SUITE_P(RijndaelWideBlocks, AesKnownAnswerTest, ::testing::ValuesIn(rijndaelWide));

// --- CBC chains ------------------------------------------------------------

struct CbcVector
{
    const char* source;
    const char* key;
    const char* iv;
    const char* plain; // four blocks
    const char* cipher; // four blocks
};

void PrintTo(const CbcVector& row, std::ostream* os)
{
    *os << row.source;
}

class AesCbcVectorTest : public ::testing::TestWithParam<CbcVector>
{
};

// The class always chains from a zero vector; a vector IV is the same as a
// zero vector with IV xored into the first plaintext block.
TEST_P(AesCbcVectorTest, MatchesPublishedChain)
{
    const CbcVector& row = GetParam();
    const QByteArray key = QByteArray::fromHex(row.key);
    const QByteArray iv = QByteArray::fromHex(row.iv);
    QByteArray plain = QByteArray::fromHex(row.plain);
    const QByteArray cipher = QByteArray::fromHex(row.cipher);
    for (int i = 0; i < 16; ++i)
        plain[i] = char(plain[i] ^ iv[i]);
    for (Path path : availablePaths()) {
        SCOPED_TRACE(pathName(path));
        EXPECT_EQ(runAes(path, key, 128, plain, AES::CBC, true).toHex(), cipher.toHex());
        EXPECT_EQ(runAes(path, key, 128, cipher, AES::CBC, false).toHex(), plain.toHex());
        EXPECT_EQ(runAes(path, key, 128, plain, AES::CBC, true, true).toHex(), cipher.toHex());
        EXPECT_EQ(runAes(path, key, 128, cipher, AES::CBC, false, true).toHex(), plain.toHex());
    }
}

// NIST SP 800-38A, F.2.1, F.2.3 and F.2.5.
const CbcVector sp80038a[] = {
    { "CBC-AES128", "2b7e151628aed2a6abf7158809cf4f3c", "000102030405060708090a0b0c0d0e0f",
        "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710",
        "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
        "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7" },
    { "CBC-AES192", "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b",
        "000102030405060708090a0b0c0d0e0f",
        "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710",
        "4f021db243bc633d7178183a9fa071e8b4d9ada9ad7dedf4e5e738763f69145a"
        "571b242012fb7ae07fa9baac3df102e008b0e27988598881d920a9e64f5615cd" },
    { "CBC-AES256", "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
        "000102030405060708090a0b0c0d0e0f",
        "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
        "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710",
        "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
        "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b" },
};
INSTANTIATE_TEST_SUITE_P(Sp80038a, AesCbcVectorTest, ::testing::ValuesIn(sp80038a));

// --- OpenSSL as the reference ----------------------------------------------

struct ReferenceCase
{
    int keyBits;
    AES::BlockMode mode;
};

void PrintTo(const ReferenceCase& row, std::ostream* os)
{
    *os << "AES-" << row.keyBits << (row.mode == AES::CBC ? "-CBC" : "-ECB");
}

class AesOpenSslTest : public ::testing::TestWithParam<ReferenceCase>
{
};

// Random keys and lengths from one block to past several lanes of the
// hardware path (8 blocks), with remainders, in both directions.
TEST_P(AesOpenSslTest, RandomKeysAndTextsMatchOpenSsl)
{
    const ReferenceCase& row = GetParam();
    const bool cbc = row.mode == AES::CBC;
    std::mt19937 rng(0x5eed0000u + unsigned(row.keyBits) + (cbc ? 1u : 0u));
    for (int round = 0; round < 60; ++round) {
        const QByteArray key = randomBytes(rng, row.keyBits / 8);
        const qsizetype blocks = 1 + qsizetype(rng() % 37);
        const QByteArray plain = randomBytes(rng, blocks * 16);
        const QByteArray expected = opensslref::aes(key, plain, cbc, true);
        ASSERT_EQ(expected.size(), plain.size());
        SCOPED_TRACE(
            testing::Message() << "key " << key.toHex().constData() << ", " << blocks << " blocks");
        for (Path path : availablePaths()) {
            SCOPED_TRACE(pathName(path));
            EXPECT_EQ(runAes(path, key, 128, plain, row.mode, true).toHex(), expected.toHex());
            EXPECT_EQ(runAes(path, key, 128, expected, row.mode, false).toHex(), plain.toHex());
            EXPECT_EQ(
                runAes(path, key, 128, expected, row.mode, false, true).toHex(), plain.toHex());
        }
        // Decrypting random bytes is compared too, not only our own output.
        const QByteArray noise = randomBytes(rng, blocks * 16);
        const QByteArray noisePlain = opensslref::aes(key, noise, cbc, false);
        for (Path path : availablePaths())
            EXPECT_EQ(runAes(path, key, 128, noise, row.mode, false).toHex(), noisePlain.toHex())
                << pathName(path);
    }
}

INSTANTIATE_TEST_SUITE_P(AllKeySizes, AesOpenSslTest,
    ::testing::Values(ReferenceCase { 128, AES::ECB }, ReferenceCase { 128, AES::CBC },
        ReferenceCase { 192, AES::ECB }, ReferenceCase { 192, AES::CBC },
        ReferenceCase { 256, AES::ECB }, ReferenceCase { 256, AES::CBC }));

// --- wide blocks -----------------------------------------------------------

// No reference library does 192- and 256-bit blocks, so the chaining of the
// wide blocks is checked against ECB calls chained by hand.
TEST(AesWideBlockTest, CbcChainsLikeHandChainedEcb)
{
    std::mt19937 rng(77);
    for (int blockBits : { 192, 256 }) {
        for (int keyBits : { 128, 192, 256 }) {
            SCOPED_TRACE(testing::Message() << "block " << blockBits << " key " << keyBits);
            const int B = blockBits / 8;
            const QByteArray key = randomBytes(rng, keyBits / 8);
            const QByteArray plain = randomBytes(rng, 5 * B);
            QByteArray expected;
            QByteArray chain(B, '\0');
            for (int k = 0; k < 5; ++k) {
                QByteArray block = plain.mid(k * B, B);
                for (int i = 0; i < B; ++i)
                    block[i] = char(block[i] ^ chain[i]);
                chain = runAes(Path::Table, key, blockBits, block, AES::ECB, true);
                expected += chain;
            }
            EXPECT_EQ(runAes(Path::Table, key, blockBits, plain, AES::CBC, true).toHex(),
                expected.toHex());
            EXPECT_EQ(runAes(Path::Table, key, blockBits, expected, AES::CBC, false).toHex(),
                plain.toHex());
            EXPECT_EQ(runAes(Path::Table, key, blockBits, expected, AES::CBC, false, true).toHex(),
                plain.toHex());
            EXPECT_EQ(runAes(Path::Table, key, blockBits, plain, AES::ECB, true, true),
                runAes(Path::Table, key, blockBits, plain, AES::ECB, true));
        }
    }
}

// The hardware path only takes 128-bit blocks; asking for it must leave the
// wide blocks on the table path with the same bytes.
TEST(AesWideBlockTest, HardwareRequestDoesNotChangeWideBlocks)
{
    std::mt19937 rng(78);
    const QByteArray key = randomBytes(rng, 32);
    const QByteArray plain = randomBytes(rng, 9 * 32);
    AES aes;
    aes.__TEST_ONLY_UseHardware(true);
    aes.SetParameters(256, 256);
    aes.StartEncryption(reinterpret_cast<const unsigned char*>(key.constData()));
    QByteArray out(plain.size(), '\0');
    aes.Encrypt(reinterpret_cast<const unsigned char*>(plain.constData()),
        reinterpret_cast<unsigned char*>(out.data()), 9, AES::CBC);
    EXPECT_EQ(out, runAes(Path::Table, key, 256, plain, AES::CBC, true));
}

// --- parameters and quirks -------------------------------------------------

struct ParameterRow
{
    int keyBits;
    int blockBits;
    int nb, nk, nr;
};

class AesParameterTest : public ::testing::TestWithParam<ParameterRow>
{
};

TEST_P(AesParameterTest, SetsLengthsAndRounds)
{
    const ParameterRow& row = GetParam();
    AES aes;
    aes.SetParameters(256, 256); // earlier values must not survive a bad call
    aes.SetParameters(row.keyBits, row.blockBits);
    EXPECT_EQ(aes.__TEST_ONLY_Nb(), row.nb);
    EXPECT_EQ(aes.__TEST_ONLY_Nk(), row.nk);
    EXPECT_EQ(aes.__TEST_ONLY_Nr(), row.nr);
}

INSTANTIATE_TEST_SUITE_P(Table, AesParameterTest,
    ::testing::Values(ParameterRow { 128, 128, 4, 4, 10 }, ParameterRow { 192, 128, 4, 6, 12 },
        ParameterRow { 256, 128, 4, 8, 14 }, ParameterRow { 128, 192, 6, 4, 12 },
        ParameterRow { 192, 192, 6, 6, 12 }, ParameterRow { 256, 192, 6, 8, 14 },
        ParameterRow { 128, 256, 8, 4, 14 }, ParameterRow { 192, 256, 8, 6, 14 },
        ParameterRow { 256, 256, 8, 8, 14 },
        // Bad lengths zero everything, whichever side is wrong.
        ParameterRow { 100, 128, 0, 0, 0 }, ParameterRow { 128, 100, 0, 0, 0 },
        ParameterRow { 160, 128, 0, 0, 0 }, ParameterRow { 0, 0, 0, 0, 0 },
        ParameterRow { -128, 128, 0, 0, 0 }, ParameterRow { 512, 512, 0, 0, 0 }));

TEST(AesQuirkTest, UnknownModeAndZeroBlocksWriteNothing)
{
    const QByteArray key = QByteArray::fromHex("000102030405060708090a0b0c0d0e0f");
    const QByteArray plain(64, 'p');
    for (Path path : availablePaths()) {
        SCOPED_TRACE(pathName(path));
        for (bool encrypt : { true, false }) {
            AES aes;
            aes.__TEST_ONLY_UseHardware(path == Path::Hardware);
            aes.SetParameters(128, 128);
            if (encrypt)
                aes.StartEncryption(reinterpret_cast<const unsigned char*>(key.constData()));
            else
                aes.StartDecryption(reinterpret_cast<const unsigned char*>(key.constData()));
            QByteArray out(64, 'x');
            auto* o = reinterpret_cast<unsigned char*>(out.data());
            const auto* i = reinterpret_cast<const unsigned char*>(plain.constData());
            for (int mode : { 2, -1, 100 }) {
                if (encrypt)
                    aes.Encrypt(i, o, 4, static_cast<AES::BlockMode>(mode));
                else
                    aes.Decrypt(i, o, 4, static_cast<AES::BlockMode>(mode));
            }
            if (encrypt)
                aes.Encrypt(i, o, 0, AES::CBC);
            else
                aes.Decrypt(i, o, 0, AES::CBC);
            EXPECT_EQ(out, QByteArray(64, 'x'));
        }
    }
}

TEST(AesQuirkTest, BadParametersEncryptNothingAndDoNotCrash)
{
    AES aes;
    aes.SetParameters(100, 128);
    const unsigned char key[32] = { 1, 2, 3 };
    aes.StartEncryption(key);
    unsigned char in[32] = {};
    unsigned char out[32];
    std::memset(out, 0xab, sizeof out);
    aes.Encrypt(in, out, 2, AES::CBC);
    aes.EncryptBlock(in, out);
    for (unsigned char b : out)
        EXPECT_EQ(b, 0xab);
}

} // namespace
