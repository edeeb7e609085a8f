#pragma once

#include "produce/ProductionJob.h"

namespace produce {

/// Reads and checks the job file at `path`, and the saved jobs and expanded files that it names. The result is false if
/// one can't be read or breaks a rule of docs/produce.md. `fault` then begins with the file and the member, and `job`
/// is unchanged.
[[nodiscard]] bool readProductionJob(const QString& path, ProductionJob& job, QString& fault);

}  // namespace produce
