#include "token/Session.h"

#include "display/Display.h"
#include "files/wipe.h"
#include "token/driverUse.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace token {

namespace {

// Limits on what a driver returns. No token has so many objects of one kind, and no attribute that is read here, such
// as a certificate, is longer.
constexpr std::size_t maxObjects = 256;
constexpr CK_ULONG maxAttribute = 65536;
constexpr qsizetype macSize = 16;

// PKCS #11 has pointers to non-const even for input.
CK_BYTE* inputBytes(QByteArrayView bytes) {
    return const_cast<CK_BYTE*>(reinterpret_cast<const CK_BYTE*>(bytes.data()));
}

bool isUndisclosed(CK_RV answer) {
    return answer == CKR_ATTRIBUTE_TYPE_INVALID || answer == CKR_ATTRIBUTE_SENSITIVE;
}

}  // namespace

Session::~Session() {
    if (session_ == CK_INVALID_HANDLE || !driver_.isOfThisProcess()) {
        return;
    }
    if (endSession(&call(), slot_)) {
        static_cast<void>(call().C_Logout(session_));
    }
    static_cast<void>(call().C_CloseSession(session_));
}

bool Session::open(CK_SLOT_ID slot, Access access) {
    const CK_FLAGS flags = CKF_SERIAL_SESSION | (access == Access::write ? CK_FLAGS{CKF_RW_SESSION} : CK_FLAGS{0});
    CK_SESSION_HANDLE session = CK_INVALID_HANDLE;
    if (!driver_.succeeded(call().C_OpenSession(slot, flags, nullptr, nullptr, &session), "C_OpenSession",
                           "the session")) {
        return false;
    }
    session_ = session;
    slot_ = slot;
    beginSession(&call(), slot);
    return true;
}

bool Session::login(QByteArrayView pin) {
    const CK_RV answer =
        call().C_Login(session_, CKU_USER, pin.isNull() ? nullptr : inputBytes(pin), static_cast<CK_ULONG>(pin.size()));
    if (answer == CKR_USER_ALREADY_LOGGED_IN) {
        return true;
    }
    setLoginState(&call(), slot_, answer == CKR_OK ? LoginState::done : LoginState::failed);
    return driver_.succeeded(answer, "C_Login", "the user PIN");
}

bool Session::find(const char* label, Handles& found) const {
    CK_BBOOL onToken = CK_TRUE;
    std::array<CK_ATTRIBUTE, 2> wanted{
        CK_ATTRIBUTE{CKA_LABEL, const_cast<char*>(label), std::strlen(label)},
        CK_ATTRIBUTE{CKA_TOKEN, &onToken, sizeof onToken},
    };
    return find(wanted, label, found);
}

bool Session::find(std::span<CK_ATTRIBUTE> wanted, const char* label, Handles& found) const {
    if (!driver_.succeeded(call().C_FindObjectsInit(session_, wanted.data(), wanted.size()), "C_FindObjectsInit",
                           label)) {
        return false;
    }
    std::size_t total = 0;
    bool good = true;
    bool more = true;
    while (good && more) {
        CK_OBJECT_HANDLE object = CK_INVALID_HANDLE;
        CK_ULONG count = 0;
        good = driver_.succeeded(call().C_FindObjects(session_, &object, 1, &count), "C_FindObjects", label);
        more = good && count != 0;
        if (more && ++total > maxObjects) {
            good = reportError("The %s has more than %zu objects named %s", driver_.device(), maxObjects, label);
        } else if (more) {
            found.push_back(object);
        }
    }
    const CK_RV finished = call().C_FindObjectsFinal(session_);
    return good && driver_.succeeded(finished, "C_FindObjectsFinal", label);
}

bool Session::readValue(CK_OBJECT_HANDLE object, const char* label, QByteArray& value) const {
    const auto expectedSize = static_cast<CK_ULONG>(value.size());
    CK_ATTRIBUTE attribute{CKA_VALUE, nullptr, 0};
    if (!driver_.succeeded(call().C_GetAttributeValue(session_, object, &attribute, 1), "C_GetAttributeValue", label)) {
        return false;
    }
    if (attribute.ulValueLen != expectedSize) {
        return reportError("The object %s on the %s doesn't have %lu bytes", label, driver_.device(), expectedSize);
    }
    attribute.pValue = value.data();
    if (!driver_.succeeded(call().C_GetAttributeValue(session_, object, &attribute, 1), "C_GetAttributeValue", label)) {
        return false;
    }
    return attribute.ulValueLen == expectedSize ||
           reportError("The object %s on the %s doesn't have %lu bytes", label, driver_.device(), expectedSize);
}

