#pragma once

#include "display/Display.h"

/// Emits an error and gives the -1 of the key services' failures.
inline int failWith(const char* message) {
    static_cast<void>(reportError("%s", message));
    return -1;
}

/// Emits a line of progress.
inline void tell(const char* message) {
    displayMessage(MessageKind::normal, "%s", message);
}
