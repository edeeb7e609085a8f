#pragma once

#include "obkey/ObdataTemplate.h"
#include "obkey/PasswordMask.h"

namespace obkey {

/// Checks the length of a `Text` parameter's text, in bytes of UTF-8, against its limits.
[[nodiscard]] bool checkTextLength(const ObkeyParam& param, const QByteArray& text);

/// The path of the password file of a template in `xmlFolder`: password.bin in the folder of the output.
[[nodiscard]] QString passwordPath(const QList<ObkeyParam>& params, const QString& xmlFolder);

/// Writes password.bin for the `Text` of a template in `xmlFolder`. A template without a `Text` has no such file.
/// Reports a fault.
[[nodiscard]] bool writePasswordFile(const QList<ObkeyParam>& params, const PasswordMask& passwords,
                                     const QString& xmlFolder);

}  // namespace obkey