Session::Attribute Session::readAttribute(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, QByteArray& value) const {
    QByteArray bytes;
    CK_ATTRIBUTE attribute{type, nullptr, 0};
    // The first call returns the size, the second one the bytes.
    for (const bool isSizeCall : {true, false}) {
        const CK_RV answer = call().C_GetAttributeValue(session_, object, &attribute, 1);
        if (isUndisclosed(answer) || (answer == CKR_OK && attribute.ulValueLen == CK_UNAVAILABLE_INFORMATION)) {
            return Attribute::absent;
        }
        if (!driver_.succeeded(answer, "C_GetAttributeValue", "an object")) {
            return Attribute::failed;
        }
        if (attribute.ulValueLen > (isSizeCall ? maxAttribute : static_cast<CK_ULONG>(bytes.size()))) {
            reportError("The %s has an attribute of %lu bytes, which is too long", driver_.device(),
                        attribute.ulValueLen);
            return Attribute::failed;
        }
        bytes.resize(static_cast<qsizetype>(attribute.ulValueLen));
        attribute.pValue = bytes.data();
    }
    value = bytes;
    return Attribute::present;
}

bool Session::readFlag(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, bool missing, bool& value) const {
    QByteArray bytes;
    const Attribute attribute = readAttribute(object, type, bytes);
    if (attribute == Attribute::failed) {
        return false;
    }
    value = attribute == Attribute::present && bytes.size() == sizeof(CK_BBOOL) ? bytes.at(0) != CK_FALSE : missing;
    return true;
}

Session::Attribute Session::readNumber(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type, CK_ULONG& value) const {
    QByteArray bytes;
    const Attribute attribute = readAttribute(object, type, bytes);
    if (attribute == Attribute::present && bytes.size() != sizeof value) {
        return Attribute::absent;
    }
    if (attribute == Attribute::present) {
        std::memcpy(&value, bytes.constData(), sizeof value);
    }
    return attribute;
}

bool Session::encrypt(CK_OBJECT_HANDLE key, const char* label, QByteArrayView plain, QByteArray& encrypted) const {
    CK_MECHANISM mechanism{CKM_AES_ECB, nullptr, 0};
    if (!driver_.succeeded(call().C_EncryptInit(session_, &mechanism, key), "C_EncryptInit", label)) {
        return false;
    }
    encrypted.fill('\0', plain.size());
    auto size = static_cast<CK_ULONG>(encrypted.size());
    return driver_.succeeded(call().C_Encrypt(session_, inputBytes(plain), static_cast<CK_ULONG>(plain.size()),
                                              reinterpret_cast<CK_BYTE*>(encrypted.data()), &size),
                             "C_Encrypt", label) &&
           (size == static_cast<CK_ULONG>(plain.size()) ||
            reportError("The %s didn't encrypt a whole block with %s", driver_.device(), label));
}

bool Session::create(std::vector<CK_ATTRIBUTE>& attributes, const char* label, Handles& created) const {
    CK_OBJECT_HANDLE object = CK_INVALID_HANDLE;
    if (!driver_.succeeded(call().C_CreateObject(session_, attributes.data(), attributes.size(), &object),
                           "C_CreateObject", label)) {
        return false;
    }
    created.push_back(object);
    return true;
}

bool Session::destroy(const Handles& objects, const char* label) const {
    return std::all_of(objects.rbegin(), objects.rend(), [this, label](CK_OBJECT_HANDLE object) {
        const CK_RV answer = call().C_DestroyObject(session_, object);
        return answer == CKR_OBJECT_HANDLE_INVALID || driver_.succeeded(answer, "C_DestroyObject", label);
    });
}

bool Session::sign(const Operation& operation, QByteArrayView data, qsizetype maxSize, QByteArray& result) const {
    CK_MECHANISM mechanism{operation.mechanism, nullptr, 0};
    if (!driver_.succeeded(call().C_SignInit(session_, &mechanism, operation.key), "C_SignInit", "the key")) {
        return false;
    }
    if (operation.pin != nullptr) {
        CK_BYTE* const pin = operation.pin->isNull() ? nullptr : inputBytes(*operation.pin);
        const CK_RV answer =
            call().C_Login(session_, CKU_CONTEXT_SPECIFIC, pin, static_cast<CK_ULONG>(operation.pin->size()));
        if (!driver_.succeeded(answer, "C_Login", "this use of the key")) {
            return false;
        }
    }
    QByteArray made(maxSize, '\0');
    auto size = static_cast<CK_ULONG>(made.size());
    if (!driver_.succeeded(call().C_Sign(session_, inputBytes(data), static_cast<CK_ULONG>(data.size()),
                                         reinterpret_cast<CK_BYTE*>(made.data()), &size),
                           "C_Sign", "the key")) {
        return false;
    }
    if (size > static_cast<CK_ULONG>(maxSize)) {
        return reportError("The %s returned a signature of %lu bytes, not of at most %lld", driver_.device(), size,
                           qint64{maxSize});
    }
    made.truncate(static_cast<qsizetype>(size));
    result = made;
    return true;
}

bool Session::computeCmac(CK_OBJECT_HANDLE key, QByteArrayView message, QByteArray& mac) const {
    QByteArray made;
    const WipeOnExit wiped(made);
    if (!sign({CKM_AES_CMAC, key}, message, macSize, made)) {
        return false;
    }
    if (made.size() != macSize) {
        return reportError("The %s returned a CMAC of %lld bytes, not of %lld", driver_.device(), qint64{made.size()},
                           qint64{macSize});
    }
    mac = QByteArray(made.constData(), made.size());
    return true;
}

}  // namespace token
