#include "Preparation/src/DCU/MemoryCipherFast.h"

#if defined(__x86_64__)

bool hasVectorMemoryCipher() {
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("aes");
}

#else

bool hasVectorMemoryCipher() {
    return false;
}

void encryptGroupsVector(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                         std::span<std::uint8_t> out) {
    encryptGroupsPortable(mode, key, address, plain, out);
}

#endif

void encryptGroupsPortable(std::uint32_t mode, MasterKey key, std::uint32_t address,
                           std::span<const std::uint8_t> plain, std::span<std::uint8_t> out) {
    constexpr std::size_t size = memoryCipherGroupSize;
    for (std::size_t offset = 0; plain.size() - offset >= size; offset += size) {
        encryptGroup(mode, key, address + static_cast<std::uint32_t>(offset), plain.subspan(offset).first<size>(),
                     out.subspan(offset).first<size>());
    }
}

void encryptGroups(std::uint32_t mode, MasterKey key, std::uint32_t address, std::span<const std::uint8_t> plain,
                   std::span<std::uint8_t> out) {
    if (hasVectorMemoryCipher()) {
        encryptGroupsVector(mode, key, address, plain, out);
    } else {
        encryptGroupsPortable(mode, key, address, plain, out);
    }
}
