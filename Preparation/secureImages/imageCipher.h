#pragma once

#include "Preparation/primitives/AesGcm.h"
#include "formats/secureImageLayout.h"

#include <QByteArray>

#include <array>
#include <cstdint>

/// Key and IVs, which are the same for all kinds of images.

using ImageIv = std::array<char, secureImage::baseIvSize>;

/// The kind of an image. It makes the IVs of different images with the same key and nonce differ.
enum class ImageKind : std::uint8_t { install = 0, provisioning = 1, update = 2 };

/// Sets the image key of `cipher`. False, with a message, if it doesn't have 16 bytes.
[[nodiscard]] bool takeImageKey(const QByteArray& key, AesGcm& cipher);

/// The base IV of an image: the first 12 bytes of the nonce's SHA-256 digest. False, with a message, for an empty
/// nonce.
///
/// A nonce of 12 bytes is hashed, too. Otherwise, consecutive nonces would collide with the area numbers: area 2 with
/// the nonce ..01 and area 1 with the nonce ..02 would have the same IV.
[[nodiscard]] bool deriveBaseIv(const QByteArray& nonce, ImageIv& baseIv);

/// The IV of one area: the base IV, with its last four bytes XORed with kind, version and number.
///
/// No two areas of one image have the same IV. Neither do images of different kinds or versions with the same key and
/// nonce. Two images of the same kind and version do, so each needs a new nonce.
[[nodiscard]] ImageIv areaIv(const ImageIv& baseIv, ImageKind kind, std::uint8_t imageVersion, std::uint16_t number);

/// The 16-byte key of a region of external memory (0 to 7): the first bytes of the HMAC-SHA256 (RFC 2104), under the
/// image key, of "region", the region's number as one byte, and the base IV. Empty, with a message, on failure. The
/// caller wipes it.
[[nodiscard]] QByteArray deriveRegionKey(const QByteArray& key, std::uint8_t regionNumber, const ImageIv& baseIv);
