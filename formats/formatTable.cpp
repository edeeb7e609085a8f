#include "formats/formatTable.h"

#include "files/elfReader.h"
#include "files/openFile.h"
#include "files/recordFiles.h"
#include "formats/readers.h"

#include <array>

std::span<const FormatRow> formatTable() {
    static constexpr std::array rows{
        FormatRow{".kmd", readKmdFile},      FormatRow{".kdu", readKduFile},
        FormatRow{".hex", readRecordFile},   FormatRow{".srec", readRecordFile},
        FormatRow{".s19", readRecordFile},   FormatRow{".elf", readElfFile},
        FormatRow{".axf", readElfFile},      FormatRow{".o", readElfFile},
        FormatRow{".so", readElfFile},       FormatRow{".out", readElfFile},
        FormatRow{".tsv", readTsvFile},      FormatRow{".csv", readOptionBytesFile},
        FormatRow{".kcsv", readKeyAreaFile}, FormatRow{".tbi", readTbiFile},
        FormatRow{".tbix", readTbiFile},     FormatRow{".pvs", readPvsTbiFile, true},
        FormatRow{".xtbi", readXtbiFile},    FormatRow{".obk", readObkFile},
        FormatRow{".mcsv", readMcsvFile},    FormatRow{".ecsv", readEcsvFile},
    };
    return rows;
}
