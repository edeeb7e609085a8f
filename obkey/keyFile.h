#pragma once

#include "obkey/ObkeyBodies.h"

/// Appends what a `File` parameter stands for to the main body: the file's content, or for a ".pem" file the key's
/// bytes or their digest. A fault is told.
[[nodiscard]] bool appendKeyFile(const ObkeySurroundings& surroundings, ObkeyParam& param, ObkeyBodies& bodies);
