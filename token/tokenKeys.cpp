#include "token/tokenKeys.h"

#include <utility>
#include <vector>

namespace token {

namespace {

using Attribute = Session::Attribute;

// The DER of the object identifier of P-256 (RFC 5480, 2.1.1.1).
constexpr QByteArrayView p256Parameters("\x06\x08\x2a\x86\x48\xce\x3d\x03\x01\x07");

const char* nameOf(CK_OBJECT_CLASS wanted) {
    switch (wanted) {
        case CKO_PRIVATE_KEY:
            return "private keys";
        case CKO_PUBLIC_KEY:
            return "public keys";
        case CKO_SECRET_KEY:
            return "secret keys";
        default:
            return "certificates";
    }
}

/// Removes the OCTET STRING around a point. Some drivers leave it out. An encoded point has 65 bytes, or 33 if it is
/// compressed, so the length shows which form it is.
QByteArrayView pointIn(QByteArrayView value) {
    for (const char size : {'\x41', '\x21'}) {
        if (value.size() == qsizetype{size} + 2 && value.at(0) == '\x04' && value.at(1) == size) {
            return value.sliced(2);
        }
    }
    return value;
}

/// Reads an attribute; empty if the token doesn't have it.
bool read(const Session& session, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, QByteArray& value) {
    value.clear();
    return session.readAttribute(object, type, value) != Attribute::failed;
}

bool readPoint(const Session& session, CK_OBJECT_HANDLE object, KeyPointer& publicKey) {
    QByteArray point;
    if (!read(session, object, CKA_EC_POINT, point)) {
        return false;
    }
    publicKey = p256FromPoint(pointIn(point));
    return true;
}

}  // namespace

bool findKeys(const Session& session, CK_OBJECT_CLASS wanted, const QByteArray& label, const QByteArray& id,
              QList<TokenKey>& found) {
    std::vector<CK_ATTRIBUTE> attributes{{CKA_CLASS, &wanted, sizeof wanted}};
    if (!label.isNull()) {
        attributes.push_back({CKA_LABEL, const_cast<char*>(label.constData()), static_cast<CK_ULONG>(label.size())});
    }
    if (!id.isNull()) {
        attributes.push_back({CKA_ID, const_cast<char*>(id.constData()), static_cast<CK_ULONG>(id.size())});
    }
    Session::Handles objects;
    if (!session.find(attributes, nameOf(wanted), objects)) {
        return false;
    }
    for (const CK_OBJECT_HANDLE object : objects) {
        TokenKey key;
        key.object = object;
        if (!read(session, object, CKA_LABEL, key.label) || !read(session, object, CKA_ID, key.id) ||
            (wanted != CKO_CERTIFICATE && session.readNumber(object, CKA_KEY_TYPE, key.type) == Attribute::failed)) {
            return false;
        }
        found.append(key);
    }
    return true;
}

bool publicKeyOf(const Session& session, const TokenKey& key, KeyPointer& publicKey) {
    if (key.type == CKK_EC) {
        return readPoint(session, key.object, publicKey);
    }
    QByteArray modulus;
    QByteArray exponent;
    if (key.type == CKK_RSA && (!read(session, key.object, CKA_MODULUS, modulus) ||
                                !read(session, key.object, CKA_PUBLIC_EXPONENT, exponent))) {
        return false;
    }
    publicKey = rsaFromNumbers(modulus, exponent);
    return true;
}

bool readCertificate(const Session& session, const TokenKey& object, Certificates& certificate, bool& isRead) {
    QByteArray der;
    if (!read(session, object.object, CKA_VALUE, der)) {
        return false;
    }
    isRead = certificate.readDer(der);
    return true;
}

bool publicKeyOfPrivate(const Session& session, const TokenKey& key, KeyPointer& publicKey) {
    KeyPointer found;
    for (const CK_OBJECT_CLASS wanted : {CKO_PUBLIC_KEY, CKO_CERTIFICATE}) {
        QList<TokenKey> objects;
        if (found || key.id.isEmpty()) {
            continue;
        }
        if (!findKeys(session, wanted, {}, key.id, objects)) {
            return false;
        }
        for (const TokenKey& object : objects) {
            Certificates certificate;
            bool isRead = false;
            if (found) {
                continue;
            }
            if (!(wanted == CKO_CERTIFICATE ? readCertificate(session, object, certificate, isRead)
                                            : publicKeyOf(session, object, found))) {
                return false;
            }
            found = isRead ? certificate.leafKey() : std::move(found);
        }
    }
    if (!found && key.type == CKK_EC && !readPoint(session, key.object, found)) {
        return false;
    }
    publicKey = std::move(found);
    return true;
}

bool readIsP256(const Session& session, const TokenKey& key, bool& isP256) {
    QByteArray parameters;
    if (!read(session, key.object, CKA_EC_PARAMS, parameters)) {
        return false;
    }
    isP256 = parameters.isEmpty() || parameters == p256Parameters;
    return true;
}

}  // namespace token
