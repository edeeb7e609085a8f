#pragma once

#include <QDomDocument>
#include <QDomNode>
#include <QString>

#include <cstdint>
#include <memory>

namespace obkey {

enum DocumentState : std::uint32_t {
    documentMissing = 1,
    documentEmpty = 2,
    documentForeign = 3,  ///< its root isn't `Root`
    documentRecognised = 4,
};

enum TemplateFormat : std::uint32_t { formatObdata = 0, formatMcuboot = 1 };

/// The tree of a template.
struct TemplateDocument {
    std::unique_ptr<QDomDocument> document;  ///< null if the template can't be read; owns the nodes
    DocumentState documentState = documentMissing;
    QDomNode rootNode;
};

/// Checks that the schema file can be opened, that the first line of the template contains one of the two accepted
/// declarations, and that the rest is well-formed XML (W3C XML 1.0). The schema itself isn't applied. Reports a fault;
/// otherwise `text` receives the template.
[[nodiscard]] bool validateTemplate(const QString& templatePath, const QString& xsdPath, QByteArray& text);

/// Checks the text of a template in the same way, and that it is within the limits for templates.
[[nodiscard]] bool validateTemplateText(const QByteArray& text);

/// The tree of a template, from its text or from its path. Nothing is reported.
[[nodiscard]] TemplateDocument documentOf(const QByteArray& text);
[[nodiscard]] TemplateDocument openDocument(const QString& templatePath);

/// The first child of the root that isn't a comment; null if the document has no `Root`. Its name determines `format`;
/// an unknown name leaves `format` unchanged.
[[nodiscard]] QDomNode contentNode(const TemplateDocument& document, TemplateFormat& format);

}  // namespace obkey
