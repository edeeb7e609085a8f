#pragma once

/// Prepares the process of a command-line program. Its main calls this first.
///
/// A write to a closed pipe, or past the limit for a file's size, fails and doesn't end the run. When a signal ends the
/// run, unfinished files are removed first. If memory runs out, the run removes unfinished files, prints one message
/// and ends with status 1. Release builds leave no core dump and don't let processes of the same user read their
/// memory, which may contain keys.
void guardProcess();
