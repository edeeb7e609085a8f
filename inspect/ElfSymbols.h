#pragma once

#include "inspect/Description.h"

namespace inspect {

/// The symbols and sections of a 32-bit ELF file, which name addresses. A broken table has fewer names.
class ElfSymbols {
  public:
    /// `description` is that of the file, whose bytes stay alive as long as the symbols.
    ElfSymbols(QByteArrayView file, const Description& description);

    /// The symbol and section at a load address, such as "main+0x12 in .text"; empty if there is neither.
    [[nodiscard]] QByteArray nameOf(std::uint64_t address) const;

  private:
    struct Named {
        std::uint32_t address;
        std::uint32_t size;
        QByteArrayView name;
    };
    struct Segment {
        std::uint64_t address;
        std::uint64_t size;
        std::uint64_t virtualAddress;
    };

    static const Named* findIn(const std::vector<Named>& names, std::uint32_t address);

    std::vector<Named> symbols_;     // sorted by address
    std::vector<Named> sections_;    // likewise
    std::vector<Segment> segments_;  // likewise
};

}  // namespace inspect
