#pragma once

#include <QByteArray>

#include <cstdint>
#include <vector>

/// Format codes in FileData::fileType.
enum FileType : std::uint32_t {
    fileTypeBinary = 0,  ///< raw binary, and the result of a merge
    fileTypeHex = 2,
    fileTypeSrec = 3,
    fileTypeElf = 4,
    fileTypeTsv = 5,
    fileTypeCsv = 6,  ///< a table of option bytes, key area or diversification words
    fileTypeTbi = 7,  ///< TBI and PVS-TBI images
    fileTypeKmd = 8,
    fileTypeObk = 9,
    fileTypeKdu = 10,
    fileTypeXtbi = 11,
    fileTypeMcsv = 12,
    fileTypeEcsv = 13,
};

/// One contiguous piece of memory content. `size` is the number of bytes; `data` holds at least as many.
struct FileSegment {
    std::uint32_t address = 0;
    std::uint32_t size = 0;
    QByteArray data;
};

/// The record of a file. Some formats derive their own record from it. Records have no virtual functions: a
/// std::shared_ptr that is made from the derived type destroys that type. Check `fileType` before a cast to a derived
/// type.
struct FileData {
    std::uint32_t fileType = fileTypeBinary;
    std::uint32_t segmentCount = 0;  ///< the number of segments; of areas in an image; of modules in a module list
    std::vector<FileSegment> segments;
};
