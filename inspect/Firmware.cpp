// Firmware files of compilers: raw bytes, Intel HEX, S-Records, ELF. Only the checksums of records protect them.

#include "files/ByteReader.h"
#include "files/recordParser.h"
#include "inspect/ElfNumbers.h"
#include "inspect/formats.h"

#include <QBuffer>

#include <algorithm>
#include <array>
#include <cctype>

namespace inspect {

namespace {

constexpr std::size_t segmentLimit = 65535;

/// Receives the parser's segments. If `contents` isn't null, it keeps the bytes of each segment there.
struct RecordSegments : FileData {
    Description* description = nullptr;
    Contents* contents = nullptr;
    std::size_t count = 0;
    bool isFull = false;
    int faultyLine = 0;
    QByteArray fault;
};

RecordSegments& segmentsOf(FileData& file) {
    return static_cast<RecordSegments&>(file);
}

void beginSegment(FileData& file, std::uint32_t address) {
    RecordSegments& found = segmentsOf(file);
    found.isFull = found.isFull || ++found.count > segmentLimit;
    if (found.isFull) {
        return;
    }
    const int index = static_cast<int>(found.count);
    if (found.description != nullptr) {
        Part part;
        part.name = "segment";
        part.index = index;
        part.hasAddress = true;
        part.address = address;
        part.offset = -1;  // the file contains its bytes as text
        part.payloadOffset = -1;
        found.description->parts.push_back(std::move(part));
    }
    if (found.contents != nullptr) {
        Content content;
        content.part = index;
        content.name = "segment";
        content.hasAddress = true;
        content.address = address;
        content.kind = ContentKind::firmware;
        found.contents->list.push_back(std::move(content));
    }
}

bool addData(FileData& file, const RecordBlock& current) {
    RecordSegments& found = segmentsOf(file);
    if (found.isFull) {
        return false;
    }
    if (found.description != nullptr) {
        Part& part = found.description->parts.back();
        part.payloadSize += current.bytes.size();
        part.memorySize += static_cast<std::uint64_t>(current.bytes.size());
    }
    if (found.contents != nullptr) {
        found.contents->list.back().bytes.append(current.bytes);
    }
    return true;
}

void endSegment(FileData& /*file*/) {
}

void keepFault(FileData& file, int line, const char* text) {
    RecordSegments& found = segmentsOf(file);
    found.faultyLine = line;
    found.fault = text;
}

bool parse(QByteArrayView bytes, RecordSegments& found) {
    QByteArray text = QByteArray::fromRawData(bytes.data(), bytes.size());
    QBuffer buffer(&text);
    return buffer.open(QIODevice::ReadOnly) &&
           parseRecords(buffer, {&found, beginSegment, addData, endSegment, keepFault, [](FileData&) {}});
}

/// The offset of a line; lines are counted from 1.
qint64 lineOffset(QByteArrayView bytes, int line) {
    qsizetype at = 0;
    for (int i = 1; i < line; ++i) {
        const qsizetype end = bytes.indexOf('\n', at);
        if (end < 0) {
            break;
        }
        at = end + 1;
    }
    return at;
}

bool isRecordStart(QByteArrayView bytes, QByteArrayView start) {
    constexpr qsizetype shortest = 8;  // digits of the shortest S-Record; a HEX record has two more
    if (!bytes.startsWith(start) || bytes.size() < start.size() + shortest) {
        return false;
    }
    const QByteArrayView record = bytes.sliced(start.size(), shortest);
    return std::all_of(record.begin(), record.end(),
                       [](char digit) { return std::isxdigit(static_cast<unsigned char>(digit)) != 0; });
}

constexpr qsizetype identSize = 16;
constexpr qsizetype elfHeaderSize = 52;
constexpr qsizetype programHeaderSize = 32;
constexpr std::uint32_t loadType = 1;
constexpr qint64 mostShares = 16;

/// A run of bytes that a header of the file claims for a table or segment.
struct Claim {
    qint64 offset = 0;
    qint64 size = 0;
    Role role = Role::header;
    int part = 0;
};

// Converts claims to ranges. Where claims overlap, the one that starts first gets the bytes. Other bytes are unread.
void tile(std::vector<Claim> claims, qint64 size, Description& description) {
    std::stable_sort(claims.begin(), claims.end(), [](const Claim& a, const Claim& b) { return a.offset < b.offset; });
    for (const Claim& claim : claims) {
        description.addRange(claim.offset - description.rangesEnd(), Role::unread, Cover::none);
        description.addRange(claim.offset + claim.size - description.rangesEnd(), claim.role, Cover::none, claim.part);
    }
    description.addRange(size - description.rangesEnd(), Role::unread, Cover::none);
}

void readProgramHeaders(QByteArrayView bytes, const ElfNumbers& numbers, std::vector<Claim>& claims,
                        Description& description) {
    const qint64 table = numbers.word(28);
    const qint64 entrySize = numbers.half(42);
    const qint64 count = numbers.half(44);
    if (count > 0 && entrySize != programHeaderSize) {
        description.addFinding(
            FindingCode::wrongSize, 0, 42,
            {numberField("value", static_cast<std::uint64_t>(entrySize)), numberField("expected", programHeaderSize)});
        return;
    }
    const qint64 present = std::clamp<qint64>(bytes.size() - table, 0, count * entrySize);
    addCut(description.findings, count * entrySize, present, bytes.size());
    if (present > 0) {
        claims.push_back({table, present, Role::header, 0});
    }
    qint64 sum = 0;
    for (qint64 i = 0; i < (count > 0 ? present / entrySize : 0); ++i) {
        const qint64 at = table + i * entrySize;
        const qint64 size = numbers.word(at + 16);
        if (numbers.word(at) != loadType || size == 0) {
            continue;
        }
        // Segments may share bytes, such as those of a page. A file whose contents would fill the memory is refused.
        sum += std::min(size, bytes.size());
        if (sum > mostShares * bytes.size()) {
            description.addFinding(FindingCode::sharedBytes, 0, at, {numberField("limit", mostShares)});
            return;
        }
        Part part;
        part.name = "segment";
        part.index = static_cast<int>(description.parts.size()) + 1;
        part.hasAddress = true;
        part.offset = std::min<qint64>(numbers.word(at + 4), bytes.size());
        part.address = numbers.word(at + 12);
        part.payloadOffset = part.offset;
        part.payloadSize = std::min(size, bytes.size() - part.offset);
        part.size = part.payloadSize;
        part.memorySize = static_cast<std::uint64_t>(size);
        part.fields = {addressField("virtualAddress", numbers.word(at + 8))};
        part.fields.back().offset = at + 8;
        part.fields.back().size = 4;
        addCut(description.findings, size, part.payloadSize, bytes.size(), part.index);
        if (part.payloadSize > 0) {
            claims.push_back({part.offset, part.payloadSize, Role::payload, part.index});
        }
        description.parts.push_back(std::move(part));
    }
}

}  // namespace

void describeRawFirmware(const Source& source, Description& description) {
    Part part;
    part.name = "content";
    part.index = 1;
    part.payloadSize = source.bytes.size();
    part.size = part.payloadSize;
    description.addRange(part.size, Role::payload, Cover::none, part.index);
    description.parts.push_back(std::move(part));
}

Match matchHexFile(QByteArrayView bytes) {
    return isRecordStart(bytes, ":") ? Match::magic : Match::no;
}

Match matchSRecordFile(QByteArrayView bytes) {
    return isRecordStart(bytes, "S0") || isRecordStart(bytes, "S1") || isRecordStart(bytes, "S2") ||
                   isRecordStart(bytes, "S3")
               ? Match::magic
               : Match::no;
}

void describeRecords(const Source& source, Description& description) {
    RecordSegments found;
    found.description = &description;
    const bool isWhole = parse(source.bytes, found);
    const qint64 end = isWhole ? source.bytes.size() : lineOffset(source.bytes, found.faultyLine);
    if (found.isFull) {
        description.addFinding(FindingCode::tooManyParts, 0, end, {numberField("limit", segmentLimit)});
    } else if (!isWhole) {
        description.addFinding(FindingCode::badRecord, 0, end,
                               {numberField("line", static_cast<std::uint64_t>(std::max(found.faultyLine, 0))),
                                textField("text", found.fault)});
    } else if (description.parts.empty()) {
        description.addFinding(FindingCode::noContent, 0, -1);
    }
    findOverlaps(description);
    description.addRange(end, Role::payload, Cover::structure);
    description.addRange(source.bytes.size() - end, Role::unread, Cover::none);
}

void proveRecords(const Source& source, const Evidence& /*evidence*/, Description& description, Contents* contents) {
    description.addUnchecked(CheckCode::tag, Reason::noProtection);
    if (contents != nullptr) {
        RecordSegments found;
        found.contents = contents;
        static_cast<void>(parse(source.bytes, found));
    }
}

Match matchElfFile(QByteArrayView bytes) {
    return bytes.startsWith(
               "\x7F"
               "ELF")
               ? Match::magic
               : Match::no;
}

void describeElfFile(const Source& source, Description& description) {
    const QByteArrayView bytes = source.bytes;
    const ElfNumbers numbers(bytes);
    std::vector<Claim> claims;
    if (matchElfFile(bytes) == Match::no) {
        description.addFinding(FindingCode::badMagic, 0, 0, {textField("expected", "ELF")});
    }
    if (bytes.size() < elfHeaderSize) {
        addCut(description.findings, elfHeaderSize, bytes.size(), bytes.size());
    } else if (numbers.byteAt(4) != 1) {
        claims.push_back({0, identSize, Role::header, 0});
        description.addFinding(FindingCode::wideElf, 0, 4);
    } else {
        claims.push_back({0, elfHeaderSize, Role::header, 0});
        description.addNumber("machine", numbers.half(18), 18, 2);
        description.addNumber("entry", numbers.word(24), 24, 4);
        description.fields.back().kind = FieldKind::address;
        readProgramHeaders(bytes, numbers, claims, description);
        if (description.parts.empty()) {
            description.addFinding(FindingCode::noContent, 0, -1);
        }
        findOverlaps(description);
    }
    tile(std::move(claims), bytes.size(), description);
}

}  // namespace inspect
