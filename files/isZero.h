#pragma once

#include <QByteArrayView>

#include <algorithm>

/// Whether every byte is 0. True for no bytes.
[[nodiscard]] inline bool isZero(QByteArrayView bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return byte == 0; });
}
