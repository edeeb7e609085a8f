#pragma once

/// Prints the help of the tool, one message per row.
void printUsage();
