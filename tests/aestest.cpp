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

/// The table path (false) always, the hardware path (true) where the processor has it.
std::vector<bool> paths()
{
    return AES::HasHardwareSupport() ? std::vector<bool> { false, true }
                                     : std::vector<bool> { false };
}

/// One Encrypt or Decrypt call on a fresh object; @p inPlace uses one buffer for both sides.
QByteArray run(bool hw, const QByteArray& key, int blockBits, const QByteArray& data,
    AES::BlockMode mode, bool encrypt, bool inPlace = false)
{
    AES aes;
    aes.__TEST_ONLY_UseHardware(hw);
    EXPECT_EQ(aes.__TEST_ONLY_UsesHardware(), hw);
    aes.SetParameters(int(key.size()) * 8, blockBits);
    const auto* k = reinterpret_cast<const unsigned char*>(key.constData());
    encrypt ? aes.StartEncryption(k) : aes.StartDecryption(k);
    QByteArray out = inPlace ? data : QByteArray(data.size(), '\0');
    auto* o = reinterpret_cast<unsigned char*>(out.data()); // detaches before `in` is taken
    const auto* in = inPlace ? o : reinterpret_cast<const unsigned char*>(data.constData());
    const auto blocks = static_cast<unsigned long>(data.size() / (blockBits / 8));
    encrypt ? aes.Encrypt(in, o, blocks, mode) : aes.Decrypt(in, o, blocks, mode);
    return out.toHex();
}

QByteArray randomBytes(std::mt19937& rng, qsizetype n)
{
    QByteArray b(n, '\0');
    for (char& c : b)
        c = char(rng());
    return b;
}

struct KnownAnswer
{
    const char* source;
    const char* key;
    const char* plain;
    const char* cipher;
    const char* iv = nullptr; // chained vectors only
};

void PrintTo(const KnownAnswer& row, std::ostream* os)
{
    *os << row.source << " key " << row.key;
}

class AesKnownAnswerTest : public ::testing::TestWithParam<KnownAnswer>
{
};

// The class always chains from a zero vector; a chained vector's IV is the
// same as a zero vector with IV xored into the first plaintext block.
TEST_P(AesKnownAnswerTest, MatchesPublishedVectors)
{
    const QByteArray key = QByteArray::fromHex(GetParam().key);
    const QByteArray iv = QByteArray::fromHex(GetParam().iv ? GetParam().iv : "");
    QByteArray plain = QByteArray::fromHex(GetParam().plain);
    const QByteArray cipher = QByteArray::fromHex(GetParam().cipher);
    ASSERT_EQ(plain.size(), cipher.size());
    for (int i = 0; i < iv.size(); ++i)
        plain[i] = char(plain[i] ^ iv[i]);
    const int B = iv.isEmpty() ? int(plain.size()) : 16; // block bytes
    // One block in CBC from the zero vector is the same as in ECB.
    const AES::BlockMode modes[] = { AES::CBC, iv.isEmpty() ? AES::ECB : AES::CBC };
    for (bool hw : paths()) {
        SCOPED_TRACE(hw ? "hardware" : "table");
        for (AES::BlockMode mode : modes) {
            for (bool inPlace : { false, true }) {
                EXPECT_EQ(run(hw, key, B * 8, plain, mode, true, inPlace), cipher.toHex());
                EXPECT_EQ(run(hw, key, B * 8, cipher, mode, false, inPlace), plain.toHex());
            }
        }
        AES one;
        one.__TEST_ONLY_UseHardware(hw);
        one.SetParameters(int(key.size()) * 8, B * 8);
        one.StartDecryption(reinterpret_cast<const unsigned char*>(key.constData()));
        QByteArray out(B, '\0');
        one.DecryptBlock(reinterpret_cast<const unsigned char*>(cipher.constData()),
            reinterpret_cast<unsigned char*>(out.data()));
        EXPECT_EQ(out.toHex(), plain.left(B).toHex());
    }
}

