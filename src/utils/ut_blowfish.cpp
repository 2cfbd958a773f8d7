#include "ut_blowfish.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "ut_log.h"

namespace ut {

namespace {

#include "ut_blowfish_init.inc"

static_assert(sizeof(unsigned int) == 4, "blocks are two 32-bit words");

const char kFile[] = "src/utils/ut_blowfish";
constexpr int kRounds = 16;
constexpr int kPWords = kRounds + 2;
constexpr int kSWords = 4 * 256;
constexpr int kMaxKeyBytes = kPWords * 4;

// Written byte by byte so that the order is the same on any host; compilers turn
// these into single loads and stores on little-endian machines.
inline uint32_t loadLe(const unsigned char* p) {
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

inline void storeLe(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
    p[2] = static_cast<unsigned char>(v >> 16);
    p[3] = static_cast<unsigned char>(v >> 24);
}

inline uint32_t f(const uint32_t* s, uint32_t x) {
    return ((s[x >> 24] + s[256 + ((x >> 16) & 0xFF)]) ^ s[512 + ((x >> 8) & 0xFF)]) +
           s[768 + (x & 0xFF)];
}

// N independent blocks go through the rounds side by side. Each round waits on
// four table loads of the round before, so one block at a time leaves the CPU
// mostly idle; ECB has no chaining, and interleaving blocks fills those gaps.
template <int N>
inline void encipherBlocks(const uint32_t* p, const uint32_t* s, uint32_t (&l)[N], uint32_t (&r)[N]) {
    for (int k = 0; k < N; ++k)
        l[k] ^= p[0];
    for (int i = 1; i < kRounds; i += 2) {
        for (int k = 0; k < N; ++k)
            r[k] ^= f(s, l[k]) ^ p[i];
        for (int k = 0; k < N; ++k)
            l[k] ^= f(s, r[k]) ^ p[i + 1];
    }
    for (int k = 0; k < N; ++k) {
        r[k] ^= p[kRounds + 1];
        std::swap(l[k], r[k]);
    }
}

template <int N>
inline void decipherBlocks(const uint32_t* p, const uint32_t* s, uint32_t (&l)[N], uint32_t (&r)[N]) {
    for (int k = 0; k < N; ++k)
        l[k] ^= p[kRounds + 1];
    for (int i = kRounds; i > 1; i -= 2) {
        for (int k = 0; k < N; ++k)
            r[k] ^= f(s, l[k]) ^ p[i];
        for (int k = 0; k < N; ++k)
            l[k] ^= f(s, r[k]) ^ p[i - 1];
    }
    for (int k = 0; k < N; ++k) {
        r[k] ^= p[0];
        std::swap(l[k], r[k]);
    }
}

template <bool Encipher, int N>
inline void cryptGroup(const uint32_t* p, const uint32_t* s, const unsigned char* in, unsigned char* out) {
    uint32_t l[N], r[N];
    for (int k = 0; k < N; ++k) {
        l[k] = loadLe(in + 8 * k);
        r[k] = loadLe(in + 8 * k + 4);
    }
    if constexpr (Encipher)
        encipherBlocks<N>(p, s, l, r);
    else
        decipherBlocks<N>(p, s, l, r);
    for (int k = 0; k < N; ++k) {
        storeLe(out + 8 * k, l[k]);
        storeLe(out + 8 * k + 4, r[k]);
    }
}

// Whole blocks from in to out. A group is read completely before it is written,
// so in == out works.
template <bool Encipher>
void cryptBlocks(const uint32_t* p, const uint32_t* s, const unsigned char* in, unsigned char* out,
                 size_t blocks) {
    constexpr int kGroup = 4;
    size_t i = 0;
    for (; i + kGroup <= blocks; i += kGroup)
        cryptGroup<Encipher, kGroup>(p, s, in + 8 * i, out + 8 * i);
    for (; i < blocks; ++i)
        cryptGroup<Encipher, 1>(p, s, in + 8 * i, out + 8 * i);
}

} // namespace

CBlowfishCrypt::CBlowfishCrypt() : m_pP(new unsigned int[kPWords]()), m_pS(new unsigned int[kSWords]()) {}

CBlowfishCrypt::CBlowfishCrypt(unsigned char* const key, int keyLength) : CBlowfishCrypt() {
    initialize(key, keyLength);
}

CBlowfishCrypt::~CBlowfishCrypt() {
    // The schedule is derived from the key; do not leave it behind in freed memory.
    // volatile keeps the compiler from dropping stores to memory about to be freed.
    volatile unsigned int* p = m_pP;
    for (int i = 0; i < kPWords; ++i)
        p[i] = 0;
    volatile unsigned int* s = m_pS;
    for (int i = 0; i < kSWords; ++i)
        s[i] = 0;
    delete[] m_pP;
    delete[] m_pS;
}

bool CBlowfishCrypt::initialize(unsigned char* const key, int keyLength) {
    m_keyed = false;
    if (!key || keyLength < 1) {
        // The key bytes are taken cyclically, modulo the length: there is no
        // schedule for an empty key.
        logError(kFile, "ut::CBlowfishCrypt::initialize", "refused a %s key", key ? "zero-length" : "null");
        return false;
    }
    std::memcpy(m_pP, kInitialP, sizeof kInitialP);
    std::memcpy(m_pS, kInitialS, sizeof kInitialS);

    // Only the first 72 bytes can be reached: 18 words of 4 bytes.
    const int used = keyLength < kMaxKeyBytes ? keyLength : kMaxKeyBytes;
    int j = 0;
    for (int i = 0; i < kPWords; ++i) {
        uint32_t word = 0;
        for (int k = 0; k < 4; ++k) {
            word = word << 8 | key[j];
            j = j + 1 == used ? 0 : j + 1;
        }
        m_pP[i] ^= word;
    }

    unsigned int left = 0, right = 0;
    for (int i = 0; i < kPWords; i += 2) {
        encipher(&left, &right);
        m_pP[i] = left;
        m_pP[i + 1] = right;
    }
    for (int i = 0; i < kSWords; i += 2) {
        encipher(&left, &right);
        m_pS[i] = left;
        m_pS[i + 1] = right;
    }
    m_keyed = true;
    return true;
}

unsigned int CBlowfishCrypt::getOutputLength(unsigned int n) {
    if (n > 0xFFFFFFF8u)
        return 0;
    return (n + 7u) & ~7u;
}

void CBlowfishCrypt::encipher(unsigned int* left, unsigned int* right) {
    uint32_t l[1] = {*left}, r[1] = {*right};
    encipherBlocks<1>(m_pP, m_pS, l, r);
    *left = l[0];
    *right = r[0];
}

void CBlowfishCrypt::decipher(unsigned int* left, unsigned int* right) {
    uint32_t l[1] = {*left}, r[1] = {*right};
    decipherBlocks<1>(m_pP, m_pS, l, r);
    *left = l[0];
    *right = r[0];
}

bool CBlowfishCrypt::usable(const unsigned char* in, const unsigned char* out, const char* function) const {
    if (!in || !out) {
        logError(kFile, function, "refused a null buffer");
        return false;
    }
    if (!m_keyed) {
        logError(kFile, function, "refused: no key has been set");
        return false;
    }
    return true;
}

unsigned int CBlowfishCrypt::encode(unsigned char* buffer, unsigned int length) {
    return encode(buffer, buffer, length);
}

unsigned int CBlowfishCrypt::encode(unsigned char* in, unsigned char* out, unsigned int length) {
    if (length == 0)
        return 0;
    const unsigned int padded = getOutputLength(length);
    if (padded == 0) {
        logError(kFile, "ut::CBlowfishCrypt::encode", "refused: %u bytes cannot be padded to whole blocks",
                 length);
        return 0;
    }
    if (!usable(in, out, "ut::CBlowfishCrypt::encode"))
        return 0;
    const unsigned int whole = length / 8;
    cryptBlocks<true>(m_pP, m_pS, in, out, whole);
    if (const unsigned int rest = length % 8) {
        // The partial block is completed with zeros in a copy, so that in is never
        // read beyond length even when out is a different buffer.
        unsigned char last[8] = {};
        std::memcpy(last, in + 8 * size_t(whole), rest);
        cryptBlocks<true>(m_pP, m_pS, last, out + 8 * size_t(whole), 1);
    }
    return padded;
}

void CBlowfishCrypt::decode(unsigned char* buffer, unsigned int length) { decode(buffer, buffer, length); }

void CBlowfishCrypt::decode(unsigned char* in, unsigned char* out, unsigned int length) {
    if (length == 0 || !usable(in, out, "ut::CBlowfishCrypt::decode"))
        return;
    const size_t blocks = (size_t(length) + 7) / 8;
    cryptBlocks<false>(m_pP, m_pS, in, out, blocks);
}

} // namespace ut
