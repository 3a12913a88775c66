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

// The rounds work on the state as words and leave loading and storing to the
// callers, so that CBC can chain in registers. L blocks go through the rounds
// side by side where they are independent (ECB, CBC decryption): their
// lookups do not depend on each other, so the processor overlaps them.
template <int NB, int L> using State = uint32_t[L][NB];

// Inlined into each mode's loop, so that the state never leaves registers.
#define SYNCCORE_AES_INLINE inline __attribute__((always_inline))

// Element by element rather than memcpy: the compiler then keeps the state
// in registers instead of going through the stack every round.
template <int NB, int L>
SYNCCORE_AES_INLINE void copyState(State<NB, L>& to, const State<NB, L>& from)
{
#pragma GCC unroll 16
    for (int l = 0; l < L; ++l)
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            to[l][j] = from[l][j];
}

template <int NB, int L> SYNCCORE_AES_INLINE void loadState(State<NB, L>& s, const uint8_t* in)
{
#pragma GCC unroll 16
    for (int l = 0; l < L; ++l)
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            s[l][j] = loadWord(in + 4 * (l * NB + j));
}

template <int NB, int L> SYNCCORE_AES_INLINE void storeState(uint8_t* out, const State<NB, L>& s)
{
#pragma GCC unroll 16
    for (int l = 0; l < L; ++l)
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            storeWord(out + 4 * (l * NB + j), s[l][j]);
}

template <int NB, int L>
SYNCCORE_AES_INLINE void encryptState(const uint32_t* rk, int rounds, State<NB, L>& io)
{
    constexpr int C1 = Shift<NB>::C1, C2 = Shift<NB>::C2, C3 = Shift<NB>::C3;
    State<NB, L> s, t;
    copyState<NB, L>(s, io);
#pragma GCC unroll 16
    for (int l = 0; l < L; ++l)
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            s[l][j] ^= rk[j];
    for (int r = 1; r < rounds; ++r) {
        rk += NB;
#pragma GCC unroll 16
        for (int l = 0; l < L; ++l)
#pragma GCC unroll 16
            for (int j = 0; j < NB; ++j)
                t[l][j] = Te0[s[l][j] >> 24] ^ Te1[(s[l][(j + C1) % NB] >> 16) & 0xff]
                    ^ Te2[(s[l][(j + C2) % NB] >> 8) & 0xff] ^ Te3[s[l][(j + C3) % NB] & 0xff]
                    ^ rk[j];
        copyState<NB, L>(s, t);
    }
    rk += NB;
#pragma GCC unroll 16
    for (int l = 0; l < L; ++l)
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            t[l][j] = word(byteSub[s[l][j] >> 24], byteSub[(s[l][(j + C1) % NB] >> 16) & 0xff],
                          byteSub[(s[l][(j + C2) % NB] >> 8) & 0xff],
                          byteSub[s[l][(j + C3) % NB] & 0xff])
                ^ rk[j];
    copyState<NB, L>(io, t);
}

// The equivalent inverse cipher: the same round shape as encryption, with the
// schedule (already InvMixColumn-ed in its middle) taken from its end.
template <int NB, int L>
SYNCCORE_AES_INLINE void decryptState(const uint32_t* rk, int rounds, State<NB, L>& io)
{
    constexpr int C1 = Shift<NB>::C1, C2 = Shift<NB>::C2, C3 = Shift<NB>::C3;
    State<NB, L> s, t;
    copyState<NB, L>(s, io);
    rk += rounds * NB;
#pragma GCC unroll 16
    for (int l = 0; l < L; ++l)
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            s[l][j] ^= rk[j];
    for (int r = rounds - 1; r > 0; --r) {
        rk -= NB;
#pragma GCC unroll 16
        for (int l = 0; l < L; ++l)
#pragma GCC unroll 16
            for (int j = 0; j < NB; ++j)
                t[l][j] = Td0[s[l][j] >> 24] ^ Td1[(s[l][(j + NB - C1) % NB] >> 16) & 0xff]
                    ^ Td2[(s[l][(j + NB - C2) % NB] >> 8) & 0xff]
                    ^ Td3[s[l][(j + NB - C3) % NB] & 0xff] ^ rk[j];
        copyState<NB, L>(s, t);
    }
    rk -= NB;
#pragma GCC unroll 16
    for (int l = 0; l < L; ++l)
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            t[l][j] = word(invByteSub[s[l][j] >> 24],
                          invByteSub[(s[l][(j + NB - C1) % NB] >> 16) & 0xff],
                          invByteSub[(s[l][(j + NB - C2) % NB] >> 8) & 0xff],
                          invByteSub[s[l][(j + NB - C3) % NB] & 0xff])
                ^ rk[j];
    copyState<NB, L>(io, t);
}

