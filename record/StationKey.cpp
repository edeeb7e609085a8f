#include "record/StationKey.h"

#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/ecdsa.h"
#include "Preparation/primitives/keyPem.h"
#include "display/MessageCollector.h"
#include "files/FileHandle.h"
#include "files/readWhole.h"
#include "files/unfinishedFiles.h"
#include "files/wipe.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace record {

namespace {

constexpr qint64 maxKeyFileSize = 65536;
constexpr std::size_t numberSize = 32;
using Number = std::array<std::uint8_t, numberSize>;

// The order of the group (FIPS 186-4, D.1.2.3) and its half, rounded down. Big-endian.
constexpr Number order = {0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF,
                          0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xBC, 0xE6, 0xFA, 0xAD, 0xA7, 0x17,
                          0x9E, 0x84, 0xF3, 0xB9, 0xCA, 0xC2, 0xFC, 0x63, 0x25, 0x51};
constexpr Number halfOrder = [] {
    Number half{};
    for (std::size_t i = 0; i < numberSize; ++i) {
        const unsigned carried = i > 0 ? (order[i - 1] & 1U) << 7 : 0;
        half[i] = static_cast<std::uint8_t>(carried | (order[i] >> 1));
    }
    return half;
}();

bool isLow(const char* s) {
    return std::memcmp(s, halfOrder.data(), numberSize) <= 0;
}

// Replaces s by order - s, which verifies as well. s is below the order, so the subtraction ends without a borrow.
void negate(char* s) {
    int borrow = 0;
    for (std::size_t i = numberSize; i-- > 0;) {
        const int difference = order[i] - static_cast<std::uint8_t>(s[i]) - borrow;
        borrow = difference < 0 ? 1 : 0;
        s[i] = static_cast<char>(difference & 0xFF);
    }
}

bool idOf(const P256Key& key, QString& id) {
    QByteArray der;
    Sha256Digest digest;
    if (subjectPublicKeyInfo(key.get(), der) != DerResult::done || !sha256({der}, digest)) {
        return false;
    }
    id = QString::fromLatin1(QByteArrayView(digest).toByteArray().toHex());
    return true;
}

bool readPublicKey(const QByteArray& pem, P256Key& key, QString& id, QString& fault) {
    const MessageCollector messages;
    P256Key read = parseP256PublicKey(pem, QStringLiteral("The public key"));
    QString readId;
    if (!read || !idOf(read, readId)) {
        fault = read ? QStringLiteral("The public key can't be used") : messages.lastFault();
        return false;
    }
    key = std::move(read);
    id = readId;
    return true;
}

/// Writes a new file completely or not at all. Never replaces a file. Returns 0, or the number of the error.
int writeNewFile(const QByteArray& path, QByteArrayView bytes, mode_t mode) {
    UnfinishedFile hidden;
    const FileHandle file = hidden.create(path.left(path.lastIndexOf('/') + 1));
    if (!file.isOpen() || !file.write(bytes) || fchmod(file.get(), mode) != 0 || fsync(file.get()) != 0) {
        return errno != 0 ? errno : EIO;
    }
    const EndingSignalsHeld held;
    if (renameat2(AT_FDCWD, hidden.name(), AT_FDCWD, path.constData(), RENAME_NOREPLACE) == 0) {
        hidden.release();
        return 0;
    }
    // Not every file system has this kind of rename. A link doesn't replace a file either.
    if (errno == EINVAL && link(hidden.name(), path.constData()) == 0) {
        return 0;
    }
    return errno;
}

void flushFolder(const QByteArray& path) {
    const QByteArray folder = path.left(path.lastIndexOf('/') + 1);
    const FileHandle handle(open(folder.isEmpty() ? "." : folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    static_cast<void>(fsync(handle.get()));
}

}  // namespace

bool StationKey::read(const QString& path, QString& fault) {
    const auto failed = [&](const QString& reason) {
        fault = QStringLiteral("The station key %1 %2").arg(path, reason);
        return false;
    };
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return failed(QStringLiteral("can't be opened: %1").arg(file.errorString()));
    }
    struct stat status {};
    if (fstat(file.handle(), &status) != 0 || (status.st_mode & 0077) != 0) {
        return failed(QStringLiteral("can be used by others; its mode must be 0600"));
    }
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!readUpTo(file, maxKeyFileSize, pem)) {
        return failed(QStringLiteral("can't be read, or has more than %1 bytes").arg(maxKeyFileSize));
    }
    const MessageCollector messages;
    P256Key key = parseP256PrivateKey(pem, path);
    if (!key) {
        fault = messages.lastFault();
        return false;
    }
    QString id;
    if (!idOf(key, id)) {
        return failed(QStringLiteral("can't be used"));
    }
    key_ = std::move(key);
    signer_ = nullptr;
    id_ = id;
    return true;
}

bool StationKey::use(const QByteArray& publicPem, Signer signer, QString& fault) {
    if (!readPublicKey(publicPem, key_, id_, fault)) {
        return false;
    }
    signer_ = std::move(signer);
    return true;
}

bool StationKey::sign(QByteArrayView message, QByteArray& signature) const {
    Sha256Digest digest;
    QByteArray der;
    QByteArray raw;
    if (!key_ || !sha256({message}, digest) ||
        !(signer_ ? signer_(digest, raw) && raw.size() == qsizetype{2} * numberSize
                  : signEcdsa(key_.get(), digest, der) && toRawSignature(der, raw))) {
        return false;
    }
    char* const s = raw.data() + numberSize;
    if (!isLow(s)) {
        negate(s);
    }
    signature = raw;
    return true;
}

bool StationPublicKey::parse(const QByteArray& pem, QString& fault) {
    return readPublicKey(pem, key_, id_, fault);
}

StationPublicKey::Check StationPublicKey::verify(QByteArrayView message, QByteArrayView signature) const {
    QByteArray der;
    Sha256Digest digest;
    if (signature.size() != qsizetype{2} * numberSize || !isLow(signature.data() + numberSize)) {
        return Check::doesNotHold;
    }
    if (!key_ || !toDerSignature(signature, der) || !sha256({message}, digest)) {
        return Check::failed;
    }
    switch (verifyEcdsa(key_.get(), digest, der)) {
        case EcdsaCheck::holds:
            return Check::holds;
        case EcdsaCheck::doesNotHold:
            return Check::doesNotHold;
        case EcdsaCheck::failed:
            break;
    }
    return Check::failed;
}

bool makeStationKey(const QString& privatePath, const QString& publicPath, QString& fault) {
    const P256Key key = makeP256Key();
    QByteArray privatePem;
    const WipeOnExit wiped(privatePem);
    QByteArray publicPem;
    if (!key || !privateKeyToPem(key.get(), privatePem) || !publicKeyToPem(key.get(), publicPem)) {
        fault = QStringLiteral("A key pair can't be made");
        return false;
    }
    const auto failed = [&](const QString& path, int reason) {
        fault = QStringLiteral("The new key file %1 can't be written: %2").arg(path, qt_error_string(reason));
        return false;
    };
    const QByteArray privateName = QFile::encodeName(privatePath);
    const QByteArray publicName = QFile::encodeName(publicPath);
    if (const int reason = writeNewFile(privateName, privatePem, 0600)) {
        return failed(privatePath, reason);
    }
    if (const int reason = writeNewFile(publicName, publicPem, 0444)) {
        unlink(privateName.constData());  // this call has just made it
        return failed(publicPath, reason);
    }
    flushFolder(privateName);
    flushFolder(publicName);
    return true;
}

}  // namespace record
