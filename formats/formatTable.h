#pragma once

#include "files/FileLoadContext.h"

/// Every reader that openFile picks by the end of a path. Give it to a FileLoadContext once, at start.
[[nodiscard]] std::span<const FormatRow> formatTable();
