#include "Preparation/primitives/P256Key.h"
#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/keyPem.h"
#include "Preparation/secureImages/imageCipher.h"
#include "display/Display.h"
#include "preparation-interface/Preparation.h"

#include <QFile>
#include <QtEndian>

#include <algorithm>

// A provisioning payload is a header of 96 bytes and the encrypted secrets. All numbers are little-endian.
//
//    0  "PVSPAYLD"          8        16  nonce, used as the IV    16
//    8  protocol version    2        32  binding to the OEM key   32
//   10  header size, 96     2        64  tag                      16
//   12  size of the blob    4        80  zero                     16
//
//   authenticated: the whole header except the tag
//
// In version 1, the binding is the SHA-256 of a public key's DER SubjectPublicKeyInfo (RFC 5280, 4.1.2.7). In version
// 2, it is the 32-byte hash of a table of root keys. The OEM key file then contains this hash.

namespace {

constexpr char payloadMagic[] = "PVSPAYLD";
constexpr std::uint16_t keyProtocol = 1;
constexpr std::uint16_t keyTableProtocol = 2;
constexpr qsizetype headerSize = 96;
constexpr qsizetype nonceSize = 16;
constexpr qsizetype nonceOffset = 16;
constexpr qsizetype bindingSize = std::tuple_size_v<Sha256Digest>;
constexpr qsizetype bindingOffset = 32;
constexpr qsizetype tagOffset = 64;

bool bindToKey(const QString& path, Sha256Digest& binding) {
    const P256Key key = readP256PublicKey(path);
    if (!key) {
        return false;
    }
    QByteArray der;
    return (subjectPublicKeyInfo(key.get(), der) == DerResult::done && sha256({der}, binding)) ||
           reportError("Error while hashing the public key %s", qUtf8Printable(path));
}

bool bindToKeyTable(const QString& path, Sha256Digest& binding) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return reportError("Failed to open the root key table hash file %s : %s", qUtf8Printable(path),
                           qUtf8Printable(file.errorString()));
    }
    const QByteArray hash = file.read(bindingSize + 1);
    if (hash.size() != bindingSize) {
        return reportError("The root key table hash file %s doesn't have %d bytes", qUtf8Printable(path),
                           int{bindingSize});
    }
    std::copy(hash.begin(), hash.end(), binding.begin());
    return true;
}

}  // namespace

QByteArray Preparation::PVSPayloadPreparation(const QByteArray& blob, const QByteArray& key, const QByteArray& nonce,
                                              unsigned char* oemKeyPath, std::uint32_t blobSize) {
    AesGcm cipher;
    if (!takeImageKey(key, cipher)) {
        return {};
    }
    if (nonce.size() != nonceSize) {
        reportError("The nonce has %lld bytes, %d are needed", static_cast<long long>(nonce.size()), int{nonceSize});
        return {};
    }
    if (blob.isEmpty() || blob.size() != qsizetype{blobSize}) {
        reportError("The blob has %lld bytes, %u are needed", static_cast<long long>(blob.size()), blobSize);
        return {};
    }
    if (oemKeyPath == nullptr) {
        reportError("There is no OEM key file");
        return {};
    }
    const QString path = QString::fromUtf8(reinterpret_cast<const char*>(oemKeyPath));
    const bool withKey = path.endsWith(QLatin1String(".pem"), Qt::CaseInsensitive);
    Sha256Digest binding{};
    if (!(withKey ? bindToKey(path, binding) : bindToKeyTable(path, binding))) {
        return {};
    }

    QByteArray payload(headerSize + blob.size(), '\0');
    char* const header = payload.data();
    std::copy_n(payloadMagic, sizeof(payloadMagic) - 1, header);
    qToLittleEndian(withKey ? keyProtocol : keyTableProtocol, header + 8);
    qToLittleEndian(static_cast<std::uint16_t>(headerSize), header + 10);
    qToLittleEndian(blobSize, header + 12);
    std::copy(nonce.begin(), nonce.end(), header + nonceOffset);
    std::copy(binding.begin(), binding.end(), header + bindingOffset);

    const QByteArrayView headerBytes(header, headerSize);
    if (!cipher.start(nonce, {headerBytes.first(tagOffset), headerBytes.sliced(tagOffset + AesGcm::tagSize)}) ||
        !cipher.encrypt(blob, header + headerSize) || !cipher.finish(header + tagOffset)) {
        reportError("Error while encrypting the blob");
        return {};
    }
    return payload;
}
