#include "obkey/TemplateDocument.h"

#include "display/Display.h"
#include "files/readWhole.h"
#include "files/wipe.h"
#include "obkey/PasswordMask.h"
#include "obkey/templatePaths.h"
#include "obkey/xmlText.h"

#include <QFile>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <utility>

namespace obkey {

namespace {

/// The tree of a template needs many times the memory of its text. A special file such as /dev/zero never ends.
constexpr qint64 maxTemplateSize = qint64{8} << 20;

// The tree builder's time grows with the square of the nesting depth. The reader's time grows with the square of the
// number of a tag's attributes. Entities let a short file grow without bound. Templates need none of these.
constexpr int deepestNesting = 256;
constexpr int mostElements = 20000;
constexpr qsizetype longestTag = 2048;

/// The maximum number of comparisons between attributes. So many take some hundredths of a second.
constexpr qint64 mostComparisons = 4'000'000;

bool hasDeclaration(const QByteArray& line) {
    return line.contains("<?xml version=\"1.0\" encoding=\"UTF-8\"?>") ||
           line.contains("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>");
}

/// The tags of a text that are longer than longestTag.
struct LongTags {
    qint64 firstLine = 0;    ///< from 1; 0 if there are none
    qint64 comparisons = 0;  ///< maximum number of comparisons between attributes that the reader needs
};

LongTags findLongTags(const QByteArray& text) {
    LongTags found;
    qsizetype position = text.indexOf('<');
    while (position >= 0) {
        const Markup markup = markupAt(text, position);
        const QByteArrayView rest = QByteArrayView(text).sliced(position);
        const QByteArrayView tag = markup.end < 0 ? rest : rest.first(markup.end - position);
        if (markup.isTag && tag.size() > longestTag) {
            if (found.firstLine == 0) {
                found.firstLine = 1 + text.first(position).count('\n');
            }
            const qint64 attributeCount = tag.count('=');
            found.comparisons += attributeCount * attributeCount;
        }
        position = markup.end < 0 ? -1 : text.indexOf('<', markup.end);
    }
    return found;
}

/// Reads the whole document. A document that is well-formed but exceeds a limit raises an error of the reader, which
/// knows the line. Returns whether the document has a document type.
bool readThrough(QXmlStreamReader& reader) {
    int depth = 0;
    int count = 0;
    bool hasDocumentType = false;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
            case QXmlStreamReader::StartElement:
                if (++depth > deepestNesting) {
                    reader.raiseError(QStringLiteral("Elements are nested too deep."));
                } else if (++count > mostElements) {
                    reader.raiseError(QStringLiteral("There are too many elements."));
                }
                break;
            case QXmlStreamReader::EndElement:
                --depth;
                break;
            case QXmlStreamReader::DTD:
                hasDocumentType = true;
                if (!reader.entityDeclarations().isEmpty()) {
                    reader.raiseError(QStringLiteral("Entities can't be declared in a template."));
                } else if (reader.text().contains(u'[')) {
                    // Declared default attributes are added to every element, so that a short file grows without bound.
                    reader.raiseError(QStringLiteral("Nothing can be declared in a template."));
                }
                break;
            default:
                break;
        }
    }
    return hasDocumentType;
}

QString invalidDocumentMessage(QString fault, qint64 line) {
    static const QRegularExpression markup(QStringLiteral("<[^>]*>"));
    fault.remove(markup);
    if (fault.contains(QLatin1String("Premature"))) {
        return QStringLiteral("XML document is invalid! Error type: \"") + fault;
    }
    if (!fault.contains(QLatin1String("maxLength"))) {
        // The reader starts after the first line.
        return QStringLiteral(
                   "XML document is invalid at line: %1, error type: \" %2 \"The tag mentioned may be a strange "
                   "tag or even an existent one with wrong order, please refer to documentation to be able to "
                   "fix the issue. ")
            .arg(QString::number(line + 1), fault);
    }
    // The end of this message has no meaning for a user.
    fault.remove(QLatin1String(" facet.."));
    return QStringLiteral("XML document is invalid! Error type: \"") + fault + QStringLiteral(".\"");
}

bool reportTooLarge() {
    return reportError("XML document is invalid! A template may have 8 MiB at most.");
}

bool reportInvalid(const QString& fault, qint64 line) {
    return reportError("%s ", qUtf8Printable(invalidDocumentMessage(fault, line)));
}

