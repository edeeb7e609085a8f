#pragma once

#include "files/FileLoadContext.h"

/// Reads a 32-bit ELF file (System V gABI, chapters 4 and 5) into a FileELF. Its segments are the file bytes of the
/// loadable segments at their physical addresses, sorted and joined. A FileReader.
[[nodiscard]] bool readElfFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);
