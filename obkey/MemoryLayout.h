#pragma once

#include "obkey/ObdataTemplate.h"

#include <QPair>

namespace obkey {

/// One slot that the `Data` parameters of a template describe.
struct SlotRecord {
    QString name;            ///< the parameter's name without the word "offset"
    std::int32_t index = 0;  ///< N of "start#N"
    TagText start;           ///< "0x" and the absolute address, lower-case hexadecimal
    TagText size;            ///< "0x" and the size, lower-case hexadecimal; absent if no "size#N" follows
};

/// The slots of the device's memory. Addresses are unsigned 32-bit numbers; sums of them wrap.
struct MemoryLayout {
    QList<SlotRecord> flashSlots, obkSlots;
    QList<SlotRecord> executionSlots, downloadSlots;         ///< the flash slots with a `TypeSlot`; not checked
    QList<QPair<std::uint32_t, std::uint32_t>> flashRanges;  ///< start and end of each of the sorted `flashSlots`
};

/// The slots of the memories that the template's `Info` describes, in document order.
[[nodiscard]] MemoryLayout collectSlots(const ObdataTemplate& obdata);

/// Checks that names are unique, that default numbers fit their fields, and that the slots fit the device's memory and
/// don't overlap. Reports the first fault.
[[nodiscard]] bool checkLayout(const ObdataTemplate& obdata);

}  // namespace obkey
