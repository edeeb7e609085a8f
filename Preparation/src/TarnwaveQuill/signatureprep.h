#pragma once

#include <QString>

/// Makes a 2048-bit RSA key pair and writes five files: the private key (PEM, traditional form, its owner's alone), the
/// public key (PEM), the public key as a C source, as a Python source, and as a text that shows its parts and its PEM.
/// 0, or 1 if a key or its first three files can't be made. What was written until then stays.
[[nodiscard]] int generateTarnwaveKeys(const QString& privatePath, const QString& publicPath, const QString& cPath,
                                       const QString& pyPath, const QString& txtPath);

/// Writes the binary, with its own size as a little-endian 32-bit number at offset 24, and behind it the 256 bytes of
/// an RSASSA-PKCS1-v1_5 signature with SHA-256 (RFC 8017) over the binary as it is written. The key is a PEM private
/// key of RSA with 2048 bits, not encrypted. 0, else 1, or 2 when memory runs out; a failure leaves an older output as
/// it was.
[[nodiscard]] int signTarnwaveBinary(const QString& privateKeyPath, const QString& binaryPath,
                                     const QString& outputPath);
