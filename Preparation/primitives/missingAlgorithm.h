#pragma once

#include <initializer_list>

/// What operations need of OpenSSL. A configuration can leave each of them out, for example by "fips=yes" without the
/// provider for it.
enum class Algorithm { aes128Gcm, sha256, ecdsa, ecdh, x963 };

/// After an operation failed: reports each of its algorithms that OpenSSL doesn't offer. Keys and files are not to
/// blame then.
void reportMissing(std::initializer_list<Algorithm> algorithms);
