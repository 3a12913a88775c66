#include "Sync/SyncCore/AES.h"

#include "Sync/SyncCore/AES_p.h"

#include <cstring>
#include <mutex>

inline namespace KvSync_6_0 {

namespace {

// --- shared tables ---------------------------------------------------------
//
// Computed rather than stored, once per process. std::call_once gives every
// thread that makes an AES object a view of the finished tables.

std::once_flag tablesOnce;

uint8_t inverses[256]; // multiplicative inverse in GF(2^8) modulo 0x11B; 0 for 0
uint8_t byteSub[256]; // S-box
uint8_t invByteSub[256]; // inverse S-box
uint32_t Rcon[59]; // Rcon[i] = x^(i-1) in GF(2^8), in a word's first byte; Rcon[0] = 0

// Round tables: SubBytes, ShiftRows and MixColumns of one byte position in
// one lookup, rotated per row. Word layout: first byte in the top bits.
uint32_t Te0[256], Te1[256], Te2[256], Te3[256];
uint32_t Td0[256], Td1[256], Td2[256], Td3[256];

uint8_t xtime(uint8_t a)
{
    return uint8_t((a << 1) ^ ((a & 0x80) ? 0x1b : 0x00));
}

uint8_t gfMultiply(uint8_t a, uint8_t b)
{
    uint8_t product = 0;
    while (b) {
        if (b & 1)
            product ^= a;
        a = xtime(a);
        b >>= 1;
    }
    return product;
}

uint8_t rotateLeft8(uint8_t v, int n)
{
    return uint8_t((v << n) | (v >> (8 - n)));
}

uint32_t rotateRight32(uint32_t v, int n)
{
    return (v >> n) | (v << (32 - n));
}

uint32_t word(uint8_t b0, uint8_t b1, uint8_t b2, uint8_t b3)
{
    return (uint32_t(b0) << 24) | (uint32_t(b1) << 16) | (uint32_t(b2) << 8) | uint32_t(b3);
}

void buildTables()
{
    inverses[0] = 0;
    for (int a = 1; a < 256; ++a) {
        for (int b = 1; b < 256; ++b) {
            if (gfMultiply(uint8_t(a), uint8_t(b)) == 1) {
                inverses[a] = uint8_t(b);
                break;
            }
        }
    }
    for (int a = 0; a < 256; ++a) {
        const uint8_t b = inverses[a];
        byteSub[a] = uint8_t(b ^ rotateLeft8(b, 1) ^ rotateLeft8(b, 2) ^ rotateLeft8(b, 3)
            ^ rotateLeft8(b, 4) ^ 0x63);
    }
    for (int v = 0; v < 256; ++v) {
        for (int a = 0; a < 256; ++a) {
            if (byteSub[a] == v) {
                invByteSub[v] = uint8_t(a);
                break;
            }
        }
    }
    uint8_t r = 1;
    Rcon[0] = 0;
    for (int i = 1; i < 59; ++i) {
        Rcon[i] = uint32_t(r) << 24;
        r = xtime(r);
    }
    for (int a = 0; a < 256; ++a) {
        const uint8_t s = byteSub[a];
        const uint32_t e = word(gfMultiply(s, 2), s, s, gfMultiply(s, 3));
        Te0[a] = e;
        Te1[a] = rotateRight32(e, 8);
        Te2[a] = rotateRight32(e, 16);
        Te3[a] = rotateRight32(e, 24);
        const uint8_t si = invByteSub[a];
        const uint32_t d
            = word(gfMultiply(si, 14), gfMultiply(si, 9), gfMultiply(si, 13), gfMultiply(si, 11));
        Td0[a] = d;
        Td1[a] = rotateRight32(d, 8);
        Td2[a] = rotateRight32(d, 16);
        Td3[a] = rotateRight32(d, 24);
    }
}

uint32_t subWord(uint32_t w)
{
    return word(
        byteSub[w >> 24], byteSub[(w >> 16) & 0xff], byteSub[(w >> 8) & 0xff], byteSub[w & 0xff]);
}

uint32_t invMixColumn(uint32_t w)
{
    const uint8_t a0 = uint8_t(w >> 24), a1 = uint8_t(w >> 16), a2 = uint8_t(w >> 8),
                  a3 = uint8_t(w);
    return word(gfMultiply(a0, 14) ^ gfMultiply(a1, 11) ^ gfMultiply(a2, 13) ^ gfMultiply(a3, 9),
        gfMultiply(a0, 9) ^ gfMultiply(a1, 14) ^ gfMultiply(a2, 11) ^ gfMultiply(a3, 13),
        gfMultiply(a0, 13) ^ gfMultiply(a1, 9) ^ gfMultiply(a2, 14) ^ gfMultiply(a3, 11),
        gfMultiply(a0, 11) ^ gfMultiply(a1, 13) ^ gfMultiply(a2, 9) ^ gfMultiply(a3, 14));
}

inline uint32_t loadWord(const uint8_t* p)
{
    return word(p[0], p[1], p[2], p[3]);
}

inline void storeWord(uint8_t* p, uint32_t w)
{
    p[0] = uint8_t(w >> 24);
    p[1] = uint8_t(w >> 16);
    p[2] = uint8_t(w >> 8);
    p[3] = uint8_t(w);
}

// --- table-driven rounds ---------------------------------------------------
//
// One instance per block length, so that the column loops have constant
// bounds and constant ShiftRows offsets and unroll completely into four
// lookups and xors per column.

// ShiftRows offsets of rows 1 to 3 for a block of NB columns.
template <int NB> struct Shift;
template <> struct Shift<4>
{
    static constexpr int C1 = 1, C2 = 2, C3 = 3;
};
template <> struct Shift<6>
{
    static constexpr int C1 = 1, C2 = 2, C3 = 3;
};
template <> struct Shift<8>
{
    static constexpr int C1 = 1, C2 = 3, C3 = 4;
};

template <int NB>
inline void encryptBlock(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out)
{
    constexpr int C1 = Shift<NB>::C1, C2 = Shift<NB>::C2, C3 = Shift<NB>::C3;
    uint32_t s[NB], t[NB];
#pragma GCC unroll 8
    for (int j = 0; j < NB; ++j)
        s[j] = loadWord(in + 4 * j) ^ rk[j];
    for (int r = 1; r < rounds; ++r) {
        rk += NB;
#pragma GCC unroll 8
        for (int j = 0; j < NB; ++j)
            t[j] = Te0[s[j] >> 24] ^ Te1[(s[(j + C1) % NB] >> 16) & 0xff]
                ^ Te2[(s[(j + C2) % NB] >> 8) & 0xff] ^ Te3[s[(j + C3) % NB] & 0xff] ^ rk[j];
#pragma GCC unroll 8
        for (int j = 0; j < NB; ++j)
            s[j] = t[j];
    }
    rk += NB;
#pragma GCC unroll 8
    for (int j = 0; j < NB; ++j)
        storeWord(out + 4 * j,
            word(byteSub[s[j] >> 24], byteSub[(s[(j + C1) % NB] >> 16) & 0xff],
                byteSub[(s[(j + C2) % NB] >> 8) & 0xff], byteSub[s[(j + C3) % NB] & 0xff])
                ^ rk[j]);
}

// The equivalent inverse cipher: the same round shape as encryption, with the
// schedule (already InvMixColumn-ed in its middle) taken from its end.
template <int NB>
inline void decryptBlock(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out)
{
    constexpr int C1 = Shift<NB>::C1, C2 = Shift<NB>::C2, C3 = Shift<NB>::C3;
    uint32_t s[NB], t[NB];
    rk += rounds * NB;
#pragma GCC unroll 8
    for (int j = 0; j < NB; ++j)
        s[j] = loadWord(in + 4 * j) ^ rk[j];
    for (int r = rounds - 1; r > 0; --r) {
        rk -= NB;
#pragma GCC unroll 8
        for (int j = 0; j < NB; ++j)
            t[j] = Td0[s[j] >> 24] ^ Td1[(s[(j + NB - C1) % NB] >> 16) & 0xff]
                ^ Td2[(s[(j + NB - C2) % NB] >> 8) & 0xff] ^ Td3[s[(j + NB - C3) % NB] & 0xff]
                ^ rk[j];
#pragma GCC unroll 8
        for (int j = 0; j < NB; ++j)
            s[j] = t[j];
    }
    rk -= NB;
#pragma GCC unroll 8
    for (int j = 0; j < NB; ++j)
        storeWord(out + 4 * j,
            word(invByteSub[s[j] >> 24], invByteSub[(s[(j + NB - C1) % NB] >> 16) & 0xff],
                invByteSub[(s[(j + NB - C2) % NB] >> 8) & 0xff],
                invByteSub[s[(j + NB - C3) % NB] & 0xff])
                ^ rk[j]);
}

template <int NB>
void encryptRun(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out,
    unsigned long blocks, AES::BlockMode mode)
{
    constexpr int B = NB * 4;
    if (mode == AES::ECB) {
        for (unsigned long k = 0; k < blocks; ++k)
            encryptBlock<NB>(rk, rounds, in + k * B, out + k * B);
    } else {
        uint8_t chain[B] = {};
        for (unsigned long k = 0; k < blocks; ++k) {
            for (int i = 0; i < B; ++i)
                chain[i] ^= in[k * B + i];
            encryptBlock<NB>(rk, rounds, chain, chain);
            std::memcpy(out + k * B, chain, B);
        }
    }
}

template <int NB>
void decryptRun(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out,
    unsigned long blocks, AES::BlockMode mode)
{
    constexpr int B = NB * 4;
    if (mode == AES::ECB) {
        for (unsigned long k = 0; k < blocks; ++k)
            decryptBlock<NB>(rk, rounds, in + k * B, out + k * B);
    } else {
        // The previous cipher block is copied aside, so in == out works too.
        uint8_t previous[B] = {};
        uint8_t current[B];
        uint8_t plain[B];
        for (unsigned long k = 0; k < blocks; ++k) {
            std::memcpy(current, in + k * B, B);
            decryptBlock<NB>(rk, rounds, current, plain);
            for (int i = 0; i < B; ++i)
                out[k * B + i] = uint8_t(plain[i] ^ previous[i]);
            std::memcpy(previous, current, B);
        }
    }
}

} // namespace

AES::AES()
{
    std::call_once(tablesOnce, buildTables);
#if SYNCCORE_AES_HARDWARE
    _useHardware = aeshw::Available();
#endif
}

AES::~AES() = default;

bool AES::HasHardwareSupport()
{
#if SYNCCORE_AES_HARDWARE
    return aeshw::Available();
#else
    return false;
#endif
}

void AES::__TEST_ONLY_UseHardware(bool use)
{
    _useHardware = use && HasHardwareSupport();
}

bool AES::_hardwareApplies() const
{
    return _useHardware && Nb == 4;
}

void AES::SetParameters(int keylength, int blocklength)
{
    // Rounds by block length, then key length: max(Nb, Nk) + 6.
    static const int32_t parameters[3][3] = { { 10, 12, 14 }, { 12, 12, 14 }, { 14, 14, 14 } };
    Nb = Nk = Nr = 0;
    const auto valid = [](int bits) { return bits == 128 || bits == 192 || bits == 256; };
    if (!valid(keylength) || !valid(blocklength))
        return;
    Nk = keylength / 32;
    Nb = blocklength / 32;
    Nr = parameters[(Nb - 4) / 2][(Nk - 4) / 2];
}

void AES::KeyExpansion(const unsigned char* key)
{
    if (Nk == 0)
        return; // unparameterised or bad lengths: nothing to expand
    for (int i = 0; i < Nk; ++i)
        roundKeys[i] = loadWord(key + 4 * i);
    const int total = (Nr + 1) * Nb;
    for (int i = Nk; i < total; ++i) {
        uint32_t temp = roundKeys[i - 1];
        if (i % Nk == 0)
            temp = subWord(rotateRight32(temp, 24)) ^ Rcon[i / Nk];
        else if (Nk > 6 && i % Nk == 4)
            temp = subWord(temp);
        roundKeys[i] = roundKeys[i - Nk] ^ temp;
    }
}

void AES::StartEncryption(const unsigned char* key)
{
    KeyExpansion(key);
}

void AES::StartDecryption(const unsigned char* key)
{
    KeyExpansion(key);
    for (int i = Nb; i < Nb * Nr; ++i)
        roundKeys[i] = invMixColumn(roundKeys[i]);
}

void AES::EncryptBlock(const unsigned char* in, unsigned char* out)
{
    Encrypt(in, out, 1, ECB);
}

void AES::DecryptBlock(const unsigned char* in, unsigned char* out)
{
    Decrypt(in, out, 1, ECB);
}

void AES::Encrypt(
    const unsigned char* in, unsigned char* out, unsigned long numBlocks, BlockMode mode)
{
    if (numBlocks == 0 || (mode != ECB && mode != CBC))
        return;
#if SYNCCORE_AES_HARDWARE
    if (_hardwareApplies()) {
        (mode == ECB ? aeshw::EncryptEcb : aeshw::EncryptCbc)(roundKeys, Nr, in, out, numBlocks);
        return;
    }
#endif
    switch (Nb) {
    case 4:
        encryptRun<4>(roundKeys, Nr, in, out, numBlocks, mode);
        break;
    case 6:
        encryptRun<6>(roundKeys, Nr, in, out, numBlocks, mode);
        break;
    case 8:
        encryptRun<8>(roundKeys, Nr, in, out, numBlocks, mode);
        break;
    default:
        break; // not parameterised: a block has no bytes
    }
}

void AES::Decrypt(
    const unsigned char* in, unsigned char* out, unsigned long numBlocks, BlockMode mode)
{
    if (numBlocks == 0 || (mode != ECB && mode != CBC))
        return;
#if SYNCCORE_AES_HARDWARE
    if (_hardwareApplies()) {
        (mode == ECB ? aeshw::DecryptEcb : aeshw::DecryptCbc)(roundKeys, Nr, in, out, numBlocks);
        return;
    }
#endif
    switch (Nb) {
    case 4:
        decryptRun<4>(roundKeys, Nr, in, out, numBlocks, mode);
        break;
    case 6:
        decryptRun<6>(roundKeys, Nr, in, out, numBlocks, mode);
        break;
    case 8:
        decryptRun<8>(roundKeys, Nr, in, out, numBlocks, mode);
        break;
    default:
        break;
    }
}

} // namespace KvSync_6_0
