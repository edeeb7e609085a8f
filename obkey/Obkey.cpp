#include "obkey/Obkey.h"

#include "files/wipe.h"
#include "obkey/MemoryLayout.h"
#include "obkey/generateImage.h"
#include "obkey/generateKeyPair.h"
#include "obkey/generateObkey.h"
#include "obkey/readMcuboot.h"
#include "obkey/readObdata.h"
#include "obkey/tagChecks.h"

#include <QCoreApplication>

#include <utility>

namespace obkey {

Obkey::Obkey() : Obkey(QCoreApplication::applicationDirPath() + QStringLiteral("/Utilities/Windows/imgtool.exe")) {
}

Obkey::Obkey(const QString& imgtoolPath) : imgtool_(imgtoolPath) {
}

bool Obkey::validateTemplate(const QString& templatePath, const QString& xsdPath) {
    QByteArray text;
    const WipeOnExit wipeText(text);
    const bool isValid = obkey::validateTemplate(templatePath, xsdPath, text);
    validatedPath_ = templatePath;
    passwords_.clear();
    validatedText_ = passwords_.mask(text);
    return isValid;
}

bool Obkey::loadTemplate(const QString& templatePath) {
    const QByteArray text = std::exchange(validatedText_, QByteArray());
    const bool isValidated = !text.isEmpty() && templatePath == validatedPath_;
    const TemplateDocument document = isValidated ? documentOf(text) : openDocument(templatePath);
    if (document.document == nullptr) {
        return false;
    }
    const QDomNode content = contentNode(document, templateFormat_);
    const bool isMcuboot = templateFormat_ == formatMcuboot;
    const QLatin1String name(isMcuboot ? "McubootFormat" : "Obdata");
    // A template whose content node has an unknown name counts as empty.
    const QDomNode known = content.nodeName() == name ? content : QDomNode();
    if (isMcuboot) {
        return readMcuboot(known, imageJob_.mcuboot);
    }
    if (!readObdata(known, obkeyJob_.obdata)) {
        return false;
    }
    obkeyJob_.hashMode = obkeyJob_.hashMode || obkeyJob_.obdata.hashMode;
    obkeyJob_.obdata.hashMode = obkeyJob_.hashMode;
    return true;
}

void Obkey::startObkeyJob(const QString& templatePath) {
    obkeyJob_ = {templatePath, ObdataTemplate(), obkeyJob_.hashMode};
}

bool Obkey::checkDuplicateTags() const {
    return obkey::checkDuplicateTags(obkeyJob_.obdata.tags);
}

bool Obkey::checkMandatoryTags() const {
    return obkey::checkMandatoryTags(obkeyJob_.obdata.tags);
}

bool Obkey::checkLayout() const {
    return obkey::checkLayout(obkeyJob_.obdata);
}

bool Obkey::generateObkey() {
    return obkey::generateObkey(obkeyJob_.xmlPath, passwords_, imgtool_, obkeyJob_.obdata);
}

void Obkey::startImageJob() {
    if (!imageJob_.configs.isEmpty()) {
        imageJob_.configs.last() = McubootConfig();
    }
}

void Obkey::addImageConfig(const QString& templatePath) {
    McubootTemplate mcuboot = std::exchange(imageJob_.mcuboot, McubootTemplate());
    imageJob_.configs.append({std::move(mcuboot.params), mcuboot.title, QString(), templatePath,
                              std::move(mcuboot.linkedTemplates), mcuboot.command, QString()});
}

int Obkey::generateImage() {
    if (imageJob_.configs.isEmpty()) {
        addImageConfig(QString());
    }
    return obkey::generateImage(imgtool_, imageJob_.configs.last());
}

void Obkey::generateKeyPair(const QString& keyPath, const QString& keyType) {
    obkey::generateKeyPair(keyPath, keyType, imgtool_);
}

}  // namespace obkey
