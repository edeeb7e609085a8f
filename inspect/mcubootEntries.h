#pragma once

#include "inspect/Description.h"

namespace inspect {

/// Adds the value of an entry of an MCUboot image to its part, in the terms of the entry's type: a dependency, the
/// security counter, a boot record, or bytes. Adds findings about a value of the wrong form.
void describeEntry(std::uint16_t type, QByteArrayView value, bool isBigEndian, Part& part, Description& description);

}  // namespace inspect