#define Z16 "00000000000000000000000000000000"
#define Z24 "000000000000000000000000000000000000000000000000"
#define Z32 "0000000000000000000000000000000000000000000000000000000000000000"
// clang-format off
#define SP_PLAIN "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e5130c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710"
#define SP_IV "000102030405060708090a0b0c0d0e0f"
const KnownAnswer knownAnswers[] = {
    { "FIPS-197 B", "2b7e151628aed2a6abf7158809cf4f3c", "3243f6a8885a308d313198a2e0370734", "3925841d02dc09fbdc118597196a0b32" },
    { "FIPS-197 C.1", "000102030405060708090a0b0c0d0e0f", "00112233445566778899aabbccddeeff", "69c4e0d86a7b0430d8cdb78070b4c55a" },
    { "FIPS-197 C.2", "000102030405060708090a0b0c0d0e0f1011121314151617", "00112233445566778899aabbccddeeff", "dda97ca4864cdfe06eaf70a0ec0d7191" },
    { "FIPS-197 C.3", "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f", "00112233445566778899aabbccddeeff", "8ea2b7ca516745bfeafc49904b496089" },
    // NIST AESAVS known-answer sets, a selection from each file.
    { "GFSbox128", Z16, "f34481ec3cc627bacd5dc3fb08f273e6", "0336763e966d92595a567cc9ce537f5e" },
    { "GFSbox128", Z16, "58c8e00b2631686d54eab84b91f0aca1", "08a4e2efec8a8e3312ca7460b9040bbf" },
    { "GFSbox192", Z24, "1b077a6af4b7f98229de786d7516b639", "275cfc0413d8ccb70513c3859b1d0f72" },
    { "GFSbox192", Z24, "941a4773058224e1ef66d10e0a6ee782", "067cd9d3749207791841562507fa9626" },
    { "GFSbox256", Z32, "014730f80ac625fe84f026c60bfd547d", "5c9d844ed46f9885085e5d6a4f94c7d7" },
    { "GFSbox256", Z32, "91fbef2d15a97816060bee1feaa49afe", "1bc704f1bce135ceb810341b216d7abe" },
    { "KeySbox128", "10a58869d74be5a374cf867cfb473859", Z16, "6d251e6944b051e04eaa6fb4dbf78465" },
    { "KeySbox128", "b6364ac4e1de1e285eaf144a2415f7a0", Z16, "5d9b05578fc944b3cf1ccf0e746cd581" },
    { "KeySbox192", "e9f065d7c13573587f7875357dfbb16c53489f6a4bd0f7cd", Z16, "0956259c9cd5cfd0181cca53380cde06" },
    { "KeySbox256", "c47b0294dbbbee0fec4757f22ffeee3587ca4730c3d33b691df38bab076bc558", Z16, "46f2fb342d6f0ab477476fc501242c5f" },
    { "VarKey128", "80000000000000000000000000000000", Z16, "0edd33d3c621e546455bd8ba1418bec8" },
    { "VarKey128", "ffffffffffffffffffffffffffffffff", Z16, "a1f6258c877d5fcd8964484538bfc92c" },
    { "VarKey192", "800000000000000000000000000000000000000000000000", Z16, "de885dc87f5a92594082d02cc1e1b42c" },
    { "VarKey256", "8000000000000000000000000000000000000000000000000000000000000000", Z16, "e35a6dcb19b201a01ebcfa8aa22b5759" },
    { "VarTxt128", Z16, "80000000000000000000000000000000", "3ad78e726c1ec02b7ebfe92b23d9ec34" },
    { "VarTxt128", Z16, "ffffffffffffffffffffffffffffffff", "3f5b8cc9ea855a0afa7347d23e8d664e" },
    { "VarTxt192", Z24, "80000000000000000000000000000000", "6cd02513e8d4dc986b4afe087a60bd0c" },
    { "VarTxt256", Z32, "80000000000000000000000000000000", "ddc6bf790c15760d8d9aeb6f9a75fd4e" },
    // Rijndael with 192- and 256-bit blocks: the designers' example (key 2b7e1516..., input
    // 3243f6a8...) cut to the lengths of each row.
    { "b192 k128", "2b7e151628aed2a6abf7158809cf4f3c", "3243f6a8885a308d313198a2e03707344a4093822299f31d", "b24d275489e82bb8f7375e0d5fcdb1f481757c538b65148a" },
    { "b192 k192", "2b7e151628aed2a6abf7158809cf4f3c762e7160f38b4da5", "3243f6a8885a308d313198a2e03707344a4093822299f31d", "725ae43b5f3161de806a7c93e0bca93c967ec1ae1b71e1cf" },
    { "b192 k256", "2b7e151628aed2a6abf7158809cf4f3c762e7160f38b4da56a784d9045190cfe", "3243f6a8885a308d313198a2e03707344a4093822299f31d", "0ebacf199e3315c2e34b24fcc7c46ef4388aa475d66c194c" },
    { "b256 k128", "2b7e151628aed2a6abf7158809cf4f3c", "3243f6a8885a308d313198a2e03707344a4093822299f31d0082efa98ec4e6c8", "7d15479076b69a46ffb3b3beae97ad8313f622f67fedb487de9f06b9ed9c8f19" },
    { "b256 k192", "2b7e151628aed2a6abf7158809cf4f3c762e7160f38b4da5", "3243f6a8885a308d313198a2e03707344a4093822299f31d0082efa98ec4e6c8", "5d7101727bb25781bf6715b0e6955282b9610e23a43c2eb062699f0ebf5887b2" },
    { "b256 k256", "2b7e151628aed2a6abf7158809cf4f3c762e7160f38b4da56a784d9045190cfe", "3243f6a8885a308d313198a2e03707344a4093822299f31d0082efa98ec4e6c8", "a49406115dfb30a40418aafa4869b7c6a886ff31602a7dd19c889dc64f7e4e7a" },
    // NIST SP 800-38A, F.2.1, F.2.3 and F.2.5: one plaintext, three keys, chained.
    { "CBC-AES128", "2b7e151628aed2a6abf7158809cf4f3c", SP_PLAIN, "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b273bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7", SP_IV },
    { "CBC-AES192", "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b", SP_PLAIN, "4f021db243bc633d7178183a9fa071e8b4d9ada9ad7dedf4e5e738763f69145a571b242012fb7ae07fa9baac3df102e008b0e27988598881d920a9e64f5615cd", SP_IV },
    { "CBC-AES256", "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4", SP_PLAIN, "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b", SP_IV },
};
// clang-format on
INSTANTIATE_TEST_SUITE_P(Published, AesKnownAnswerTest, ::testing::ValuesIn(knownAnswers));

