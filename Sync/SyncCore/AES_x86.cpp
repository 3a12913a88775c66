// AES-NI rounds for 128-bit blocks. Only these functions are compiled for the
// AES and SSE4.1 instruction sets (by target attribute), so the rest of the
// library runs on any x86-64; AES::_hardwareApplies() asks Available() first.

#include "Sync/SyncCore/AES_p.h"

#if SYNCCORE_AES_HARDWARE

#include <immintrin.h>

#define AESHW_TARGET __attribute__((target("aes,sse4.1")))

inline namespace KvSync_6_0 {
namespace aeshw {

namespace {

// Blocks in flight at once where blocks do not depend on each other: enough
// to cover the latency of the round instruction on current cores.
constexpr size_t Lanes = 8;

struct Schedule
{
    __m128i k[15];
};

// The class keeps each word with its first byte in the top bits; the
// instructions want the bytes in memory order.
AESHW_TARGET inline void loadSchedule(const uint32_t* words, int rounds, Schedule& s)
{
    const __m128i swap = _mm_set_epi8(12, 13, 14, 15, 8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3);
    for (int r = 0; r <= rounds; ++r)
        s.k[r] = _mm_shuffle_epi8(
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(words + 4 * r)), swap);
}

AESHW_TARGET inline __m128i load(const uint8_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

AESHW_TARGET inline void store(uint8_t* p, __m128i v)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

AESHW_TARGET inline __m128i encryptOne(const Schedule& s, int rounds, __m128i b)
{
    b = _mm_xor_si128(b, s.k[0]);
    for (int r = 1; r < rounds; ++r)
        b = _mm_aesenc_si128(b, s.k[r]);
    return _mm_aesenclast_si128(b, s.k[rounds]);
}

// The schedule is used from its end: the class stores the decryption
// schedule in encryption order.
AESHW_TARGET inline __m128i decryptOne(const Schedule& s, int rounds, __m128i b)
{
    b = _mm_xor_si128(b, s.k[rounds]);
    for (int r = rounds - 1; r > 0; --r)
        b = _mm_aesdec_si128(b, s.k[r]);
    return _mm_aesdeclast_si128(b, s.k[0]);
}

AESHW_TARGET inline void encryptLanes(const Schedule& s, int rounds, __m128i* b)
{
#pragma GCC unroll 8
    for (size_t j = 0; j < Lanes; ++j)
        b[j] = _mm_xor_si128(b[j], s.k[0]);
    for (int r = 1; r < rounds; ++r) {
        const __m128i k = s.k[r];
#pragma GCC unroll 8
        for (size_t j = 0; j < Lanes; ++j)
            b[j] = _mm_aesenc_si128(b[j], k);
    }
#pragma GCC unroll 8
    for (size_t j = 0; j < Lanes; ++j)
        b[j] = _mm_aesenclast_si128(b[j], s.k[rounds]);
}

AESHW_TARGET inline void decryptLanes(const Schedule& s, int rounds, __m128i* b)
{
#pragma GCC unroll 8
    for (size_t j = 0; j < Lanes; ++j)
        b[j] = _mm_xor_si128(b[j], s.k[rounds]);
    for (int r = rounds - 1; r > 0; --r) {
        const __m128i k = s.k[r];
#pragma GCC unroll 8
        for (size_t j = 0; j < Lanes; ++j)
            b[j] = _mm_aesdec_si128(b[j], k);
    }
#pragma GCC unroll 8
    for (size_t j = 0; j < Lanes; ++j)
        b[j] = _mm_aesdeclast_si128(b[j], s.k[0]);
}

} // namespace

bool Available()
{
    static const bool available = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("aes") && __builtin_cpu_supports("sse4.1");
    }();
    return available;
}

AESHW_TARGET void EncryptEcb(
    const uint32_t* roundKeys, int rounds, const uint8_t* in, uint8_t* out, size_t blocks)
{
    Schedule s;
    loadSchedule(roundKeys, rounds, s);
    size_t i = 0;
    for (; i + Lanes <= blocks; i += Lanes) {
        __m128i b[Lanes];
#pragma GCC unroll 8
        for (size_t j = 0; j < Lanes; ++j)
            b[j] = load(in + 16 * (i + j));
        encryptLanes(s, rounds, b);
#pragma GCC unroll 8
        for (size_t j = 0; j < Lanes; ++j)
            store(out + 16 * (i + j), b[j]);
    }
    for (; i < blocks; ++i)
        store(out + 16 * i, encryptOne(s, rounds, load(in + 16 * i)));
}

AESHW_TARGET void EncryptCbc(
    const uint32_t* roundKeys, int rounds, const uint8_t* in, uint8_t* out, size_t blocks)
{
    // Each block needs the one before it: no lanes here.
    Schedule s;
    loadSchedule(roundKeys, rounds, s);
    __m128i chain = _mm_setzero_si128();
    for (size_t i = 0; i < blocks; ++i) {
        chain = encryptOne(s, rounds, _mm_xor_si128(chain, load(in + 16 * i)));
        store(out + 16 * i, chain);
    }
}

AESHW_TARGET void DecryptEcb(
    const uint32_t* roundKeys, int rounds, const uint8_t* in, uint8_t* out, size_t blocks)
{
    Schedule s;
    loadSchedule(roundKeys, rounds, s);
    size_t i = 0;
    for (; i + Lanes <= blocks; i += Lanes) {
        __m128i b[Lanes];
#pragma GCC unroll 8
        for (size_t j = 0; j < Lanes; ++j)
            b[j] = load(in + 16 * (i + j));
        decryptLanes(s, rounds, b);
#pragma GCC unroll 8
        for (size_t j = 0; j < Lanes; ++j)
            store(out + 16 * (i + j), b[j]);
    }
    for (; i < blocks; ++i)
        store(out + 16 * i, decryptOne(s, rounds, load(in + 16 * i)));
}

AESHW_TARGET void DecryptCbc(
    const uint32_t* roundKeys, int rounds, const uint8_t* in, uint8_t* out, size_t blocks)
{
    // Decryption of each block is independent; only the final xor needs the
    // previous cipher block, which is kept in a register so that in == out works.
    Schedule s;
    loadSchedule(roundKeys, rounds, s);
    __m128i previous = _mm_setzero_si128();
    size_t i = 0;
    for (; i + Lanes <= blocks; i += Lanes) {
        __m128i c[Lanes];
        __m128i b[Lanes];
#pragma GCC unroll 8
        for (size_t j = 0; j < Lanes; ++j)
            b[j] = c[j] = load(in + 16 * (i + j));
        decryptLanes(s, rounds, b);
        b[0] = _mm_xor_si128(b[0], previous);
#pragma GCC unroll 8
        for (size_t j = 1; j < Lanes; ++j)
            b[j] = _mm_xor_si128(b[j], c[j - 1]);
        previous = c[Lanes - 1];
#pragma GCC unroll 8
        for (size_t j = 0; j < Lanes; ++j)
            store(out + 16 * (i + j), b[j]);
    }
    for (; i < blocks; ++i) {
        const __m128i c = load(in + 16 * i);
        store(out + 16 * i, _mm_xor_si128(decryptOne(s, rounds, c), previous));
        previous = c;
    }
}

} // namespace aeshw
} // namespace KvSync_6_0

#endif // SYNCCORE_AES_HARDWARE
