#pragma once

#include "sign/Signable.h"
#include "sign/certificateCheck.h"

#include <QJsonObject>

namespace sign {

/// Describes the signed bytes: format, sizes, digests, and the version of an image.
[[nodiscard]] QJsonObject describe(const Signable& signable);

/// SHA-256 of the public key's SubjectPublicKeyInfo in lower-case digits; empty on failure.
[[nodiscard]] QString keyIdOf(const evp_pkey_st* key);

/// The receipt of a signature: the signed bytes, the key, the certificate and the time. `path` and `bytes` are the
/// signed file.
[[nodiscard]] QJsonObject receiptOf(const Signable& signable, const QString& path, QByteArrayView bytes,
                                    const evp_pkey_st* key, const Certified& certified);

}  // namespace sign
