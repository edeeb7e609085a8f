#pragma once

#include "inspect/compare.h"
#include "inspect/optionWords.h"

namespace inspect {

/// Compares the firmware and modules of two files as memory, however their parts are cut. Contents without an address
/// start at the lowest address of the other file. `shownBytes` is the number of bytes of each range to keep. Names the
/// ranges if one file is an ELF file, and option words by `registers`.
[[nodiscard]] Summary summarize(const ComparedFile& a, const ComparedFile& b, qsizetype shownBytes,
                                const RegisterNames& registers = {});

}  // namespace inspect
