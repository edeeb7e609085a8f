#pragma once

#include "jobs/FieldKind.h"
#include "jobs/PathRole.h"
#include "jobs/Verdict.h"

#include <QHash>
#include <QStringList>

#include <span>

namespace jobs {

/// The values of a form by field id, as in `FormView`. A value is one text or none. A value of the kind
/// `FieldKind::inFiles` has two texts per row: the path and the text after it.
using JobValues = QHash<QString, QStringList>;

struct FieldRow;

/// Appends the tool's arguments for a field. It isn't called for a hidden field.
using ArgumentMaker = void (*)(const FieldRow& row, const JobValues& values, QStringList& arguments);

struct ChoiceRow {
    const char* value;
    const char* label;
};

/// One field of a job. The form, the checks, the arguments, the job file and the tests all use these rows. Texts for
/// the user are marked for translation in the context "jobs".
struct FieldRow {
    const char* id;     ///< stable: used in saved jobs and tests
    const char* group;  ///< neighbouring rows of one group are under one title
    const char* label;  ///< with its mnemonic
    FieldKind kind = FieldKind::text;
    const char* option = nullptr;       ///< the tool's option; null: none, or an argument of another row's option
    ArgumentMaker arguments = nullptr;  ///< null: the option and its one value, or nothing for an empty value
    bool keepsOld = false;              ///< an older file at the path of an output is moved aside
    bool required = false;              ///< must not be empty while it is shown
    const char* initial = "";           ///< if empty, a choice begins with its first value
    std::span<const ChoiceRow> choices{};
    PathRole role = PathRole::document;
    bool secret = false;                                       ///< only its owner should be able to read the file
    const char* filter = "";                                   ///< the name filter of the file dialog
    const char* placeholder = "";                              ///< an example of a good value
    const char* besideLabel = "";                              ///< the label of the text after each path
    Verdict (*check)(const QStringList& own) = nullptr;        ///< judges a value that isn't empty; null: all are good
    Verdict (*checkEmpty)(const JobValues& others) = nullptr;  ///< judges an empty value; null: it is good
    bool (*shownIf)(const JobValues& all) = nullptr;           ///< null: always
    const char* tip = "";
};

/// The single text of a value, without outer blanks; empty if there is none.
[[nodiscard]] QString textOf(const JobValues& values, const char* id);
[[nodiscard]] QString textOf(const QStringList& value);

/// The single path of a value, unchanged.
[[nodiscard]] QString pathOf(const QStringList& value);

[[nodiscard]] bool isShown(const FieldRow& row, const JobValues& values);
[[nodiscard]] bool isPath(const FieldRow& row);

/// Judges whether the tool reads the words of a value unchanged, and none of them as an option.
[[nodiscard]] Verdict judgeWords(const FieldRow& row, const QStringList& own);

/// The verdict on a field's value: first the general rules of the tool's command line, then the row's own check.
[[nodiscard]] Verdict judge(const FieldRow& row, const JobValues& values);

}  // namespace jobs
