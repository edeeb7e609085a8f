#pragma once

#include "obkey/ObdataTemplate.h"

#include <QDomNode>

/// Reads the children of the content node of an `Obdata` template; a null node gives an empty template. False if one is
/// refused, with a message unless it is an element that the format doesn't know; `obdata` is untouched then.
[[nodiscard]] bool readObdata(const QDomNode& content, ObdataTemplate& obdata);
