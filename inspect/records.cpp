#include "inspect/records.h"

#include "files/ByteReader.h"

#include <algorithm>

namespace inspect {

namespace {

// No valid image has more records. A large file of zeros would otherwise need many times its size in memory.
constexpr std::size_t recordLimit = 65535;

void addPart(const Record& record, int index, Description& description) {
    Part part;
    part.name = "record";
    part.index = index;
    part.offset = record.offset;
    part.payloadOffset = record.offset + record.header.size();
    part.payloadSize = record.data.size();
    part.size = record.header.size() + record.data.size();
    description.parts.push_back(std::move(part));
    description.addRange(record.header.size(), Role::header, Cover::none, index);
    description.addRange(record.data.size(), Role::payload, Cover::none, index);
}

}  // namespace

std::vector<Record> readRecords(QByteArrayView bytes, qsizetype headerSize, Description& description) {
    std::vector<Record> records;
    ByteReader reader(bytes);
    while (reader.remaining() >= headerSize && records.size() < recordLimit) {
        Record record;
        record.offset = reader.position();
        record.header = reader.take(headerSize);
        ByteReader size(record.header.last(4));
        record.size = size.u32();
        record.data = reader.take(std::min<qsizetype>(record.size, reader.remaining()));
        records.push_back(record);
        const int index = static_cast<int>(records.size());
        addPart(record, index, description);
        addCut(description.findings, record.size, record.data.size(), bytes.size(), index);
    }
    if (reader.remaining() >= headerSize) {
        description.addFinding(FindingCode::tooManyParts, 0, reader.position(), {numberField("limit", recordLimit)});
    } else if (!reader.atEnd()) {
        addCut(description.findings, headerSize, reader.remaining(), bytes.size());
    }
    description.addRange(reader.remaining(), Role::unread, Cover::none);
    return records;
}

}  // namespace inspect
