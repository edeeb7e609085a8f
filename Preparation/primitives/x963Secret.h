#pragma once

#include <span>

struct evp_pkey_st;

/// Derives the secret that a private elliptic-curve key shares with a peer's public key: ECDH (NIST SP 800-56A), then
/// the key derivation of ANSI X9.63 with SHA-256 and without shared information (SEC 1, 3.3.1 and 3.6.1). Nothing is
/// reported.
[[nodiscard]] bool deriveX963Secret(evp_pkey_st* own, evp_pkey_st* peer, std::span<char> secret);
