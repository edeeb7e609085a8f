#include "obkey/Obkey.h"

#include "display/Display.h"
#include "files/ByteWriter.h"
#include "files/outputFile.h"
#include "files/wipe.h"
#include "obkey/ObkeyBodies.h"
#include "obkey/PasswordFile.h"
#include "obkey/templateNumbers.h"
#include "obkey/templatePaths.h"

#include <openssl/sha.h>

#include <algorithm>

// A provisioning file, numbers little-endian:
//
//     0   4   destination address
//     4   4   size of the body: everything behind the header
//     8   4   encryption flag
//     12  32  SHA-256 of the payload, in hash mode only
//     ..      payload
//
// A template without destination and encryption gives the body alone.

namespace {

constexpr std::int32_t widestField = 65536;
constexpr qsizetype shortestDaPayload = 64;
constexpr qsizetype permissionMaskSize = 32;
constexpr std::int32_t permissionAllowance = 4;  ///< bytes of a permission's width that its mask stands for

QString chosenText(const ObkeyParam& param) {
    return param.value ? *param.value : param.defaultValue.value_or(QString());
}

bool hasHexPrefix(const QString& text) {
    return text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
}

bool reportWrongSize(const ObkeyParam& param, const QString& text) {
    return reportError("Fail OBkey Generation Wrong Data Size %s for %s \n", qUtf8Printable(text),
                       qUtf8Printable(param.name.value_or(QString())));
}

bool isFieldWidth(std::int32_t width) {
    return width >= 0 && width <= widestField;
}

/// Appends hexadecimal digits as `width` bytes, the rightmost pair first. Pairs are counted in 8 bits.
bool appendDigits(QByteArray& body, const ObkeyParam& param, const QString& text, QString digits) {
    if (digits.size() % 2 != 0) {
        digits.prepend(QLatin1Char('0'));
    }
    const std::int32_t pairCount = static_cast<std::uint8_t>((digits.size() / 2) & 0xFF);
    if (pairCount > param.width) {
        return reportWrongSize(param, text);
    }
    for (qsizetype i = 1; i <= pairCount; ++i) {
        body.append(hexByte(QStringView(digits).sliced(digits.size() - 2 * i, 2)));
    }
    body.append(param.width - pairCount, '\0');
    return true;
}

/// Appends a decimal number as its low bytes, lowest first; wide fields are sign-extended. A number that 64 bits hold
/// only without a sign is taken as such.
void appendDecimal(QByteArray& body, const QString& text, std::uint8_t width) {
    bool isSigned = false;
    const std::int64_t signedNumber = text.toLongLong(&isSigned);
    const std::uint64_t number = isSigned ? static_cast<std::uint64_t>(signedNumber) : text.toULongLong();
    const char beyond = isSigned && signedNumber < 0 ? '\xFF' : '\0';
    for (unsigned i = 0; i < width; ++i) {
        body.append(i < 8 ? static_cast<char>((number >> (8 * i)) & 0xFF) : beyond);
    }
}

/// Appends the number in `text` as a field of the parameter's width.
bool appendNumber(QByteArray& body, const ObkeyParam& param, const QString& text) {
    if (!isFieldWidth(param.width)) {
        return reportWrongSize(param, text);
    }
    if (hasHexPrefix(text)) {
        return appendDigits(body, param, text, text.mid(2));
    }
    if (param.kind == QLatin1String("List")) {
        const std::uint32_t number = static_cast<std::uint32_t>(signedDecimal(text));
        return appendDigits(body, param, text, QString::number(number, 16));
    }
    appendDecimal(body, text, static_cast<std::uint8_t>(param.width & 0xFF));
    return true;
}

bool appendText(Obkey& engine, ObkeyParam& param, ObkeyBodies& bodies) {
    param.value = chosenText(param);
    const QByteArray text = param.value->toUtf8();
    if (!checkTextLength(param, text)) {
        return false;
    }
    bodies.mainBody.append(text);
    return engine.writePasswordFile();
}

bool appendData(const Obkey& engine, ObkeyParam& param, ObkeyBodies& bodies) {
    const QString text = chosenText(param);
    if (!checkDataValue(text, param.name.value_or(QString()), static_cast<std::uint32_t>(param.width))) {
        return false;
    }
    param.value = text;
    param.hasValue = true;
    if (!appendNumber(engine.daMode ? bodies.daBody : bodies.mainBody, param, text)) {
        return false;
    }
    bodies.count(param.width);
    return true;
}

bool appendBool(ObkeyParam& param, ObkeyBodies& bodies) {
    param.value = chosenText(param);
    if (!appendNumber(bodies.mainBody, param, *param.value)) {
        return false;
    }
    bodies.count(param.width);
    return true;
}

bool appendList(ObkeyParam& param, ObkeyBodies& bodies) {
    const QString text = chosenText(param).remove(QLatin1Char(' '));
    if (!param.hidden) {
        param.value = text;
    }
    if (!appendNumber(bodies.mainBody, param, text)) {
        return false;
    }
    bodies.count(param.width);
    return true;
}

/// The mask as bytes: pairs of digits from the right, two pairs at a time.
QByteArray permissionMask(const QString& digits) {
    QString reversed;
    reversed.reserve(digits.size());
    for (qsizetype end = digits.size(); end > 0; end -= 2) {
        reversed.append(QStringView(digits).sliced(std::max<qsizetype>(0, end - 2), std::min<qsizetype>(2, end)));
    }
    QByteArray mask;
    for (qsizetype i = 0; i < reversed.size(); i += 4) {
        const QStringView group = QStringView(reversed).mid(i, 4);
        mask.append(hexByte(group.left(2)));
        mask.append(hexByte(group.mid(2)));
    }
    if (mask.size() < permissionMaskSize) {
        mask.append(permissionMaskSize - mask.size(), '\0');
    }
    return mask;
}

bool appendPermission(const Obkey& engine, ObkeyParam& param, ObkeyBodies& bodies) {
    param.value = chosenText(param);
    if (!isFieldWidth(param.width)) {
        return reportWrongSize(param, *param.value);
    }
    if (hasHexPrefix(*param.value)) {
        bodies.daBody.append(permissionMask(param.value->mid(2)));
    }
    QByteArray& rest = engine.daMode ? bodies.daBody : bodies.mainBody;
    rest.append(std::max(0, param.width - permissionAllowance), '\0');
    bodies.count(param.width);
    return true;
}

void takeOutputPath(const Obkey& engine, const ObkeyParam& param, ObkeyBodies& bodies) {
    QString path = chosenText(param);
    if (engine.rawOutput) {
        path.chop(3);
        path.append(QLatin1String("bin"));
    }
    resolveObkeyPath(path, engine.xmlFolder);
    bodies.outputPath = path;
}

bool appendParam(Obkey& engine, QProcess& imgtool, ObkeyParam& param, ObkeyBodies& bodies) {
    if (param.kind == QLatin1String("Text")) {
        return appendText(engine, param, bodies);
    }
    if (param.kind == QLatin1String("Data")) {
        return appendData(engine, param, bodies);
    }
    if (param.kind == QLatin1String("Permission")) {
        return appendPermission(engine, param, bodies);
    }
    if (param.kind == QLatin1String("Bool")) {
        return appendBool(param, bodies);
    }
    if (param.kind == QLatin1String("List")) {
        return appendList(param, bodies);
    }
    if (param.kind == QLatin1String("File")) {
        return appendKeyFile({engine.xmlFolder, engine.imgtoolPath, imgtool, engine.daMode}, param, bodies);
    }
    takeOutputPath(engine, param, bodies);
    return true;
}

/// Brings the main body to its final form in front of digest and header.
void closePayload(const Obkey& engine, ObkeyBodies& bodies) {
    if (engine.daMode) {
        QByteArray payload = sha256(bodies.mainBody) + bodies.daBody;
        payload.append(std::max<qsizetype>(0, shortestDaPayload - payload.size()), '\0');
        wipe(bodies.mainBody);
        bodies.mainBody = payload;
        return;
    }
    const std::uint32_t excess = bodies.runningSize % engine.info.globalAlign;
    if (excess != 0) {
        bodies.mainBody.append(static_cast<qsizetype>(engine.info.globalAlign - excess), '\0');
    }
}

bool writeObkey(const ObkeyBodies& bodies, const QByteArray& bytes) {
    const QString& path = bodies.outputPath;
    const auto isOutput = [&path](const QString& input) { return isSameFile(path, input); };
    if (std::any_of(bodies.inputPaths.begin(), bodies.inputPaths.end(), isOutput)) {
        return reportError("Fail OBkey Generation: the output %s is an input of the template", qUtf8Printable(path));
    }
    const FileAccess access = bodies.hasPrivateKey ? FileAccess::ownerOnly : FileAccess::asUsual;
    return reportReplacement(replaceFile(path, bytes, access), path,
                             {"Fail OBkey Generation The %s already Opened \n",
                              " OBkey Generation Failed %s is already opened or save error \n"});
}

}  // namespace