// Random keys and lengths from one block to past several lanes of the hardware
// path (8 blocks), with remainders, both directions; decrypting random bytes
// too, not only our own output.
TEST(AesOpenSslTest, RandomKeysAndTextsMatchOpenSsl)
{
    std::mt19937 rng(0x5eed);
    for (int round = 0; round < 6 * 40; ++round) { // every key length with both modes
        const AES::BlockMode mode = round % 2 ? AES::CBC : AES::ECB;
        const QByteArray key = randomBytes(rng, 16 + 8 * (round % 3));
        const QByteArray plain = randomBytes(rng, 16 * (1 + qsizetype(rng() % 37)));
        const QByteArray noise = randomBytes(rng, plain.size());
        const QByteArray cipher = opensslref::aes(key, plain, mode == AES::CBC, true);
        const QByteArray noisePlain = opensslref::aes(key, noise, mode == AES::CBC, false);
        ASSERT_EQ(cipher.size(), plain.size());
        SCOPED_TRACE(key.toHex().toStdString() + " mode " + std::to_string(mode) + " bytes "
            + std::to_string(plain.size()));
        for (bool hw : paths()) {
            SCOPED_TRACE(hw ? "hardware" : "table");
            EXPECT_EQ(run(hw, key, 128, plain, mode, true), cipher.toHex());
            EXPECT_EQ(run(hw, key, 128, cipher, mode, false, true), plain.toHex());
            EXPECT_EQ(run(hw, key, 128, noise, mode, false), noisePlain.toHex());
        }
    }
}

