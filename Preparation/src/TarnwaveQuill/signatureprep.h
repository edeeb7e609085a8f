#pragma once

#include <QString>

/// The results of the operations below. The numbers of the last two are also the exit status of the run.
enum TarnwaveResult : int {
    tarnwaveDone = 0,
    tarnwaveFailed = 1,
    tarnwaveOutOfMemory = 2,
    tarnwaveWrongExponent = -1,
};

/// Generates a 2048-bit RSA key pair and writes five files: the private key (PEM, traditional form, accessible by its
/// owner only), the public key (PEM), and the public key as a C source, as a Python source, and as a text with its
/// parts and its PEM. Returns `tarnwaveFailed` if the private key or the text can't be made; the text needs the public
/// key's file. Returns `tarnwaveWrongExponent` if the text contains an exponent that the chips don't support. On
/// failure, files that were already written stay.
[[nodiscard]] int generateTarnwaveKeys(const QString& privatePath, const QString& publicPath, const QString& cPath,
                                       const QString& pyPath, const QString& txtPath);

/// Writes a signed binary: the binary, with its own size as a little-endian 32-bit number at offset 24, then the 256
/// bytes of an RSASSA-PKCS1-v1_5 signature with SHA-256 (RFC 8017) over these bytes. The key is a 2048-bit RSA private
/// key in PEM, not encrypted. After `tarnwaveFailed` or `tarnwaveOutOfMemory`, an older output is unchanged.
[[nodiscard]] int signTarnwaveBinary(const QString& privateKeyPath, const QString& binaryPath,
                                     const QString& outputPath);
