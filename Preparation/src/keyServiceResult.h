#pragma once

#include "display/Display.h"

/// What the operations of the key services give. `refused` stands beside `failed` where an operation tells two kinds of
/// failure apart, or has no other.
namespace keyService {

inline constexpr int done = 1;
inline constexpr int refused = 0;
inline constexpr int failed = -1;

}  // namespace keyService

/// Reports a failure and gives its number.
inline int failKeyService(const char* message) {
    reportError("%s", message);
    return keyService::failed;
}
inline int refuseKeyService(const char* message) {
    reportError("%s", message);
    return keyService::refused;
}

/// Emits a line of progress.
inline void tell(const char* message) {
    displayMessage(MessageKind::normal, "%s", message);
}
