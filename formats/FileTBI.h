#pragma once

#include "files/FileData.h"

/// One area of a secure image, unchanged from the file.
struct TbiArea {
    std::uint32_t address = 0;  ///< destination address
    std::uint32_t size = 0;     ///< the value of the size field, even if the file is shorter
    QByteArray data;            ///< the payload, up to the end of the file
    std::uint8_t type = 0;      ///< the area letter
    QByteArray header;          ///< the whole area header, tag included
    std::uint32_t headerSize = 0;
    QByteArray tag;
    std::uint32_t tagSize = 0;
};

/// A secure install or provisioning image. `segmentCount` counts the areas.
struct FileTBI : FileData {
    QByteArray header;
    std::uint32_t headerSize = 0;
    std::uint16_t protocolVersion = 0;
    std::uint32_t imageVersion = 0;
    QByteArray nonce;
    std::uint32_t nonceSize = 0;
    std::vector<TbiArea> areas;
};
