#pragma once

#include "produce/ProductionJob.h"

namespace produce {

struct FilledStep;

/// How far `qvora-inspect verify` can prove the files of a job.
enum class ProofLimit {
    proven,     ///< with the options that are derived from the step's fields
    withMore,   ///< with options that the step's `proof` must give
    card,       ///< the runner reads the card
    rulesOnly,  ///< never "proven": nothing in the format protects its content; only the rules of the format are
                ///< checked
    never,      ///< the opener doesn't read these files, or the job makes none: it can't be a step
};

[[nodiscard]] ProofLimit proofLimit(const jobs::JobRow& row);

/// The options that the opener needs to prove the step's files, but that the step's `proof` doesn't give.
[[nodiscard]] QStringList missingProof(const Step& step);

/// The values that an option of `verify` accepts in a step's `proof`.
struct ProofOption {
    const char* name;
    bool isPath;      ///< relative paths start in the job's folder
    bool acceptsKey;  ///< {key:NAME} or {nonce} may be its value
    bool isRepeated;  ///< several values
    bool isSource;    ///< needs --against
};

/// Null if `verify` has no such option, or if the runner sets it.
[[nodiscard]] const ProofOption* findProofOption(const QString& name);

/// The arguments of `qvora-inspect` that prove the step's outputs: "verify", options, files.
[[nodiscard]] QStringList proofArguments(const Step& step, const FilledStep& filled);

}  // namespace produce
