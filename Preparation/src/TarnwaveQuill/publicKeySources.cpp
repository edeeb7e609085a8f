#include "Preparation/src/TarnwaveQuill/publicKeySources.h"

#include "files/outputFile.h"

#include <QByteArrayView>

namespace {

constexpr qsizetype r2Size = 256;

QByteArray joinedDecimals(const QList<std::int32_t>& values) {
    QByteArray text;
    for (const std::int32_t value : values) {
        text += QByteArray::number(value) + ',';
    }
    text.chop(1);
    return text;
}

QByteArray r2Decimals(const QByteArray& r2) {
    QList<std::int32_t> values(r2Size, 0);
    for (qsizetype i = 0; i < qMin(r2Size, r2.size()); ++i) {
        values[i] = static_cast<std::uint8_t>(r2.at(i));
    }
    return joinedDecimals(values);
}

QByteArray exponentBytes(std::uint32_t exponent) {
    const QByteArray digits = QByteArray::number(exponent, 16).rightJustified(8, '0');
    QByteArray text;
    for (qsizetype at = 0; at < digits.size(); at += 2) {
        text += (at == 0 ? "0x" : ", 0x") + digits.mid(at, 2);
    }
    return text;
}

}  // namespace

bool writePublicKeySources(const QList<std::int32_t>& modulusBytes, std::uint32_t exponent, const QByteArray& r2,
                           const QString& cPath, const QString& pyPath) {
    const QByteArray modulus = joinedDecimals(modulusBytes);
    const QByteArray constant = r2Decimals(r2);
    const QByteArray exponentText = exponentBytes(exponent);
    const QByteArray cSource = "#include \"tarnwave_x_device.h\"\n\nconst uint8_t modulus[] = {" + modulus +
                               "};\n\nconst uint8_t r2[] = {" + constant + "};\n\nconst uint8_t exponent[] = {" +
                               exponentText + "};\n";
    const QByteArray pySource =
        "modulus = [" + modulus + "]\n\nr2 = [" + constant + "]\n\nexponent = [" + exponentText + "]\n";
    return replaceFiles({{cPath, cSource}, {pyPath, pySource}}) == ReplaceResult::done;
}
