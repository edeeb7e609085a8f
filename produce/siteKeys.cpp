#include "produce/siteKeys.h"

#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/randomBytes.h"
#include "display/MessageCollector.h"
#include "files/outputFile.h"
#include "files/readWhole.h"
#include "files/wipe.h"
#include "token/KeyUri.h"
#include "token/SigningKey.h"

#include <QFile>

#include <sys/mman.h>
#include <sys/stat.h>

namespace produce {

namespace {

constexpr qsizetype secretSize = 32;
constexpr qint64 largestKey = 64 << 10;

bool refuse(QString& fault, const QString& text) {
    fault = text;
    return false;
}

QByteArray bytesOf(const Sha256Digest& digest) {
    return {digest.data(), static_cast<qsizetype>(digest.size())};
}

}  // namespace

SiteSecret::~SiteSecret() {
    wipe(secret_);
}

bool SiteSecret::read(const QString& path, QString& fault) {
    struct stat status {};
    if (stat(QFile::encodeName(path).constData(), &status) == 0 && S_ISREG(status.st_mode) &&
        (status.st_mode & 077) != 0) {
        return refuse(fault, QStringLiteral("%1: other users can use this file; set its mode to 0600").arg(path));
    }
    QByteArray bytes;
    const WipeOnExit wipe(bytes);
    if (!readKeyBytes(path, bytes, fault)) {
        return false;
    }
    if (bytes.size() != secretSize) {
        return refuse(
            fault,
            QStringLiteral("%1: a site secret has %2 bytes, not %3").arg(path).arg(secretSize).arg(bytes.size()));
    }
    secret_.swap(bytes);
    return true;
}

QByteArray SiteSecret::fingerprint(QByteArrayView key) const {
    Sha256Digest digest{};
    if (!sha256({key}, digest)) {
        return {};
    }
    QByteArray bytes = bytesOf(digest);
    const WipeOnExit wipe(bytes);
    digest.fill('\0');
    return fingerprintOfDigest(bytes);
}

QByteArray SiteSecret::fingerprintOfDigest(QByteArrayView sha256) const {
    Sha256Digest mac{};
    return hmacSha256(secret_, sha256, mac) ? bytesOf(mac) : QByteArray();
}

bool openStationKey(const QString& name, record::StationKey& key, QString& fault) {
    if (!token::KeyUri::isUri(name)) {
        return key.read(name, fault);
    }
    const MessageCollector messages;
    QByteArray pem;
    token::Signer signer;
    if (!token::openSigner({name, {}}, token::SignatureKind::ecdsaP256, pem, signer)) {
        return refuse(fault, QStringLiteral("the station key: %1").arg(messages.faults()));
    }
    return key.use(pem, signer, fault);
}

bool makeSiteSecret(const QString& path, QString& fault) {
    QByteArray secret;
    const WipeOnExit wipe(secret);
    if (QFile::exists(path)) {
        return refuse(fault, QStringLiteral("%1 exists already").arg(path));
    }
    if (!randomBytes(secretSize, secret)) {
        return refuse(fault, QStringLiteral("there are no random numbers"));
    }
    return replaceFile(path, secret, FileAccess::ownerReadsAndWrites) == ReplaceResult::done ||
           refuse(fault, QStringLiteral("%1 can't be written").arg(path));
}

bool readKeyBytes(const QString& path, QByteArray& key, QString& fault) {
    QFile file(path);
    // Unbuffered, since a buffer would keep a copy of the key.
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        return refuse(fault, QStringLiteral("%1 can't be read: %2").arg(path, file.errorString()));
    }
    return readUpTo(file, largestKey, key) ||
           refuse(fault, QStringLiteral("%1 can't be read, or is too large for a key").arg(path));
}

bool JobKeys::read(const ProductionJob& job, QString& fault) {
    for (const KeySource& source : job.keys) {
        if (source.path.isEmpty()) {
            continue;
        }
        QByteArray key;
        const WipeOnExit wipe(key);
        if (!readKeyBytes(source.path, key, fault)) {
            return false;
        }
        FileHandle file(memfd_create("qvora-key", 0));  // steps inherit it
        if (!file.isOpen() || !file.write(key)) {
            return refuse(fault, QStringLiteral("there is no memory for the key %1").arg(source.name));
        }
        const QString path = QStringLiteral("/proc/self/fd/%1").arg(file.get());
        paths_.insert(source.name, path);
        known_.insert(path, {source.name, {}});
        files_.push_back(std::move(file));
    }
    return true;
}

bool JobKeys::fingerprint(const SiteSecret& site, QString& fault) {
    for (auto known = known_.begin(); known != known_.end(); ++known) {
        QByteArray key;
        const WipeOnExit wipe(key);
        if (!readKeyBytes(known.key(), key, fault)) {
            return false;
        }
        known->fingerprint = site.fingerprint(key);
        if (known->fingerprint.isEmpty()) {
            return refuse(fault, QStringLiteral("the key %1 gets no fingerprint").arg(known->name));
        }
    }
    for (TokenSource& key : tokens_) {
        key.fingerprint = key.master ? QByteArray() : site.fingerprint(key.bytes);
    }
    return true;
}

JobKeys::~JobKeys() {
    for (TokenSource& key : tokens_) {
        wipe(key.bytes);
    }
}

bool JobKeys::openTokens(const ProductionJob& job, QString& fault) {
    for (const KeySource& source : job.keys) {
        if (source.token.isEmpty()) {
            continue;
        }
        const bool isDerived = !source.use.isEmpty();
        const MessageCollector messages;
        TokenSource key{source, std::make_unique<token::SecretKey>(), {}, {}};
        if (!key.master->open(source.token, isDerived ? token::SecretKey::Use::derive : token::SecretKey::Use::read) ||
            (!isDerived && !key.master->read(key.bytes))) {
            return refuse(fault, QStringLiteral("the key %1: %2").arg(source.name, messages.faults()));
        }
        if (!isDerived) {
            key.master.reset();
        }
        tokens_.push_back(std::move(key));
    }
    return true;
}

bool JobKeys::ofDevice(const QString& serial, QList<DeviceKey>& keys, QString& fault) const {
    for (const TokenSource& key : tokens_) {
        DeviceKey made{key.source.name, QByteArray(key.bytes.constData(), key.bytes.size())};
        const MessageCollector messages;
        if (key.master && !key.master->derive(key.source.use.toUtf8(), serial.toUtf8(), key.source.size, made.bytes)) {
            return refuse(fault, QStringLiteral("the key %1: %2").arg(key.source.name, messages.faults()));
        }
        keys.append(made);
    }
    return true;
}

QList<JobKeys::Known> JobKeys::all() const {
    QList<Known> keys = known_.values();
    for (const TokenSource& key : tokens_) {
        if (!key.master) {
            keys.append({key.source.name, key.fingerprint});
        }
    }
    return keys;
}

const JobKeys::Known* JobKeys::at(const QString& path) const {
    const auto found = known_.constFind(path);
    return found == known_.constEnd() ? nullptr : &*found;
}

}  // namespace produce
