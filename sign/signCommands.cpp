#include "Preparation/primitives/keyPem.h"
#include "display/Display.h"
#include "files/outputFile.h"
#include "files/parseNumber.h"
#include "sign/commandLine.h"
#include "sign/signedOutput.h"
#include "sign/signingRequest.h"

#include <cstdio>

namespace sign {

namespace {

int signFile(const calls::Call& call, Format format) {
    Signable signable;
    std::uint32_t version = 0;
    token::SigningKey key;
    QByteArray signature;
    if (!readVersion(call, format, version)) {
        return calls::statusNothing;
    }
    const bool isDone = mayWriteOutputs(call, {call.value("output"), call.value("receipt")}) &&
                        readSignable(format, version, call.operands.constFirst(), signable) &&
                        key.open({call.value("key"), call.value("public")}, signatureKindOf(format)) &&
                        key.sign(signable.digest, signature) && writeSigned(call, signable, signature, key.publicKey());
    return isDone ? calls::statusDone : calls::statusFailed;
}

}  // namespace

int runImage(const calls::Call& call) {
    return signFile(call, Format::image);
}

int runWireless(const calls::Call& call) {
    return signFile(call, Format::wireless);
}

int runPublic(const calls::Call& call) {
    token::SigningKey key;
    QByteArray pem;
    if (!mayWriteOutputs(call, {call.value("output")}) || !key.open({call.value("key"), {}})) {
        return calls::statusFailed;
    }
    if (!publicKeyToPem(key.publicKey(), pem)) {
        reportError("The public key can't be written as PEM");
        return calls::statusFailed;
    }
    return writeOutputFile(call.value("output"), pem, "The output can't be written") ? calls::statusDone
                                                                                     : calls::statusFailed;
}

}  // namespace sign
