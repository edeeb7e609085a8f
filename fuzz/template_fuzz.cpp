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
    if (!validateTemplate(file.path(), schemaBeside(file), text)) {
        return 0;
    }
    const TemplateDocument document = documentOf(text);
    PasswordMask passwords;
    const QByteArray masked = passwords.mask(text);
    if (passwords.unmask(masked) != text ||
        (documentOf(masked).document == nullptr) != (document.document == nullptr)) {
        std::abort();
    }
    if (document.document == nullptr) {
        return 0;
    }
    // A well-formed template must stay well-formed.
    setTemplateValues({{QStringLiteral("Key"), QStringLiteral("<&>\r\"'"), 1}}, text);
    if (documentOf(text).document == nullptr) {
        std::abort();
    }
    TemplateFormat format = formatObdata;
    const QDomNode content = contentNode(document, format);
    ObdataTemplate obdata;
    if (format == formatObdata && readObdata(content, obdata)) {
        static_cast<void>(checkDuplicateTags(obdata.tags) && checkMandatoryTags(obdata.tags) && checkLayout(obdata));
    }
    McubootTemplate mcuboot;
    if (format == formatMcuboot && readMcuboot(content, mcuboot)) {
        static_cast<void>(checkDuplicateTags(mcuboot.tags) && checkMandatoryTags(mcuboot.tags));
    }
    McubootParam param;
    param.name = QStringLiteral("Key");
    param.link = QStringLiteral("GetPublic");
    applyLinkedTemplate(content.firstChild(), param);
    return 0;
}
