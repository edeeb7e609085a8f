#pragma once

#include "tests/desktop/DesktopKit.h"

#include <QList>

/// The texts that a user types into the page of a job, for the files of examples/.
struct JobForm {
    const char* page;
    QList<std::pair<const char*, const char*>> fields;
    const char* made;           ///< the output files
    int status = 0;             ///< the expected status of the tool
    bool isRepeatable = false;  ///< a second run makes the same bytes
    const char* job = nullptr;  ///< the saved job that `fields` describes, for a page without a form of its own

    [[nodiscard]] QStringList outputs() const;
};

/// A form for each command of the manual; the first is the install image.
[[nodiscard]] const QList<JobForm>& jobForms();

void fillIn(DesktopKit& kit, const JobForm& form);

/// Copies the example files into `folder` and makes the keys that they need. False if that fails.
[[nodiscard]] bool copyExamples(const TempFolder& folder);
