#include "sign/signingRequest.h"

#include "Preparation/primitives/ecdsa.h"
#include "display/Display.h"
#include "files/parseNumber.h"
#include "files/readWhole.h"
#include "sign/receipt.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

namespace sign {

namespace {

constexpr qint64 maxRequest = 65536;
constexpr qint64 maxSignature = 1024;
constexpr QLatin1String requestType("qvora-signing-request");
constexpr int requestVersion = 1;

bool readSmallFile(const QString& path, const char* what, qint64 limit, QByteArray& bytes) {
    QFile file(path);
    return (file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) && readUpTo(file, limit, bytes)) ||
           reportError("The %s %s can't be read, or has more than %lld bytes", what, qUtf8Printable(path), limit);
}

}  // namespace

bool readVersion(const calls::Call& call, Format format, std::uint32_t& version) {
    return format != Format::image || parseNumber(call.value("image-version"), 0, version) ||
           reportError("--image-version needs a number from 0 to 4294967295");
}

QByteArray requestOf(const Signable& signable, const QString& binaryPath) {
    QJsonObject binary = describe(signable);
    binary.insert(QStringLiteral("name"), QFileInfo(binaryPath).fileName());
    return QJsonDocument(QJsonObject{{QStringLiteral("type"), requestType},
                                     {QStringLiteral("version"), requestVersion},
                                     {QStringLiteral("binary"), binary}})
        .toJson();
}

bool readRequest(const QString& path, const QString& binaryPath, Signable& signable) {
    QByteArray text;
    if (!readSmallFile(path, "request", maxRequest, text)) {
        return false;
    }
    const QJsonObject request = QJsonDocument::fromJson(text).object();
    QJsonObject binary = request.value(QLatin1String("binary")).toObject();
    if (request.value(QLatin1String("type")) != requestType) {
        return reportError("The file %s isn't a signing request", qUtf8Printable(path));
    }
    if (request.value(QLatin1String("version")) != requestVersion) {
        return reportError("The signing request %s has another version than %d", qUtf8Printable(path), requestVersion);
    }
    const bool isImage = binary.value(QLatin1String("format")) == QLatin1String("image");
    const double version = binary.value(QLatin1String("version")).toDouble(0);
    const bool isVersion = version >= 0 && version <= 4294967295.0;
    Signable prepared;
    if (!readSignable(isImage ? Format::image : Format::wireless, isVersion ? static_cast<std::uint32_t>(version) : 0,
                      binaryPath, prepared)) {
        return false;
    }
    binary.remove(QStringLiteral("name"));
    if (binary != describe(prepared)) {
        return reportError("The request %s is for another binary than %s", qUtf8Printable(path),
                           qUtf8Printable(binaryPath));
    }
    signable = prepared;
    return true;
}

bool readSignature(const QString& path, const Signable& signable, evp_pkey_st* publicKey, QByteArray& signature) {
    QByteArray bytes;
    if (!readSmallFile(path, "signature", maxSignature, bytes)) {
        return false;
    }
    const token::SignatureKind kind = signatureKindOf(signable.format);
    // A signature in DER form can have the size of the raw form, so both forms are tried.
    QByteArray raw;
    const bool isDer = signable.format == Format::image && toRawSignature(bytes, raw) &&
                       token::verifySignature(kind, publicKey, signable.digest, raw);
    if (!isDer && !token::verifySignature(kind, publicKey, signable.digest, bytes)) {
        return reportError("The signature %s doesn't hold for this request and this public key", qUtf8Printable(path));
    }
    signature = isDer ? raw : bytes;
    return true;
}

}  // namespace sign
