#pragma once

#include "obkey/Imgtool.h"
#include "obkey/ObdataTemplate.h"

/// Writes the provisioning file that the template at `xmlPath` describes and, after it, the values used into the
/// template. They stand in `obdata`, too. False means that no file was written.
[[nodiscard]] bool generateObkey(const QString& xmlPath, Imgtool& imgtool, ObdataTemplate& obdata);
