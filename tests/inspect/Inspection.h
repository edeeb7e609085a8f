#pragma once

#include "inspect/Report.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

/// The opener's results for a file.
struct Inspection {
    inspect::Description description;
    inspect::Judgement judgement;

    /// The names of broken rules, bad checks and, after "?", needed checks that weren't made.
    [[nodiscard]] std::string faults() const;
    [[nodiscard]] std::string text(const char* command) const;
    [[nodiscard]] QByteArray json(const char* command) const;
};

/// The input of the opener.
struct Given {
    QByteArray bytes;
    const char* name = "a.bin";
    QByteArray key;
    const char* as = nullptr;
    QByteArray second;
    QByteArray publicKey;
    QByteArray privateKey;
    std::optional<inspect::MemoryUse> memory;
    std::optional<QByteArray> app;
    bool isPrinted = true;  ///< whether the printers run as well
};

/// Shows and proves a file, and asserts properties that hold for any bytes: the ranges tile the file, and neither
/// printer prints a control character or any part of the key.
[[nodiscard]] Inspection inspectGiven(const Given& given);
/// The status of a comparison of two files.
[[nodiscard]] int compareGiven(const Given& a, const Given& b);
[[nodiscard]] Inspection inspectBytes(const QByteArray& bytes, const char* name, const QByteArray& key,
                                      const char* as = nullptr);
