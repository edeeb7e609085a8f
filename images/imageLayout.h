#pragma once

#include <QtGlobal>

#include <cstdint>

// The layouts of backup and secrets images, which readers and writers share. All numbers are little-endian.

/// The protection word. The document chooses the offsets of its fields, but the device expects the algorithm at fixed
/// bits:
///
///     bits  field
///     19-21 algorithm; 1 (AES-CBC) and 2 (AES-CTR) need a nonce, which is before the data
namespace protectionBits {

inline constexpr std::uint32_t algorithmPosition = 19;
inline constexpr std::uint32_t algorithmMask = 7;

}  // namespace protectionBits

inline constexpr std::uint32_t nonceSize = 16;

/// The maximum number of records of an image. A provisioning image can't contain more areas. The limit also bounds the
/// memory that a file of tiny records needs.
inline constexpr qsizetype maxRecords = 65535;

/// A backup image, a sequence of records.
///
///     offset  size  field
///          0     4  offset in the backup memory, a multiple of 4
///          4     4  protection word
///          8     4  size of the data, S
///         12     S  data: the nonce, if any, then the file
namespace backupRecord {

inline constexpr std::uint32_t offsetUnit = 4;
inline constexpr qsizetype headerSize = 12;

}  // namespace backupRecord

inline constexpr std::uint32_t otpWordSize = 4;

/// A secrets image in the records layout, a sequence of records.
///
///     offset  size  field
///          0     4  header word: index of the first OTP word in the low half, protection word in the high half
///          4     4  size of the data, S
///          8     S  data: the nonce, if any, then the secret
namespace secretRecord {

inline constexpr std::uint32_t indexMask = 0x0000FFFF;
inline constexpr std::uint32_t protectionMask = 0xFFFF0000;
inline constexpr qsizetype headerSize = 8;

}  // namespace secretRecord

/// A secrets image in the fixed layout: 38 OTP words.
///
///     offset  size  field
///          0     4  OTP word 56
///          4   148  OTP words 59 to 95
namespace fixedSecrets {

inline constexpr std::uint32_t headWord = 56;
inline constexpr std::uint32_t firstWord = 59;
inline constexpr std::uint32_t lastWord = 95;
inline constexpr std::uint32_t imageSize = (1 + lastWord - firstWord + 1) * otpWordSize;
static_assert(imageSize == 152);

/// The offset of an OTP word from `firstWord` on.
[[nodiscard]] constexpr qsizetype offsetOf(std::uint32_t word) {
    return qsizetype{word - firstWord + 1} * otpWordSize;
}

}  // namespace fixedSecrets

/// The number of the device whose images have the records layout.
inline constexpr std::uint32_t recordsDevice = 0x505;

[[nodiscard]] constexpr bool hasFixedLayout(std::uint32_t deviceId) {
    return deviceId == 0x500 || deviceId == 0x501;
}

[[nodiscard]] constexpr std::uint32_t highestOtpWord(std::uint32_t deviceId) {
    return deviceId == recordsDevice ? 367 : fixedSecrets::lastWord;
}
