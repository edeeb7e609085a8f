#pragma once

#include "produce/ProductionJob.h"

namespace produce {

/// Checks the values of all steps of a job that was read: every placeholder is permitted at its place and has a known
/// name, all outputs are in the device's folder and differ, and every key is used. Collects the job's columns, also
/// from the files that are expanded. `fault` begins with the job file and the member.
[[nodiscard]] bool checkSteps(ProductionJob& job, QString& fault);

}  // namespace produce
