#pragma once

#include "jobs/jobFile.h"

#include <QJsonObject>

namespace desktop {

/// A value of a step that the user may change.
struct DraftField {
    QString id;     ///< the id of the job's field; "proof.public" for the key of the proof
    QString label;  ///< without its mnemonic
    QString saved;  ///< the value of the saved job
    QString text;   ///< the value in the production job, with placeholders
};

/// A step of a production job that is being written: a saved job and the values that replace its own.
struct DraftStep {
    QString file;  ///< path of the saved job
    QString name;
    jobs::Job job;
    QList<DraftField> fields;
};

/// A production job that is being written from saved jobs.
struct JobDraft {
    QString product;
    QList<DraftStep> steps;
};

/// Makes a step of the saved job at `path`. The ledger supplies its nonce, its outputs are in the device's folder, and
/// its keys are keys of the production job. All other values are those of the saved job. False after a fault, with a
/// sentence in `fault`.
[[nodiscard]] bool makeDraftStep(const QString& path, DraftStep& step, QString& fault);

/// The name for a new step: `wanted`, with a number after it if another step already has this name.
[[nodiscard]] QString freeStepName(const JobDraft& draft, const QString& wanted);

/// The production job in JSON, with paths relative to `folder`.
[[nodiscard]] QJsonObject draftDocument(const JobDraft& draft, const QString& folder);

}  // namespace desktop
