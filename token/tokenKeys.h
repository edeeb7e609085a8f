#pragma once

#include "Preparation/primitives/Certificates.h"
#include "Preparation/primitives/publicKeys.h"
#include "token/KeyUri.h"
#include "token/Session.h"

#include <QList>

namespace token {

/// The attributes of a key object that its token discloses.
struct TokenKey {
    CK_OBJECT_HANDLE object = CK_INVALID_HANDLE;
    QByteArray label;
    QByteArray id;
    CK_KEY_TYPE type = CK_UNAVAILABLE_INFORMATION;
};

/// Finds the objects of a class, with the label and the identifier unless they are null.
[[nodiscard]] bool findKeys(const Session& session, CK_OBJECT_CLASS wanted, const QByteArray& label,
                            const QByteArray& id, QList<TokenKey>& found);

/// Takes the public key from a public key object. Null, without a message, if it has none that can be used.
[[nodiscard]] bool publicKeyOf(const Session& session, const TokenKey& key, KeyPointer& publicKey);
/// Reads the certificate that an object contains. `isRead` is false, without a message, if it contains none.
[[nodiscard]] bool readCertificate(const Session& session, const TokenKey& object, Certificates& certificate,
                                   bool& isRead);

/// Finds the public key of a private key: a public key or a certificate with the same identifier, or the point of the
/// private object. Null, without a message, if the token has none of them.
[[nodiscard]] bool publicKeyOfPrivate(const Session& session, const TokenKey& key, KeyPointer& publicKey);

/// Whether an elliptic-curve key of a token is on P-256. True also if the token doesn't say.
[[nodiscard]] bool readIsP256(const Session& session, const TokenKey& key, bool& isP256);

}  // namespace token
