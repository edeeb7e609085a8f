#pragma once

#include "jobs/jobTable.h"

namespace jobs {

/// A job with its values, as a job file contains it. It has the paths of keys, but never their content.
struct Job {
    const JobRow* row = nullptr;
    JobValues values;
};

/// Reads the job file at `path`. Its paths are relative to its folder and become absolute. The result is false if the
/// file can't be read, isn't a job, has another version, or has a field that the job doesn't have. `fault` then has one
/// sentence, and `job` is unchanged.
[[nodiscard]] bool readJobFile(const QString& path, Job& job, QString& fault);

/// The place where the window shows a job: a page, and the file to open there. Both can be empty.
struct JobPlace {
    QString page;
    QString file;
};

/// The place where the window shows the job that was read from `path`.
[[nodiscard]] JobPlace placeOf(const Job& job, const QString& path);

/// Writes the job file at `path`, with paths relative to its folder. An older file stays until the new one is complete.
[[nodiscard]] bool writeJobFile(const QString& path, const Job& job, QString& fault);

/// Makes the command line that runs a saved job in any folder: the tool at `toolPath` with the job's arguments.
[[nodiscard]] bool commandLineOfJobFile(const QString& path, const QString& toolPath, QString& line, QString& fault);

}  // namespace jobs
