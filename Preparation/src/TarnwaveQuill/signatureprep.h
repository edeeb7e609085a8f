#pragma once

#include <QString>

/// What the operations below give. The last two end a run with their number as its status.
enum TarnwaveResult : int {
    tarnwaveDone = 0,
    tarnwaveFailed = 1,
    tarnwaveOutOfMemory = 2,
    tarnwaveWrongExponent = -1,
};

/// Makes a 2048-bit RSA key pair and writes five files: the private key (PEM, traditional form, its owner's alone), the
/// public key (PEM), the public key as a C source, as a Python source, and as a text that shows its parts and its PEM.
/// `tarnwaveFailed` if the private key or the text can't be made; the text needs the public key's file.
/// `tarnwaveWrongExponent` if the text came to hold an exponent that the chips don't take. What was written until then
/// stays.
[[nodiscard]] int generateTarnwaveKeys(const QString& privatePath, const QString& publicPath, const QString& cPath,
                                       const QString& pyPath, const QString& txtPath);

/// Writes the binary, with its own size as a little-endian 32-bit number at offset 24, and after it the 256 bytes of
/// an RSASSA-PKCS1-v1_5 signature with SHA-256 (RFC 8017) over the binary as it is written. The key is a PEM private
/// key of RSA with 2048 bits, not encrypted. `tarnwaveFailed` or `tarnwaveOutOfMemory` leave an older output as it was.
[[nodiscard]] int signTarnwaveBinary(const QString& privateKeyPath, const QString& binaryPath,
                                     const QString& outputPath);
