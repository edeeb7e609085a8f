// Provisioning file: `.obk` with a header, `.bin` without one. No field shows whether the file contains a digest of its
// payload. It contains one if the bytes at the digest's place match.

#include "files/ByteReader.h"
#include "inspect/cipher.h"
#include "inspect/formats.h"

#include <QFileInfo>

#include <algorithm>

namespace inspect {

namespace {

constexpr qsizetype headerSize = 12;
constexpr qsizetype digestSize = 32;

// Detection doesn't hash a larger content.
constexpr qsizetype matchLimit = 1 << 20;

bool isHeaderRight(QByteArrayView bytes) {
    ByteReader reader(bytes);
    reader.skip(4);
    const std::uint32_t bodySize = reader.u32();
    return bytes.size() > headerSize && qint64{bodySize} == bytes.size() - headerSize;
}

bool hasDigestAt(QByteArrayView bytes, qsizetype at) {
    return bytes.size() - at > digestSize &&
           sameBytes(sha256(bytes.sliced(at + digestSize)), bytes.sliced(at, digestSize));
}

bool isDigestOffered() {
    return !sha256({}).isEmpty();
}

/// The offset of the body, and whether it starts with a digest.
struct Layout {
    qsizetype body = headerSize;
    bool hasDigest = false;
};

Layout layoutOf(const Source& source) {
    const QByteArrayView bytes = source.bytes;
    if (!isHeaderRight(bytes)) {
        const bool isBody =
            hasDigestAt(bytes, 0) || QFileInfo(source.path).suffix().compare(u"bin", Qt::CaseInsensitive) == 0;
        if (isBody) {
            return {0, hasDigestAt(bytes, 0)};
        }
    }
    return {headerSize, hasDigestAt(bytes, headerSize)};
}

// No check detects a change of the address or the encryption flag.
void describeHeader(QByteArrayView bytes, Part& part, Description& description) {
    ByteReader reader(bytes);
    part.hasAddress = true;
    part.address = reader.u32();
    const std::uint32_t bodySize = reader.u32();
    const std::uint32_t flag = reader.u32();
    description.addNumber("destinationAddress", part.address, 0, 4);
    description.fields.back().kind = FieldKind::address;
    description.addNumber("bodySize", bodySize, 4, 4);
    description.addNumber("encryptionFlag", flag, 8, 4);
    description.addRange(4, Role::header, Cover::none);
    description.addRange(4, Role::header, Cover::structure);
    description.addRange(4, Role::header, Cover::none);
    const qint64 present = bytes.size() - headerSize;
    addCut(description.findings, bodySize, present, bytes.size());
    if (present > bodySize) {
        description.addFinding(FindingCode::bytesBehindEnd, 0, headerSize + qint64{bodySize},
                               {numberField("size", static_cast<std::uint64_t>(present - bodySize))});
    }
    part.memorySize = bodySize;
}

}  // namespace

Match matchProvisioningFile(QByteArrayView bytes) {
    const bool isWhole = isHeaderRight(bytes) || (bytes.size() <= matchLimit && hasDigestAt(bytes, 0));
    return isWhole ? Match::whole : Match::no;
}

void describeProvisioningFile(const Source& source, Description& description) {
    const QByteArrayView bytes = source.bytes;
    const Layout layout = layoutOf(source);
    if (bytes.size() < layout.body) {
        addCutHeader(bytes.size(), layout.body, description);
        return;
    }
    Part part;
    part.name = "payload";
    part.index = 1;
    part.offset = layout.body;
    if (layout.body == headerSize) {
        describeHeader(bytes, part, description);
    }
    const Cover cover = layout.hasDigest ? Cover::digest : Cover::none;
    if (layout.hasDigest) {
        // The digest is secret because short payloads can be guessed from it.
        description.addBytes("payloadDigest", bytes.sliced(layout.body, digestSize), layout.body);
        description.fields.back().secret = true;
        description.addRange(digestSize, Role::tag, cover, part.index);
    } else {
        description.addFinding(FindingCode::noDigest, 0, -1);
    }
    part.payloadOffset = description.rangesEnd();
    part.payloadSize = bytes.size() - part.payloadOffset;
    part.size = bytes.size() - part.offset;
    description.addRange(part.payloadSize, Role::payload, cover, part.index);
    description.parts.push_back(std::move(part));
}

void proveProvisioningFile(const Source& source, const Evidence& evidence, Description& description,
                           Contents* contents) {
    // If no digest matches, the file contains no digest or a wrong one. The two cases can't be distinguished.
    if (layoutOf(source).hasDigest) {
        proveHashedProvisioningFile(source, evidence, description, contents);
    } else {
        description.addUnchecked(CheckCode::digest, isDigestOffered() ? Reason::noProtection : Reason::notOffered);
        keepPayloads(source, description, ContentKind::blob, contents);
    }
}

void proveHashedProvisioningFile(const Source& source, const Evidence& /*evidence*/, Description& description,
                                 Contents* contents) {
    description.addResult(CheckCode::digest, !isDigestOffered()           ? CheckResult::unchecked
                                             : layoutOf(source).hasDigest ? CheckResult::good
                                                                          : CheckResult::bad);
    keepPayloads(source, description, ContentKind::blob, contents);
}

}  // namespace inspect
