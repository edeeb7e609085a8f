#include "obkey/generateObkey.h"

#include "display/Display.h"
#include "files/byteWriter.h"
#include "files/outputFile.h"
#include "files/wipe.h"
#include "obkey/ObkeyBodies.h"
#include "obkey/keyFile.h"
#include "obkey/passwordFile.h"
#include "obkey/templateNumbers.h"
#include "obkey/templatePaths.h"
#include "obkey/templateWriteBack.h"

#include <QFile>

#include <algorithm>

namespace obkey {

// A provisioning file, numbers little-endian:
//
//     0   4   destination address
//     4   4   size of the body: everything after the header
//     8   4   encryption flag
//     12  32  SHA-256 of the payload, in hash mode only
//     ..      payload
//
// If the template has neither a destination nor an encryption flag, the file is the body without a header.

namespace {

constexpr qsizetype shortestDaPayload = 64;
constexpr std::int32_t permissionAllowance = 4;  ///< bytes of a permission's width that its mask replaces

QString chosenText(const ObkeyParam& param) {
    return param.value ? *param.value : param.defaultValue.value_or(QString());
}

bool reportWrongSize(const ObkeyParam& param, const QString& text) {
    return reportError("Fail OBkey Generation Wrong Data Size %s for %s \n", qUtf8Printable(text),
                       qUtf8Printable(param.name.value_or(QString())));
}

/// Appends the low `width` bytes of a decimal number, lowest byte first. A field of more than 8 bytes is sign-extended.
/// A number that fits in 64 bits only without a sign is read as unsigned.
void appendDecimal(QByteArray& body, const QString& text, std::uint8_t width) {
    bool isSigned = false;
    const std::int64_t signedNumber = text.toLongLong(&isSigned);
    const std::uint64_t number = isSigned ? static_cast<std::uint64_t>(signedNumber) : text.toULongLong();
    const char beyond = isSigned && signedNumber < 0 ? '\xFF' : '\0';
    for (unsigned i = 0; i < width; ++i) {
        body.append(i < 8 ? static_cast<char>((number >> (8 * i)) & 0xFF) : beyond);
    }
}

/// Appends the number in `text` as a field of the parameter's width, lowest byte first.
bool appendNumber(QByteArray& body, const ObkeyParam& param, const QString& text) {
    const bool isList = param.kind == QLatin1String("List");
    if (!numberFits(text, isList, param.width)) {
        return reportWrongSize(param, text);
    }
    if (!isList && !hasHexPrefix(text)) {
        appendDecimal(body, text, static_cast<std::uint8_t>(param.width & 0xFF));
        return true;
    }
    const QString digits = storedDigits(text, isList);
    for (qsizetype end = digits.size(); end > 0; end -= 2) {
        body.append(hexByte(QStringView(digits).sliced(end - 2, 2)));
    }
    body.append(param.width - digits.size() / 2, '\0');
    return true;
}

bool makeRoomForField(qsizetype size, ObkeyBodies& bodies) {
    return bodies.makeRoom(size) ||
           reportError("Fail OBkey Generation: the fields of the template are too large together");
}

bool appendText(const ObkeySurroundings& surroundings, ObkeyParam& param, ObkeyBodies& bodies) {
    param.value = chosenText(param);
    QByteArray text = surroundings.passwords.passwordOf(*param.value);
    const WipeOnExit wipeText(text);
    if (!checkTextLength(param, text) || !makeRoomForField(text.size(), bodies)) {
        return false;
    }
    bodies.mainBody.append(text);
    // A debug authentication file contains only the digest of the text.
    bodies.holdsSecret = bodies.holdsSecret || !surroundings.daMode;
    return writePasswordFile(surroundings.params, surroundings.passwords, surroundings.xmlFolder);
}

bool appendData(const ObkeySurroundings& surroundings, ObkeyParam& param, ObkeyBodies& bodies) {
    const QString text = chosenText(param);
    if (!checkDataValue(text, param.name.value_or(QString()), static_cast<std::uint32_t>(param.width))) {
        return false;
    }
    param.value = text;
    param.hasValue = true;
    if (!appendNumber(surroundings.daMode ? bodies.daBody : bodies.mainBody, param, text)) {
        return false;
    }
    bodies.count(param.width);
    return true;
}

bool appendBool(const ObkeySurroundings& /*surroundings*/, ObkeyParam& param, ObkeyBodies& bodies) {
    param.value = chosenText(param);
    if (!appendNumber(bodies.mainBody, param, *param.value)) {
        return false;
    }
    bodies.count(param.width);
    return true;
}

bool appendList(const ObkeySurroundings& /*surroundings*/, ObkeyParam& param, ObkeyBodies& bodies) {
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

/// The bytes of a permission mask: the pairs of digits from right to left, then zeros up to permissionMaskSize.
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

bool appendPermission(const ObkeySurroundings& surroundings, ObkeyParam& param, ObkeyBodies& bodies) {
    param.value = chosenText(param);
    if (!isFieldWidth(param.width)) {
        return reportWrongSize(param, *param.value);
    }
    if (hasHexPrefix(*param.value)) {
        const QByteArray mask = permissionMask(param.value->mid(2));
        if (!makeRoomForField(mask.size() + param.width, bodies)) {
            return false;
        }
        bodies.daBody.append(mask);
    }
    QByteArray& rest = surroundings.daMode ? bodies.daBody : bodies.mainBody;
    rest.append(std::max(0, param.width - permissionAllowance), '\0');
    bodies.count(param.width);
    return true;
}

QString outputPath(const ObkeySurroundings& surroundings, const ObkeyParam& param) {
    QString path = chosenText(param);
    if (surroundings.rawOutput) {
        path.chop(3);
        path.append(QLatin1String("bin"));
    }
    resolveObkeyPath(path, surroundings.xmlFolder);
    return path;
}

bool takeOutputPath(const ObkeySurroundings& surroundings, ObkeyParam& param, ObkeyBodies& bodies) {
    bodies.outputPath = outputPath(surroundings, param);
    return true;
}

struct KindRule {
    QLatin1String kind;
    bool (*append)(const ObkeySurroundings& surroundings, ObkeyParam& param, ObkeyBodies& bodies);
};

constexpr KindRule kindRules[] = {
    {QLatin1String("Text"), appendText},
    {QLatin1String("Data"), appendData},
    {QLatin1String("Permission"), appendPermission},
    {QLatin1String("Bool"), appendBool},
    {QLatin1String("List"), appendList},
    {QLatin1String("File"), appendKeyFile},
    {QLatin1String("Output"), takeOutputPath},
};

/// Appends the bytes of every parameter and sets its `value` to the value that was used.
bool appendParams(const ObkeySurroundings& surroundings, QList<ObkeyParam>& params, ObkeyBodies& bodies) {
    for (ObkeyParam& param : params) {
        if (!makeRoomForField(widestField, bodies)) {
            return false;
        }
        const KindRule* const rule =
            std::find_if(std::begin(kindRules), std::end(kindRules),
                         [&](const KindRule& candidate) { return candidate.kind == param.kind; });
        if (rule != std::end(kindRules) && !rule->append(surroundings, param, bodies)) {
            return false;
        }
    }
    return true;
}

/// Completes the main body, before its digest and the header are made.
void closePayload(const ObdataTemplate& obdata, ObkeyBodies& bodies) {
    if (obdata.daMode) {
        QByteArray payload;
        payload.reserve(std::max(sha256Size + bodies.daBody.size(), shortestDaPayload));
        payload.append(sha256(bodies.mainBody)).append(bodies.daBody);
        payload.append(std::max<qsizetype>(0, shortestDaPayload - payload.size()), '\0');
        wipe(bodies.mainBody);
        bodies.mainBody.swap(payload);
        return;
    }
    const std::uint32_t excess = bodies.runningSize % obdata.info.globalAlign;
    if (excess != 0) {
        bodies.mainBody.append(static_cast<qsizetype>(obdata.info.globalAlign - excess), '\0');
    }
}

/// Checks that no output replaces an input or the other output. The caller calls it before it writes the first file.
bool checkOutputs(const ObkeySurroundings& surroundings, const QString& templatePath) {
    QStringList inputs(templatePath);
    QStringList outputs;
    for (const ObkeyParam& param : surroundings.params) {
        if (param.kind == QLatin1String("File")) {
            inputs.append(chosenText(param));
            resolveObkeyPath(inputs.last(), surroundings.xmlFolder);
        } else if (param.kind == QLatin1String("Output")) {
            outputs.append(outputPath(surroundings, param));
        } else if (param.kind == QLatin1String("Text")) {
            outputs.append(passwordPath(surroundings.params, surroundings.xmlFolder));
        }
    }
    for (const QString& output : outputs) {
        const auto isOutput = [&output](const QString& input) { return isSameFile(output, input); };
        if (QFile::exists(output) && std::any_of(inputs.begin(), inputs.end(), isOutput)) {
            return reportError("Fail OBkey Generation: the output %s is an input of the template",
                               qUtf8Printable(output));
        }
    }
    // A template has at most one Output and one Text.
    if (outputs.size() == 2 && isSameFile(outputs.first(), outputs.last())) {
        return reportError("Fail OBkey Generation: the output %s and the password file are one file",
                           qUtf8Printable(outputs.first()));
    }
    return true;
}

bool writeObkey(const ObkeyBodies& bodies, const QByteArray& bytes) {
    const QString& path = bodies.outputPath;
    const FileAccess access = bodies.holdsSecret ? FileAccess::ownerOnly : FileAccess::asUsual;
    return reportReplacement(replaceFile(path, bytes, access), path,
                             {"Fail OBkey Generation The %s already Opened \n",
                              " OBkey Generation Failed %s is already opened or save error \n"});
}

}  // namespace

bool generateObkey(const QString& xmlPath, const PasswordMask& passwords, Imgtool& imgtool, ObdataTemplate& obdata) {
    ObkeyInfo& info = obdata.info;
    const bool hasDestination = info.obDestAddress != ABSENT_VALUE;
    const bool hasEncryption = info.doEncryption != ABSENT_VALUE;
    if (hasDestination != hasEncryption) {
        return reportError("Either ObDestAddress or DoEncryption is present,it is a Wrong Configuration ");
    }
    const QString path = QString(xmlPath).replace(QLatin1Char('\\'), QLatin1Char('/'));
    const ObkeySurroundings surroundings{obdata.params, passwords,       templateFolder(path),
                                         obdata.daMode, !hasDestination, imgtool};
    if (info.globalAlign == 0) {
        info.globalAlign = 1;
    }

    ObkeyBodies bodies;
    const WipeOnExit wipeMain(bodies.mainBody);
    const WipeOnExit wipeDa(bodies.daBody);
    if (!checkOutputs(surroundings, path) || !appendParams(surroundings, obdata.params, bodies)) {
        return false;
    }
    closePayload(obdata, bodies);

    const qsizetype digestSize = obdata.hashMode ? sha256Size : 0;
    const qsizetype bodySize = digestSize + bodies.mainBody.size();
    if (bodySize > 0xFFFFFFFF) {
        return reportError("Fail OBkey Generation: the files of the template are larger than 4 GiB together");
    }
    QByteArray file;
    const WipeOnExit wipeFile(file);
    file.reserve(bodySize + 12);
    if (!surroundings.rawOutput) {
        appendU32(file, info.obDestAddress);
        appendU32(file, static_cast<std::uint32_t>(bodySize));
        appendU32(file, info.doEncryption);
    }
    if (obdata.hashMode) {
        file.append(sha256(bodies.mainBody));
    }
    file.append(bodies.mainBody);
    if (!writeObkey(bodies, file)) {
        return false;
    }
    displayMessage(MessageKind::grey, "SUCCESS OBKey File Generation \n");
    rewriteTemplateValues(obdata.params, passwords, path);
    return true;
}

}  // namespace obkey
