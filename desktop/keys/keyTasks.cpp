#include "desktop/keys/keyTasks.h"

#include "Preparation/primitives/randomBytes.h"
#include "Preparation/src/ec_crypto.h"
#include "display/MessageCollector.h"
#include "files/outputFile.h"
#include "files/wipe.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>

namespace desktop {

namespace {

constexpr int done = 1;  ///< the success value of the key services

// The DER of a public key on a curve of 256 bits (RFC 5480) consists of a header, the mark of an uncompressed point,
// and the point. The length of the header shows the family of the curve.
constexpr qsizetype pointSize = 64;
constexpr qsizetype p256HeaderSize = 27;
constexpr qsizetype brainpoolHeaderSize = 28;
constexpr char uncompressed = 4;

QString words(const char* source) {
    return QCoreApplication::translate("keyTasks", source);
}

KeyAnswer faultAnswer(const QString& fault) {
    KeyAnswer answer;
    answer.fault = fault;
    return answer;
}

QStringList outputsOf(const KeyRequest& request) {
    switch (request.task) {
        case KeyTask::randomFile:
            return {request.path};
        case KeyTask::curvePair:
        case KeyTask::rsaPair:
            return {request.path, request.publicPath};
        case KeyTask::publicKeyHash:
            break;
    }
    return {};
}

constexpr const char* strangerLeft =
    QT_TRANSLATE_NOOP("keyTasks", "A file has appeared at one of the paths; it was left alone.");

bool mayWrite(const KeyRequest& request) {
    const QStringList existing = existingOutputs(request);
    return std::all_of(existing.begin(), existing.end(),
                       [&](const QString& path) { return request.replaced.contains(path); });
}

/// The curve of a key whose DER ends in an uncompressed point; 0 for any other key.
std::int32_t curveOf(const QByteArray& der) {
    const qsizetype header = der.size() - pointSize;
    const bool hasPoint = header > 0 && der.at(header - 1) == uncompressed;
    return hasPoint && header == p256HeaderSize        ? prime256v1Nid
           : hasPoint && header == brainpoolHeaderSize ? brainpoolP256t1Nid
                                                       : 0;
}

bool hashPublicKey(const evp_pkey_st* key, KeyAnswer& answer) {
    QByteArray der;
    QByteArray digest;
    if (Crypto::encodePublicKey(key, der) != done || Crypto::sha256(der, digest) != done) {
        return false;
    }
    answer.keyHash = QString::fromLatin1(digest.toHex());
    const std::int32_t curve = curveOf(der);
    if (curve != 0) {
        if (EC_Crypto(curve).publicKeyHash(key, digest) != done) {
            return false;
        }
        answer.pointHash = QString::fromLatin1(digest.toHex());
    }
    return true;
}

KeyAnswer makeRandomFile(const KeyRequest& request) {
    QByteArray bytes;
    if (!randomBytes(request.size, bytes)) {
        return faultAnswer(words("The random generator of this system fails."));
    }
    const WipeOnExit wiped(bytes);
    if (replaceFile(request.path, bytes, FileAccess::ownerReadsAndWrites) != ReplaceResult::done) {
        return faultAnswer(words("“%1” can't be written.").arg(request.path));
    }
    KeyAnswer answer;
    answer.files = {request.path};
    return answer;
}

KeyAnswer makePair(const KeyRequest& request, const std::atomic<bool>& isGivenUp) {
    const Crypto rsa;
    const EC_Crypto curve(request.curve);
    const Crypto& service = request.task == KeyTask::rsaPair ? rsa : curve;
    KeyPointer key;
    KeyAnswer answer;
    if (service.generateKeyPair(key) != done || !hashPublicKey(key.get(), answer)) {
        return faultAnswer(words("The key pair couldn't be made."));
    }
    if (isGivenUp) {
        return faultAnswer(words("Stopped. Nothing was written."));
    }
    // A file may have appeared while the key was made.
    if (!mayWrite(request)) {
        return faultAnswer(words(strangerLeft));
    }
    if (Crypto::writePrivateKeyPlain(request.path, key.get()) != done) {
        return faultAnswer(words("“%1” can't be written. Nothing was made.").arg(request.path));
    }
    if (Crypto::writePublicKey(request.publicPath, key.get()) != done) {
        return faultAnswer(words("The private key is made, but “%1” can't be written.").arg(request.publicPath));
    }
    answer.files = {request.path, request.publicPath};
    return answer;
}

KeyAnswer hashFile(const QString& path) {
    if (!QFileInfo(path).isFile()) {
        return faultAnswer(words("There is no file “%1”.").arg(path));
    }
    KeyPointer key;
    KeyAnswer answer;
    if (Crypto::readPublicKeyPem(path, key) != done && Crypto::readPrivateKey(path, key) != done) {
        return faultAnswer(words("This file holds no PEM key that can be read without a passphrase."));
    }
    return hashPublicKey(key.get(), answer) ? answer : faultAnswer(words("This key has no public part to hash."));
}

}  // namespace

KeyAnswer runKeyTask(const KeyRequest& request, const std::atomic<bool>& isGivenUp) {
    // Collect the services' messages, which are meant for a console.
    const MessageCollector messages;
    if (!mayWrite(request)) {
        return faultAnswer(words(strangerLeft));
    }
    // Writing to a pipe could block this thread forever, and a closing window waits for the thread.
    for (const QString& path : existingOutputs(request)) {
        if (QFileInfo::exists(path) && !QFileInfo(path).isFile()) {
            return faultAnswer(words("“%1” is no plain file.").arg(path));
        }
    }
    if (request.task == KeyTask::publicKeyHash) {
        return hashFile(request.path);
    }
    const bool isPair = request.task != KeyTask::randomFile;
    if (isPair && isSameFile(request.path, request.publicPath)) {
        return faultAnswer(words("The private and the public key need two files."));
    }
    return isPair ? makePair(request, isGivenUp) : makeRandomFile(request);
}

QStringList existingOutputs(const KeyRequest& request) {
    QStringList existing;
    for (const QString& path : outputsOf(request)) {
        const QFileInfo info(path);
        if (info.exists() || info.isSymLink()) {
            existing.append(path);
        }
    }
    return existing;
}

}  // namespace desktop
