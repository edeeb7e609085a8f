#include "Preparation/src/ecdh.h"

#include "Preparation/primitives/x963Secret.h"
#include "Preparation/src/ec_crypto.h"
#include "Preparation/src/keyServiceResult.h"
#include "display/Display.h"
#include "files/wipe.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/params.h>

#include <array>

namespace {

constexpr qsizetype scalarSize = 32;
constexpr qsizetype pointSize = 65;
constexpr qsizetype secretSize = 32;

// A key on the curve with `part` as its only component.
KeyPointer keyFromPart(const OSSL_PARAM& part, int selection) {
    std::array<char, 16> group{"prime256v1"};
    std::array parameters = {OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group.data(), 0), part,
                             OSSL_PARAM_construct_end()};
    const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY* made = nullptr;
    if (!context || EVP_PKEY_fromdata_init(context.get()) != 1 ||
        EVP_PKEY_fromdata(context.get(), &made, selection, parameters.data()) != 1) {
        return nullptr;
    }
    return KeyPointer(made);
}

KeyPointer privateKeyOf(QByteArrayView scalar) {
    QByteArray native(scalarSize, '\0');
    const WipeOnExit wiped(native);
    auto* const bytes = reinterpret_cast<unsigned char*>(native.data());
    const NumberPointer number(scalar.size() == scalarSize ? BN_bin2bn(unsignedBytes(scalar), scalarSize, nullptr)
                                                           : nullptr);
    if (!number || BN_bn2nativepad(number.get(), bytes, scalarSize) != scalarSize) {
        reportError("Failed Convert to BIGNUM for private key conversion.\n");
        return nullptr;
    }
    KeyPointer key =
        keyFromPart(OSSL_PARAM_construct_BN(OSSL_PKEY_PARAM_PRIV_KEY, bytes, scalarSize), EVP_PKEY_KEYPAIR);
    if (!key) {
        reportError("Failed Convert private key to EC_KEY.\n");
    }
    return key;
}

KeyPointer peerKeyOf(QByteArrayView point) {
    QByteArray bytes = point.toByteArray();
    KeyPointer key =
        point.size() == pointSize
            ? keyFromPart(OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY, bytes.data(), unsignedSize(bytes)),
                          EVP_PKEY_PUBLIC_KEY)
            : nullptr;
    if (!key) {
        reportError("Failed ecPeerKey = EC_KEY_new().\n");
    }
    return key;
}

struct TestKey {
    QByteArray scalar = QByteArray(scalarSize, '\0');
    QByteArray point = QByteArray(pointSize, '\0');
};

bool makeTestKey(TestKey& made) {
    const EC_Crypto services(prime256v1Nid);
    KeyPointer key;
    if (services.generateKeyPair(key) != keyService::done) {
        return reportError("Failed to generate the private and public key\n");
    }
    std::size_t size = 0;
    if (EVP_PKEY_get_octet_string_param(key.get(), OSSL_PKEY_PARAM_PUB_KEY,
                                        reinterpret_cast<unsigned char*>(made.point.data()), pointSize, &size) != 1 ||
        size != static_cast<std::size_t>(pointSize)) {
        return reportError("Failed Convert EC_POINT_point2oct.\n");
    }
    BIGNUM* number = nullptr;
    const bool read = EVP_PKEY_get_bn_param(key.get(), OSSL_PKEY_PARAM_PRIV_KEY, &number) == 1;
    const NumberPointer scalar(number);
    if (!read || BN_bn2binpad(number, reinterpret_cast<unsigned char*>(made.scalar.data()), scalarSize) != scalarSize) {
        return reportError("Failed Convert toprivate  for BIGNUM key conversion.\n");
    }
    return true;
}

}  // namespace

qsizetype computeEcdhSecret(QByteArray& secret, QByteArrayView privateBytes, QByteArrayView peerPoint) {
    const KeyPointer own = privateKeyOf(privateBytes);
    const KeyPointer peer = peerKeyOf(peerPoint);
    QByteArray made(secretSize, '\0');
    const WipeOnExit wiped(made);
    if (!own || !peer || !deriveX963Secret(own.get(), peer.get(), {made.data(), unsignedSize(made)})) {
        return 0;
    }
    secret.swap(made);
    return secret.size();
}

int ecdhSelfTest() {
    TestKey first;
    TestKey second;
    QByteArray firstSecret;
    QByteArray secondSecret;
    const WipeOnExit wipeScalars[] = {WipeOnExit(first.scalar), WipeOnExit(second.scalar)};
    const WipeOnExit wipeSecrets[] = {WipeOnExit(firstSecret), WipeOnExit(secondSecret)};
    if (!makeTestKey(first) || !makeTestKey(second)) {
        return keyService::refused;
    }
    if (computeEcdhSecret(firstSecret, first.scalar, second.point) == 0 ||
        computeEcdhSecret(secondSecret, second.scalar, first.point) == 0) {
        return refuseKeyService("Failed EC_DH\n");
    }
    if (CRYPTO_memcmp(firstSecret.constData(), secondSecret.constData(), static_cast<std::size_t>(secretSize)) != 0) {
        return refuseKeyService("secret deffirent ECDH is not working correctly \n");
    }
    displayMessage(MessageKind::success, "ECDH Work correctly yeaaah\n");
    return keyService::done;
}
