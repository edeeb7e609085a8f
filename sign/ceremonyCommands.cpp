#include "display/Display.h"
#include "display/MessageCollector.h"
#include "files/outputFile.h"
#include "sign/commandLine.h"
#include "sign/signedOutput.h"
#include "sign/signingRequest.h"

#include <cstdio>

// Signatures in two steps, for keys on a machine without a network: `prepare` writes a request for the signature,
// `attach` checks the signature that the other machine has made and writes the signed file.

namespace sign {

namespace {

void print(const Signable& signable, const QString& binary) {
    std::printf("binary:  %s, %lld bytes, SHA-256 %s\n", qUtf8Printable(shownMessage(binary)),
                qint64{signable.binarySize}, signable.binaryDigest.toHex().constData());
    if (signable.format == Format::image) {
        std::printf("image:   %s, version %u, %lld bytes of it are signed\n", signable.kindText.constData(),
                    unsigned{signable.version}, qint64{signable.signedSize});
    }
    std::printf("to sign: SHA-256 digest %s\n", signable.digest.toHex().constData());
}

int prepare(const calls::Call& call, Format format) {
    std::uint32_t version = 0;
    Signable signable;
    if (!readVersion(call, format, version)) {
        return calls::statusNothing;
    }
    const QString binary = call.operands.constFirst();
    const QString output = call.value("output");
    const QString digestPath = call.value("digest");
    if (!mayWriteOutputs(call, {output, digestPath}) || !readSignable(format, version, binary, signable)) {
        return calls::statusFailed;
    }
    const QByteArray request = requestOf(signable, binary);
    constexpr char notWritten[] = "The output can't be written";
    const bool isWritten =
        digestPath.isEmpty()
            ? writeOutputFile(output, request, notWritten)
            : writeOutputFiles({{output, request, notWritten}, {digestPath, signable.digest, notWritten}});
    if (!isWritten) {
        return calls::statusFailed;
    }
    print(signable, binary);
    return calls::statusDone;
}

}  // namespace

int runPrepareImage(const calls::Call& call) {
    return prepare(call, Format::image);
}

int runPrepareWireless(const calls::Call& call) {
    return prepare(call, Format::wireless);
}

int runAttach(const calls::Call& call) {
    Signable signable;
    QByteArray signature;
    const QString binary = call.operands.at(1);
    if (!mayWriteOutputs(call, {call.value("output"), call.value("receipt")}) ||
        !readRequest(call.operands.constFirst(), binary, signable)) {
        return calls::statusFailed;
    }
    print(signable, binary);
    const KeyPointer key = token::readPublicKey(signatureKindOf(signable.format), call.value("public"));
    const bool isDone = key && readSignature(call.value("signature"), signable, key.get(), signature) &&
                        writeSigned(call, signable, signature, key.get(), call.value("output"));
    return isDone ? calls::statusDone : calls::statusFailed;
}

}  // namespace sign
