#pragma once

#include "jobs/FieldKind.h"
#include "jobs/PathRole.h"
#include "jobs/Verdict.h"

#include <QHash>
#include <QStringList>

#include <span>

/// The values of a form by the ids of its fields, as `FormView` has them: one text or none, and two a row, path and
/// text behind it, for `FieldKind::inFiles`.
using JobValues = QHash<QString, QStringList>;

struct FieldRow;

/// Appends what the tool is told of a field. It isn't asked for a field that is hidden.
using ArgumentMaker = void (*)(const FieldRow& row, const JobValues& values, QStringList& arguments);

struct ChoiceRow {
    const char* value;
    const char* label;
};

/// One field of a job. Form, checks, arguments, job file and tests are all fed by these rows. Texts for the user are
/// marked for translation in the context "jobs".
struct FieldRow {
    const char* id;     ///< stable: in saved jobs and tests
    const char* group;  ///< neighbouring rows of one group stand under its title
    const char* label;  ///< with its mnemonic
    FieldKind kind;
    const char* option = nullptr;       ///< the tool's word for it; null: its value is told with another row's
    ArgumentMaker arguments = nullptr;  ///< null: the option and its one value, or nothing for an empty one
    bool keepsOld = false;              ///< an older file at the path of an output is moved aside
    bool required = false;              ///< never left empty while it is shown
    const char* initial = "";           ///< for a choice its first if this is empty
    std::span<const ChoiceRow> choices{};
    PathRole role = PathRole::document;
    bool secret = false;           ///< only its owner should be able to read the file
    const char* filter = "";       ///< of the file dialog
    const char* placeholder = "";  ///< an example of a good value
    const char* besideLabel = "";  ///< of the text behind each path
    /// Judges a value that is there. Null: all are good.
    Verdict (*check)(const QStringList& own, const JobValues& all) = nullptr;
    bool checksEmpty = false;                         ///< it judges an empty one too
    bool (*shownIf)(const JobValues& all) = nullptr;  ///< null: always
    const char* tip = "";
};

/// The one text of a value, without outer blanks; empty if there is none.
[[nodiscard]] QString textOf(const JobValues& values, const char* id);
[[nodiscard]] QString textOf(const QStringList& value);

/// The one path of a value, as it is.
[[nodiscard]] QString pathOf(const QStringList& value);

[[nodiscard]] bool isShown(const FieldRow& row, const JobValues& values);
[[nodiscard]] bool isPath(const FieldRow& row);

/// Whether the tool takes the words of a value for what they are.
[[nodiscard]] Verdict judgeWords(const FieldRow& row, const QStringList& own);

/// What is to be said of a field's value: the general rules of the tool's command line, then the row's own check.
[[nodiscard]] Verdict judge(const FieldRow& row, const JobValues& values);
