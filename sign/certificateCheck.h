#pragma once

#include "Preparation/primitives/opensslObjects.h"

#include <QString>

namespace sign {

/// The certificate of a key.
struct Certified {
    QString subject;      ///< RFC 2253; empty without a certificate
    QString fingerprint;  ///< SHA-256 of the certificate, in lower-case digits
};

/// Checks that the first certificate of the file `chain` is that of the key, and that the chain to a trusted authority
/// is valid now (RFC 5280). The authorities are the certificates of the file `trust`; without it, the last certificate
/// of the chain. Without a chain, nothing is checked.
[[nodiscard]] bool checkChain(const QString& chain, const QString& trust, const evp_pkey_st* key, Certified& certified);

}  // namespace sign
