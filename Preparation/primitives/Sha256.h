#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <array>
#include <initializer_list>

using Sha256Digest = std::array<char, 32>;

/// SHA-256 (FIPS 180-4) over pieces of bytes: start, update for each piece, finish. A step that fails returns false.
/// The object reports nothing.
class Sha256 {
  public:
    Sha256();
    /// False if there is no memory for the context. Every step then fails.
    [[nodiscard]] bool exists() const { return context_ != nullptr; }
    [[nodiscard]] bool start();
    [[nodiscard]] bool update(QByteArrayView bytes);
    [[nodiscard]] bool finish(Sha256Digest& digest);

  private:
    DigestContext context_;
};

/// Computes the digest of the pieces, which count as one string.
[[nodiscard]] bool sha256(std::initializer_list<QByteArrayView> pieces, Sha256Digest& digest);

/// Computes the HMAC (RFC 2104) with SHA-256. The caller wipes `mac` if it is a secret.
[[nodiscard]] bool hmacSha256(QByteArrayView key, QByteArrayView message, Sha256Digest& mac);
