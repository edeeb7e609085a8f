#pragma once

#include "calls/Call.h"
#include "sign/Signable.h"

namespace sign {

/// Reads --image-version, which only images have. False, with a message, for another number.
[[nodiscard]] bool readVersion(const calls::Call& call, Format format, std::uint32_t& version);

/// The request for a signature that another machine makes: JSON that shows what is signed.
[[nodiscard]] QByteArray requestOf(const Signable& signable, const QString& binaryPath);

/// Reads a request. `binaryPath` is the binary that gets the signature: it is prepared again and must be the one of the
/// request. False, with a message, if anything differs.
[[nodiscard]] bool readRequest(const QString& path, const QString& binaryPath, Signable& signable);

/// Reads a signature: r and s (64 bytes) or DER for ECDSA, 256 bytes for RSA. `signature` receives the form of
/// token::SignatureKind. False, with a message, if it doesn't hold for the digest.
[[nodiscard]] bool readSignature(const QString& path, const Signable& signable, evp_pkey_st* publicKey,
                                 QByteArray& signature);

}  // namespace sign
