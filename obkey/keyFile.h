#pragma once

#include "obkey/ObkeyBodies.h"

namespace obkey {

/// Appends the bytes of a `File` parameter to the main body: the file's content, or for a ".pem" file the key's bytes
/// or their digest. Reports a fault.
[[nodiscard]] bool appendKeyFile(const ObkeySurroundings& surroundings, ObkeyParam& param, ObkeyBodies& bodies);

}  // namespace obkey
