#pragma once

#include "files/FileData.h"

#include <QString>

/// One line of a partition table.
struct TsvEntry {
    QString column1;
    std::uint32_t hexValue = 0;  ///< column 2
    QString column3;
    QString column4;
    QString column5;
    QString offset;      ///< column 6
    QString binaryFile;  ///< column 7, up to its first blank
};

/// A partition table: its entries, and the normalised text after its 256-byte header.
struct FileTSV : FileData {
    QByteArray text;             ///< header, text and a zero byte
    std::uint32_t textSize = 0;  ///< the size without the zero byte
    std::vector<TsvEntry> entries;
};