QByteArray sha256(const QByteArray& bytes) {
    QByteArray digest(SHA256_DIGEST_LENGTH, '\0');
    SHA256(reinterpret_cast<const unsigned char*>(bytes.constData()), static_cast<std::size_t>(bytes.size()),
           reinterpret_cast<unsigned char*>(digest.data()));
    return digest;
}

bool Obkey::generateObkey() {
    const bool hasDestination = info.obDestAddress != ABSENT_VALUE;
    const bool hasEncryption = info.doEncryption != ABSENT_VALUE;
    if (hasDestination != hasEncryption) {
        return reportError("Either ObDestAddress or DoEncryption is present,it is a Wrong Configuration ");
    }
    rawOutput = !hasDestination;
    xmlPath.replace(QLatin1Char('\\'), QLatin1Char('/'));
    xmlFolder = templateFolder(xmlPath);
    if (info.globalAlign == 0) {
        info.globalAlign = 1;
    }

    ObkeyBodies bodies;
    bodies.inputPaths.append(xmlPath);
    const WipeOnExit wipeMain(bodies.mainBody);
    for (ObkeyParam& param : params) {
        if (!bodies.hasRoomFor(widestField)) {
            return reportError("Fail OBkey Generation: the fields of the template are too large together");
        }
        if (!appendParam(*this, imgtool, param, bodies)) {
            return false;
        }
    }
    closePayload(*this, bodies);

    const qsizetype digestSize = hashMode ? SHA256_DIGEST_LENGTH : 0;
    const qsizetype bodySize = digestSize + bodies.mainBody.size();
    if (bodySize > 0xFFFFFFFF) {
        return reportError("Fail OBkey Generation: the files of the template are larger than 4 GiB together");
    }
    QByteArray file;
    const WipeOnExit wipeFile(file);
    file.reserve(bodySize + 12);
    if (!rawOutput) {
        appendU32(file, info.obDestAddress);
        appendU32(file, static_cast<std::uint32_t>(bodySize));
        appendU32(file, info.doEncryption);
    }
    if (hashMode) {
        file.append(sha256(bodies.mainBody));
    }
    file.append(bodies.mainBody);
    if (!writeObkey(bodies, file)) {
        return false;
    }
    displayMessage(MessageKind::grey, "SUCCESS OBKey File Generation \n");
    rewriteTemplateValues();
    return true;
}
