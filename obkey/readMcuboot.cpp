#include "obkey/readMcuboot.h"

#include "display/Display.h"
#include "obkey/templateElements.h"
#include "obkey/templateNumbers.h"

#include <utility>

namespace obkey {

namespace {

bool refuseLink() {
    return reportError("Upload a valid input XML File.\nPlease check Link Tag format!");
}

template <typename Record, TagText Record::*field>
bool storeText(Record& record, const QString& text) {
    record.*field = text;
    return true;
}

/// The title names its element and is mandatory, so the tag list receives both `nameTagMarker` and the tag's own name.
bool storeTitle(McubootTemplate& mcuboot, const QString& text) {
    mcuboot.title = text;
    mcuboot.tags.globalParamTags.append(nameTagMarker);
    return true;
}

bool storeLinkedTemplate(McubootTemplate& mcuboot, const QString& text) {
    LinkedXmlEntry entry;
    if (!parseIndexedReference(text, entry.index, entry.path)) {
        return reportError("Upload a valid input XML File.\nPlease check LinkedXML Tag format!");
    }
    mcuboot.linkedTemplates.append(entry);
    return true;
}

bool storeKind(McubootParam& param, const QString& text) {
    param.kind = text;
    return true;
}

bool storeEnable(McubootParam& param, const QString& text) {
    param.enable = signedDecimal(text) != 0 ? 1 : 0;
    return true;
}

bool storeHidden(McubootParam& param, const QString& text) {
    param.hidden = signedDecimal(text) != 0;
    return true;
}

bool storeLink(McubootParam& param, const QString& text) {
    QString link;
    if (!parseIndexedReference(text, param.linkIndex, link)) {
        return refuseLink();
    }
    param.link = link;
    return true;
}

template <TagText McubootParam::*field>
constexpr auto storeParamText = storeText<McubootParam, field>;

constexpr TagRule<McubootTemplate> globalParamRules[] = {
    {QLatin1String("Command"), Listing::asItself, storeText<McubootTemplate, &McubootTemplate::command>},
    {QLatin1String("Title"), Listing::asItself, storeTitle},
    {QLatin1String("LinkedXML"), Listing::none, storeLinkedTemplate},
};

constexpr TagRule<McubootParam> paramRules[] = {
    {QLatin1String("Name"), Listing::asName, storeParamText<&McubootParam::name>},
    {QLatin1String("Type"), Listing::asItself, storeKind},
    {QLatin1String("Command"), Listing::asItself, storeParamText<&McubootParam::command>},
    {QLatin1String("Enable"), Listing::asItself, storeEnable},
    {QLatin1String("Hidden"), Listing::asItself, storeHidden},
    {QLatin1String("Default"), Listing::asItself, storeParamText<&McubootParam::defaultValue>},
    {QLatin1String("Value"), Listing::none, storeParamText<&McubootParam::value>},
    {QLatin1String("Link"), Listing::asItself, storeLink},
    {QLatin1String("Tooltip"), Listing::asItself, storeParamText<&McubootParam::tooltip>},
};

constexpr TagRule<McubootParam> outputRules[] = {
    {QLatin1String("Name"), Listing::asName, storeParamText<&McubootParam::outputName>},
    {QLatin1String("Default"), Listing::asItself, storeParamText<&McubootParam::outputDefault>},
    {QLatin1String("Value"), Listing::none, storeParamText<&McubootParam::outputValue>},
    {QLatin1String("Tooltip"), Listing::asItself, storeParamText<&McubootParam::tooltip>},
};

/// Checks the indexes of links. A single linked template has no index; each of several needs one. The links of
/// parameters follow the same rule.
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

/// Reads one element into `param`. A `GlobalParam`, which describes the image as a whole, is read into `mcuboot`.
bool parseMcubootElement(const QDomElement& element, McubootParam& param, McubootTemplate& mcuboot) {
    McubootTags& tags = mcuboot.tags;
    param.kind = element.tagName();
    if (param.kind == QLatin1String("GlobalParam")) {
        return readTags(element, globalParamRules, mcuboot, tags.globalParamTags);
    }
    if (param.kind == QLatin1String("Param")) {
        return readTags(element, paramRules, param, tags.paramTagLists.emplace_back());
    }
    return param.kind == QLatin1String("Output") && readTags(element, outputRules, param, tags.outputTags);
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

}  // namespace obkey
