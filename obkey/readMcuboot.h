#pragma once

#include "obkey/McubootTemplate.h"

#include <QDomNode>

namespace obkey {

/// Reads the children of the content node of a `McubootFormat` template and checks its links. A null node gives an
/// empty template. False, with `mcuboot` unchanged, if the template is rejected. The reason is reported, except for an
/// element that the format doesn't define.
[[nodiscard]] bool readMcuboot(const QDomNode& content, McubootTemplate& mcuboot);

}  // namespace obkey
