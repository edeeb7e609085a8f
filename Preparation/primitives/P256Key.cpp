#include "Preparation/primitives/P256Key.h"

#include "Preparation/primitives/keyFiles.h"
#include "Preparation/primitives/keyPem.h"
#include "display/Display.h"
#include "files/wipe.h"

#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/obj_mac.h>
#include <openssl/objects.h>

#include <array>

namespace {

constexpr qsizetype maxKeyFileSize = 65536;  // a P-256 key needs a few hundred bytes
constexpr qsizetype encodedPointSize = 65;   // SEC 1, 2.3.3: 4, X, Y

enum class KeyPart { privateKey, publicKey };

const char* partName(KeyPart part) {
    return part == KeyPart::privateKey ? "private" : "public";
}

// Whether the key is on the curve and in range (SP 800-56A, 5.6.2). The private and the public part of a private key
// must also belong together.
bool isValidP256(const P256Key& key, KeyPart part) {
    std::array<char, 64> curve{};
    if (EVP_PKEY_is_a(key.get(), "EC") != 1 ||
        EVP_PKEY_get_group_name(key.get(), curve.data(), curve.size(), nullptr) != 1 ||
        OBJ_txt2nid(curve.data()) != NID_X9_62_prime256v1) {
        return false;
    }
    const KeyContext context = makeKeyContext(key.get());
    return context &&
           (part == KeyPart::privateKey ? EVP_PKEY_check(context.get()) : EVP_PKEY_public_check(context.get())) == 1;
}

P256Key parseKey(QByteArrayView pem, const QString& name, KeyPart part) {
    bool passphraseWanted = false;
    P256Key key;
    if (pem.size() <= maxKeyFileSize) {
        key = part == KeyPart::privateKey ? privateKeyFromPem(pem, {}, &passphraseWanted)
                                          : publicKeyFromPem(pem, &passphraseWanted);
    }
    if (key && isValidP256(key, part)) {
        return key;
    }
    ERR_clear_error();
    if (passphraseWanted) {
        reportError("The key %s is encrypted, a key without a passphrase is needed", qUtf8Printable(name));
    } else {
        reportError("%s is not a valid P-256 %s key in PEM form", qUtf8Printable(name), partName(part));
    }
    return nullptr;
}

P256Key readKey(const QString& path, KeyPart part) {
    QByteArray pem;
    const WipeOnExit wipePem(pem);
    KeyFileFault fault;
    if (!readKeyFile(path, pem, &fault)) {
        reportError(fault.opened ? "Failed to read the %s key file %s : %s" : "Failed to open the %s key file %s : %s",
                    partName(part), qUtf8Printable(path), qUtf8Printable(fault.reason));
        return nullptr;
    }
    return parseKey(pem, path, part);
}

}  // namespace

P256Key makeP256Key() {
    P256Key key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    if (!key) {
        ERR_clear_error();
    }
    return key;
}

P256Key parseP256PrivateKey(QByteArrayView pem, const QString& name) {
    return parseKey(pem, name, KeyPart::privateKey);
}

P256Key parseP256PublicKey(QByteArrayView pem, const QString& name) {
    return parseKey(pem, name, KeyPart::publicKey);
}

P256Key readP256PrivateKey(const QString& path) {
    return readKey(path, KeyPart::privateKey);
}

P256Key readP256PublicKey(const QString& path) {
    return readKey(path, KeyPart::publicKey);
}

QByteArray p256PublicPoint(const P256Key& key) {
    // OpenSSL encodes the point in the form in which the key was read. That form may be compressed.
    std::array<unsigned char, encodedPointSize> encoded{};
    std::size_t size = 0;
    const OpensslPointer<EC_GROUP> group(EC_GROUP_new_by_curve_name(NID_X9_62_prime256v1));
    const OpensslPointer<EC_POINT> point(group ? EC_POINT_new(group.get()) : nullptr);
    if (!point ||
        EVP_PKEY_get_octet_string_param(key.get(), OSSL_PKEY_PARAM_PUB_KEY, encoded.data(), encoded.size(), &size) !=
            1 ||
        EC_POINT_oct2point(group.get(), point.get(), encoded.data(), size, nullptr) != 1 ||
        EC_POINT_point2oct(group.get(), point.get(), POINT_CONVERSION_UNCOMPRESSED, encoded.data(), encoded.size(),
                           nullptr) != encoded.size()) {
        ERR_clear_error();
        reportError("Failed to take the public key from the private key");
        return {};
    }
    return QByteArray(reinterpret_cast<const char*>(encoded.data()), encodedPointSize).sliced(1);
}
