#pragma once

#include <QString>

namespace desktop {

struct InspectResult;

/// The opener's command lines for a file and for a comparison, each with its output after it, as in a terminal.
[[nodiscard]] QString inspectReport(const InspectResult& result);

}  // namespace desktop
