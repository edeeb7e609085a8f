#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <array>
#include <initializer_list>

using Sha256Digest = std::array<char, 32>;

/// SHA-256 (FIPS 180-4) over bytes that come in pieces: start, update for each piece, finish. A step that fails gives
/// false. The object reports nothing.
class Sha256 {
  public:
    Sha256();
    /// False if there was no memory for its context; every step fails then.
    [[nodiscard]] bool exists() const { return context_ != nullptr; }
    [[nodiscard]] bool start();
    [[nodiscard]] bool update(QByteArrayView bytes);
    [[nodiscard]] bool finish(Sha256Digest& digest);

  private:
    DigestContext context_;
};

/// The digest of the pieces, which count as one string.
[[nodiscard]] bool sha256(std::initializer_list<QByteArrayView> pieces, Sha256Digest& digest);

/// HMAC (RFC 2104) with SHA-256. The caller wipes what is secret of it.
[[nodiscard]] bool hmacSha256(QByteArrayView key, QByteArrayView message, Sha256Digest& mac);
