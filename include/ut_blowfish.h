// The Blowfish block cipher (64-bit blocks, 16 rounds), applied block by block
// without chaining (electronic code book) to byte buffers padded with zero bytes
// to a multiple of 8.
//
// Byte order: each 8-byte block is a left and a right 32-bit word, each stored
// little-endian (the block 00 01 02 03 04 05 06 07 is left 0x03020100, right
// 0x07060504). The published test vectors and most other implementations use
// big-endian words, so their ciphertext differs; this order is the one existing
// peers wrote and must be kept for their data to read back.
//
// Padding: encode pads the last block with zero bytes and returns the padded
// length; decode leaves the padding in place. The true length is the caller's to
// keep, and a plaintext that itself ends in zero bytes cannot be told apart from
// its padding.
//
// ECB reveals equal plaintext blocks as equal ciphertext blocks; the mode is kept
// for compatibility, not chosen for strength.
#pragma once

#include "drutils_export.h"

namespace ut {

class DRUTILS_API CBlowfishCrypt {
public:
    // Unkeyed: encode and decode refuse to work until initialize succeeds.
    CBlowfishCrypt();
    // Keyed at once; see initialize for what is refused.
    CBlowfishCrypt(unsigned char* const key, int keyLength);
    ~CBlowfishCrypt();
    CBlowfishCrypt(const CBlowfishCrypt&) = delete;
    CBlowfishCrypt& operator=(const CBlowfishCrypt&) = delete;

    // The key schedule. Every key byte up to the 72nd takes part (not only the
    // customary 56); shorter keys are repeated cyclically, bytes after the 72nd are
    // ignored. A null key or a length below 1 is refused: false, an error in the
    // library log, and the object is left unkeyed (even if it held a key before),
    // so that nothing is enciphered with a key the caller did not mean.
    bool initialize(unsigned char* const key, int keyLength);
    bool isInitialized() const { return m_keyed; }

    // n rounded up to a multiple of 8 (0 stays 0). Lengths above 0xFFFFFFF8 cannot
    // be padded within an unsigned int and give 0.
    static unsigned int getOutputLength(unsigned int n);

    // Enciphers length bytes in place and returns the padded length
    // getOutputLength(length); the buffer must have room for that many bytes, the
    // bytes after length are overwritten by the padding. Returns 0 and leaves the
    // buffer alone when there is nothing to do or the call is refused: a null
    // buffer, an unkeyed object, a length that cannot be padded (these are logged).
    unsigned int encode(unsigned char* buffer, unsigned int length);
    // As above, reading length bytes of in and writing getOutputLength(length)
    // bytes to out. in and out are the same buffer or do not overlap at all.
    unsigned int encode(unsigned char* in, unsigned char* out, unsigned int length);

    // Deciphers the ceil(length / 8) blocks that hold length bytes. A length that is
    // not a multiple of 8 still deciphers its whole last block, so the buffers
    // must extend to the next multiple of 8; the zero padding is not removed.
    // Refused (logged, nothing written) for a null buffer or an unkeyed object.
    void decode(unsigned char* buffer, unsigned int length);
    // As above into out (the same buffer as in, or one that does not overlap it).
    void decode(unsigned char* in, unsigned char* out, unsigned int length);

private:
    // One block, words as loaded from the buffer.
    void encipher(unsigned int* left, unsigned int* right);
    void decipher(unsigned int* left, unsigned int* right);
    bool usable(const unsigned char* in, const unsigned char* out, const char* function) const;

    unsigned int* m_pP; // 18 round keys
    unsigned int* m_pS; // four substitution boxes of 256 words, one after the other
    bool m_keyed = false;
};

} // namespace ut
