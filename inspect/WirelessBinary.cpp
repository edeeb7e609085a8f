// Signed binary of a wireless chip: the binary, which contains its own size, then an RSA signature.

#include "files/ByteReader.h"
#include "inspect/PublicKey.h"
#include "inspect/formats.h"

#include <algorithm>

namespace inspect {

namespace {

constexpr qsizetype sizeOffset = 24;
constexpr qsizetype sizeEnd = 28;
constexpr qsizetype signatureSize = 256;
constexpr int keyBits = 2048;

std::uint32_t sizeField(QByteArrayView bytes) {
    ByteReader reader(bytes);
    reader.seek(sizeOffset);
    return reader.u32();
}

}  // namespace

Match matchWirelessBinary(QByteArrayView bytes) {
    const qsizetype size = bytes.size() - signatureSize;
    return size >= sizeEnd && sizeField(bytes) == size ? Match::whole : Match::no;
}

void describeWirelessBinary(const Source& source, Description& description) {
    const QByteArrayView bytes = source.bytes;
    const qsizetype size = bytes.size() - signatureSize;
    if (size < 0) {
        addCutHeader(bytes.size(), signatureSize, description);
        return;
    }
    if (size >= sizeEnd) {
        const std::uint32_t claimed = sizeField(bytes);
        description.addNumber("signedSize", claimed, sizeOffset, sizeEnd - sizeOffset);
        if (claimed != size) {
            description.addFinding(
                FindingCode::wrongSize, 1, sizeOffset,
                {numberField("value", static_cast<std::uint64_t>(size)), numberField("expected", claimed)});
        }
    } else {
        description.addFinding(FindingCode::noRoomForSize, 1, -1);
    }
    Part part;
    part.name = "binary";
    part.index = 1;
    part.payloadSize = size;
    part.size = size;
    description.parts.push_back(part);
    description.addRange(std::min(size, sizeOffset), Role::payload, Cover::signature, 1);
    description.addRange(std::clamp<qsizetype>(size - sizeOffset, 0, sizeEnd - sizeOffset), Role::header,
                         Cover::signature, 1);
    description.addRange(std::max<qsizetype>(size - sizeEnd, 0), Role::payload, Cover::signature, 1);
    description.addRange(signatureSize, Role::tag, Cover::signature);
}

void proveWirelessBinary(const Source& source, const Evidence& evidence, Description& description, Contents* contents) {
    if (description.parts.empty()) {
        return;
    }
    keepPayloads(source, description, ContentKind::firmware, contents);
    if (contents != nullptr) {
        contents->list.back().ownOffset = sizeOffset;
        contents->list.back().ownSize = sizeEnd - sizeOffset;
    }
    if (evidence.publicKey.isEmpty()) {
        description.addUnchecked(CheckCode::signature, Reason::noPublicKey);
        return;
    }
    const PublicKey key(evidence.publicKey);
    if (key.kind() != PublicKey::Kind::rsa || key.bits() != keyBits) {
        description.addUnchecked(CheckCode::signature, unusableReason());
        return;
    }
    description.addResult(CheckCode::signature,
                          key.verifyRsa(PublicKey::Padding::pkcs1, {source.bytes.chopped(signatureSize)},
                                        source.bytes.last(signatureSize)));
}

}  // namespace inspect
