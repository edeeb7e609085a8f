#pragma once

#include "obkey/Imgtool.h"
#include "obkey/ObdataTemplate.h"
#include "obkey/PasswordMask.h"

namespace obkey {

/// Writes the provisioning file that the template at `xmlPath` describes, and then its values back into the template.
/// `obdata` receives these values, too. False if no provisioning file was written.
[[nodiscard]] bool generateObkey(const QString& xmlPath, const PasswordMask& passwords, Imgtool& imgtool,
                                 ObdataTemplate& obdata);

}  // namespace obkey
