#pragma once

#include "jobs/jobTable.h"

/// A job with its values, as a file holds it. The values name keys by their paths; what keys hold is never in it.
struct Job {
    const JobRow* row = nullptr;
    JobValues values;
};

/// Reads the job file at `path`. Its paths, which count from its folder, become absolute. False, with one sentence in
/// `fault` and `job` untouched, for a file that can't be read, is no job, is of a newer version, or has a field that
/// the job doesn't.
[[nodiscard]] bool readJobFile(const QString& path, Job& job, QString& fault);

/// Where the window shows a job: a page, and the file to open there; empty for none.
struct JobPlace {
    QString page;
    QString file;
};

/// Where the window shows the job that was read from `path`.
[[nodiscard]] JobPlace placeOf(const Job& job, const QString& path);

/// Writes the job file at `path`, with paths that count from its folder. What stood there stays until all is written.
[[nodiscard]] bool writeJobFile(const QString& path, const Job& job, QString& fault);

/// The line that runs a saved job from wherever it is pasted: the tool at `toolPath` with the job's arguments.
[[nodiscard]] bool commandLineOfJobFile(const QString& path, const QString& toolPath, QString& line, QString& fault);
