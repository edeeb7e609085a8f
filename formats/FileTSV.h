#pragma once

#include "files/FileData.h"

#include <QString>

struct TsvEntry {
    QString column1;
    std::uint32_t hexValue = 0;
    QString column3;
    QString column4;
    QString column5;
    QString offset;
    QString binaryFile;
};

/// A partition table: its entries, and the normalised text behind its 256-byte header.
struct FileTSV : FileData {
    QByteArray text;
    std::uint32_t textSize = 0;
    std::vector<TsvEntry> entries;
};
