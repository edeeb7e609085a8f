#include "sign/signedOutput.h"

#include "display/Display.h"
#include "display/MessageCollector.h"
#include "files/outputFile.h"
#include "sign/receipt.h"
#include "token/KeyUri.h"

#include <QJsonDocument>

#include <cstdio>

namespace sign {

bool writeSigned(const calls::Call& call, const Signable& signable, QByteArrayView signature, const evp_pkey_st* key,
                 const QString& output) {
    Certified certified;
    if (!checkChain(call.value("certificate"), call.value("trust"), key, certified)) {
        return false;
    }
    const QByteArray bytes = withSignature(signable, signature);
    const QString receiptPath = call.value("receipt");
    constexpr char notWritten[] = "The output can't be written";
    if (receiptPath.isEmpty()) {
        if (!writeOutputFile(output, bytes, notWritten)) {
            return false;
        }
    } else {
        const QByteArray receipt = QJsonDocument(receiptOf(signable, output, bytes, key, certified)).toJson();
        if (!writeOutputFiles({{output, bytes, notWritten}, {receiptPath, receipt, notWritten}})) {
            return false;
        }
    }
    std::printf("%s: signed with the key %s\n", qUtf8Printable(shownMessage(output)), qUtf8Printable(keyIdOf(key)));
    if (!certified.fingerprint.isEmpty()) {
        std::printf("certificate: %s, SHA-256 %s\n", qUtf8Printable(shownMessage(certified.subject)),
                    qUtf8Printable(certified.fingerprint));
    }
    return true;
}

bool mayWriteOutputs(const calls::Call& call, const QStringList& outputs) {
    QStringList inputs = call.operands;
    for (const char* const option : {"key", "public", "certificate", "trust", "signature"}) {
        const QString path = call.value(option);
        if (!path.isEmpty() && !token::KeyUri::isUri(path)) {
            inputs.append(path);
        }
    }
    for (qsizetype i = 0; i < outputs.size(); ++i) {
        for (const QString& other : inputs + outputs.mid(i + 1)) {
            if (!outputs.at(i).isEmpty() && !other.isEmpty() && isSameFile(outputs.at(i), other)) {
                return reportError("%s would replace %s", qUtf8Printable(outputs.at(i)), qUtf8Printable(other));
            }
        }
    }
    return true;
}

}  // namespace sign
