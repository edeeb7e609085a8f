#pragma once

#include "inspect/Description.h"
#include "inspect/Evidence.h"
#include "inspect/Span.h"

namespace inspect {

/// Adds to `decoded` what the bytes of firmware show without a disassembler:
/// - a vector table at their start, as Cortex-M processors read it (Armv8-M Architecture Reference Manual): an initial
///   stack pointer, then addresses of handlers with bit 0 set. Handlers must be in `memory`, which is sorted and
///   disjoint, or near each other if the content has no address.
/// - runs of at least 256 equal bytes
/// - texts of at least 6 printable ASCII characters with a zero byte after them: their number and size, and the first
///   `texts` of them
void describeCode(const Content& content, const std::vector<Span>& memory, std::size_t texts, Decoded& decoded);

}  // namespace inspect
