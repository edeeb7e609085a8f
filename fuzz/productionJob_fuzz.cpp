#include "fuzz/FuzzFile.h"
#include "jobs/commandLine.h"
#include "produce/fillIn.h"
#include "produce/proof.h"
#include "produce/readProductionJob.h"

#include <cstdlib>

/// A job that was read can be filled in, and nothing that it writes leaves the device's folder.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile file(data, size, ".json");
    produce::ProductionJob job;
    QString fault;
    if (!produce::readProductionJob(file.path(), job, fault)) {
        if (fault.isEmpty() || !job.steps.isEmpty()) {
            std::abort();
        }
        return 0;
    }
    const produce::Device device{QStringLiteral("A-1"),
                                 QStringList(job.columns.size(), QStringLiteral("../v")),
                                 QStringLiteral("/nowhere/A-1"),
                                 QStringList(job.steps.size(), QStringLiteral("/nowhere/nonce")),
                                 {}};
    for (const produce::Step& step : job.steps) {
        produce::FilledStep filled;
        if (!produce::fillIn(job, step, device, filled, fault)) {
            continue;
        }
        for (const QString& output : produce::outputPaths(step, filled)) {
            if (!produce::isInFolder(device.outFolder, output)) {
                std::abort();
            }
        }
        static_cast<void>(jobs::argumentsOf(*step.row, filled.values));
        static_cast<void>(produce::proofArguments(step, filled));
        static_cast<void>(produce::inputPaths(step, filled));
    }
    return 0;
}
