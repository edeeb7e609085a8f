#pragma once

#include "obkey/ObdataTemplate.h"

#include <QPair>

/// One slot that the `Data` parameters of a template describe.
struct SlotRecord {
    QString name;            ///< the parameter's name without the word "offset"
    std::int32_t index = 0;  ///< N of "start#N"
    TagText start;           ///< "0x" and the absolute address, lower-case hexadecimal
    TagText size;            ///< "0x" and the size, lower-case hexadecimal; absent if no "size#N" followed
};

/// The slots of the device's memory. Addresses are unsigned 32-bit numbers and wrap.
struct MemoryLayout {
    QList<SlotRecord> flashSlots, obkSlots;
    QList<SlotRecord> executionSlots, downloadSlots;         ///< those of the flash that tell their use; not checked
    QList<QPair<std::uint32_t, std::uint32_t>> flashRanges;  ///< start and end of `flashSlots`, once they are sorted
};

/// The slots of the memories that the template's `Info` tells of, in document order.
[[nodiscard]] MemoryLayout collectSlots(const ObdataTemplate& obdata);

/// Checks names, default numbers and slots against each other; the first fault is told.
[[nodiscard]] bool checkLayout(const ObdataTemplate& obdata);
