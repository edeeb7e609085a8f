#include "obkey/readMcuboot.h"

#include "display/Display.h"
#include "obkey/templateElements.h"
#include "obkey/templateNumbers.h"

#include <utility>

namespace {

bool refuseLink() {
    return reportError("Upload a valid input XML File.\nPlease check Link Tag format!");
}

bool readGlobalParam(const QDomElement& element, McubootTemplate& mcuboot) {
    for (QDomElement child = element.firstChildElement(); !child.isNull(); child = child.nextSiblingElement()) {
        const QString tag = child.tagName();
        const QString text = tagText(child);
        if (tag == QLatin1String("Command")) {
            mcuboot.command = text;
            mcuboot.tags.globalParamTags.append(tag);
        } else if (tag == QLatin1String("Title")) {
            // The title names this element and is mandatory as well: it enters as both.
            mcuboot.title = text;
            mcuboot.tags.globalParamTags << tag << nameTagMarker;
        } else if (tag == QLatin1String("LinkedXML")) {
            LinkedXmlEntry entry;
            if (!parseIndexedReference(text, entry.index, entry.path)) {
                return reportError("Upload a valid input XML File.\nPlease check LinkedXML Tag format!");
            }
            mcuboot.linkedTemplates.append(entry);
        }
    }
    return true;
}

bool readParam(const QDomElement& element, McubootParam& param, QStringList& tags) {
    for (QDomElement child = element.firstChildElement(); !child.isNull(); child = child.nextSiblingElement()) {
        const QString tag = child.tagName();
        const QString text = tagText(child);
        if (tag == QLatin1String("Value")) {
            param.value = text;
            continue;
        }
        if (tag == QLatin1String("Name")) {
            param.name = text;
            tags.append(nameTagMarker);
            continue;
        }
        if (tag == QLatin1String("Type")) {
            param.kind = text;
        } else if (tag == QLatin1String("Command")) {
            param.command = text;
        } else if (tag == QLatin1String("Enable")) {
            param.enable = signedDecimal(text) != 0 ? 1 : 0;
        } else if (tag == QLatin1String("Hidden")) {
            param.hidden = signedDecimal(text) != 0;
        } else if (tag == QLatin1String("Default")) {
            param.defaultValue = text;
        } else if (tag == QLatin1String("Link")) {
            QString link;
            if (!parseIndexedReference(text, param.linkIndex, link)) {
                return refuseLink();
            }
            param.link = link;
        } else if (tag == QLatin1String("Tooltip")) {
            param.tooltip = text;
        } else {
            continue;
        }
        tags.append(tag);
    }
    return true;
}

void readOutput(const QDomElement& element, McubootParam& param, QStringList& tags) {
    for (QDomElement child = element.firstChildElement(); !child.isNull(); child = child.nextSiblingElement()) {
        const QString tag = child.tagName();
        const QString text = tagText(child);
        if (tag == QLatin1String("Value")) {
            param.outputValue = text;
        } else if (tag == QLatin1String("Name")) {
            param.outputName = text;
            tags.append(nameTagMarker);
        } else if (tag == QLatin1String("Default")) {
            param.outputDefault = text;
            tags.append(tag);
        } else if (tag == QLatin1String("Tooltip")) {
            param.tooltip = text;
            tags.append(tag);
        }
    }
}

/// One linked template needs no index, several need one each; parameters refer to them in the same way.
bool checkLinks(const McubootTemplate& mcuboot) {
    const qsizetype linkedCount = mcuboot.linkedTemplates.size();
    const bool isSingle = linkedCount == 1;
    const bool areSeveral = linkedCount >= 2;
    for (const McubootParam& param : mcuboot.params) {
        if ((isSingle && param.linkIndex != 0) || (areSeveral && param.link && param.linkIndex == 0)) {
            return refuseLink();
        }
    }
    for (const LinkedXmlEntry& entry : mcuboot.linkedTemplates) {
        if (isSingle && entry.index != 0) {
            return reportError(
                "Upload a valid input XML File.\nPlease check LinkedXML syntaxe.\nAn extra LinkedXML file Index is "
                "found!");
        }
        if (areSeveral && entry.index == 0) {
            return reportError("Upload a valid input XML File.\nPlease check LinkedXML Tag format:");
        }
    }
    return true;
}

/// Reads one element; what it says of the image as a whole goes to `mcuboot`.
bool parseMcubootElement(const QDomElement& element, McubootParam& param, McubootTemplate& mcuboot) {
    param.kind = element.tagName();
    if (param.kind == QLatin1String("GlobalParam")) {
        return readGlobalParam(element, mcuboot);
    }
    if (param.kind == QLatin1String("Param")) {
        QStringList tags;
        const bool isRead = readParam(element, param, tags);
        mcuboot.tags.paramTagLists.append(tags);
        return isRead;
    }
    if (param.kind == QLatin1String("Output")) {
        readOutput(element, param, mcuboot.tags.outputTags);
        return true;
    }
    return false;
}

}  // namespace

bool readMcuboot(const QDomNode& content, McubootTemplate& mcuboot) {
    McubootTemplate read;
    for (QDomNode node = content.firstChild(); !node.isNull(); node = node.nextSibling()) {
        if (node.isComment()) {
            continue;
        }
        McubootParam param;
        if (!parseMcubootElement(node.toElement(), param, read)) {
            return false;
        }
        if (node.nodeName() != QLatin1String("GlobalParam")) {
            read.params.append(param);
        }
    }
    if (!checkLinks(read)) {
        return false;
    }
    mcuboot = std::move(read);
    return true;
}
