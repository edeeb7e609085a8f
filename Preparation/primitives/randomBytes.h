#pragma once

#include <QByteArray>

/// Generates `size` bytes for keys and nonces with OpenSSL's generator for secrets (NIST SP 800-90A). False, with
/// `bytes` unchanged, for a negative size or a generator without entropy. The caller wipes the bytes. Nothing is
/// reported.
[[nodiscard]] bool randomBytes(qsizetype size, QByteArray& bytes);
