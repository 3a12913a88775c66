#pragma once

// The AES-instruction path of the AES class (128-bit blocks only). Never
// installed. The key schedules are the class's own word arrays, so both paths
// share one key expansion: the decryption schedule is already in the
// equivalent-inverse-cipher form that the instructions expect.

#include <cstddef>
#include <cstdint>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define SYNCCORE_AES_HARDWARE 1
#else
#define SYNCCORE_AES_HARDWARE 0
#endif

#if SYNCCORE_AES_HARDWARE
inline namespace KvSync_6_0 {
namespace aeshw {

/// True when the processor has AES-NI and SSE4.1 (asked once).
bool Available();

// roundKeys: (rounds + 1) * 4 words, first byte of each word in its top bits.
// The CBC functions start from an all-zero initialisation vector. in == out is allowed.
void EncryptEcb(
    const uint32_t* roundKeys, int rounds, const uint8_t* in, uint8_t* out, size_t blocks);
void EncryptCbc(
    const uint32_t* roundKeys, int rounds, const uint8_t* in, uint8_t* out, size_t blocks);
void DecryptEcb(
    const uint32_t* roundKeys, int rounds, const uint8_t* in, uint8_t* out, size_t blocks);
void DecryptCbc(
    const uint32_t* roundKeys, int rounds, const uint8_t* in, uint8_t* out, size_t blocks);

} // namespace aeshw
} // namespace KvSync_6_0
#endif
