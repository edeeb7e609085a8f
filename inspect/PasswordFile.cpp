// Password file: the plain password of a debug authentication. It accompanies a provisioning file.

#include "files/ByteReader.h"
#include "files/isZero.h"
#include "inspect/formats.h"

namespace inspect {

namespace {

constexpr qsizetype headerSize = 8;
constexpr std::uint32_t marker = 0x80000000;
constexpr qsizetype longestLength = 255;  // the largest length that the length byte can hold

struct Header {
    std::uint32_t marker = 0;
    std::uint8_t length = 0;
    QByteArrayView zeros;
};

Header readHeader(QByteArrayView bytes) {
    ByteReader reader(bytes);
    Header header;
    header.marker = reader.u32();
    header.length = reader.u8();
    header.zeros = reader.take(3);
    return header;
}

}  // namespace

// A vector table may begin in the same way, so only a file that fits to its last byte matches.
Match matchPasswordFile(QByteArrayView bytes) {
    const Header header = readHeader(bytes);
    const qsizetype length = bytes.size() - headerSize;
    const bool isWhole = length >= 0 && length <= longestLength && header.marker == marker && header.length == length &&
                         isZero(header.zeros);
    return isWhole ? Match::whole : Match::no;
}

void describePasswordFile(const Source& source, Description& description) {
    const QByteArrayView bytes = source.bytes;
    if (bytes.size() < headerSize) {
        addCutHeader(bytes.size(), headerSize, description);
        return;
    }
    const Header header = readHeader(bytes);
    const qsizetype length = bytes.size() - headerSize;
    if (header.marker != marker) {
        description.addFinding(FindingCode::badMagic, 0, 0, {addressField("expected", marker)});
    }
    if (header.length != length) {
        description.addFinding(
            FindingCode::wrongSize, 1, 4,
            {numberField("value", static_cast<std::uint64_t>(length)), numberField("expected", header.length)});
    }
    if (!isZero(header.zeros)) {
        description.addFinding(FindingCode::notZero, 0, 5);
    }
    if (!bytes.sliced(headerSize).isValidUtf8()) {
        description.addFinding(FindingCode::notUtf8, 1, headerSize);
    }
    description.addRange(headerSize, Role::header, Cover::structure);
    description.addRange(length, Role::payload, Cover::none, 1);
    Part part;
    part.name = "password";
    part.index = 1;
    part.offset = headerSize;
    part.payloadOffset = headerSize;
    part.payloadSize = length;
    part.size = length;
    description.parts.push_back(std::move(part));
}

}  // namespace inspect
