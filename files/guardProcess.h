#pragma once

/// Prepares the process of a command-line program. Its main calls this first.
///
/// A write to a closed pipe, or past the limit for a file's size, fails without ending the run. A signal that ends the
/// run removes unfinished files first. If memory runs out, the run removes them, prints one message and ends with
/// status 1. Release builds leave no core dump and don't let processes of the same user read their memory, which may
/// contain keys.
void guardProcess();
