#pragma once

#include "inspect/Report.h"

namespace inspect {

// The pieces of text that the text printer prints. A window shows the same pieces. They contain only printable
// characters.

/// The words of a stable name: "imageVersion" becomes "image version".
[[nodiscard]] QString wordsOf(const char* name);
[[nodiscard]] QString addressText(std::uint64_t address);
[[nodiscard]] QString bytesText(std::uint64_t count);
/// The value of a field. For a secret, only its size.
[[nodiscard]] QString valueText(const Field& field);
/// The name of a field and its value.
[[nodiscard]] QString fieldText(const Field& field);
/// The name, the number and the letter, if any, of a part, such as "area 2 F".
[[nodiscard]] QString partName(const Part& part);
/// The addresses that a part fills; empty if it has none.
[[nodiscard]] QString memoryText(const Part& part);
[[nodiscard]] QString findingText(const Finding& finding);
[[nodiscard]] QString checkName(const Check& check);
[[nodiscard]] QString outcomeText(const Check& check);
/// The name of a check and its outcome.
[[nodiscard]] QString resultText(const Check& check);
/// The use of a key, its file and its fingerprint, if any.
[[nodiscard]] QString keyText(const KeyUse& key);
/// The name of a content's part.
[[nodiscard]] QString partName(const Decoded& decoded);
/// What a content is: its kind, its size and its fields.
[[nodiscard]] QString decodedText(const Decoded& decoded);

/// An option word, a run of fill or a text in a content.
struct DecodedRow {
    QString name;
    QString value;
    QString meaning;
};
[[nodiscard]] std::size_t rowCount(const Decoded& decoded);
[[nodiscard]] DecodedRow rowAt(const Decoded& decoded, std::size_t index);
[[nodiscard]] QString rowText(const DecodedRow& row);
[[nodiscard]] QString differenceText(const Difference& difference);

/// What changed between two files, on one line; empty if there is nothing to say.
[[nodiscard]] QString summaryText(const Summary& summary);
[[nodiscard]] QString memoryDifferenceText(const MemoryDifference& difference);

/// The part with this number; null if there is none, as for 0.
[[nodiscard]] const Part* partOf(const Description& description, int index);

}  // namespace inspect
