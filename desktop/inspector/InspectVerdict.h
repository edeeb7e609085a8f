#pragma once

#include "desktop/look/Sign.h"

#include <QString>

struct InspectResult;

/// A verdict in words, with what it rests on.
struct InspectVerdict {
    Sign sign = Sign::unknown;
    QString headline;
    QString detail;
    QString missingField;  ///< the field of the form that would bring it further; empty if none would
};

/// Of the file alone.
[[nodiscard]] InspectVerdict fileVerdict(const InspectResult& result);
/// Of a comparison.
[[nodiscard]] InspectVerdict comparisonVerdict(const InspectResult& result);
