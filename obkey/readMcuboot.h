#pragma once

#include "obkey/McubootTemplate.h"

#include <QDomNode>

/// Reads the children of the content node of a `McubootFormat` template and holds its links against each other; a null
/// node gives an empty template. False if something is refused, with a message unless it is an element that the format
/// doesn't know; `mcuboot` is untouched then.
[[nodiscard]] bool readMcuboot(const QDomNode& content, McubootTemplate& mcuboot);
