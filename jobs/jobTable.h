#pragma once

#include "jobs/FieldRow.h"

#include <QList>

/// One job: a command of the tool and the fields that its options become. Its texts are marked for translation in the
/// context "pageTable", as the page has them too.
struct JobRow {
    const char* id;          ///< stable: of the page, in saved jobs and tests
    const char* group = "";  ///< of the list of pages
    const char* title = "";
    const char* summary = "";
    const char* words;           ///< what the page is found by, the command's words among them
    const char* page = nullptr;  ///< that shows the job; null: one of its own, with the texts above
    const char* command;         ///< the tool's word for it; empty: the first row tells it
    std::span<const FieldRow> rows;
    /// What else than the files of its rows the command makes, after a good run. Null: nothing.
    QStringList (*moreOutputs)(const JobValues& values) = nullptr;
    /// What this machine lacks for the job, in words; empty if nothing. Null: it needs nothing.
    QString (*hint)(const JobValues& values) = nullptr;
};

/// All jobs, in the order of the list of pages.
[[nodiscard]] const QList<JobRow>& jobTable();

// Pages that show jobs besides what else they do.
inline constexpr const char* templatePage = "template";
inline constexpr const char* inspectPage = "inspect";

/// Null if there is none.
[[nodiscard]] const JobRow* findJob(const QString& id);

/// The rows of a job and those that all jobs have.
[[nodiscard]] QList<const FieldRow*> fieldsOf(const JobRow& job);

/// What is to be said of a value of the job: `judge`, and of an output that is another of the job's files too.
[[nodiscard]] Verdict judgeInJob(const JobRow& job, const FieldRow& row, const JobValues& values);

/// What a new form of the job holds.
[[nodiscard]] JobValues initialValues(const JobRow& job);

/// The files that the command makes.
[[nodiscard]] QStringList outputsOf(const JobRow& job, const JobValues& values);

// The rows of the jobs, one list a page.
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