/// Builds the document tree of a template. Null if the text isn't well-formed or exceeds a limit.
std::unique_ptr<QDomDocument> readDocument(const QByteArray& text, bool& hasDocumentType) {
    if (findLongTags(text).firstLine != 0) {
        return nullptr;
    }
    // The limits are checked again, because linked templates aren't validated and validation skips the first line.
    // Neither this reader nor the tree processes namespace prefixes.
    QXmlStreamReader reader(text);
    reader.setNamespaceProcessing(false);
    hasDocumentType = readThrough(reader);
    if (reader.hasError()) {
        return nullptr;
    }
    auto document = std::make_unique<QDomDocument>(QStringLiteral("XMLProto"));
    return document->setContent(text) ? std::move(document) : nullptr;
}

DocumentState classifyRoot(const QDomDocument* document, bool hasDocumentType, QDomNode& root) {
    if (document == nullptr) {
        return documentMissing;
    }
    // The root must directly follow the declaration. The tree doesn't show a document type between the two.
    root = document->firstChild().nextSibling();
    if (root.isNull()) {
        return documentEmpty;
    }
    const bool isRoot = !hasDocumentType && root.nodeName() == QLatin1String("Root");
    return isRoot ? documentRecognised : documentForeign;
}

QDomNode firstChildPastComments(const QDomNode& node) {
    QDomNode child = node.firstChild();
    while (child.isComment()) {
        child = child.nextSibling();
    }
    return child;
}

}  // namespace

bool validateTemplateText(const QByteArray& text) {
    if (text.size() > maxTemplateSize) {
        return reportTooLarge();
    }
    PasswordMask passwords;
    const QByteArray masked = passwords.mask(text);
    const qsizetype firstBreak = masked.indexOf('\n');
    const qsizetype lineEnd = firstBreak < 0 ? masked.size() : firstBreak + 1;
    if (!hasDeclaration(masked.first(lineEnd))) {
        return reportError("XML document is invalid! xml version is wrong or missing");
    }
    // Messages count lines as a file in text mode does: a carriage return alone doesn't end a line.
    QByteArray lines = masked.sliced(lineEnd);
    lines.replace("\r", "");
    const LongTags longTags = findLongTags(lines);
    if (longTags.comparisons <= mostComparisons) {
        QXmlStreamReader reader(lines);
        readThrough(reader);
        if (reader.hasError()) {
            return reportInvalid(reader.errorString(), reader.lineNumber());
        }
    }
    return longTags.firstLine == 0 || reportInvalid(QStringLiteral("A tag is too long."), longTags.firstLine);
}

bool validateTemplate(const QString& templatePath, const QString& xsdPath, QByteArray& text) {
    if (!QFile(xsdPath).open(QIODevice::ReadOnly | QIODevice::Text)) {
        return reportError(
            "The XML Template file \"%s\" is missing! Please check your QVORA Seal Bundle Builder installation folder.",
            qUtf8Printable(xsdPath));
    }
    QFile file(withSingleBackslashes(templatePath));
    QByteArray whole;
    const WipeOnExit wipeWhole(whole);
    const bool isRead =
        file.open(QIODevice::ReadOnly | QIODevice::Unbuffered) && readUpTo(file, maxTemplateSize, whole);
    if (!isRead && file.error() == QFileDevice::NoError) {
        return reportTooLarge();
    }
    if (!isRead) {
        return reportError("XML document is invalid! Please insert a valid one.");
    }
    if (!validateTemplateText(whole)) {
        return false;
    }
    text = std::move(whole);
    return true;
}

TemplateDocument documentOf(const QByteArray& text) {
    TemplateDocument read;
    bool hasDocumentType = false;
    read.document = readDocument(text, hasDocumentType);
    read.documentState = classifyRoot(read.document.get(), hasDocumentType, read.rootNode);
    return read;
}

TemplateDocument openDocument(const QString& templatePath) {
    QFile file(withSingleBackslashes(templatePath));
    QByteArray text;
    const bool isRead = file.open(QIODevice::ReadOnly) && readUpTo(file, maxTemplateSize, text);
    return isRead ? documentOf(text) : TemplateDocument();
}

QDomNode contentNode(const TemplateDocument& document, TemplateFormat& format) {
    if (document.documentState != documentRecognised) {
        return QDomNode();
    }
    const QDomNode content = firstChildPastComments(document.rootNode);
    if (content.nodeName() == QLatin1String("Obdata")) {
        format = formatObdata;
    } else if (content.nodeName() == QLatin1String("McubootFormat")) {
        format = formatMcuboot;
    }
    return content;
}

}  // namespace obkey
