#include "inspect/KeyFolder.h"

#include "inspect/PublicKey.h"
#include "inspect/cipher.h"
#include "inspect/input.h"

#include <QDir>

#include <algorithm>

namespace inspect {

namespace {

constexpr qint64 imageKeySize = 16;
constexpr qint64 tableHashSize = 32;  // a root key table hash is given in place of a public key
constexpr qint64 pointSize = 64;
constexpr qint64 sizeLimit = 1 << 16;
constexpr qsizetype fileLimit = 4096;

bool hasGood(const Description& description, CheckCode code) {
    return std::any_of(
               description.checks.begin(), description.checks.end(),
               [code](const Check& check) { return check.code == code && check.result == CheckResult::good; }) ||
           std::any_of(description.inner.begin(), description.inner.end(),
                       [code](const Description& inner) { return hasGood(inner, code); });
}

bool isBoundToKey(const Description& description) {
    return hasGood(description, CheckCode::binding) || hasGood(description, CheckCode::sameKey);
}

bool isFitting(const Source& source, const Description& description, const Evidence& trial, bool isPublic) {
    Description tried = description;
    prove(source, trial, tried);
    return isPublic ? hasGood(tried, CheckCode::signature) || isBoundToKey(tried) : hasGood(tried, CheckCode::tag);
}

QByteArray fingerprintOf(QByteArrayView publicKey) {
    return publicKey.size() == tableHashSize ? publicKey.toByteArray() : sha256(PublicKey(publicKey).der());
}

}  // namespace

KeyFolder::~KeyFolder() {
    for (Key& key : keys_) {
        wipe(key.bytes);
    }
}

bool KeyFolder::read(const QString& path, QString& fault) {
    const QFileInfo info(path);
    if (!info.isDir()) {
        fault = info.exists() ? QStringLiteral("it is no folder") : QStringLiteral("No such file or directory");
        return false;
    }
    if (!info.isReadable()) {
        fault = QStringLiteral("Permission denied");
        return false;
    }
    // Files only: a pipe or a device could block the run.
    const QFileInfoList files = QDir(path).entryInfoList(QDir::Files, QDir::Name);
    if (files.size() > fileLimit) {
        fault = QStringLiteral("it has more than %1 files").arg(fileLimit);
        return false;
    }
    for (const QFileInfo& file : files) {
        if (file.size() < imageKeySize || file.size() >= sizeLimit) {
            continue;
        }
        QByteArray bytes;
        QString why;
        QString warning;
        if (!readKeyFile(file.filePath(), bytes, why, warning)) {
            fault = QStringLiteral("%1: %2").arg(file.fileName(), why);
            return false;
        }
        const bool isPublic = bytes.size() == tableHashSize || bytes.size() == pointSize ||
                              PublicKey(bytes).kind() != PublicKey::Kind::none;
        if (isPublic || bytes.size() == imageKeySize) {
            keys_.push_back({file.filePath(), std::move(bytes), isPublic});
        } else {
            wipe(bytes);
        }
    }
    return true;
}

void KeyFolder::fit(const Source& source, const Description& description, Evidence& evidence) const {
    wipe(evidence.key);
    evidence.keyFile.clear();
    evidence.publicKey.clear();
    evidence.publicKeyFile.clear();
    for (const bool isPublic : {false, true}) {
        for (const Key& key : keys_) {
            if (key.isPublic != isPublic) {
                continue;
            }
            Evidence trial;
            trial.isTrial = true;
            trial.privateKey = QByteArray(evidence.privateKey.constData(), evidence.privateKey.size());
            QByteArray& tried = isPublic ? trial.publicKey : trial.key;
            tried = QByteArray(key.bytes.constData(), key.bytes.size());
            if (!isFitting(source, description, trial, isPublic)) {
                continue;
            }
            (isPublic ? evidence.publicKey : evidence.key).swap(tried);
            (isPublic ? evidence.publicKeyFile : evidence.keyFile) = key.file;
            break;
        }
    }
}

std::vector<KeyUse> usedKeys(const Description& description, const Evidence& evidence, QByteArrayView siteSecret) {
    std::vector<KeyUse> used;
    if (!evidence.key.isEmpty() && hasGood(description, CheckCode::tag)) {
        QByteArray digest = sha256(evidence.key);
        const WipeOnExit wiped(digest);
        used.push_back({KeyUse::Use::image, evidence.keyFile,
                        siteSecret.isEmpty() ? QByteArray() : hmacSha256(siteSecret, digest)});
    }
    const bool isSigned = hasGood(description, CheckCode::signature);
    if (!evidence.publicKey.isEmpty() && (isSigned || isBoundToKey(description))) {
        used.push_back({isSigned ? KeyUse::Use::signature : KeyUse::Use::binding, evidence.publicKeyFile,
                        fingerprintOf(evidence.publicKey)});
    }
    return used;
}

}  // namespace inspect
