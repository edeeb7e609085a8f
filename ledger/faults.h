#pragma once

#include "ledger/rows.h"

#include <QString>

namespace ledger {

// Each of these functions fills the fault and returns false.
[[nodiscard]] inline bool reject(Fault::Kind kind, const QString& text, Fault& fault) {
    fault = {kind, text};
    return false;
}
[[nodiscard]] inline bool failed(const QString& text, Fault& fault) {
    return reject(Fault::Kind::failed, text, fault);
}
[[nodiscard]] inline bool refused(const QString& text, Fault& fault) {
    return reject(Fault::Kind::refused, text, fault);
}
[[nodiscard]] inline bool unreachable(const QString& text, Fault& fault) {
    return reject(Fault::Kind::unreachable, text, fault);
}

/// Checks a name: 1 to 200 characters, no control characters, no halves of surrogate pairs. Both databases then store
/// exactly the same text. `what` is the noun for the message.
[[nodiscard]] bool checkName(const char* what, const QString& name, Fault& fault);

/// Free text in a form that both databases store: without NUL, at most 4,000 characters.
[[nodiscard]] QString storedText(const QString& text);

}  // namespace ledger
