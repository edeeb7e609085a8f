#pragma once

#include "inspect/Report.h"

#include <algorithm>

/// The opener's results for an image.
struct OpenedImage {
    std::vector<inspect::Content> contents;  ///< of the parts whose tags are right
    bool isAuthentic = false;                ///< every check is good, except perhaps the check of the rules
    bool isProven = false;                   ///< every check is good
};

/// Opens an image as the format of that name. `second` is the second file of a pair.
inline OpenedImage openImage(const char* format, const QByteArray& image, const QByteArray& key,
                             const QByteArray& nonce, const QByteArray& second = {}) {
    const QString secondPath = second.isEmpty() ? QString() : QStringLiteral("second");
    const inspect::Source source{{}, image, secondPath, second};
    inspect::Evidence evidence;
    evidence.key = QByteArray(key.constData(), key.size());  // a deep copy, because `evidence` wipes it
    evidence.hasNonce = true;
    evidence.nonce = nonce;
    inspect::Contents contents;
    inspect::Description description = inspect::describe(source, inspect::formatByName(QLatin1String(format)));
    inspect::prove(source, evidence, description, &contents);
    std::vector<inspect::Check> checks = description.checks;
    for (const inspect::Description& inner : description.inner) {
        checks.insert(checks.end(), inner.checks.begin(), inner.checks.end());
    }
    const bool isAuthentic = std::all_of(checks.begin(), checks.end(), [](const inspect::Check& check) {
        return check.result == inspect::CheckResult::good || check.code == inspect::CheckCode::rules;
    });
    return {std::move(contents.list), isAuthentic, inspect::judge(description).verdict == inspect::Verdict::proven};
}
