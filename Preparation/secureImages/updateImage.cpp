#include "Preparation/secureImages/imageCipher.h"
#include "Preparation/secureImages/segmentView.h"
#include "display/Display.h"
#include "files/largePages.h"
#include "files/readExactly.h"
#include "preparation-interface/Preparation.h"

#include <QtEndian>

#include <algorithm>

// An update image consists of a header of 64 bytes and one encrypted segment. All numbers are little-endian.
//
//    0  "TBUMAGIC"            8        20  base IV              12
//    8  protocol version, 1   2        32  tag                  16
//   10  image version         2        48  zero                 16
//   12  size of the segment   4
//   16  address               4        authenticated: the whole header except the tag

namespace {

constexpr char updateMagic[] = "TBUMAGIC";
constexpr std::uint16_t protocolVersion = 1;
constexpr qsizetype headerSize = 64;
constexpr qsizetype baseIvOffset = 20;
constexpr qsizetype tagOffset = 32;

}  // namespace

QByteArray Preparation::TBUPreparation(FileData* firmware, const QByteArray& key, const QByteArray& nonce,
                                       std::uint16_t imageVersion) {
    AesGcm cipher;
    ImageIv baseIv{};
    if (!takeImageKey(key, cipher) || !deriveBaseIv(nonce, baseIv)) {
        return {};
    }
    if (firmware == nullptr || firmware->segments.size() != 1) {
        reportError("An update image needs a firmware of one segment");
        return {};
    }
    const FileSegment& segment = firmware->segments.front();
    const QByteArrayView plain = segmentBytes(segment);
    if (!fitsAddressSpace(segment.address, plain.size())) {
        return {};
    }
    if (!canAllocate(headerSize + plain.size())) {
        reportError("Unable to allocate memory");
        return {};
    }
    QByteArray image(headerSize + plain.size(), Qt::Uninitialized);
    preferLargePages(image);
    char* const header = image.data();
    std::fill_n(header, headerSize, '\0');
    std::copy_n(updateMagic, sizeof(updateMagic) - 1, header);
    qToLittleEndian(protocolVersion, header + 8);
    qToLittleEndian(imageVersion, header + 10);
    qToLittleEndian(static_cast<std::uint32_t>(plain.size()), header + 12);
    qToLittleEndian(segment.address, header + 16);
    std::copy(baseIv.begin(), baseIv.end(), header + baseIvOffset);

    const ImageIv iv = areaIv(baseIv, ImageKind::update, static_cast<std::uint8_t>(imageVersion & 0xFF), 0);
    const QByteArrayView headerBytes(header, headerSize);
    if (!cipher.start(QByteArrayView(iv),
                      {headerBytes.first(tagOffset), headerBytes.sliced(tagOffset + AesGcm::tagSize)}) ||
        !cipher.encrypt(plain, header + headerSize) || !cipher.finish(header + tagOffset)) {
        reportError("Error while encrypting the update image");
        return {};
    }
    return image;
}
