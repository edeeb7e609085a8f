#include "Preparation/src/TarnwaveQuill/signatureprep.h"

#include "Preparation/primitives/Sha256.h"
#include "Preparation/primitives/keyFiles.h"
#include "Preparation/primitives/keyPem.h"
#include "Preparation/src/TarnwaveQuill/binarySignature.h"
#include "Preparation/src/TarnwaveQuill/publicKeySources.h"
#include "Preparation/src/TarnwaveQuill/publicKeyText.h"
#include "display/Display.h"
#include "files/byteWriter.h"
#include "files/memoryFile.h"
#include "files/outputFile.h"
#include "files/wipe.h"
#include "formats/signedBinaryLayout.h"

#include <QFile>

#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <cstdio>
#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr unsigned keyBits = 2048;

int failSigning(const char* message) {
    reportError("%s", message);
    return tarnwaveFailed;
}

// Writes a new private key and returns the key that it reads back from the file. A key that can't be read back is
// unusable.
KeyPointer writtenPrivateKey(const QString& path) {
    const KeyPointer made(EVP_RSA_gen(keyBits));  // with the exponent 65537
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!privateKeyToTraditionalPem(made.get(), pem) ||
        replaceFile(path, pem, FileAccess::ownerReadsAndWrites) != ReplaceResult::done) {
        return nullptr;
    }
    wipe(pem);
    if (!readKeyFile(path, pem)) {
        std::fputs("Error opening private key file\n", stderr);
        return nullptr;
    }
    KeyPointer key = privateKeyFromPem(pem);
    if (!key) {
        reportError("Error reading private key\n");
    }
    return key;
}

void writePublicKeyPem(const evp_pkey_st* pkey, const QString& path) {
    QByteArray pem;
    if (publicKeyToPem(pkey, pem)) {
        static_cast<void>(replaceFile(path, pem));  // writePublicKeyText reports a missing file
    }
}

KeyPointer readSigningKey(const QString& path) {
    QByteArray pem;
    const WipeOnExit wiped(pem);
    if (!readKeyFile(path, pem)) {
        reportError("Opening file path\n");
        return nullptr;
    }
    KeyPointer key = privateKeyFromPem(pem);
    if (!key) {
        reportError(" The private key file is not a valid file\n");
    }
    return key;
}

}  // namespace

int generateTarnwaveKeys(const QString& privatePath, const QString& publicPath, const QString& cPath,
                         const QString& pyPath, const QString& txtPath) {
    const KeyPointer key = writtenPrivateKey(privatePath);
    if (!key) {
        return tarnwaveFailed;
    }
    writePublicKeyPem(key.get(), publicPath);
    // If this fails, reading the text fails, too.
    static_cast<void>(writePublicKeyText(publicPath, txtPath));
    QFile text(txtPath);
    if (!text.open(QIODevice::ReadOnly)) {
        return tarnwaveFailed;
    }
    const PublicKeyText parsed = parsePublicKeyText(text);
    std::uint32_t exponent = 0;
    if (!text.seek(0)) {
        return tarnwaveFailed;
    }
    if (!readExponent(text, exponent)) {
        return tarnwaveWrongExponent;
    }
    QByteArray r2;
    if (!computeR2(parsed.modulusHex, r2)) {
        return tarnwaveFailed;
    }
    // The sources only repeat the content of the text file. The key pair is complete without them.
    static_cast<void>(writePublicKeySources(parsed.modulusBytes, exponent, r2, cPath, pyPath));
    return tarnwaveDone;
}

int signTarnwaveBinary(const QString& privateKeyPath, const QString& binaryPath, const QString& outputPath) {
    const KeyPointer key = readSigningKey(privateKeyPath);
    if (!key) {
        return failSigning("Failed to generate output file\n");
    }
    QFile binary(binaryPath);
    if (!binary.open(QIODevice::ReadOnly | QIODevice::Unbuffered) || !takePipeWhole(binary, binaryPath)) {
        return failSigning("Failed to open file to sign\n");
    }
    Sha256 hash;
    if (!hash.exists()) {
        return failSigning("Failed to create message digest context\n");
    }
    if (!hash.start()) {
        return failSigning("Failed to initialize message digest\n");
    }

    const qint64 size = binary.size();
    if (size > std::numeric_limits<std::uint32_t>::max()) {
        return failSigning("The file to sign is too long for its size field\n");
    }
    const qint64 signedSize = size + signedBinary::signatureSize;
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[static_cast<std::size_t>(signedSize)]);
    if (!buffer) {
        std::fputs("Memory error", stderr);
        return tarnwaveOutOfMemory;
    }
    if (binary.read(buffer.get(), size) != size) {
        return failSigning("Failed to open file to sign\n");
    }
    QByteArray sizeField;
    appendU32(sizeField, static_cast<std::uint32_t>(size));
    std::memcpy(buffer.get() + signedBinary::sizeOffset, sizeField.constData(),
                static_cast<std::size_t>(sizeField.size()));

    Sha256Digest digest{};
    if (!hash.update(QByteArrayView(buffer.get(), size))) {
        return failSigning("Failed to update message digest\n");
    }
    if (!hash.finish(digest)) {
        return failSigning("Failed to get message digest length\n");
    }
    if (!signBinaryDigest(key.get(), QByteArrayView(digest), buffer.get() + size)) {
        return failSigning("Signing failed \n");
    }
    const QByteArrayView signedBinary(buffer.get(), signedSize);
    return replaceFile(outputPath, signedBinary) == ReplaceResult::done ? tarnwaveDone : tarnwaveFailed;
}
