#include "obkey/passwordFile.h"

#include "display/Display.h"
#include "files/byteWriter.h"
#include "files/outputFile.h"
#include "files/wipe.h"
#include "obkey/templatePaths.h"

#include <QCoreApplication>
#include <QFile>

namespace obkey {

namespace {

constexpr std::uint32_t passwordMarker = 0x80000000;

/// The bytes of a password file: the marker (4 bytes, little-endian), the low 8 bits of the text's length (1 byte),
/// three zero bytes, and the text in UTF-8.
QByteArray passwordBytes(const QByteArray& text) {
    QByteArray bytes;
    bytes.reserve(text.size() + 8);
    appendU32(bytes, passwordMarker);
    appendU32(bytes, static_cast<std::uint32_t>(text.size() & 0xFF));
    bytes.append(text);
    return bytes;
}

bool savePassword(const QString& path, const QByteArray& bytes) {
    warnOfOverwriting(path);
    return reportReplacement(
        replaceFile(path, bytes, FileAccess::ownerOnly), path,
        {"Failed to create Password file\nThe %s already Opened \n", "Error while writing in file : %s file"});
}

}  // namespace

bool checkTextLength(const ObkeyParam& param, const QByteArray& text) {
    return (text.size() >= param.minWidth && text.size() <= param.width) ||
           reportError("  \" %d \" : is Wrong width value ", static_cast<std::int32_t>(text.size()));
}

QString passwordPath(const QList<ObkeyParam>& params, const QString& xmlFolder) {
    QString folder = QCoreApplication::applicationDirPath();
    for (const ObkeyParam& param : params) {
        if (param.kind == QLatin1String("Output")) {
            QString outputPath = param.value ? *param.value : param.defaultValue.value_or(QString());
            resolveObkeyPath(outputPath, xmlFolder);
            folder = templateFolder(outputPath);
        }
    }
    return folder + QStringLiteral("/password.bin");
}

bool writePasswordFile(const QList<ObkeyParam>& params, const PasswordMask& passwords, const QString& xmlFolder) {
    const QString path = passwordPath(params, xmlFolder);
    const ObkeyParam* password = nullptr;
    for (const ObkeyParam& param : params) {
        if (param.kind == QLatin1String("Text")) {
            password = &param;
        }
    }
    if (password == nullptr) {
        return true;
    }
    QByteArray text =
        passwords.passwordOf(password->value ? *password->value : password->defaultValue.value_or(QString()));
    const WipeOnExit wipeText(text);
    if (!checkTextLength(*password, text)) {
        return false;
    }
    QByteArray bytes = passwordBytes(text);
    const WipeOnExit wipeBytes(bytes);
    if (!savePassword(path, bytes)) {
        return false;
    }
    displayMessage(MessageKind::grey,
                   "Password file Generated successfully : %s \nPassword file will be used for Debug authentication",
                   qUtf8Printable(path));
    return true;
}

}  // namespace obkey