// No reference library does 192- and 256-bit blocks, so their chaining is
// checked against ECB calls chained by hand; asking for the hardware path
// must leave them on the table path with the same bytes.
TEST(AesWideBlockTest, CbcChainsLikeHandChainedEcb)
{
    std::mt19937 rng(77);
    for (int blockBits : { 192, 256 }) {
        for (int keyBits : { 128, 192, 256 }) {
            SCOPED_TRACE(testing::Message() << "block " << blockBits << " key " << keyBits);
            const int B = blockBits / 8;
            const QByteArray key = randomBytes(rng, keyBits / 8);
            const QByteArray plain = randomBytes(rng, 5 * B);
            QByteArray expected, chain(B, '\0');
            for (int k = 0; k < 5; ++k) {
                QByteArray block = plain.mid(k * B, B);
                for (int i = 0; i < B; ++i)
                    block[i] = char(block[i] ^ chain[i]);
                chain = QByteArray::fromHex(run(false, key, blockBits, block, AES::ECB, true));
                expected += chain;
            }
            for (bool hw : paths()) {
                EXPECT_EQ(run(hw, key, blockBits, plain, AES::CBC, true), expected.toHex());
                EXPECT_EQ(run(hw, key, blockBits, expected, AES::CBC, false, true), plain.toHex());
            }
        }
    }
}

TEST(AesQuirkTest, SetParametersTable)
{
    // { key bits, block bits, Nb, Nk, Nr }; bad lengths zero everything, whichever side is wrong.
    // clang-format off
    const int rows[][5] = { { 128, 128, 4, 4, 10 }, { 192, 128, 4, 6, 12 }, { 256, 128, 4, 8, 14 }, { 128, 192, 6, 4, 12 }, { 192, 192, 6, 6, 12 },
        { 256, 192, 6, 8, 14 }, { 128, 256, 8, 4, 14 }, { 192, 256, 8, 6, 14 }, { 256, 256, 8, 8, 14 }, { 100, 128, 0, 0, 0 },
        { 128, 100, 0, 0, 0 }, { 160, 128, 0, 0, 0 }, { 0, 0, 0, 0, 0 }, { -128, 128, 0, 0, 0 }, { 512, 512, 0, 0, 0 } };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row[0] << "/" << row[1]);
        AES aes;
        aes.SetParameters(256, 256); // earlier values must not survive a bad call
        aes.SetParameters(row[0], row[1]);
        EXPECT_EQ(aes.__TEST_ONLY_Nb(), row[2]);
        EXPECT_EQ(aes.__TEST_ONLY_Nk(), row[3]);
        EXPECT_EQ(aes.__TEST_ONLY_Nr(), row[4]);
    }
}

// Unknown modes, zero blocks and bad parameters write nothing (and do not crash).
TEST(AesQuirkTest, UnknownModeZeroBlocksAndBadParametersWriteNothing)
{
    const unsigned char key[32] = { 1, 2, 3 };
    const unsigned char in[64] = {};
    for (bool hw : paths()) {
        for (bool encrypt : { true, false }) {
            SCOPED_TRACE(testing::Message() << (hw ? "hardware " : "table ") << encrypt);
            QByteArray out(64, 'x');
            auto* o = reinterpret_cast<unsigned char*>(out.data());
            const auto call = [&](AES& aes, unsigned long blocks, int mode) {
                encrypt ? aes.Encrypt(in, o, blocks, AES::BlockMode(mode))
                        : aes.Decrypt(in, o, blocks, AES::BlockMode(mode));
            };
            AES aes, bad;
            aes.__TEST_ONLY_UseHardware(hw);
            aes.SetParameters(128, 128);
            bad.SetParameters(100, 128);
            encrypt ? aes.StartEncryption(key) : aes.StartDecryption(key);
            encrypt ? bad.StartEncryption(key) : bad.StartDecryption(key);
            for (int mode : { 2, -1, 100 })
                call(aes, 4, mode);
            call(aes, 0, AES::CBC);
            call(bad, 2, AES::CBC);
            encrypt ? bad.EncryptBlock(in, o) : bad.DecryptBlock(in, o);
            EXPECT_EQ(out, QByteArray(64, 'x'));
        }
    }
}

} // namespace
