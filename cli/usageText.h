#pragma once

/// Prints the help of the tool, one message a row.
void printUsage();
