#pragma once

#include "obkey/Obkey.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <string>

/// A template with the declaration that the reader requires and `content` in its `Root`.
inline QByteArray templateText(const QByteArray& content) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Root>" + content + "</Root>\n";
}

inline QByteArray obdata(const QByteArray& elements) {
    return templateText("<Obdata>" + elements + "</Obdata>");
}

/// XML elements from a short form, one element per line: "kind;tag=text;tag=text".
inline QByteArray elements(const QByteArray& lines) {
    QByteArray xml;
    for (const QByteArray& line : lines.trimmed().split('\n')) {
        const QList<QByteArray> pieces = line.split(';');
        xml += "<" + pieces.first() + ">";
        for (const QByteArray& piece : pieces.sliced(1)) {
            const QByteArray name = piece.left(piece.indexOf('='));
            xml += "<" + name + ">" + piece.mid(name.size() + 1) + "</" + name + ">";
        }
        xml += "</" + pieces.first() + ">";
    }
    return xml;
}

/// One paragraph of a file of cases: its elements as XML, and its lines that begin with a sign such as "!", with the
/// sign as key.
struct TemplateCase {
    QByteArray elements;
    QMap<char, QByteArray> signedLines;

    /// The error message between the bars. Empty if there is no text between them.
    [[nodiscard]] std::vector<std::string> errors() const {
        const QByteArray text = signedLines['!'].split('|').value(1).replace("\\n", "\n");
        return text.isEmpty() ? std::vector<std::string>() : std::vector<std::string>{"Error: " + text.toStdString()};
    }
};

/// Reads the cases of a file in the folder of the tests. Adds the element `first` or `last` to a case without one.
inline QList<TemplateCase> readCases(const char* file, const QByteArray& first, const QByteArray& last) {
    QList<TemplateCase> cases;
    for (const QByteArray& paragraph :
         fileContent(QLatin1String(TEST_FILES) + QLatin1String(file)).replace("\n\n", "\f").split('\f')) {
        TemplateCase templateCase;
        QByteArrayList lines;
        for (const QByteArray& line : paragraph.trimmed().split('\n')) {
            if (QByteArrayView("!=<#").contains(line.at(0))) {
                templateCase.signedLines[line.at(0)] = line.mid(2);
            } else {
                lines.append(line);
            }
        }
        const QByteArray given = "\n" + lines.join("\n");
        const auto lacks = [&](const QByteArray& element) {
            return !given.contains("\n" + element.split(';').first());
        };
        if (lacks(first)) {
            lines.prepend(first);
        }
        if (lacks(last)) {
            lines.append(last);
        }
        templateCase.elements = elements(lines.join("\n"));
        if (!templateCase.signedLines.contains('#')) {
            cases.append(templateCase);
        }
    }
    return cases;
}

/// One run of the steps for provisioning files, with a template in its own folder.
struct TemplateRun {
    TempFolder folder;
    obkey::Obkey engine;
    QString schema = folder.write("schema.xsd", "");

    explicit TemplateRun(const QString& imgtoolPath = QStringLiteral(TEST_FILES "imgtool-stand-in.sh"))
        : engine(imgtoolPath) {}

    /// Writes the template and runs the steps until one fails. True if the run makes the file.
    bool generate(const QByteArray& text) {
        const QString path = folder.write("template.xml", text);
        qputenv("IMGTOOL_RECORD", folder.path("arguments").toUtf8());
        engine.startObkeyJob(path);
        return engine.validateTemplate(path, schema) && engine.loadTemplate(path) && engine.checkDuplicateTags() &&
               engine.checkMandatoryTags() && engine.checkLayout() && engine.generateObkey();
    }
};
