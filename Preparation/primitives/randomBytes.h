#pragma once

#include <QByteArray>

/// `size` bytes for keys and nonces, from OpenSSL's generator for secrets (NIST SP 800-90A). False, with `bytes` as it
/// was, for a size below 0 or a generator that has no entropy. The caller wipes them. Nothing is reported.
[[nodiscard]] bool randomBytes(qsizetype size, QByteArray& bytes);
