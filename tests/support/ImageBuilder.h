#pragma once

#include "files/byteWriter.h"

#include <QByteArray>

#include <vector>

/// An area of an image to build. Its size field is the payload's size.
struct ImageArea {
    char type = 'F';
    std::uint32_t address = 0;
    QByteArray payload;
};

enum class ImageKind { tbi, xtbi, pvsTbi };

/// Builds a well-formed image with image version 7, nonce "nnnn...", tags "tttt..." and second blocks "bbbb...". The
/// headers contain `promised` as the number of areas; a negative value means the real number.
inline QByteArray buildImage(ImageKind kind, std::uint16_t protocolVersion, const std::vector<ImageArea>& areas,
                             int promised = -1) {
    const auto count = static_cast<std::uint16_t>(promised < 0 ? static_cast<int>(areas.size()) : promised);
    QByteArray image = kind == ImageKind::pvsTbi ? "PVSMAGIC" : "TBIMAGIC";
    appendU16(image, protocolVersion);
    if (kind == ImageKind::xtbi) {
        appendU32(image, 7);
    }
    appendU16(image, count);
    image.append(16, 'n');
    if (kind == ImageKind::xtbi && protocolVersion == 65001) {
        image.append(96, 'x');
    }
    std::uint16_t index = 0;
    for (const ImageArea& area : areas) {
        image.append(area.type).append('\7');
        appendU16(image, ++index);
        appendU32(image, static_cast<std::uint32_t>(area.payload.size()));
        appendU32(image, area.address);
        appendU16(image, count);
        image.append(16, kind == ImageKind::xtbi ? 'b' : 't');
        if (kind != ImageKind::tbi || protocolVersion != 1) {
            image.append(16, kind == ImageKind::xtbi ? 't' : 'b');
        }
        image.append(area.payload);
    }
    return image;
}
