#pragma once

#include "inspect/Report.h"

namespace inspect {

// What the text printer says, piece by piece, for a window that says the same. All of it is printable.

/// A stable name as words: "imageVersion" is "image version".
[[nodiscard]] QString wordsOf(const char* name);
[[nodiscard]] QString addressText(std::uint64_t address);
[[nodiscard]] QString bytesText(std::uint64_t count);
/// Of a secret only its size.
[[nodiscard]] QString valueText(const Field& field);
/// Its name and its value.
[[nodiscard]] QString fieldText(const Field& field);
/// As "area 2 F".
[[nodiscard]] QString partName(const Part& part);
/// The addresses that it fills; empty if it has none.
[[nodiscard]] QString memoryText(const Part& part);
[[nodiscard]] QString findingText(const Finding& finding);
[[nodiscard]] QString checkName(const Check& check);
[[nodiscard]] QString outcomeText(const Check& check);
/// What was checked, and what came of it.
[[nodiscard]] QString resultText(const Check& check);
[[nodiscard]] QString differenceText(const Difference& difference);

/// The part of this number; null for 0 and for one that isn't there.
[[nodiscard]] const Part* partOf(const Description& description, int index);

}  // namespace inspect
