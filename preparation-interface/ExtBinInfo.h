#pragma once

#include <cstdint>

/// The place and the encryption of one firmware segment in external memory.
struct ExtBinInfo {
    std::uint32_t address = 0;       ///< start address of the segment
    std::uint32_t regionMode = 0;    ///< 0 to 2 AES-CTR (instruction, data, both), 3 enhanced cipher
    std::uint32_t regionNumber = 0;  ///< 0 to 3 first decryption peripheral, 4 to 7 second
    std::uint32_t keyAddress = 0;    ///< address of the region key in internal Flash memory
};
