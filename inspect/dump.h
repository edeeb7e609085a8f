#pragma once

#include "inspect/Span.h"
#include "inspect/sources.h"

namespace inspect {

/// The memory of a device, read back by a programmer.
struct Dump {
    Dump() = default;
    ~Dump();
    Dump(const Dump&) = delete;
    Dump& operator=(const Dump&) = delete;

    std::vector<SourcePiece> pieces;
    std::vector<Span> spans;       ///< the read memory: for each file, from its first to its last byte
    std::vector<Span> unreadable;  ///< memory that the device doesn't let a programmer read
    std::uint8_t erased = 0xFF;    ///< the value of erased memory, which a dump may leave out
};

/// Reads one more file of the dump: ELF, Intel HEX, S-Record, or raw with its address after "@". `erased` must be set
/// before. On failure `fault` says why.
[[nodiscard]] bool readDump(const QString& argument, Dump& dump, QString& fault);

/// Adds the checks of firmware and modules against the dump, and the differences between them. Inside a span of the
/// dump, bytes that no file contains count as erased. Content outside all spans leaves the check undecided, unless it
/// has the erased value. `description` must be open (`isOpen`).
void proveDump(const Dump& dump, const Contents& contents, Description& description);

}  // namespace inspect
