#include "token/login.h"

#include "display/Display.h"
#include "token/driverUse.h"
#include "token/pin.h"
#include "token/tokens.h"

namespace token {

namespace {

bool hasFlag(const TokenRecord& record, CK_FLAGS flag) {
    return (record.token.flags & flag) != 0;
}

/// Checks what the token says about its PIN before one is tried.
bool mayTry(const TokenRecord& record, const KeyUri& uri) {
    const QByteArray label = labelOf(record).toUtf8();
    if (!hasFlag(record, CKF_USER_PIN_INITIALIZED)) {
        return reportError("The token %s has no user PIN yet", label.constData());
    }
    if (hasFlag(record, CKF_USER_PIN_LOCKED)) {
        return reportError("The user PIN of the token %s is locked, no login was tried", label.constData());
    }
    if (hasFlag(record, CKF_USER_PIN_FINAL_TRY)) {
        if (!uri.pinPath().isEmpty()) {
            return reportError(
                "One more wrong PIN locks the token %s, so the PIN of a file isn't tried : log in by hand",
                label.constData());
        }
        displayMessage(MessageKind::warning, "One more wrong PIN locks the token %s", label.constData());
    }
    return true;
}

}  // namespace

bool obtainPin(const TokenRecord& record, const KeyUri& uri, QByteArray& pin) {
    if (hasFlag(record, CKF_PROTECTED_AUTHENTICATION_PATH)) {
        pin = QByteArray();
        return true;
    }
    if (!(uri.pinPath().isEmpty() ? askForPin(labelOf(record), pin) : readPin(uri.pinPath(), pin))) {
        return false;
    }
    const auto size = static_cast<CK_ULONG>(pin.size());
    const CK_ULONG longest = record.token.ulMaxPinLen;
    // A token that doesn't know its longest PIN returns 0 or a special value, which is larger than the length of any
    // PIN.
    return (size >= record.token.ulMinPinLen && (longest == 0 || size <= longest)) ||
           reportError("The PIN for the token %s has a wrong length, no login was tried",
                       qUtf8Printable(labelOf(record)));
}

bool logIn(Session& session, const TokenRecord& record, const KeyUri& uri, QByteArray& pin) {
    const LoginState state = loginState(&session.driver().functions(), record.slot);
    if (!hasFlag(record, CKF_LOGIN_REQUIRED) || state == LoginState::done) {
        return true;
    }
    if (state == LoginState::failed) {
        return reportError("The login to the token %s has failed before, no second one was tried",
                           qUtf8Printable(labelOf(record)));
    }
    return mayTry(record, uri) && obtainPin(record, uri, pin) && session.login(pin);
}

}  // namespace token
