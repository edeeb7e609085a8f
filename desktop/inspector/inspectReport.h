#pragma once

#include <QString>

struct InspectResult;

/// What the opener prints about a file, and about a comparison: each command line and its output, as a terminal would
/// show them.
[[nodiscard]] QString inspectReport(const InspectResult& result);
