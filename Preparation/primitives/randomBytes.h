#pragma once

#include <QByteArray>

/// Generates `size` bytes for keys and nonces with OpenSSL's generator for secrets (NIST SP 800-90A). False, with
/// `bytes` unchanged, for a size that is negative or above INT_MAX, or if the generator has no entropy. The caller
/// wipes the bytes. Nothing is reported.
[[nodiscard]] bool randomBytes(qsizetype size, QByteArray& bytes);
