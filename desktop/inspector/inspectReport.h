#pragma once

#include <QString>

struct InspectResult;

/// The output of the opener about a file and about a comparison: each command line with its output, as a terminal shows
/// them.
[[nodiscard]] QString inspectReport(const InspectResult& result);
