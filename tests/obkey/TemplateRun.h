#pragma once

#include "obkey/Obkey.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <string>

/// A template whose `Root` holds `content` behind the declaration that the reader demands.
inline QByteArray templateText(const QByteArray& content) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root>" + content + "</Root>\n";
}

inline QByteArray obdata(const QByteArray& elements) {
    return templateText("<Obdata>" + elements + "</Obdata>");
}

/// One run of the steps for provisioning files, on a template in a folder of its own.
struct TemplateRun {
    TempFolder folder;
    Obkey engine;
    QString schema = folder.write("schema.xsd", "");

    TemplateRun() { engine.imgtoolPath = QStringLiteral(IMGTOOL_STAND_IN); }

    /// Writes the template and runs until a step fails. True if the file was made.
    bool generate(const QByteArray& text) {
        const QString path = folder.write("template.xml", text);
        qputenv("IMGTOOL_RECORD", folder.path("arguments").toUtf8());
        engine.startObkeyJob(path);
        return engine.validateTemplate(path, schema) && engine.loadTemplate(path) && engine.checkDuplicateTags() &&
               engine.checkMandatoryTags() && engine.checkLayout() && engine.generateObkey();
    }
};