// Blocks side by side in the independent modes.
constexpr int Lanes = 2;

template <int NB, int L, bool Encrypting>
inline void ecbBlocks(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out)
{
    State<NB, L> s;
    loadState<NB, L>(s, in);
    if (Encrypting)
        encryptState<NB, L>(rk, rounds, s);
    else
        decryptState<NB, L>(rk, rounds, s);
    storeState<NB, L>(out, s);
}

template <int NB>
void encryptRun(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out,
    unsigned long blocks, AES::BlockMode mode)
{
    constexpr unsigned long B = NB * 4;
    unsigned long k = 0;
    if (mode == AES::ECB) {
        for (; k + Lanes <= blocks; k += Lanes)
            ecbBlocks<NB, Lanes, true>(rk, rounds, in + k * B, out + k * B);
        for (; k < blocks; ++k)
            ecbBlocks<NB, 1, true>(rk, rounds, in + k * B, out + k * B);
        return;
    }
    // The chain stays in the state words: each cipher block is the next one's vector.
    State<NB, 1> chain = {};
    for (; k < blocks; ++k) {
        State<NB, 1> s;
        loadState<NB, 1>(s, in + k * B);
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            chain[0][j] ^= s[0][j];
        encryptState<NB, 1>(rk, rounds, chain);
        storeState<NB, 1>(out + k * B, chain);
    }
}

template <int NB>
void decryptRun(const uint32_t* rk, int rounds, const uint8_t* in, uint8_t* out,
    unsigned long blocks, AES::BlockMode mode)
{
    constexpr unsigned long B = NB * 4;
    unsigned long k = 0;
    if (mode == AES::ECB) {
        for (; k + Lanes <= blocks; k += Lanes)
            ecbBlocks<NB, Lanes, false>(rk, rounds, in + k * B, out + k * B);
        for (; k < blocks; ++k)
            ecbBlocks<NB, 1, false>(rk, rounds, in + k * B, out + k * B);
        return;
    }
    // The cipher blocks are kept as loaded, so in == out works too.
    State<NB, 1> previous = {};
    for (; k + Lanes <= blocks; k += Lanes) {
        State<NB, Lanes> cipher, s;
        loadState<NB, Lanes>(cipher, in + k * B);
        copyState<NB, Lanes>(s, cipher);
        decryptState<NB, Lanes>(rk, rounds, s);
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            s[0][j] ^= previous[0][j];
#pragma GCC unroll 16
        for (int l = 1; l < Lanes; ++l)
#pragma GCC unroll 16
            for (int j = 0; j < NB; ++j)
                s[l][j] ^= cipher[l - 1][j];
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            previous[0][j] = cipher[Lanes - 1][j];
        storeState<NB, Lanes>(out + k * B, s);
    }
    for (; k < blocks; ++k) {
        State<NB, 1> cipher, s;
        loadState<NB, 1>(cipher, in + k * B);
        copyState<NB, 1>(s, cipher);
        decryptState<NB, 1>(rk, rounds, s);
#pragma GCC unroll 16
        for (int j = 0; j < NB; ++j)
            s[0][j] ^= previous[0][j];
        copyState<NB, 1>(previous, cipher);
        storeState<NB, 1>(out + k * B, s);
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
