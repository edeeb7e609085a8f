#pragma once

#include "obkey/ObdataTemplate.h"

#include <QDomNode>

namespace obkey {

/// Reads the children of the content node of an `Obdata` template. A null node gives an empty template. False, with
/// `obdata` unchanged, if a child is rejected. The reason is reported, except for an element that the format doesn't
/// define.
[[nodiscard]] bool readObdata(const QDomNode& content, ObdataTemplate& obdata);

}  // namespace obkey
