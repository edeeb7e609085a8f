#pragma once

#include "Preparation/primitives/AesGcm.h"
#include "formats/secureImageLayout.h"

#include <QByteArray>

#include <array>
#include <cstdint>

/// The image key and the derivation of IVs. All kinds of images use the same rules.

using ImageIv = std::array<char, secureImage::baseIvSize>;

/// The kind of an image. It is part of each IV, so that images of different kinds have different IVs, even with the
/// same key and nonce.
enum class ImageKind : std::uint8_t { install = 0, provisioning = 1, update = 2 };

/// Sets `key` as the key of `cipher`. False, with a message, if `key` doesn't have 16 bytes or AES-128-GCM isn't
/// available.
[[nodiscard]] bool takeImageKey(const QByteArray& key, AesGcm& cipher);

/// The base IV of an image: the first 12 bytes of the nonce's SHA-256 digest. False, with a message, for an empty
/// nonce.
///
/// A nonce of 12 bytes is hashed, too, so that nonces may be consecutive numbers. If it weren't hashed, area 2 of an
/// image whose nonce ends with 01 and area 1 of an image whose nonce ends with 02 would have the same IV.
[[nodiscard]] bool deriveBaseIv(const QByteArray& nonce, ImageIv& baseIv);

/// The IV of one area: the base IV, with its last four bytes XORed with kind, version and number.
///
/// No two areas of one image have the same IV. Images with the same key and nonce have different IVs if their kinds or
/// the low bytes of their versions differ. If both are equal, the IVs repeat. Each image therefore needs a new nonce.
[[nodiscard]] ImageIv areaIv(const ImageIv& baseIv, ImageKind kind, std::uint8_t imageVersion, std::uint16_t number);

/// The key of a region of external memory: the first 16 bytes of an HMAC-SHA256 (RFC 2104). The key of the HMAC is the
/// image key. Its message is the text "region", the region's number (0 to 7) as one byte, and the base IV. Empty, with
/// a message, on failure. The caller wipes the region key.
[[nodiscard]] QByteArray deriveRegionKey(const QByteArray& key, std::uint8_t regionNumber, const ImageIv& baseIv);
