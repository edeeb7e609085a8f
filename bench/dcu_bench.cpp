// The speed of the memory cipher in all modes: the reference implementation, the fastest one for this processor, and
// plain AES for comparison.

#include "Preparation/src/DCU/memoryCipherFast.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <memory>
#include <vector>

namespace {

constexpr std::array<std::uint8_t, 16> key = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
constexpr std::uint32_t startAddress = 0xB0000000;
constexpr std::size_t imageSize = 64 << 10;  // fits the second-level cache, so that memory doesn't limit the speed

template <auto encrypt>
void memoryCipher(benchmark::State& state) {
    const auto mode = static_cast<std::uint32_t>(state.range(0));
    const auto size = static_cast<std::size_t>(state.range(1));
    const std::vector<std::uint8_t> plain(size, 0x5A);
    std::vector<std::uint8_t> out(size);
    for ([[maybe_unused]] auto _ : state) {
        encrypt(mode, key, startAddress, plain, out);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * state.range(1));
}

void opensslAesEcb(benchmark::State& state) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  EVP_CIPHER_CTX_free);
    const std::vector<std::uint8_t> plain(imageSize, 0x5A);
    std::vector<std::uint8_t> out(imageSize + 16);
    int written = 0;
    if (EVP_EncryptInit_ex(context.get(), EVP_aes_128_ecb(), nullptr, key.data(), nullptr) != 1) {
        state.SkipWithError("no AES");
    }
    for ([[maybe_unused]] auto _ : state) {
        if (EVP_EncryptUpdate(context.get(), out.data(), &written, plain.data(), static_cast<int>(plain.size())) != 1) {
            state.SkipWithError("AES failed");
        }
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(imageSize));
}

BENCHMARK(memoryCipher<encryptGroupsPortable>)->ArgsProduct({{0, 1, 2}, {8 << 10}})->ArgNames({"mode", "size"});
BENCHMARK(memoryCipher<encryptGroups>)->ArgsProduct({{0, 1, 2}, {imageSize}})->ArgNames({"mode", "size"});
BENCHMARK(opensslAesEcb);

}  // namespace

BENCHMARK_MAIN();
