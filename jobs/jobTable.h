#pragma once

#include "jobs/FieldRow.h"

#include <QList>

namespace jobs {

/// One job: a command of the tool, and the fields for its options. Its texts are marked for translation in the context
/// "pageTable", since the page uses them too.
struct JobRow {
    const char* id;          ///< stable: the page's id, used in saved jobs and tests
    const char* group = "";  ///< the title of its group in the list of pages
    const char* title = "";
    const char* summary = "";
    const char* words;           ///< words for the search of the page, including those of the command
    const char* page = nullptr;  ///< the page that shows the job; null: its own page, with the texts above
    const char* command;         ///< the tool's command word; empty: the first row makes it
    std::span<const FieldRow> rows;
    /// The files that a good run makes in addition to those of the rows. Null: none.
    QStringList (*moreOutputs)(const JobValues& values) = nullptr;
    /// A text about what the job needs from this machine; empty if there is nothing to say. Null: no such text.
    QString (*hint)(const JobValues& values) = nullptr;
};

/// All jobs, in the order of the list of pages.
[[nodiscard]] const QList<JobRow>& jobTable();

// Ids of pages that have another purpose and also show jobs.
inline constexpr const char* templatePage = "template";
inline constexpr const char* inspectPage = "inspect";

/// The job with this id; null if there is none.
[[nodiscard]] const JobRow* findJob(const QString& id);

/// The rows of the job, and the rows that all jobs have.
[[nodiscard]] QList<const FieldRow*> fieldsOf(const JobRow& job);

/// The verdict of `judge` on a value of the job. It also checks whether an output is another file of the job.
[[nodiscard]] Verdict judgeInJob(const JobRow& job, const FieldRow& row, const JobValues& values);

/// The values of a new form of the job.
[[nodiscard]] JobValues initialValues(const JobRow& job);

/// The files that the command makes.
[[nodiscard]] QStringList outputsOf(const JobRow& job, const JobValues& values);

// The rows of the jobs, one list per job.
[[nodiscard]] std::span<const FieldRow> installImageRows();
[[nodiscard]] std::span<const FieldRow> updateImageRows();
[[nodiscard]] std::span<const FieldRow> signRows();
[[nodiscard]] std::span<const FieldRow> imgtoolImageRows();
[[nodiscard]] std::span<const FieldRow> printImageRows();
[[nodiscard]] std::span<const FieldRow> payloadRows();
[[nodiscard]] std::span<const FieldRow> provisioningImageRows();
[[nodiscard]] std::span<const FieldRow> backupImageRows();
[[nodiscard]] std::span<const FieldRow> provisioningFileRows();
[[nodiscard]] std::span<const FieldRow> keyPairRows();
[[nodiscard]] std::span<const FieldRow> cardRows();
[[nodiscard]] std::span<const FieldRow> personalizationRows();
[[nodiscard]] std::span<const FieldRow> externalMemoryRows();
[[nodiscard]] std::span<const FieldRow> wirelessKeysRows();
[[nodiscard]] std::span<const FieldRow> wirelessSignRows();

}  // namespace jobs
