#pragma once

#include "desktop/look/Sign.h"

#include <QString>

namespace desktop {

struct InspectResult;

/// A verdict as text, with the reasons for it.
struct InspectVerdict {
    Sign sign = Sign::unknown;
    QString headline;
    QString detail;
    QString missingField;  ///< the form's field that an undecided verdict needs; empty if none
};

/// The verdict on the file alone.
[[nodiscard]] InspectVerdict fileVerdict(const InspectResult& result);
/// The verdict on a comparison.
[[nodiscard]] InspectVerdict comparisonVerdict(const InspectResult& result);

}  // namespace desktop
