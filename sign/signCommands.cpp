#include "Preparation/primitives/keyPem.h"
#include "display/Display.h"
#include "files/outputFile.h"
#include "files/parseNumber.h"
#include "sign/commandLine.h"
#include "sign/signedOutput.h"
#include "sign/signingRequest.h"

#include <QDir>
#include <QFileInfo>

namespace sign {

namespace {

// Binaries that are signed at once, so that few are in memory.
constexpr qsizetype mostAtOnce = 256;
constexpr qsizetype mostBytesAtOnce = qsizetype{256} << 20;

/// The outputs of the call, in the order of its binaries. Several binaries are written to a folder under their names.
/// Empty, with a message, if two would have one name.
QStringList outputsOf(const calls::Call& call) {
    const QString output = call.value("output");
    if (call.operands.size() == 1 && !QFileInfo(output).isDir()) {
        return {output};
    }
    if (call.has("receipt")) {
        reportError("--receipt describes one output, give one binary and the path of its output");
        return {};
    }
    QStringList outputs;
    for (const QString& binary : call.operands) {
        const QString path = QDir(output).filePath(QFileInfo(binary).fileName());
        if (outputs.contains(path)) {
            reportError("Two binaries would be written to %s", qUtf8Printable(path));
            return {};
        }
        outputs.append(path);
    }
    return outputs;
}

/// Signs the binaries from `first` on, as many as are signed at once. `first` receives the number of the next one.
bool signSome(const calls::Call& call, const QStringList& outputs, const token::SigningKey& key, const Signable& form,
              qsizetype& first) {
    QList<Signable> signables;
    QList<QByteArray> digests;
    QList<QByteArray> signatures;
    qsizetype bytes = 0;
    while (first + signables.size() < outputs.size() && signables.size() < mostAtOnce && bytes < mostBytesAtOnce) {
        Signable signable;
        if (!readSignable(form.format, form.version, call.operands.at(first + signables.size()), signable)) {
            return false;
        }
        bytes += signable.binarySize;
        digests.append(signable.digest);
        signables.append(signable);
    }
    if (!key.sign(digests, signatures)) {
        return false;
    }
    for (qsizetype i = 0; i < signables.size(); ++i) {
        if (!writeSigned(call, signables.at(i), signatures.at(i), key.publicKey(), outputs.at(first + i))) {
            return false;
        }
    }
    first += signables.size();
    return true;
}

int signFiles(const calls::Call& call, Format format) {
    Signable form;
    form.format = format;
    if (!readVersion(call, format, form.version)) {
        return calls::statusNothing;
    }
    const QStringList outputs = outputsOf(call);
    token::SigningKey key;
    if (outputs.isEmpty() || !mayWriteOutputs(call, outputs + QStringList{call.value("receipt")}) ||
        !key.open({call.value("key"), call.value("public")}, signatureKindOf(format))) {
        return calls::statusFailed;
    }
    qsizetype first = 0;
    while (first < outputs.size()) {
        if (!signSome(call, outputs, key, form, first)) {
            return calls::statusFailed;
        }
    }
    return calls::statusDone;
}

}  // namespace

int runImage(const calls::Call& call) {
    return signFiles(call, Format::image);
}

int runWireless(const calls::Call& call) {
    return signFiles(call, Format::wireless);
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
