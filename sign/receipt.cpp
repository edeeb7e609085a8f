#include "sign/receipt.h"

#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/keyPem.h"

#include <QDateTime>
#include <QFileInfo>

namespace sign {

namespace {

QString digitsOf(QByteArrayView digest) {
    return QString::fromLatin1(digest.toByteArray().toHex());
}

}  // namespace

QJsonObject describe(const Signable& signable) {
    QJsonObject object{
        {QStringLiteral("format"),
         signable.format == Format::image ? QStringLiteral("image") : QStringLiteral("wireless")},
        {QStringLiteral("algorithm"), signable.format == Format::image
                                          ? QStringLiteral("ECDSA P-256 with SHA-256")
                                          : QStringLiteral("RSASSA-PKCS1-v1_5 2048 with SHA-256")},
        {QStringLiteral("size"), signable.binarySize},
        {QStringLiteral("sha256"), digitsOf(signable.binaryDigest)},
        {QStringLiteral("signedSize"), signable.signedSize},
        {QStringLiteral("digest"), digitsOf(signable.digest)},
    };
    if (signable.format == Format::image) {
        object.insert(QStringLiteral("version"), qint64{signable.version});
        object.insert(QStringLiteral("kind"), QString::fromUtf8(signable.kindText));
    }
    return object;
}

QString keyIdOf(const evp_pkey_st* key) {
    QByteArray der;
    Sha256Digest digest{};
    return subjectPublicKeyInfo(key, der) == DerResult::done && sha256({der}, digest) ? digitsOf(digest) : QString();
}

QJsonObject receiptOf(const Signable& signable, const QString& path, QByteArrayView bytes, const evp_pkey_st* key,
                      const Certified& certified) {
    Sha256Digest digest{};
    QJsonObject output{{QStringLiteral("name"), QFileInfo(path).fileName()}, {QStringLiteral("size"), bytes.size()}};
    if (sha256({bytes}, digest)) {
        output.insert(QStringLiteral("sha256"), digitsOf(digest));
    }
    QJsonObject receipt{
        {QStringLiteral("type"), QStringLiteral("qvora-signing-receipt")},
        {QStringLiteral("version"), 1},
        {QStringLiteral("time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {QStringLiteral("binary"), describe(signable)},
        {QStringLiteral("output"), output},
        {QStringLiteral("key"), keyIdOf(key)},
    };
    if (!certified.fingerprint.isEmpty()) {
        receipt.insert(QStringLiteral("certificate"), QJsonObject{{QStringLiteral("subject"), certified.subject},
                                                                  {QStringLiteral("sha256"), certified.fingerprint}});
    }
    return receipt;
}

}  // namespace sign
