#pragma once

#include "obkey/Imgtool.h"
#include "obkey/ObdataTemplate.h"
#include "obkey/PasswordMask.h"

/// Writes the provisioning file that the template at `xmlPath` describes and, after it, the values used into the
/// template. They stand in `obdata`, too. False means that no file was written.
[[nodiscard]] bool generateObkey(const QString& xmlPath, const PasswordMask& passwords, Imgtool& imgtool,
                                 ObdataTemplate& obdata);
