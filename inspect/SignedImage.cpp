// Signed image: any image, then an 80-byte footer. The image inside may have a format of its own.
//
//  0  4  "VXSG"                12  4  length of the signed part, from the start of the image
//  4  4  image version         16 32  signature, r
//  8  1  algorithm, 0          48 32  signature, s
//  9  3  zero

#include "files/ByteReader.h"
#include "files/isZero.h"
#include "inspect/PublicKey.h"
#include "inspect/formats.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace inspect {

namespace {

constexpr char magic[] = "VXSG";
constexpr qsizetype footerSize = 80;
constexpr qsizetype signedFooterSize = 16;

struct Footer {
    QByteArrayView magic;
    std::uint32_t version = 0;
    std::uint8_t algorithm = 0;
    QByteArrayView zero;
    std::uint32_t length = 0;
    QByteArrayView signature;
    QByteArrayView head;   ///< the bytes of the footer that are signed
    QByteArrayView image;  ///< all bytes before the footer
    bool isWhole = false;
};

Footer readFooter(QByteArrayView bytes) {
    Footer footer;
    if (bytes.size() < footerSize) {
        return footer;
    }
    const qsizetype start = bytes.size() - footerSize;
    ByteReader reader(bytes.sliced(start));
    footer.magic = reader.take(4);
    footer.version = reader.u32();
    footer.algorithm = reader.u8();
    footer.zero = reader.take(3);
    footer.length = reader.u32();
    footer.signature = reader.take(64);
    footer.head = bytes.sliced(start, signedFooterSize);
    footer.image = bytes.first(start);
    footer.isWhole = reader.ok();
    return footer;
}

bool keepsRules(const Footer& footer) {
    return footer.algorithm == 0 && isZero(footer.zero) && footer.length <= footer.image.size();
}

void checkFooter(const Footer& footer, Description& description) {
    const qint64 start = footer.image.size();
    if (footer.magic != magic) {
        description.addFinding(FindingCode::badMagic, 0, start, {textField("expected", magic)});
    }
    if (footer.algorithm != 0) {
        description.addFinding(FindingCode::unknownAlgorithm, 0, start + 8, {numberField("value", footer.algorithm)});
    }
    if (!isZero(footer.zero)) {
        description.addFinding(FindingCode::notZero, 0, start + 9);
    }
    if (footer.length == 0) {
        description.addFinding(FindingCode::empty, 0, start + 12);
    }
    if (footer.length > start) {
        description.addFinding(FindingCode::beyondEnd, 0, start + 12,
                               {textField("field", "signed length"), numberField("value", footer.length),
                                numberField("limit", static_cast<std::uint64_t>(start))});
    }
}

// If r or s isn't in the range from 1 to the order of P-256 minus 1, the signature is invalid under every key.
void checkNumber(const Footer& footer, const char* name, qsizetype at, Description& description) {
    constexpr qsizetype size = 32;
    constexpr std::array<std::uint8_t, size> order = {0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF,
                                                      0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xBC, 0xE6, 0xFA, 0xAD, 0xA7, 0x17,
                                                      0x9E, 0x84, 0xF3, 0xB9, 0xCA, 0xC2, 0xFC, 0x63, 0x25, 0x51};
    const QByteArrayView number = footer.signature.sliced(at, size);
    if (isZero(number) || std::memcmp(number.data(), order.data(), size) >= 0) {
        description.addFinding(FindingCode::outOfRange, 0, footer.image.size() + signedFooterSize + at,
                               {textField("field", name)});
    }
}

Source innerSource(const Source& source, const Footer& footer) {
    return {source.path, footer.image, {}, {}};
}

void describeInner(const Source& source, const Footer& footer, Description& description) {
    const Source image = innerSource(source, footer);
    Description inner;
    inner.file = source.path;
    inner.size = image.bytes.size();
    inner.format = findInnerFormat(image, inner);
    if (inner.format != nullptr && inner.format->describe != describeSignedImage) {
        inner.format->describe(image, inner);
        description.inner.push_back(std::move(inner));
    }
}

}  // namespace

Match matchSignedImage(QByteArrayView bytes) {
    const Footer footer = readFooter(bytes);
    if (!footer.isWhole || footer.magic != magic) {
        return Match::no;
    }
    return keepsRules(footer) ? Match::whole : Match::magic;
}

void describeSignedImage(const Source& source, Description& description) {
    const Footer footer = readFooter(source.bytes);
    if (!footer.isWhole) {
        addCutHeader(source.bytes.size(), footerSize, description);
        return;
    }
    const qint64 start = footer.image.size();
    const qint64 signedSize = std::min<qint64>(footer.length, start);
    description.addNumber("imageVersion", footer.version, start + 4, 4);
    description.addNumber("algorithm", footer.algorithm, start + 8, 1);
    if (footer.algorithm == 0) {
        description.fields.back().meaning = "ecdsaP256Sha256";
    }
    description.addNumber("signedSize", footer.length, start + 12, 4);
    checkFooter(footer, description);
    checkNumber(footer, "r", 0, description);
    checkNumber(footer, "s", 32, description);
    description.addRange(signedSize, Role::payload, Cover::signature);
    description.addRange(start - signedSize, Role::payload, Cover::none);
    description.addRange(signedFooterSize, Role::header, Cover::signature);
    description.addRange(footer.signature.size(), Role::tag, Cover::signature);
    describeInner(source, footer, description);
}

void proveSignedImage(const Source& source, const Evidence& evidence, Description& description, Contents* contents) {
    const Footer footer = readFooter(source.bytes);
    if (!footer.isWhole || footer.length > footer.image.size()) {
        return;
    }
    bool isProven = false;
    if (evidence.publicKey.isEmpty()) {
        description.addUnchecked(CheckCode::signature, Reason::noPublicKey);
    } else {
        const PublicKey key(evidence.publicKey);
        if (key.kind() != PublicKey::Kind::p256) {
            description.addUnchecked(CheckCode::signature, unusableReason());
        } else {
            const CheckResult result = key.verifyEcdsa({footer.image.first(footer.length), footer.head},
                                                       footer.signature.first(32), footer.signature.sliced(32));
            description.addResult(CheckCode::signature, result);
            isProven = result == CheckResult::good;
        }
    }
    if (description.inner.empty() && contents != nullptr) {
        Content image;
        image.name = "image";
        image.kind = ContentKind::firmware;
        image.bytes = footer.image.toByteArray();
        contents->list.push_back(std::move(image));
    }
    for (Description& inner : description.inner) {
        prove(innerSource(source, footer), evidence, inner, contents);
        // If the signature is good, a check of the inner file that lacks its key isn't needed.
        for (Check& check : inner.checks) {
            check.needed = check.needed && !(isProven && check.reason == Reason::noKey);
        }
    }
}

}  // namespace inspect
