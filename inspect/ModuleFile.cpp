// Module file `.kmd`: magic, load address, code. The payload of a module's area in an install image is this whole file,
// header included. The file is neither signed nor encrypted.

#include "files/ByteReader.h"
#include "inspect/formats.h"

namespace inspect {

namespace {

constexpr QByteArrayView magic = "KMDMAGIC";
constexpr qsizetype headerSize = 12;

}  // namespace

Match matchModuleFile(QByteArrayView bytes) {
    if (!bytes.startsWith(magic)) {
        return Match::no;
    }
    return bytes.size() >= headerSize ? Match::whole : Match::magic;
}

void describeModuleFile(const Source& source, Description& description) {
    const QByteArrayView bytes = source.bytes;
    if (!bytes.startsWith(magic)) {
        description.addFinding(FindingCode::badMagic, 0, 0, {textField("expected", magic)});
    }
    if (bytes.size() < headerSize) {
        addCutHeader(bytes.size(), headerSize, description);
        return;
    }
    ByteReader reader(bytes);
    reader.skip(magic.size());
    Part part;
    part.name = "code";
    part.index = 1;
    part.offset = headerSize;
    part.payloadOffset = headerSize;
    part.payloadSize = bytes.size() - headerSize;
    part.size = part.payloadSize;
    const std::uint32_t address = reader.u32();
    part.hasAddress = address != 0;  // 0: it can be placed anywhere
    part.address = address;
    part.memorySize = part.hasAddress ? static_cast<std::uint64_t>(part.payloadSize) : 0;
    description.addNumber("loadAddress", address, magic.size(), 4);
    description.fields.back().kind = FieldKind::address;
    description.addRange(magic.size(), Role::header, Cover::structure);
    description.addRange(headerSize - magic.size(), Role::header, Cover::none);
    description.addRange(part.payloadSize, Role::payload, Cover::none, part.index);
    description.parts.push_back(std::move(part));
    findOverlaps(description);
}

}  // namespace inspect
