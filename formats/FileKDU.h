#pragma once

#include "files/FileData.h"

#include <string>

/// One entry of a TLV block.
struct TlvEntry {
    std::string name;  ///< the name of the type; for an unknown type, the name of the previous entry
    std::uint16_t type = 0;
    std::uint16_t length = 0;
    QByteArray value;  ///< `length` bytes and a zero
};

/// A module update in the MCUboot image format; the one segment holds the whole file.
struct FileKDU : FileData {
    std::uint32_t imageMagic = 0;
    std::uint32_t loadAddress = 0;
    std::uint16_t headerSize = 0;
    std::uint16_t protectedTlvSize = 0;
    std::uint32_t imageSize = 0;
    std::uint32_t imageFlags = 0;
    std::uint8_t versionMajor = 0;
    std::uint8_t versionMinor = 0;
    std::uint16_t versionRevision = 0;
    std::uint32_t versionBuild = 0;
    std::vector<TlvEntry> protectedTlvs;  ///< the first block after the image, protected or not
    std::vector<TlvEntry> tlvs;           ///< the second block
    bool moduleFlag = false;              ///< bit 30 of `imageFlags`
};
