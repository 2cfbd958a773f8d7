// Blowfish throughput on a 16 MiB buffer: ut::CBlowfishCrypt against OpenSSL's
// BF_ecb_encrypt (libcrypto), the baseline, with the same key in the same run.
// OpenSSL reads its words big-endian and the library little-endian, which does
// not change the work per block.
#define OPENSSL_SUPPRESS_DEPRECATED // BF_* are deprecated in OpenSSL 3 but still the baseline
#include <openssl/blowfish.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

#include "ratio_reporter.h"
#include "ut_blowfish.h"

namespace {

constexpr size_t kSize = 16u << 20;

std::vector<unsigned char> randomBytes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<unsigned char> v(n);
    for (auto& c : v)
        c = static_cast<unsigned char>(rng());
    return v;
}

const std::vector<unsigned char>& key() {
    static const auto k = randomBytes(16, 1);
    return k;
}

void libraryCrypt(benchmark::State& state, bool encode) {
    auto data = randomBytes(kSize, 2);
    auto k = key();
    ut::CBlowfishCrypt cipher(k.data(), static_cast<int>(k.size()));
    for (auto _ : state) {
        if (encode)
            benchmark::DoNotOptimize(cipher.encode(data.data(), static_cast<unsigned>(kSize)));
        else
            cipher.decode(data.data(), static_cast<unsigned>(kSize));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kSize));
}

void openSslCrypt(benchmark::State& state, int direction) {
    auto data = randomBytes(kSize, 2);
    BF_KEY schedule;
    BF_set_key(&schedule, static_cast<int>(key().size()), key().data());
    for (auto _ : state) {
        for (size_t i = 0; i < kSize; i += 8)
            BF_ecb_encrypt(&data[i], &data[i], &schedule, direction);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kSize));
}

void BM_Encode_Library(benchmark::State& s) { libraryCrypt(s, true); }
void BM_Encode_OpenSSL(benchmark::State& s) { openSslCrypt(s, BF_ENCRYPT); }
void BM_Decode_Library(benchmark::State& s) { libraryCrypt(s, false); }
void BM_Decode_OpenSSL(benchmark::State& s) { openSslCrypt(s, BF_DECRYPT); }

BENCHMARK(BM_Encode_Library)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Encode_OpenSSL)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode_Library)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode_OpenSSL)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios({{"BM_Encode_Library", "BM_Encode_OpenSSL", "encode 16 MiB vs BF_ecb_encrypt"},
                          {"BM_Decode_Library", "BM_Decode_OpenSSL", "decode 16 MiB vs BF_ecb_encrypt"}});
    benchmark::Shutdown();
    return 0;
}
