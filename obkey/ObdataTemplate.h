#pragma once

#include <QLatin1String>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

/// What a numeric Info field holds while its tag is absent.
inline constexpr std::uint32_t ABSENT_VALUE = 0xBAADF00D;

/// Text of a tag: without a value while the tag is absent, which is not the same as a tag without text.
using TagText = std::optional<QString>;

/// The `Info` element of an `Obdata` template. Addresses and sizes are in bytes.
struct ObkeyInfo {
    TagText title;
    TagText mcu;                ///< kept; no effect on any output
    TagText obDestAddressText;  ///< the tag as written
    std::uint32_t obDestAddress = ABSENT_VALUE;
    std::uint32_t doEncryption = ABSENT_VALUE;
    std::uint8_t globalAlign = 0;  ///< 0 counts as 1
    std::uint32_t FlashStart = ABSENT_VALUE;
    std::uint32_t FlashSize = ABSENT_VALUE;
    std::uint32_t FlashSectorSize = ABSENT_VALUE;
    std::uint32_t OBKStart = ABSENT_VALUE;
    std::uint32_t OBKSize = ABSENT_VALUE;
    std::uint32_t OBKSectorSize = ABSENT_VALUE;
    std::uint32_t AuthOBKStart = ABSENT_VALUE;
    std::uint32_t AuthOBKSize = ABSENT_VALUE;
};

/// One parameter of an `Obdata` template. `kind` is the element's name and tells which fields are filled.
struct ObkeyParam {
    QString kind;
    TagText name;
    TagText defaultValue;
    TagText value;  ///< what the template chose; after generation, what was used
    TagText tooltip;
    TagText dependency;      ///< Data, Bool, List: kept; no effect on any output
    std::int32_t width = 0;  ///< bytes; for Text the greatest length

    std::int32_t minWidth = 0;  ///< Text: the least length in bytes

    bool hasValue = false;         ///< Data
    bool reserved = false;         ///< Data, Bool, List
    bool hasTypeSlot = false;      ///< Data
    bool slotIsExecution = false;  ///< Data, with hasTypeSlot
    QStringList flashSlotRefs;     ///< Data: the texts of its SlotCli tags
    TagText flashSlotName;         ///< Data: the name that stood before its last SlotCli
    std::int32_t flashSlotIndex = 0;
    bool flashSlotIsStart = false;
    QStringList obkSlotRefs;  ///< Data: the texts of its OBKSlot tags
    std::int32_t obkSlotIndex = 0;
    bool obkSlotIsStart = false;

    TagText trueValue;    ///< Bool
    TagText falseValue;   ///< Bool
    QStringList choices;  ///< List: its Val tags

    std::uint32_t size = 0;   ///< File: kept, not enforced
    std::uint32_t align = 0;  ///< File: used as 8 bits; 0 counts as 1
    TagText keyType;          ///< File: kept
    bool useHash = false;     ///< File: the SHA-256 of a key in place of the key
    TagText type;             ///< File: "Public" or "Private_Raw" in any case of letters

    bool hidden = false;
};

/// Stands in a tag list for the tag that names the element. It is how a tag list is told from a list of parameter
/// names.
inline constexpr QLatin1String nameTagMarker("duplicateElementCheck");

/// The tags that were read, in document order, as far as each may stand once in its element.
struct ObdataTags {
    QStringList infoTags;
    QStringList textTags, permissionTags, outputTags;                           ///< of all elements of the kind
    QList<QStringList> dataTagLists, listTagLists, boolTagLists, fileTagLists;  ///< one list an element
    QStringList flashTags, obkTags, authObkTags;                                ///< those of `Info`, by memory
};

/// An `Obdata` template as it was read.
struct ObdataTemplate {
    ObkeyInfo info;
    QList<ObkeyParam> params;  ///< in document order
    ObdataTags tags;
    bool daMode = false;    ///< a debug authentication file
    bool hashMode = false;  ///< a digest stands in front of the payload

    [[nodiscard]] bool flashRulesActive() const { return !tags.flashTags.isEmpty(); }
    [[nodiscard]] bool obkRulesActive() const { return !tags.obkTags.isEmpty(); }
    [[nodiscard]] bool authObkRulesActive() const { return !tags.authObkTags.isEmpty(); }
};
