#include "Preparation/secureImages/segmentView.h"
#include "display/Display.h"
#include "files/byteWriter.h"
#include "files/outputFile.h"
#include "formats/moduleLayout.h"
#include "preparation-interface/Preparation.h"

namespace {

constexpr char gapFill = '\xFF';  // the value of erased Flash memory

// A small ELF file may have segments anywhere, so the memory for the gaps between them is limited.
constexpr std::uint64_t maxGapBytes = std::uint64_t{16} << 20;

bool appendLoadImage(const FileELF& elf, QByteArray& module) {
    const std::vector<const FileSegment*> segments = sortedSegments(&elf);
    if (segments.empty()) {
        return reportError("The ELF file has nothing to load");
    }
    std::uint64_t end = segments.front()->address;
    std::uint64_t gapBytes = 0;
    for (const FileSegment* const segment : segments) {
        const QByteArrayView bytes = segmentBytes(*segment);
        if (segment->address < end) {
            return reportError("The ELF file has overlapping segments at address 0x%08X", segment->address);
        }
        const std::uint64_t gap = segment->address - end;
        gapBytes += gap;
        if (gapBytes > maxGapBytes) {
            return reportError("The segments of the ELF file are too far apart, at address 0x%08X", segment->address);
        }
        module.append(static_cast<qsizetype>(gap), gapFill);
        module.append(bytes);
        end = std::uint64_t{segment->address} + static_cast<std::uint64_t>(bytes.size());
    }
    return true;
}

}  // namespace

bool Preparation::KMDPreparation(const std::string& outputPath, FileELF* elf, unsigned char* /*reserved1*/,
                                 bool /*reserved2*/, std::uint32_t loadAddress, const std::string& /*reserved3*/,
                                 const QByteArray& /*reserved4*/, const QByteArray& /*reserved5*/,
                                 const QByteArray& /*reserved6*/) {
    if (elf == nullptr) {
        return reportError("There is no ELF file for the module");
    }
    QByteArray module = preparedModule::magic.toByteArray();
    appendU32(module, loadAddress);
    return appendLoadImage(*elf, module) &&
           writeOutputFile(QString::fromStdString(outputPath), module, "Error while writing in the module file");
}
