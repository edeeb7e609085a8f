#pragma once

#include "Preparation/primitives/AesGcm.h"
#include "formats/secureImageLayout.h"

#include <QByteArray>

#include <array>
#include <cstdint>

/// What all images have in common about their key and their IVs.

using ImageIv = std::array<char, secureImage::baseIvSize>;

/// Keeps the IVs of unlike images apart that are made with one key and nonce.
enum class ImageKind : std::uint8_t { install = 0, provisioning = 1, update = 2 };

/// Hands the image key to `cipher`; false, with a message, unless it has 16 bytes.
[[nodiscard]] bool takeImageKey(const QByteArray& key, AesGcm& cipher);

/// The base IV of an image: the first 12 bytes of the nonce's SHA-256 digest. False, with a message, for an empty
/// nonce.
///
/// A nonce of 12 bytes is hashed too. Taken as it is, nonces that count up would meet the area numbers: area 2 under
/// the nonce ..01 and area 1 under ..02 would have one IV.
[[nodiscard]] bool deriveBaseIv(const QByteArray& nonce, ImageIv& baseIv);

/// The IV of one area: the base IV, its last four bytes exclusive-ored with kind, version and number.
///
/// No two areas of one image share it, nor do images of another kind or version under the same key and nonce. Two
/// images of one kind and version would: each needs a fresh nonce.
[[nodiscard]] ImageIv areaIv(const ImageIv& baseIv, ImageKind kind, std::uint8_t imageVersion, std::uint16_t number);

/// The key of a region of external memory (0 to 7), 16 bytes: the head of HMAC-SHA256 (RFC 2104) under the image key
/// over "region", the region's number as one byte and the base IV. Empty, with a message, on failure. To be wiped.
[[nodiscard]] QByteArray deriveRegionKey(const QByteArray& key, std::uint8_t regionNumber, const ImageIv& baseIv);
