#include "platform/checksum.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ut::platform {

namespace {

constexpr uint32_t kBase = 65521;
// The most bytes after which b, starting below kBase, still fits 32 bits:
// 255 n (n + 1) / 2 + (n + 1) (kBase - 1) <= 2^32 - 1.
constexpr size_t kMaxRun = 5552;

#if defined(__SSE2__)
uint64_t sumLanes(__m128i v) { // two 64-bit lanes
    return uint64_t(_mm_cvtsi128_si64(v)) + uint64_t(_mm_cvtsi128_si64(_mm_unpackhi_epi64(v, v)));
}
uint64_t sumLanes32(__m128i v) { // four 32-bit lanes
    alignas(16) uint32_t x[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(x), v);
    return uint64_t(x[0]) + x[1] + x[2] + x[3];
}

// Whole 16-byte blocks of a run. Over a block x0..x15 entered with a, b gains
// 16 a + 16 x0 + 15 x1 + ... + 1 x15 and a gains the sum of x; so b gains 16
// times the sum of a over the blocks' starts, plus the weighted sums.
void blocks(uint32_t& a, uint32_t& b, const unsigned char* p, size_t count) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i weightsLow = _mm_setr_epi16(16, 15, 14, 13, 12, 11, 10, 9);
    const __m128i weightsHigh = _mm_setr_epi16(8, 7, 6, 5, 4, 3, 2, 1);
    __m128i sum = zero;      // bytes so far, in 64-bit lanes
    __m128i starts = zero;   // sum over the blocks of the bytes before each
    __m128i weighted = zero; // weighted sums, in 32-bit lanes
    for (size_t i = 0; i < count; ++i, p += 16) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        starts = _mm_add_epi64(starts, sum);
        sum = _mm_add_epi64(sum, _mm_sad_epu8(x, zero));
        weighted = _mm_add_epi32(weighted, _mm_madd_epi16(_mm_unpacklo_epi8(x, zero), weightsLow));
        weighted = _mm_add_epi32(weighted, _mm_madd_epi16(_mm_unpackhi_epi8(x, zero), weightsHigh));
    }
    const uint64_t bb = uint64_t(b) + 16 * (uint64_t(a) * count + sumLanes(starts)) + sumLanes32(weighted);
    a = uint32_t((a + sumLanes(sum)) % kBase);
    b = uint32_t(bb % kBase);
}
#endif

} // namespace

uint32_t adler32(uint32_t adler, const void* data, size_t size) {
    uint32_t a = adler & 0xFFFF, b = adler >> 16;
    const auto* p = static_cast<const unsigned char*>(data);
    while (size > 0) {
        size_t run = size < kMaxRun ? size : kMaxRun;
        size -= run;
#if defined(__SSE2__)
        // A run's 347 blocks at most keep every lane far below overflow.
        const size_t whole = run / 16;
        blocks(a, b, p, whole);
        p += whole * 16;
        run -= whole * 16;
#endif
        for (; run > 0; --run) {
            a += *p++;
            b += a;
        }
        a %= kBase;
        b %= kBase;
    }
    return b << 16 | a;
}

} // namespace ut::platform
