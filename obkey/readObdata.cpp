#include "obkey/readObdata.h"

#include "display/Display.h"
#include "obkey/templateElements.h"
#include "obkey/templateNumbers.h"

#include <algorithm>
#include <utility>

namespace obkey {

namespace {

template <TagText ObkeyParam::*field>
bool storeText(ObkeyParam& param, const QString& text) {
    param.*field = text;
    return true;
}

template <std::int32_t ObkeyParam::*field>
bool storeSigned(ObkeyParam& param, const QString& text) {
    param.*field = signedDecimal(text);
    return true;
}

template <std::uint32_t ObkeyParam::*field>
bool storeUnsigned(ObkeyParam& param, const QString& text) {
    param.*field = unsignedDecimal(text);
    return true;
}

template <bool ObkeyParam::*field>
bool storePresence(ObkeyParam& param, const QString& /*text*/) {
    param.*field = true;
    return true;
}

bool storeValue(ObkeyParam& param, const QString& text) {
    param.value = text;
    param.hasValue = true;
    return true;
}

bool storeHidden(ObkeyParam& param, const QString& text) {
    param.hidden = signedDecimal(text) != 0;
    return true;
}

bool storeChoice(ObkeyParam& param, const QString& text) {
    param.choices.append(text);
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
    // Only the name before the last SlotCli is compared: if a Name is between the two tags, the conflict isn't found.
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

using ParamRule = TagRule<ObkeyParam>;

// Rules for tags that several kinds have.
constexpr ParamRule nameRule = {QLatin1String("Name"), Listing::asName, storeText<&ObkeyParam::name>};
constexpr ParamRule widthRule = {QLatin1String("Width"), Listing::asItself, storeSigned<&ObkeyParam::width>};
constexpr ParamRule defaultRule = {QLatin1String("Default"), Listing::asItself, storeText<&ObkeyParam::defaultValue>};
constexpr ParamRule valueRule = {QLatin1String("Value"), Listing::none, storeValue};
constexpr ParamRule singleValueRule = {QLatin1String("Value"), Listing::asItself, storeValue};
constexpr ParamRule reservedRule = {QLatin1String("Reserved"), Listing::asItself, storePresence<&ObkeyParam::reserved>};
constexpr ParamRule tooltipRule = {QLatin1String("Tooltip"), Listing::asItself, storeText<&ObkeyParam::tooltip>};
constexpr ParamRule hiddenRule = {QLatin1String("Hidden"), Listing::asItself, storeHidden};
constexpr ParamRule dependencyRule = {QLatin1String("Dependency"), Listing::asItself,
                                      storeText<&ObkeyParam::dependency>};

constexpr ParamRule textRules[] = {
    nameRule,  {QLatin1String("MinWidth"), Listing::asItself, storeSigned<&ObkeyParam::minWidth>},
    widthRule, defaultRule,
    valueRule, tooltipRule,
};

constexpr ParamRule dataRules[] = {
    nameRule,
    widthRule,
    defaultRule,
    valueRule,
    reservedRule,
    {QLatin1String("TypeSlot"), Listing::asItself, storeTypeSlot},
    {QLatin1String("SlotCli"), Listing::none, storeFlashSlot},
    {QLatin1String("OBKSlot"), Listing::none, storeObkSlot},
    tooltipRule,
    hiddenRule,
    dependencyRule,
};

constexpr ParamRule permissionRules[] = {
    nameRule, widthRule, defaultRule, singleValueRule, tooltipRule, hiddenRule,
};

constexpr ParamRule boolRules[] = {
    nameRule,
    widthRule,
    defaultRule,
    {QLatin1String("True"), Listing::asItself, storeText<&ObkeyParam::trueValue>},
    {QLatin1String("False"), Listing::asItself, storeText<&ObkeyParam::falseValue>},
    reservedRule,
    valueRule,
    tooltipRule,
    hiddenRule,
    dependencyRule,
};

constexpr ParamRule listRules[] = {
    nameRule,       widthRule,       defaultRule, {QLatin1String("Val"), Listing::none, storeChoice},
    reservedRule,   singleValueRule, tooltipRule, hiddenRule,
    dependencyRule,
};

constexpr ParamRule fileRules[] = {
    nameRule,
    {QLatin1String("Size"), Listing::asItself, storeUnsigned<&ObkeyParam::size>},
    {QLatin1String("Align"), Listing::asItself, storeUnsigned<&ObkeyParam::align>},
    {QLatin1String("KeyType"), Listing::asItself, storeText<&ObkeyParam::keyType>},
    {QLatin1String("Hash"), Listing::asItself, storePresence<&ObkeyParam::useHash>},
    {QLatin1String("Type"), Listing::asItself, storeText<&ObkeyParam::type>},
    defaultRule,
    valueRule,
    tooltipRule,
    hiddenRule,
};

constexpr ParamRule outputRules[] = {nameRule, defaultRule, valueRule, tooltipRule};

/// An element that describes a parameter. Its tags are added to the list that all elements of its kind share, or to a
/// list of their own.
struct ElementRule {
    QLatin1String name;
    TagRules<ObkeyParam> tagRules;
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

/// A tag of `Info` with a number about the device's memory. The rules for a memory apply if its tag list isn't empty.
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

/// Reads the destination address in the form of the device's tools: two arbitrary characters and a signed 32-bit
/// hexadecimal number.
bool storeDestination(ObkeyInfo& info, const QString& text) {
    info.obDestAddressText = text;
    info.obDestAddress = static_cast<std::uint32_t>(text.mid(2).toInt(nullptr, 16));
    return true;
}

bool storeEncryption(ObkeyInfo& info, const QString& text) {
    info.doEncryption = static_cast<std::uint32_t>(signedDecimal(text));
    return true;
}

bool storeGlobalAlign(ObkeyInfo& info, const QString& text) {
    info.globalAlign = static_cast<std::uint8_t>(unsignedDecimal(text) & 0xFF);
    return true;
}

template <TagText ObkeyInfo::*field>
bool storeLabel(ObkeyInfo& info, const QString& text) {
    info.*field = text;
    return true;
}

constexpr TagRule<ObkeyInfo> infoRules[] = {
    {QLatin1String("Title"), Listing::asName, storeLabel<&ObkeyInfo::title>},
    {QLatin1String("ObDestAddress"), Listing::asItself, storeDestination},
    {QLatin1String("DoEncryption"), Listing::asItself, storeEncryption},
    {QLatin1String("GlobalAlign"), Listing::asItself, storeGlobalAlign},
    {QLatin1String("MCU"), Listing::asItself, storeLabel<&ObkeyInfo::mcu>},
};

bool readInfo(const QDomElement& element, ObdataTemplate& obdata) {
    for (QDomElement tag = element.firstChildElement(); !tag.isNull(); tag = tag.nextSiblingElement()) {
        const MemoryRule* const memoryRule = findRule(memoryRules, &MemoryRule::tag, tag.tagName());
        const bool isRead = memoryRule != nullptr ? readMemoryTag(*memoryRule, tagText(tag), obdata)
                                                  : readTag(tag, infoRules, obdata.info, obdata.tags.infoTags);
        if (!isRead) {
            return false;
        }
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
    if (!readTags(element, rule->tagRules, param, elementTags)) {
        return false;
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
        const QString name = element.tagName();  // nodeName would also return the name of a processing instruction
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

}  // namespace obkey
