#pragma once

#include "kvsynccore_export.h"

#include <cstdint>

inline namespace KvSync_6_0 {

/**
 * @brief Rijndael block cipher: AES with 128-, 192- and 256-bit keys, and the
 * 192- and 256-bit blocks that Rijndael also allows, in ECB or CBC mode.
 *
 * Calling order: construct, SetParameters(), then StartEncryption() or
 * StartDecryption(), then any number of Encrypt() or Decrypt() calls of the
 * matching direction. A key schedule made for one direction must not be used
 * for the other; changing the parameters needs a fresh Start call.
 *
 * The lookup tables are shared by the whole process and computed by the first
 * constructor (once, safely from any thread). An object itself is not meant
 * to be shared between threads.
 *
 * With 128-bit blocks on an x86-64 processor with AES instructions (checked
 * at run time) the work is done by those instructions; every other case runs
 * the table-driven rounds. Both give the same bytes.
 *
 * Not in `sync::core`: a plain cipher with no ties to the rest of the
 * library, named `AES` from the global namespace (it sits only in the
 * library's inline ABI namespace).
 */
class KVSYNCCORE_EXPORT AES
{
public:
    /// Block chaining. Any other value makes Encrypt() and Decrypt() write nothing.
    enum BlockMode : int {
        ECB = 0, ///< every block on its own
        CBC = 1, ///< cipher block chaining with an all-zero initialisation vector
    };

    /// Builds the shared tables if no object has yet; the lengths stay unset until SetParameters().
    AES();
    virtual ~AES();

    /**
     * @brief Chooses the key and block length, in bits (128, 192 or 256 each).
     *
     * Kept on purpose: any other length leaves Nb, Nk and Nr all at 0 without
     * an error, and the object then encrypts and decrypts nothing.
     */
    void SetParameters(int keylength, int blocklength);

    /// Expands @p key (keylength / 8 bytes) for Encrypt().
    void StartEncryption(const unsigned char* key);
    /// Expands @p key (keylength / 8 bytes) for Decrypt(), in the equivalent-inverse-cipher form.
    void StartDecryption(const unsigned char* key);

    /**
     * @brief Encrypts @p numBlocks blocks of blocklength / 8 bytes from @p in to @p out.
     *
     * CBC starts from an all-zero initialisation vector, so equal inputs give
     * equal outputs (kept on purpose: stored values rely on it). @p in and
     * @p out may be the same buffer.
     */
    void Encrypt(
        const unsigned char* in, unsigned char* out, unsigned long numBlocks, BlockMode mode);

    /**
     * @brief Decrypts @p numBlocks blocks from @p in to @p out.
     *
     * Callers should not let the buffers overlap in CBC mode (the previous
     * cipher block is taken from the input); this implementation copes with
     * @p in == @p out, but nothing in between.
     */
    void Decrypt(
        const unsigned char* in, unsigned char* out, unsigned long numBlocks, BlockMode mode);

    /// Encrypts one block with the schedule of StartEncryption().
    void EncryptBlock(const unsigned char* in, unsigned char* out);
    /// Decrypts one block with the schedule of StartDecryption().
    void DecryptBlock(const unsigned char* in, unsigned char* out);

    /// The Rijndael key schedule into roundKeys; both Start operations use it.
    void KeyExpansion(const unsigned char* key);

    /// True when this processor has the AES instructions that the 128-bit block path uses.
    static bool HasHardwareSupport();

    /// Block length in 32-bit words as set by SetParameters() (for tests).
    int __TEST_ONLY_Nb() const { return Nb; }
    /// Key length in 32-bit words as set by SetParameters() (for tests).
    int __TEST_ONLY_Nk() const { return Nk; }
    /// Number of rounds as set by SetParameters() (for tests).
    int __TEST_ONLY_Nr() const { return Nr; }
    /// Turns the AES instructions on or off for this object (on only where present); for tests and
    /// benchmarks.
    void __TEST_ONLY_UseHardware(bool use);
    /// Whether this object runs the AES instructions for its 128-bit blocks.
    bool __TEST_ONLY_UsesHardware() const { return _useHardware; }

private:
    bool _hardwareApplies() const;

    int Nb = 0; ///< block length in 32-bit words: 4, 6 or 8 (0 when unset)
    int Nk = 0; ///< key length in 32-bit words: 4, 6 or 8 (0 when unset)
    int Nr = 0; ///< number of rounds
    /// Expanded key schedule, (Nr + 1) * Nb words in use; each word holds four bytes, the first in
    /// the top bits.
    uint32_t roundKeys[(14 + 1) * 8] = {};
    bool _useHardware = false;
};

} // namespace KvSync_6_0
