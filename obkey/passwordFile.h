#pragma once

#include "obkey/ObdataTemplate.h"
#include "obkey/PasswordMask.h"

/// Checks the length of a `Text` parameter's text, in bytes of UTF-8, against its limits.
[[nodiscard]] bool checkTextLength(const ObkeyParam& param, const QByteArray& text);

/// Where the password file of a template that lies in `xmlFolder` stands: beside the output.
[[nodiscard]] QString passwordPath(const QList<ObkeyParam>& params, const QString& xmlFolder);

/// Writes password.bin for the `Text` of a template that lies in `xmlFolder`. A template without a `Text` has none. A
/// fault is told.
[[nodiscard]] bool writePasswordFile(const QList<ObkeyParam>& params, const PasswordMask& passwords,
                                     const QString& xmlFolder);
