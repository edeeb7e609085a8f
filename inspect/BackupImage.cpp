// Backup image: the plain content of a device's backup memory. The format has no protection.

#include "files/ByteReader.h"
#include "inspect/formats.h"
#include "inspect/records.h"

namespace inspect {

namespace {

constexpr std::uint32_t nonceSize = 16;

/// Bits 19 to 21 of a protection word.
enum class Algorithm : std::uint32_t { ecb = 0, cbc = 1, ctr = 2 };

void addFields(Part& part, std::uint32_t protection) {
    part.fields.push_back(addressField("protectionWord", protection));
    part.fields.back().offset = part.offset + 4;
    part.fields.back().size = 4;
    Field algorithm = numberField("algorithm", (protection >> 19) & 7);
    algorithm.state = FieldState::derived;
    switch (static_cast<Algorithm>(algorithm.number)) {
        case Algorithm::ecb:
            algorithm.meaning = "aesEcbOrNone";
            break;
        case Algorithm::cbc:
            algorithm.meaning = "aesCbcWithNonce";
            break;
        case Algorithm::ctr:
            algorithm.meaning = "aesCtrWithNonce";
            break;
        default:
            break;
    }
    part.fields.push_back(std::move(algorithm));
}

// Devices write the memory in words.
void checkWords(const char* name, Field value, const Part& part, qint64 at, Description& description) {
    if (value.number % 4 != 0) {
        description.addFinding(FindingCode::unaligned, part.index, part.offset + at,
                               {textField("field", name), std::move(value), numberField("expected", 4)});
    }
}

}  // namespace

void describeBackupImage(const Source& source, Description& description) {
    std::size_t at = 0;
    for (const Record& record : readRecords(source.bytes, backupHeaderSize, description)) {
        ByteReader reader(record.header);
        const std::uint32_t offset = reader.u32();
        const std::uint32_t protection = reader.u32();
        Part& part = description.parts[at++];
        addFields(part, protection);
        const auto algorithm = static_cast<Algorithm>((protection >> 19) & 7);
        const bool hasNonce = algorithm == Algorithm::cbc || algorithm == Algorithm::ctr;
        part.hasAddress = true;
        part.address = offset;
        part.memorySize = record.size;
        if (hasNonce && record.size < nonceSize) {
            description.addFinding(FindingCode::noRoomForNonce, part.index, part.offset + 8,
                                   {numberField("size", record.size)});
        } else {
            part.memorySize -= hasNonce ? nonceSize : 0;
            checkWords("size", numberField("value", part.memorySize), part, 8, description);
        }
        if (algorithm > Algorithm::ctr) {
            description.addFinding(FindingCode::unknownAlgorithm, part.index, part.offset + 4,
                                   {numberField("value", static_cast<std::uint32_t>(algorithm))});
        }
        checkWords("offset", addressField("value", offset), part, 0, description);
    }
    findOverlaps(description);
}

}  // namespace inspect
