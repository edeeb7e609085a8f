#pragma once

#include <QByteArrayView>

#include <cstdint>
#include <functional>

/// The first fault of a line of words, at the character `offset`.
struct WordLineFault {
    enum Kind { noComma, labelOnly, noNumber } kind = noComma;
    qsizetype offset = 0;
};

/// Reads a line of a table of words: numbers between commas, at least two fields. With `pairs`, labels and numbers
/// alternate, a label first; a number is hexadecimal after "0x", octal after a leading 0, otherwise decimal. Without
/// `pairs`, every field is a hexadecimal number. `take` receives each number with its text, a part of `line`, in order.
/// False at the first fault.
[[nodiscard]] bool readWordLine(QByteArrayView line, bool pairs,
                                const std::function<void(QByteArrayView, std::uint32_t)>& take, WordLineFault& fault);
