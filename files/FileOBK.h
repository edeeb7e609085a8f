#pragma once

#include "files/FileData.h"
#include "files/wipe.h"

#include <array>

/// A provisioning data file: its 12-byte head as read, and the rest as one segment at address 0. The destructor wipes
/// the segment's bytes, unless another array shares them.
struct FileOBK : FileData {
    ~FileOBK() {
        for (FileSegment& segment : segments) {
            wipeIfOwned(segment.data);
        }
    }

    /// Destination address, body size and encryption flag, each 32 bits, little-endian.
    std::array<std::uint8_t, 12> head{};
};
