#include "obkey/LinkedTemplate.h"

#include "obkey/templateElements.h"
#include "obkey/templateNumbers.h"

namespace obkey {

namespace {

bool isTag(const QDomElement& element, const char* name) {
    return element.tagName() == QLatin1String(name);
}

/// The `Name` child of `element` whose text is the name of `param`; null if there is none.
QDomElement nameTagOf(const QDomElement& element, const McubootParam& param) {
    const QString wanted = param.name.value_or(QString());
    QDomElement child = element.firstChildElement(QStringLiteral("Name"));
    while (!child.isNull() && tagText(child) != wanted) {
        child = child.nextSiblingElement(QStringLiteral("Name"));
    }
    return child;
}

/// The first `Value` or `Default` after `nameTag`; null if there is none.
QDomElement valueTagAfter(const QDomElement& nameTag) {
    QDomElement sibling = nameTag.nextSiblingElement();
    while (!sibling.isNull() && !isTag(sibling, "Value") && !isTag(sibling, "Default")) {
        sibling = sibling.nextSiblingElement();
    }
    return sibling;
}

/// Reads the path of a key file. Replaces its last four characters with ".pem" or, if the link is "GetPublic", with
/// "_pub.pem". The second form is the path of the public key, which is in the folder of the private one.
void takeKeyPath(McubootParam& param, const QDomElement& nameTag) {
    QString ending;
    if (param.link.value_or(QString()) == QLatin1String("GetPublic")) {
        ending = QStringLiteral("_pub");
    }
    const QDomElement valueTag = valueTagAfter(nameTag);
    if (!valueTag.isNull()) {
        QString path = tagText(valueTag);
        path.chop(4);
        ending = path + ending + QStringLiteral(".pem");
    }
    param.defaultValue = ending;
}

/// Reads a number. If the link is "+N", N is added to it, modulo 2^32.
void takeNumber(McubootParam& param, const QDomElement& nameTag) {
    param.defaultValue = QString();
    const QDomElement valueTag = valueTagAfter(nameTag);
    if (valueTag.isNull()) {
        return;
    }
    const QString text = tagText(valueTag);
    const QString link = param.link.value_or(QString());
    if (!link.startsWith(QLatin1Char('+'))) {
        param.defaultValue = text;
        return;
    }
    const auto sum = static_cast<std::uint32_t>((templateNumber(text) + templateNumber(link.mid(1))) & 0xFFFFFFFF);
    param.defaultValue = QStringLiteral("0x") + QString::number(sum, 16);
}

/// Reads a permission. The value counts only if it is directly after the name, where the write-back puts it.
void takePermission(McubootParam& param, const QDomElement& nameTag) {
    const QDomElement next = nameTag.nextSiblingElement();
    if (isTag(next, "Value") || isTag(next, "defaultValue")) {
        param.defaultValue = tagText(next);
    }
}

}  // namespace

void applyLinkedTemplate(const QDomNode& linkedContent, McubootParam& param) {
    for (QDomNode sibling = linkedContent; !sibling.isNull(); sibling = sibling.nextSibling()) {
        const QDomElement element = sibling.toElement();
        const QDomElement nameTag = nameTagOf(element, param);
        if (nameTag.isNull()) {
            continue;
        }
        if (isTag(element, "File")) {
            takeKeyPath(param, nameTag);
        } else if (isTag(element, "Data")) {
            takeNumber(param, nameTag);
        } else if (isTag(element, "Permission")) {
            takePermission(param, nameTag);
        }
    }
}

const LinkedTemplate* LinkedTemplates::find(const QString& templatePath) {
    constexpr std::size_t mostTrees = 16;  // each may need some hundred MB
    if (loaded_.size() >= mostTrees && loaded_.count(templatePath) == 0) {
        loaded_.clear();
    }
    const auto [place, isNew] = loaded_.try_emplace(templatePath);
    LinkedTemplate& linked = place->second;
    if (isNew) {
        linked.document = openDocument(templatePath);
        TemplateFormat format = formatObdata;
        linked.linkedContent = contentNode(linked.document, format).firstChild();
    }
    return linked.document.document == nullptr ? nullptr : &linked;
}

}  // namespace obkey
