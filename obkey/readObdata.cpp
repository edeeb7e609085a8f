#include "obkey/readObdata.h"

#include "display/Display.h"
#include "obkey/templateElements.h"
#include "obkey/templateNumbers.h"

#include <algorithm>
#include <span>

namespace {

/// One tag of an element: whether it enters the element's tag list, and how its text is stored. `store` gives false
/// for a text that ends the reading.
struct TagRule {
    QLatin1String tag;
    bool listed;
    bool (*store)(ObkeyParam& param, const QString& text);
};

bool storeName(ObkeyParam& param, const QString& text) {
    param.name = text;
    return true;
}

bool storeWidth(ObkeyParam& param, const QString& text) {
    param.width = signedDecimal(text);
    return true;
}

bool storeMinWidth(ObkeyParam& param, const QString& text) {
    param.minWidth = signedDecimal(text);
    return true;
}

bool storeDefault(ObkeyParam& param, const QString& text) {
    param.defaultValue = text;
    return true;
}

bool storeValue(ObkeyParam& param, const QString& text) {
    param.value = text;
    param.hasValue = true;
    return true;
}

bool storeTooltip(ObkeyParam& param, const QString& text) {
    param.tooltip = text;
    return true;
}

bool storeHidden(ObkeyParam& param, const QString& text) {
    param.hidden = signedDecimal(text) != 0;
    return true;
}

bool storeReserved(ObkeyParam& param, const QString& /*text*/) {
    param.reserved = true;
    return true;
}

bool storeDependency(ObkeyParam& param, const QString& text) {
    param.dependency = text;
    return true;
}

bool storeTypeSlot(ObkeyParam& param, const QString& text) {
    const bool isExecution = text.contains(QLatin1String("Execution"));
    if (!isExecution && !text.contains(QLatin1String("Download"))) {
        return reportError(
            " Wrong \"%s\" TypeSlot tag content, please update your xml file with the right one (only \"Execution\" "
            "and \"Download\" are allowed).",
            qUtf8Printable(param.name.value_or(QString())));
    }
    param.hasTypeSlot = true;
    param.slotIsExecution = isExecution;
    return true;
}

bool isSlotReference(const QString& text) {
    return text.startsWith(QLatin1String("start#")) || text.startsWith(QLatin1String("size#"));
}

bool storeFlashSlot(ObkeyParam& param, const QString& text) {
    if (!isSlotReference(text)) {
        return reportError(
            " Wrong \" %s \" SlotCli tag content, please update your xml file with the right one (only \"start#..\" "
            "and \"size#..\" are allowed).",
            qUtf8Printable(param.name.value_or(QString())));
    }
    param.flashSlotRefs.append(text);
    param.flashSlotName = param.name;
    param.flashSlotIndex = slotIndex(text);
    param.flashSlotIsStart = text.startsWith(QLatin1String("start#"));
    return true;
}

bool storeObkSlot(ObkeyParam& param, const QString& text) {
    const QString name = param.name.value_or(QString());
    // A name that comes between the two tags hides the first one: names stand in front of slots.
    if (!param.flashSlotRefs.isEmpty() && param.flashSlotName == param.name) {
        return reportError(
            " SlotCli and OBKSlot tags in the same \"%s\" Data, you can only have SlotCli or OBKSlot tags by Data.",
            qUtf8Printable(name));
    }
    if (!isSlotReference(text)) {
        return reportError(
            " Wrong \"%s\" OBKSlot tag content, please update your xml file with the right one (only \"start#..\" "
            "and \"size#..\" are allowed).",
            qUtf8Printable(name));
    }
    param.obkSlotRefs.append(text);
    param.obkSlotIndex = slotIndex(text);
    param.obkSlotIsStart = text.startsWith(QLatin1String("start#"));
    return true;
}

bool storeTrue(ObkeyParam& param, const QString& text) {
    param.trueValue = text;
    return true;
}

bool storeFalse(ObkeyParam& param, const QString& text) {
    param.falseValue = text;
    return true;
}

bool storeChoice(ObkeyParam& param, const QString& text) {
    param.choices.append(text);
    return true;
}

bool storeSize(ObkeyParam& param, const QString& text) {
    param.size = unsignedDecimal(text);
    return true;
}

bool storeAlign(ObkeyParam& param, const QString& text) {
    param.align = unsignedDecimal(text);
    return true;
}

bool storeKeyType(ObkeyParam& param, const QString& text) {
    param.keyType = text;
    return true;
}

bool storeUseHash(ObkeyParam& param, const QString& /*text*/) {
    param.useHash = true;
    return true;
}

bool storeType(ObkeyParam& param, const QString& text) {
    param.type = text;
    return true;
}

constexpr QLatin1String nameTag("Name");

constexpr TagRule textRules[] = {
    {nameTag, true, storeName},
    {QLatin1String("MinWidth"), true, storeMinWidth},
    {QLatin1String("Width"), true, storeWidth},
    {QLatin1String("Default"), true, storeDefault},
    {QLatin1String("Value"), false, storeValue},
    {QLatin1String("Tooltip"), true, storeTooltip},
};

constexpr TagRule dataRules[] = {
    {nameTag, true, storeName},
    {QLatin1String("Width"), true, storeWidth},
    {QLatin1String("Default"), true, storeDefault},
    {QLatin1String("Value"), false, storeValue},
    {QLatin1String("Reserved"), true, storeReserved},
    {QLatin1String("TypeSlot"), true, storeTypeSlot},
    {QLatin1String("SlotCli"), false, storeFlashSlot},
    {QLatin1String("OBKSlot"), false, storeObkSlot},
    {QLatin1String("Tooltip"), true, storeTooltip},
    {QLatin1String("Hidden"), true, storeHidden},
    {QLatin1String("Dependency"), true, storeDependency},
};

constexpr TagRule permissionRules[] = {
    {nameTag, true, storeName},
    {QLatin1String("Width"), true, storeWidth},
    {QLatin1String("Default"), true, storeDefault},
    {QLatin1String("Value"), true, storeValue},
    {QLatin1String("Tooltip"), true, storeTooltip},
    {QLatin1String("Hidden"), true, storeHidden},
};

constexpr TagRule boolRules[] = {
    {nameTag, true, storeName},
    {QLatin1String("Width"), true, storeWidth},
    {QLatin1String("Default"), true, storeDefault},
    {QLatin1String("True"), true, storeTrue},
    {QLatin1String("False"), true, storeFalse},
    {QLatin1String("Reserved"), true, storeReserved},
    {QLatin1String("Value"), false, storeValue},
    {QLatin1String("Tooltip"), true, storeTooltip},
    {QLatin1String("Hidden"), true, storeHidden},
    {QLatin1String("Dependency"), true, storeDependency},
};

constexpr TagRule listRules[] = {
    {nameTag, true, storeName},
    {QLatin1String("Width"), true, storeWidth},
    {QLatin1String("Default"), true, storeDefault},
    {QLatin1String("Val"), false, storeChoice},
    {QLatin1String("Reserved"), true, storeReserved},
    {QLatin1String("Value"), true, storeValue},
    {QLatin1String("Tooltip"), true, storeTooltip},
    {QLatin1String("Hidden"), true, storeHidden},
    {QLatin1String("Dependency"), true, storeDependency},
};

constexpr TagRule fileRules[] = {
    {nameTag, true, storeName},
    {QLatin1String("Size"), true, storeSize},
    {QLatin1String("Align"), true, storeAlign},
    {QLatin1String("KeyType"), true, storeKeyType},
    {QLatin1String("Hash"), true, storeUseHash},
    {QLatin1String("Type"), true, storeType},
    {QLatin1String("Default"), true, storeDefault},
    {QLatin1String("Value"), false, storeValue},
    {QLatin1String("Tooltip"), true, storeTooltip},
    {QLatin1String("Hidden"), true, storeHidden},
};

constexpr TagRule outputRules[] = {
    {nameTag, true, storeName},
    {QLatin1String("Default"), true, storeDefault},
    {QLatin1String("Value"), false, storeValue},
    {QLatin1String("Tooltip"), true, storeTooltip},
};

/// An element that gives a parameter. Its tags enter the list that all elements of the kind share, or a list of their
/// own.
struct ElementRule {
    QLatin1String name;
    std::span<const TagRule> tagRules;
    QStringList ObdataTags::*tags;
    QList<QStringList> ObdataTags::*tagLists;
};

constexpr ElementRule elementRules[] = {
    {QLatin1String("Text"), textRules, &ObdataTags::textTags, nullptr},
    {QLatin1String("Data"), dataRules, nullptr, &ObdataTags::dataTagLists},
    {QLatin1String("Permission"), permissionRules, &ObdataTags::permissionTags, nullptr},
    {QLatin1String("Bool"), boolRules, nullptr, &ObdataTags::boolTagLists},
    {QLatin1String("List"), listRules, nullptr, &ObdataTags::listTagLists},
    {QLatin1String("File"), fileRules, nullptr, &ObdataTags::fileTagLists},
    {QLatin1String("Output"), outputRules, &ObdataTags::outputTags, nullptr},
};

/// A number of the device's memory in `Info`, and the tag list that makes its rules apply.
struct MemoryRule {
    QLatin1String tag;
    std::uint32_t ObkeyInfo::*field;
    QStringList ObdataTags::*tags;
    const char* faultName;
};

constexpr MemoryRule memoryRules[] = {
    {QLatin1String("FlashStart"), &ObkeyInfo::FlashStart, &ObdataTags::flashTags, "FlashStart value"},
    {QLatin1String("FlashSize"), &ObkeyInfo::FlashSize, &ObdataTags::flashTags, "FlashSize value"},
    {QLatin1String("FlashSectorSize"), &ObkeyInfo::FlashSectorSize, &ObdataTags::flashTags, "FlashSectorSize value"},
    {QLatin1String("OBKStart"), &ObkeyInfo::OBKStart, &ObdataTags::obkTags, "OBK"},
    {QLatin1String("OBKSize"), &ObkeyInfo::OBKSize, &ObdataTags::obkTags, "OBKSize value"},
    {QLatin1String("OBKSectorSize"), &ObkeyInfo::OBKSectorSize, &ObdataTags::obkTags, "OBKSectorSize value"},
    {QLatin1String("AuthOBKStart"), &ObkeyInfo::AuthOBKStart, &ObdataTags::authObkTags, "AuthOBKStart value"},
    {QLatin1String("AuthOBKSize"), &ObkeyInfo::AuthOBKSize, &ObdataTags::authObkTags, "AuthOBKSize value"},
};

template <typename Rule, std::size_t count>
const Rule* findRule(const Rule (&rules)[count], QLatin1String Rule::*name, const QString& wanted) {
    const Rule* const found =
        std::find_if(rules, rules + count, [&](const Rule& rule) { return rule.*name == wanted; });
    return found == rules + count ? nullptr : found;
}

bool readMemoryTag(const MemoryRule& rule, const QString& text, ObdataTemplate& obdata) {
    if (!isHexValue(text) && !isDecimalValue(text)) {
        return reportError(" Wrong %s. Only Decimal and Hexadecimal values are authorized.", rule.faultName);
    }
    const QString hexadecimal = isHexValue(text) ? text : decimalToHexValue(text);
    obdata.info.*rule.field = hexadecimal.toUInt(nullptr, 16);
    (obdata.tags.*rule.tags).append(rule.tag);
    obdata.tags.infoTags.append(rule.tag);
    return true;
}

/// The destination address as the device's tools write it: two characters, whatever they are, and a signed 32-bit
/// hexadecimal number.
std::uint32_t destinationAddress(const QString& text) {
    return static_cast<std::uint32_t>(text.mid(2).toInt(nullptr, 16));
}

bool readInfo(const QDomElement& element, ObdataTemplate& obdata) {
    ObkeyInfo& info = obdata.info;
    QStringList& infoTags = obdata.tags.infoTags;
    for (QDomElement child = element.firstChildElement(); !child.isNull(); child = child.nextSiblingElement()) {
        const QString tag = child.tagName();
        const QString text = tagText(child);
        const MemoryRule* const memoryRule = findRule(memoryRules, &MemoryRule::tag, tag);
        if (memoryRule != nullptr) {
            if (!readMemoryTag(*memoryRule, text, obdata)) {
                return false;
            }
            continue;
        }
        if (tag == QLatin1String("Title")) {
            info.title = text;
            infoTags.append(nameTagMarker);
            continue;
        }
        if (tag == QLatin1String("ObDestAddress")) {
            info.obDestAddressText = text;
            info.obDestAddress = destinationAddress(text);
        } else if (tag == QLatin1String("DoEncryption")) {
            info.doEncryption = static_cast<std::uint32_t>(signedDecimal(text));
        } else if (tag == QLatin1String("GlobalAlign")) {
            info.globalAlign = static_cast<std::uint8_t>(unsignedDecimal(text) & 0xFF);
        } else if (tag == QLatin1String("MCU")) {
            info.mcu = text;
        } else {
            continue;
        }
        infoTags.append(tag);
    }
    return true;
}

bool parseObkeyElement(const QDomElement& element, ObkeyParam& param, ObdataTags& tags) {
    const ElementRule* const rule = findRule(elementRules, &ElementRule::name, element.tagName());
    if (rule == nullptr) {
        return false;
    }
    param.kind = element.tagName();
    QStringList elementTags;
    for (QDomElement child = element.firstChildElement(); !child.isNull(); child = child.nextSiblingElement()) {
        const auto tagRule = std::find_if(rule->tagRules.begin(), rule->tagRules.end(),
                                          [&](const TagRule& candidate) { return candidate.tag == child.tagName(); });
        if (tagRule == rule->tagRules.end()) {
            continue;
        }
        if (tagRule->listed) {
            elementTags.append(tagRule->tag == nameTag ? nameTagMarker : tagRule->tag);
        }
        if (!tagRule->store(param, tagText(child))) {
            return false;
        }
    }
    if (rule->tagLists != nullptr) {
        (tags.*rule->tagLists).append(elementTags);
    } else {
        (tags.*rule->tags).append(elementTags);
    }
    return true;
}

}  // namespace

bool readObdata(const QDomNode& content, ObdataTemplate& obdata) {
    ObdataTemplate read;
    for (QDomNode node = content.firstChild(); !node.isNull(); node = node.nextSibling()) {
        if (node.isComment()) {
            continue;
        }
        const QDomElement element = node.toElement();
        const QString name = element.tagName();  // an instruction has a node name too
        if (name == QLatin1String("Hash")) {
            read.hashMode = true;
        } else if (name == QLatin1String("DA")) {
            read.daMode = true;
        } else if (name == QLatin1String("Info")) {
            if (!readInfo(element, read)) {
                return false;
            }
        } else {
            ObkeyParam param;
            if (!parseObkeyElement(element, param, read.tags)) {
                return false;
            }
            read.params.append(param);
        }
    }
    obdata = std::move(read);
    return true;
}
