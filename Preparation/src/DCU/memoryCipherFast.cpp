#include "Preparation/src/DCU/memoryCipherFast.h"

#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace {

#if defined(__x86_64__)

constexpr EncryptGroups ways[] = {encryptGroupsWideAes, encryptGroupsVector, encryptGroupsPortable};

// CPUID is read directly, because not every compiler knows VAES by name. The test for AVX2 already covers the operating
// system's support for vectors.
bool hasVaes() {
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
    return __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_VAES) != 0;
}

std::size_t firstWay() {
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("aes")) {
        return 2;
    }
    return hasVaes() ? 0 : 1;
}

#else

constexpr EncryptGroups ways[] = {encryptGroupsPortable};

std::size_t firstWay() {
    return 0;
}

#endif

}  // namespace

std::span<const EncryptGroups> memoryCipherWays() {
    static const std::size_t first = firstWay();
    return std::span(ways).subspan(first);
}

void encryptGroups(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                   std::span<std::uint8_t> out) {
    memoryCipherWays().front()(mode, key, address, plain, out);
}

void encryptGroupsPortable(std::uint32_t mode, MasterKey key, std::uint32_t address,
                           std::span<const std::uint8_t> plain, std::span<std::uint8_t> out) {
    constexpr std::size_t size = memoryCipherGroupSize;
    for (std::size_t offset = 0; plain.size() - offset >= size; offset += size) {
        encryptGroup(mode, key, address + static_cast<std::uint32_t>(offset), plain.subspan(offset).first<size>(),
                     out.subspan(offset).first<size>());
    }
}
