#pragma once

/// Prepares the process of a command-line program; called first in its main.
///
/// A closed pipe and a file that may not grow are write errors, not the end of the run. The signals that end a run
/// remove unfinished files first, and so does a lack of memory, which ends it with one message and status 1. Release
/// builds leave no core dump and let no process of the same user read their memory, since that may hold keys.
void guardProcess();
