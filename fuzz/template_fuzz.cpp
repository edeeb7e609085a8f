// Fuzzes reading and checking templates of both formats. Nothing is generated, because a template chooses the paths of
// its outputs.

#include "fuzz/FuzzFile.h"
#include "obkey/LinkedTemplate.h"
#include "obkey/MemoryLayout.h"
#include "obkey/PasswordMask.h"
#include "obkey/readMcuboot.h"
#include "obkey/readObdata.h"
#include "obkey/tagChecks.h"
#include "obkey/templateWriteBack.h"

#include <QFile>

#include <cstdlib>

namespace {

QString schemaBeside(const FuzzFile& file) {
    QFile schema(file.output());
    static_cast<void>(schema.open(QIODevice::WriteOnly));
    return file.output();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile file(data, size, ".xml");
    QByteArray text;
    if (!obkey::validateTemplate(file.path(), schemaBeside(file), text)) {
        return 0;
    }
    const obkey::TemplateDocument document = obkey::documentOf(text);
    obkey::PasswordMask passwords;
    const QByteArray masked = passwords.mask(text);
    if (passwords.unmask(masked) != text ||
        (obkey::documentOf(masked).document == nullptr) != (document.document == nullptr)) {
        std::abort();
    }
    if (document.document == nullptr) {
        return 0;
    }
    // A well-formed template must stay well-formed.
    obkey::setTemplateValues({{QStringLiteral("Key"), QStringLiteral("<&>\r\"'"), 1}}, text);
    if (obkey::documentOf(text).document == nullptr) {
        std::abort();
    }
    obkey::TemplateFormat format = obkey::formatObdata;
    const QDomNode content = obkey::contentNode(document, format);
    obkey::ObdataTemplate obdata;
    if (format == obkey::formatObdata && obkey::readObdata(content, obdata)) {
        static_cast<void>(obkey::checkDuplicateTags(obdata.tags) && obkey::checkMandatoryTags(obdata.tags) &&
                          obkey::checkLayout(obdata));
    }
    obkey::McubootTemplate mcuboot;
    if (format == obkey::formatMcuboot && obkey::readMcuboot(content, mcuboot)) {
        static_cast<void>(obkey::checkDuplicateTags(mcuboot.tags) && obkey::checkMandatoryTags(mcuboot.tags));
    }
    obkey::McubootParam param;
    param.name = QStringLiteral("Key");
    param.link = QStringLiteral("GetPublic");
    obkey::applyLinkedTemplate(content.firstChild(), param);
    return 0;
}
