// Secrets images: one-time-programmable words. The opener never prints their values or anything that reveals them.

#include "files/ByteReader.h"
#include "inspect/formats.h"
#include "inspect/records.h"

#include <algorithm>
#include <array>

namespace inspect {

namespace {

constexpr std::uint32_t wordSize = 4;

/// A run of OTP indexes, both ends included.
struct IndexRun {
    std::uint32_t first;
    std::uint32_t last;
};

// Devices 0x500 and 0x501: the image contains all these words, in this order.
constexpr std::array wordRuns = {IndexRun{56, 56}, IndexRun{59, 95}};
constexpr qint64 wordsSize = 152;

// Device 0x505: the indexes at which a record may start.
constexpr std::array recordRuns = {IndexRun{12, 12},   IndexRun{17, 19},   IndexRun{22, 22},   IndexRun{144, 144},
                                   IndexRun{152, 152}, IndexRun{176, 254}, IndexRun{256, 256}, IndexRun{260, 367}};
constexpr std::uint32_t lastIndex = 367;
constexpr qsizetype recordHeaderSize = 8;

/// The words that a record fills.
struct Filled {
    std::uint64_t first = 0;
    std::uint64_t end = 0;
    const Part* part = nullptr;
};

void findCollisions(std::vector<Filled> records, Description& description) {
    std::stable_sort(records.begin(), records.end(),
                     [](const Filled& a, const Filled& b) { return a.first < b.first; });
    for (std::size_t i = 0; i < records.size(); ++i) {
        const Filled& record = records[i];
        if (i + 1 == records.size()) {
            if (record.end > lastIndex + 1) {
                description.addFinding(FindingCode::beyondLastIndex, record.part->index, record.part->offset,
                                       {numberField("limit", lastIndex)});
            }
        } else if (record.end > records[i + 1].first) {
            const Part& next = *records[i + 1].part;
            description.addFinding(FindingCode::sharedOtp, next.index, next.offset,
                                   {numberField("other", static_cast<std::uint64_t>(record.part->index)),
                                    numberField("value", records[i + 1].first)});
        }
    }
}

}  // namespace

void describeSecretsWords(const Source& source, Description& description) {
    if (source.bytes.size() != wordsSize) {
        description.addFinding(FindingCode::wrongSize, 0, -1,
                               {numberField("value", static_cast<std::uint64_t>(source.bytes.size())),
                                numberField("expected", wordsSize)});
        description.addRange(source.bytes.size(), Role::unread, Cover::none);
        return;
    }
    for (const IndexRun& run : wordRuns) {
        Part part;
        part.name = "words";
        part.index = static_cast<int>(description.parts.size()) + 1;
        part.offset = description.rangesEnd();
        part.payloadOffset = part.offset;
        part.payloadSize = qint64{run.last - run.first + 1} * wordSize;
        part.size = part.payloadSize;
        part.fields = {numberField("firstOtp", run.first), numberField("lastOtp", run.last)};
        for (Field& field : part.fields) {
            field.state = FieldState::derived;
        }
        description.addRange(part.size, Role::payload, Cover::none, part.index);
        description.parts.push_back(std::move(part));
    }
}

void describeSecretsRecords(const Source& source, Description& description) {
    std::size_t at = 0;
    std::vector<Filled> filled;
    for (const Record& record : readRecords(source.bytes, recordHeaderSize, description)) {
        ByteReader reader(record.header);
        const std::uint32_t word = reader.u32();
        const std::uint32_t otp = word & 0xFFFF;
        Part& part = description.parts[at++];
        part.fields = {numberField("otp", otp), addressField("protectionWord", word & 0xFFFF0000)};
        for (Field& field : part.fields) {
            field.offset = part.offset;
            field.size = 4;
        }
        filled.push_back({otp, otp + record.size / wordSize, &part});
        const bool isKnown = std::any_of(recordRuns.begin(), recordRuns.end(),
                                         [otp](const IndexRun& run) { return otp >= run.first && otp <= run.last; });
        if (!isKnown) {
            description.addFinding(FindingCode::unknownIndex, part.index, part.offset, {numberField("value", otp)});
        }
        if (record.size % wordSize != 0) {
            description.addFinding(
                FindingCode::unaligned, part.index, part.offset + 4,
                {textField("field", "size"), numberField("value", record.size), numberField("expected", wordSize)});
        }
    }
    findCollisions(std::move(filled), description);
}

}  // namespace inspect
