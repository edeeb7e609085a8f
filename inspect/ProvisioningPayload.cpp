// Provisioning payload: `.pvs` with one encrypted blob.
//
//  0  8  "PVSPAYLD"            16 16  nonce, used as the IV
//  8  2  protocol version      32 32  binding to the OEM key or the root key table
// 10  2  header size           64 16  tag
// 12  4  size of the blob      80 16  zero

#include "files/ByteReader.h"
#include "files/isZero.h"
#include "inspect/PublicKey.h"
#include "inspect/sealedBlob.h"

#include <algorithm>

namespace inspect {

namespace {

constexpr char magic[] = "PVSPAYLD";
constexpr qsizetype headerSize = 96;

struct Header {
    std::uint16_t protocol = 0;
    std::uint16_t size = 0;
    std::uint32_t blobSize = 0;
    QByteArrayView nonce;
    QByteArrayView binding;
    QByteArrayView tag;
    QByteArrayView zero;
    bool isWhole = false;
};

Header readHeader(QByteArrayView bytes) {
    ByteReader reader(bytes);
    Header header;
    reader.skip(8);
    header.protocol = reader.u16();
    header.size = reader.u16();
    header.blobSize = reader.u32();
    header.nonce = reader.take(16);
    header.binding = reader.take(32);
    header.tag = reader.take(16);
    header.zero = reader.take(16);
    header.isWhole = reader.ok();
    return header;
}

void checkHeader(const Header& header, QByteArrayView bytes, Description& description) {
    if (!bytes.startsWith(magic)) {
        description.addFinding(FindingCode::badMagic, 0, 0, {textField("expected", magic)});
    }
    if (header.protocol != 1 && header.protocol != 2) {
        description.addFinding(FindingCode::unknownProtocol, 0, 8, {numberField("value", header.protocol)});
    }
    if (header.size != headerSize) {
        description.addFinding(FindingCode::wrongValue, 0, 10,
                               {textField("field", "header size"), numberField("value", header.size),
                                numberField("expected", headerSize)});
    }
    if (!isZero(header.zero)) {
        description.addFinding(FindingCode::notZero, 0, 80);
    }
}

// Version 1 is bound to a P-256 key, given as PEM; version 2 to a hash of 32 bytes, given as a file.
void proveBinding(const Header& header, const Evidence& evidence, Description& description) {
    if (evidence.publicKey.isEmpty()) {
        return;
    }
    const bool isTable = header.protocol == 2;
    const PublicKey key(isTable ? QByteArrayView() : QByteArrayView(evidence.publicKey));
    if (isTable ? evidence.publicKey.size() != header.binding.size() : key.kind() != PublicKey::Kind::p256) {
        description.addUnchecked(CheckCode::binding, unusableReason());
        return;
    }
    const QByteArray expected = isTable ? evidence.publicKey : sha256(key.der());
    description.addResult(CheckCode::binding, compareDigest(expected, header.binding));
}

}  // namespace

Match matchProvisioningPayload(QByteArrayView bytes) {
    if (!bytes.startsWith(magic)) {
        return Match::no;
    }
    const Header header = readHeader(bytes);
    return header.isWhole && bytes.size() - headerSize == header.blobSize ? Match::whole : Match::magic;
}

void describeProvisioningPayload(const Source& source, Description& description) {
    const Header header = readHeader(source.bytes);
    if (!header.isWhole) {
        addCutHeader(source.bytes.size(), headerSize, description);
        return;
    }
    description.addNumber("protocolVersion", header.protocol, 8, 2);
    description.addNumber("headerSize", header.size, 10, 2);
    description.addNumber("blobSize", header.blobSize, 12, 4);
    description.addBytes("nonce", header.nonce, 16);
    description.addBytes("binding", header.binding, 32);
    checkHeader(header, source.bytes, description);
    description.ivs.push_back({header.nonce.toByteArray(), header.tag.toByteArray(), 1});
    description.addRange(64, Role::header, Cover::tag);
    description.addRange(16, Role::tag, Cover::tag);
    description.addRange(16, Role::header, Cover::tag);
    Part part;
    part.name = "blob";
    addBlob(std::move(part), source.bytes.sliced(headerSize), header.blobSize, description);
}

void proveProvisioningPayload(const Source& source, const Evidence& evidence, Description& description,
                              Contents* contents) {
    const Header header = readHeader(source.bytes);
    if (!header.isWhole) {
        return;
    }
    if (evidence.hasNonce) {
        description.addCheck(CheckCode::nonce, sameBytes(evidence.nonce, header.nonce));
    }
    proveBinding(header, evidence, description);
    const SealedBlob blob = {header.nonce,
                             {source.bytes.first(64), header.zero},
                             source.bytes.sliced(headerSize),
                             header.blobSize,
                             header.tag,
                             ContentKind::blob};
    proveBlob(blob, evidence, description, contents);
}

}  // namespace inspect
