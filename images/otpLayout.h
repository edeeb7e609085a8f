#pragma once

#include <cstdint>

/// The image of devices with the fixed layout: 38 OTP words, word 56 first, then words 59 to 95. Every other device
/// takes records, one behind the other.
constexpr std::uint32_t fixedLayoutSize = 152;
constexpr std::uint32_t fixedLayoutHeadWord = 56;
constexpr std::uint32_t fixedLayoutFirstWord = 59;
constexpr std::uint32_t fixedLayoutLastWord = 95;

constexpr std::uint32_t otpWordSize = 4;

constexpr std::uint32_t recordsDevice = 0x505;

[[nodiscard]] constexpr bool hasFixedLayout(std::uint32_t deviceId) {
    return deviceId == 0x500 || deviceId == 0x501;
}

[[nodiscard]] constexpr std::uint32_t highestOtpWord(std::uint32_t deviceId) {
    return deviceId == recordsDevice ? 367 : fixedLayoutLastWord;
}
