// Templates of both formats, as far as they are read and checked. Nothing is generated: a template names its outputs.

#include "fuzz/FuzzFile.h"
#include "obkey/Obkey.h"

#include <QFile>

namespace {

QString schemaBeside(const FuzzFile& file) {
    QFile schema(file.output());
    static_cast<void>(schema.open(QIODevice::WriteOnly));
    return file.output();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile file(data, size, ".xml");
    Obkey engine;
    engine.startObkeyJob(file.path());
    engine.startImageJob();
    if (!engine.validateTemplate(file.path(), schemaBeside(file)) || !engine.loadTemplate(file.path())) {
        return 0;
    }
    if (engine.templateFormat == Obkey::formatObdata) {
        static_cast<void>(engine.checkDuplicateTags() && engine.checkMandatoryTags() && engine.checkLayout());
    } else {
        static_cast<void>(engine.checkMcubootDuplicateTags() && engine.checkMcubootMandatoryTags());
        engine.addImageConfig(file.path());
    }
    if (engine.loadLinkedTemplate(file.path())) {
        McubootParam param;
        param.name = QStringLiteral("Key");
        param.link = QStringLiteral("GetPublic");
        Obkey::applyLinkedTemplate(param, engine.linkedContent);
    }
    return 0;
}
