#pragma once

#include "token/KeyUri.h"
#include "token/Session.h"

namespace token {

/// Logs the user in to the session's token with one try, unless the token needs no login or this process has logged in
/// already. The PIN is from the URI's pin-source, the terminal or the token's own keypad. `pin` receives it; it is null
/// if it wasn't needed. The caller wipes it.
///
/// A PIN that is locked is reported, and no login is tried. If one more wrong PIN would lock it, a PIN from a file
/// isn't tried, because the file may have caused the earlier failures.
[[nodiscard]] bool logIn(Session& session, const TokenRecord& record, const KeyUri& uri, QByteArray& pin);

/// Reads the PIN again for a key that wants a login for each signature. Null if the token has a keypad.
[[nodiscard]] bool obtainPin(const TokenRecord& record, const KeyUri& uri, QByteArray& pin);

}  // namespace token
