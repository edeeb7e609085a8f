#pragma once

#include <QByteArrayView>

#include <array>

/// A kind of image of the wireless chip, which its 4-byte mark shows. The position of the mark plus `lengthFromMark` is
/// the length of the part that is signed.
struct ImageMark {
    std::array<unsigned char, 4> bytes;
    const char* text;
    const char* note;  ///< a second line for the user, or null
    qsizetype lengthFromMark;
};

/// Finds the first mark in the image. `length` receives the number of bytes, from the first one, that are signed: 0 if
/// the mark leaves none. Null if the image has no mark.
[[nodiscard]] const ImageMark* findSignedPart(QByteArrayView image, qsizetype& length);
