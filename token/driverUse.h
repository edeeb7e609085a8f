#pragma once

#include <p11-kit/pkcs11.h>

// The process-wide record of the drivers in use. PKCS #11 knows one application per process: C_Initialize, C_Finalize
// and the login of a token count for all of its code, so that two users of a driver have to agree. All functions can be
// called from any thread. After fork, a child begins with an empty record.

namespace token {

/// Initialises the driver unless this record has done so already. Returns the answer of C_Initialize, or CKR_OK.
[[nodiscard]] CK_RV beginUse(const CK_FUNCTION_LIST* functions);
/// Ends a use. The last one forgets the failed logins, and finalises the driver if the first beginUse initialised it.
void endUse(const CK_FUNCTION_LIST* functions);

/// The login of the user to a token.
enum class LoginState {
    none,
    done,
    failed,  ///< callers don't try again while the driver is in use, because wrong PINs lock the token
};

void beginSession(const CK_FUNCTION_LIST* functions, CK_SLOT_ID slot);
/// Returns true if this was the last session with a token to which the user is logged in. The caller then logs out.
[[nodiscard]] bool endSession(const CK_FUNCTION_LIST* functions, CK_SLOT_ID slot);

[[nodiscard]] LoginState loginState(const CK_FUNCTION_LIST* functions, CK_SLOT_ID slot);
void setLoginState(const CK_FUNCTION_LIST* functions, CK_SLOT_ID slot, LoginState state);

}  // namespace token
