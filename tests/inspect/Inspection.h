#pragma once

#include "inspect/Report.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

/// What the opener makes of bytes under a name.
struct Inspection {
    inspect::Description description;
    inspect::Judgement judgement;

    /// The names of broken rules, bad checks and, behind "?", needed checks that weren't made.
    [[nodiscard]] std::string faults() const;
    [[nodiscard]] std::string text(const char* command) const;
    [[nodiscard]] QByteArray json(const char* command) const;
};

/// What is given to the opener.
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

/// Shows and proves, and asserts what holds for any bytes: the ranges tile them, both printers say the same twice and
/// print no control character and nothing of the key.
[[nodiscard]] Inspection inspectGiven(const Given& given);
/// The status of a comparison of two files with what is given for each.
[[nodiscard]] int compareGiven(const Given& a, const Given& b);
[[nodiscard]] Inspection inspectBytes(const QByteArray& bytes, const char* name, const QByteArray& key,
                                      const char* as = nullptr);
