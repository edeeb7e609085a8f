// Fuzzes openFile. Each suffix that openFile recognises has a target with its name.

#include "files/openFile.h"
#include "files/recordFiles.h"
#include "formats/formatTable.h"
#include "fuzz/FuzzFile.h"

#include <cstdlib>

namespace {

// No segment may have a size larger than the number of its bytes.
void checkSegments(const FileData& file) {
    for (const FileSegment& segment : file.segments) {
        if (static_cast<qsizetype>(segment.size) > segment.data.size()) {
            std::abort();
        }
    }
}

bool hasRecords(const FileData& file) {
    return file.fileType == fileTypeHex || file.fileType == fileTypeSrec || file.fileType == fileTypeElf;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const QByteArray suffix = '.' + fuzzTarget();
    const FuzzFile file(data, size, suffix.constData());
    FileLoadContext context;
    context.formats = formatTable();
    FileData* read = nullptr;
    constexpr bool allowPvs = true;
    if (!openFile(context, file.path(), read, 0xFF, 0, 0, allowPvs)) {
        return read == nullptr && context.records.empty() ? 0 : (std::abort(), 0);
    }
    checkSegments(*read);
    if (hasRecords(*read) && read->segments.size() < 1000) {
        static_cast<void>(writeHexFile(context, *read, file.output()));
        static_cast<void>(writeSrecFile(context, *read, file.output()));
    }
    return 0;
}
