#pragma once

#include <initializer_list>

/// The algorithms of OpenSSL that operations need. A configuration of OpenSSL can lack any of them, for example with
/// "fips=yes" but without the provider for it.
enum class Algorithm { aes128Gcm, sha256, ecdsa, ecdh, x963 };

/// Reports each of the algorithms that OpenSSL doesn't offer. Callers call it after a failure, to show that neither
/// keys nor files are the cause.
void reportMissing(std::initializer_list<Algorithm> algorithms);
