#pragma once

#include <QByteArrayView>

#include <cstdint>
#include <functional>

/// The first fault of a line of words, at the character `offset`.
struct WordLineFault {
    enum Kind { noComma, labelOnly, noNumber } kind = noComma;
    qsizetype offset = 0;
};

/// Reads a line of a table of words: numbers between commas, at least two fields. With `pairs`, every first field of
/// two is a label, and a number is "0x" hexadecimal, a leading 0 octal, otherwise decimal. Otherwise every field is a
/// number, and hexadecimal. `take` receives each number with its text, a part of `line`, in order. False at the first
/// fault.
[[nodiscard]] bool readWordLine(QByteArrayView line, bool pairs,
                                const std::function<void(QByteArrayView, std::uint32_t)>& take, WordLineFault& fault);
