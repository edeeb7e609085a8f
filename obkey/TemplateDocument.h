#pragma once

#include <QDomDocument>
#include <QDomNode>
#include <QString>

#include <cstdint>
#include <memory>

enum DocumentState : std::uint32_t {
    documentMissing = 1,
    documentEmpty = 2,
    documentForeign = 3,  ///< its root isn't `Root`
    documentRecognised = 4,
};

enum TemplateFormat : std::uint32_t { formatObdata = 0, formatMcuboot = 1 };

/// The tree of a template.
struct TemplateDocument {
    std::unique_ptr<QDomDocument> document;  ///< null if the template couldn't be read; its nodes live as long
    DocumentState documentState = documentMissing;
    QDomNode rootNode;
};

/// Checks that the schema file exists and that the template is well-formed XML (W3C XML 1.0) behind a first line with
/// one of the two accepted declarations. No schema validation takes place. A fault is told; without one
/// `text` gets the template.
[[nodiscard]] bool validateTemplate(const QString& templatePath, const QString& xsdPath, QByteArray& text);

/// The same for the text of a template: that it is well-formed and within the limits of one.
[[nodiscard]] bool validateTemplateText(const QByteArray& text);

/// The tree of a template, given by its text or by its path, without a message.
[[nodiscard]] TemplateDocument documentOf(const QByteArray& text);
[[nodiscard]] TemplateDocument openDocument(const QString& templatePath);

/// The first child of the root, null without a recognised one. It tells the format; one of another name leaves `format`
/// as it was.
[[nodiscard]] QDomNode contentNode(const TemplateDocument& document, TemplateFormat& format);
