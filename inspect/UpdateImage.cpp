// Update image: a header (`.tbuh`) and the encrypted segment in a file of its own (`.tbu`).
//
//  0  8  "TBUMAGIC"            16  4  address of the segment
//  8  2  protocol version      20 12  base IV
// 10  2  image version         32 16  tag
// 12  4  size of the segment   48 16  zero

#include "files/ByteReader.h"
#include "files/isZero.h"
#include "inspect/areaImage.h"
#include "inspect/sealedBlob.h"

namespace inspect {

namespace {

constexpr char magic[] = "TBUMAGIC";
constexpr qsizetype headerSize = 64;
constexpr std::uint32_t ivKind = 2;

struct Header {
    std::uint16_t protocol = 0;
    std::uint16_t version = 0;
    std::uint32_t size = 0;
    std::uint32_t address = 0;
    QByteArrayView baseIv;
    QByteArrayView tag;
    QByteArrayView zero;
    bool isWhole = false;
};

Header readHeader(QByteArrayView bytes) {
    ByteReader reader(bytes);
    Header header;
    reader.skip(8);
    header.protocol = reader.u16();
    header.version = reader.u16();
    header.size = reader.u32();
    header.address = reader.u32();
    header.baseIv = reader.take(12);
    header.tag = reader.take(16);
    header.zero = reader.take(16);
    header.isWhole = reader.ok();
    return header;
}

Description describeSecond(const Source& source, const Header& header) {
    Description second;
    second.file = source.secondPath;
    second.size = source.second.size();
    second.format = formatByName(QStringLiteral("updatePayload"));
    second.by = FoundBy::suffix;
    Part part;
    part.name = "segment";
    part.hasAddress = true;
    part.address = header.address;
    part.memorySize = header.size;
    addBlob(std::move(part), source.second, header.size, second);
    return second;
}

}  // namespace

Match matchUpdateImage(QByteArrayView bytes) {
    if (!bytes.startsWith(magic)) {
        return Match::no;
    }
    return bytes.size() == headerSize ? Match::whole : Match::magic;
}

void describeUpdateImage(const Source& source, Description& description) {
    const Header header = readHeader(source.bytes);
    if (!header.isWhole) {
        addCutHeader(source.bytes.size(), headerSize, description);
        return;
    }
    if (!source.bytes.startsWith(magic)) {
        description.addFinding(FindingCode::badMagic, 0, 0, {textField("expected", magic)});
    }
    if (header.protocol != 1) {
        description.addFinding(FindingCode::unknownProtocol, 0, 8, {numberField("value", header.protocol)});
    }
    if (!isZero(header.zero)) {
        description.addFinding(FindingCode::notZero, 0, 48);
    }
    if (header.size == 0) {
        description.addFinding(FindingCode::empty, 0, 12);
    }
    Part segment;
    segment.offset = 16;
    segment.address = header.address;
    segment.memorySize = header.size;
    findWrap(segment, description);
    description.addNumber("protocolVersion", header.protocol, 8, 2);
    description.addNumber("imageVersion", header.version, 10, 2);
    description.addNumber("segmentSize", header.size, 12, 4);
    Field address = addressField("address", header.address);
    address.offset = 16;
    address.size = 4;
    description.fields.push_back(address);
    description.addBytes("baseIv", header.baseIv, 20);
    description.addRange(32, Role::header, Cover::tag);
    description.addRange(16, Role::tag, Cover::tag);
    description.addRange(16, Role::header, Cover::tag);
    addBytesAfterEnd(source.bytes.size() - headerSize, description);
    description.ivs.push_back({areaIv(header.baseIv, ivKind, header.version, 0), header.tag.toByteArray(), 0});
    if (source.secondPath.isEmpty()) {
        description.addFinding(FindingCode::secondFileMissing, 0, -1);
    } else {
        description.inner.push_back(describeSecond(source, header));
    }
}

void proveUpdateImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents) {
    const Header header = readHeader(source.bytes);
    if (!header.isWhole) {
        return;
    }
    proveNonce(header.baseIv, evidence, description);
    if (source.secondPath.isEmpty()) {
        description.addUnchecked(CheckCode::tag, Reason::noSecondFile);
        return;
    }
    const QByteArray iv = areaIv(header.baseIv, ivKind, header.version, 0);
    const SealedBlob blob = {
        iv, {source.bytes.first(32), header.zero}, source.second, header.size, header.tag, ContentKind::firmware};
    proveBlob(blob, evidence, description.inner.front(), contents);
    proveRules(description.inner.front());
}

void describeUpdatePayload(const Source& source, Description& description) {
    Part part;
    part.name = "segment";
    part.index = 1;
    part.payloadSize = source.bytes.size();
    part.size = part.payloadSize;
    description.addRange(part.size, Role::payload, Cover::none, part.index);
    description.parts.push_back(std::move(part));
}

void proveUpdatePayload(const Source& /*source*/, const Evidence& /*evidence*/, Description& description,
                        Contents* /*contents*/) {
    description.addUnchecked(CheckCode::tag, Reason::noSecondFile);
}

}  // namespace inspect
