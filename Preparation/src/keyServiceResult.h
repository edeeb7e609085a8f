#pragma once

#include "display/Display.h"

/// The results of the key services' operations. Some operations distinguish two kinds of failure, `refused` and
/// `failed`; others have only one of the two.
namespace keyService {

inline constexpr int done = 1;
inline constexpr int refused = 0;
inline constexpr int failed = -1;

}  // namespace keyService

/// Reports a failure and returns its number.
inline int failKeyService(const char* message) {
    reportError("%s", message);
    return keyService::failed;
}
inline int refuseKeyService(const char* message) {
    reportError("%s", message);
    return keyService::refused;
}

inline void showProgress(const char* message) {
    displayMessage(MessageKind::normal, "%s", message);
}
