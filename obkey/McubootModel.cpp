#include "obkey/Obkey.h"

#include "display/Display.h"
#include "obkey/templateElements.h"
#include "obkey/templateNumbers.h"

#include <utility>

namespace {

constexpr QLatin1String outputKind("Output");

bool refuseLink() {
    return reportError("Upload a valid input XML File.\nPlease check Link Tag format!");
}

bool readGlobalParam(Obkey& engine, const QDomElement& element) {
    for (QDomElement child = element.firstChildElement(); !child.isNull(); child = child.nextSiblingElement()) {
        const QString tag = child.tagName();
        const QString text = tagText(child);
        if (tag == QLatin1String("Command")) {
            engine.readConfig.command = text;
            engine.globalParamTags.append(tag);
        } else if (tag == QLatin1String("Title")) {
            // The title names this element and is mandatory as well: it enters as both.
            engine.readConfig.title = text;
            engine.globalParamTags << tag << nameTagMarker;
        } else if (tag == QLatin1String("LinkedXML")) {
            LinkedXmlEntry entry;
            if (!parseIndexedReference(text, entry.index, entry.path)) {
                return reportError("Upload a valid input XML File.\nPlease check LinkedXML Tag format!");
            }
            engine.readConfig.linkedTemplates.append(entry);
        }
    }
    return true;
}

bool readParam(McubootParam& param, QStringList& tags, const QDomElement& element) {
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

void readOutput(McubootParam& param, QStringList& tags, const QDomElement& element) {
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
bool checkLinks(const McubootConfig& config) {
    const qsizetype linkedCount = config.linkedTemplates.size();
    const bool isSingle = linkedCount == 1;
    const bool areSeveral = linkedCount >= 2;
    for (const McubootParam& param : config.params) {
        if ((isSingle && param.linkIndex != 0) || (areSeveral && param.link && param.linkIndex == 0)) {
            return refuseLink();
        }
    }
    for (const LinkedXmlEntry& entry : config.linkedTemplates) {
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

}  // namespace

bool Obkey::readMcuboot(const QDomNode& content) {
    readConfig = McubootConfig();
    globalParamTags.clear();
    mcubootOutputTags.clear();
    paramTagLists.clear();
    for (QDomNode node = content.firstChild(); !node.isNull(); node = node.nextSibling()) {
        if (node.isComment()) {
            continue;
        }
        McubootParam param;
        if (!parseMcubootElement(param, node.toElement())) {
            return false;
        }
        if (node.nodeName() != QLatin1String("GlobalParam")) {
            readConfig.params.append(param);
        }
    }
    return checkLinks(readConfig);
}

bool Obkey::parseMcubootElement(McubootParam& param, const QDomElement& element) {
    param.kind = element.tagName();
    if (param.kind == QLatin1String("GlobalParam")) {
        return readGlobalParam(*this, element);
    }
    if (param.kind == QLatin1String("Param")) {
        QStringList tags;
        if (!readParam(param, tags, element)) {
            return false;
        }
        paramTagLists.append(tags);
        return true;
    }
    if (param.kind == outputKind) {
        readOutput(param, mcubootOutputTags, element);
        return true;
    }
    return false;
}
