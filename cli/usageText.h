#pragma once

namespace cli {

/// Prints the help of the tool, one message per row.
void printUsage();

}  // namespace cli
