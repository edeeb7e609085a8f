#pragma once

#include <QLatin1String>
#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

namespace obkey {

/// The value of a numeric Info field while its tag is absent.
inline constexpr std::uint32_t ABSENT_VALUE = 0xBAADF00D;

/// The text of a tag: no value if the tag is absent, an empty value if the tag has no text.
using TagText = std::optional<QString>;

/// The `Info` element of an `Obdata` template. Addresses and sizes are in bytes.
struct ObkeyInfo {
    TagText title;
    TagText mcu;                ///< no effect on any output
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

/// One parameter of an `Obdata` template. `kind` is the element's name and decides which fields are filled.
struct ObkeyParam {
    QString kind;
    TagText name;
    TagText defaultValue;
    TagText value;  ///< the value in the template; after generation, the value that was used
    TagText tooltip;
    TagText dependency;      ///< Data, Bool, List: no effect on any output
    std::int32_t width = 0;  ///< bytes; for Text the maximum length

    std::int32_t minWidth = 0;  ///< Text: the minimum length in bytes

    bool hasValue = false;         ///< Data
    bool reserved = false;         ///< Data, Bool, List
    bool hasTypeSlot = false;      ///< Data
    bool slotIsExecution = false;  ///< Data, with hasTypeSlot
    QStringList flashSlotRefs;     ///< Data: the texts of its SlotCli tags
    TagText flashSlotName;         ///< Data: the last Name before its last SlotCli
    std::int32_t flashSlotIndex = 0;
    bool flashSlotIsStart = false;
    QStringList obkSlotRefs;  ///< Data: the texts of its OBKSlot tags
    std::int32_t obkSlotIndex = 0;
    bool obkSlotIsStart = false;

    TagText trueValue;    ///< Bool
    TagText falseValue;   ///< Bool
    QStringList choices;  ///< List: its Val tags

    std::uint32_t size = 0;   ///< File: not enforced
    std::uint32_t align = 0;  ///< File: used as 8 bits; 0 counts as 1
    TagText keyType;          ///< File: no effect on any output
    bool useHash = false;     ///< File: whether the SHA-256 of a key replaces the key
    TagText type;             ///< File: "Public" or "Private_Raw", in upper or lower case

    bool hidden = false;
};

/// The entry of a tag list for the tag that names the element. It distinguishes a tag list from a list of parameter
/// names.
inline constexpr QLatin1String nameTagMarker("duplicateElementCheck");

/// The tags that were read, in document order. Tags that an element may contain more than once aren't listed.
struct ObdataTags {
    QStringList infoTags;
    QStringList textTags, permissionTags, outputTags;                           ///< of all elements of the kind
    QList<QStringList> dataTagLists, listTagLists, boolTagLists, fileTagLists;  ///< one list for each element
    QStringList flashTags, obkTags, authObkTags;                                ///< those of `Info`, by memory
};

/// An `Obdata` template as it was read.
struct ObdataTemplate {
    ObkeyInfo info;
    QList<ObkeyParam> params;  ///< in document order
    ObdataTags tags;
    bool daMode = false;    ///< whether the output is a debug authentication file
    bool hashMode = false;  ///< whether a digest precedes the payload

    [[nodiscard]] bool flashRulesActive() const { return !tags.flashTags.isEmpty(); }
    [[nodiscard]] bool obkRulesActive() const { return !tags.obkTags.isEmpty(); }
    [[nodiscard]] bool authObkRulesActive() const { return !tags.authObkTags.isEmpty(); }
};

}  // namespace obkey
