#pragma once

#include "token/KeyUri.h"
#include "token/Session.h"
#include "token/tokenKeys.h"

namespace token {

/// A session with the only token that a URI selects. If the token needs a login, the user is logged in with one try.
class OpenToken {
  public:
    OpenToken() : driver_("token"), session_(driver_) {}
    ~OpenToken();
    OpenToken(const OpenToken&) = delete;
    OpenToken& operator=(const OpenToken&) = delete;

    /// Opens the token. False, with a message, if none or several fit, or the login fails.
    [[nodiscard]] bool open(const KeyUri& uri);
    /// Finds the only key of the class that the URI selects. False, with a message that lists the keys of the token, if
    /// there is none or if there are several.
    [[nodiscard]] bool findKey(const KeyUri& uri, CK_OBJECT_CLASS wanted, TokenKey& key) const;
    /// Whether the token offers the mechanism for signatures or MACs. False, with a message, otherwise.
    [[nodiscard]] bool canSign(CK_MECHANISM_TYPE mechanism, const char* name) const;

    [[nodiscard]] const Session& session() const { return session_; }
    /// Obtains the PIN for a key that wants a login for each signature. Null if the token has a keypad.
    [[nodiscard]] bool readPinAgain(const KeyUri& uri);
    [[nodiscard]] const QByteArray& pin() const { return pin_; }
    /// Wipes the PIN, when no use of the key needs it.
    void forgetPin();

  private:
    Driver driver_;
    Session session_;
    TokenRecord record_;
    QByteArray pin_;
};

}  // namespace token
