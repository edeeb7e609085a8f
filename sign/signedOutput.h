#pragma once

#include "calls/Call.h"
#include "sign/Signable.h"

namespace sign {

/// Checks the certificates that the call names. Then writes the signed file to `output` and, if the call names one, the
/// receipt: both or none.
[[nodiscard]] bool writeSigned(const calls::Call& call, const Signable& signable, QByteArrayView signature,
                               const evp_pkey_st* key, const QString& output);

/// Checks before any work that no output of the call would replace one of its inputs or its other output.
[[nodiscard]] bool mayWriteOutputs(const calls::Call& call, const QStringList& outputs);

}  // namespace sign
