#pragma once

#include "tests/desktop/DesktopKit.h"

#include <QList>

/// What somebody types into the page of a job, on the files of examples/.
struct JobForm {
    const char* page;
    QList<std::pair<const char*, const char*>> fields;
    const char* made;           ///< the files that come of it
    int status = 0;             ///< of the tool
    bool isRepeatable = false;  ///< a second run makes the same bytes
    const char* job =
        nullptr;  ///< of a page that shows it without a form of its own: the fields are those of a saved job

    [[nodiscard]] QStringList outputs() const;
};

/// A form for each command of the README; the first is the install image.
[[nodiscard]] const QList<JobForm>& jobForms();

void fillIn(DesktopKit& kit, const JobForm& form);

/// Puts the example files into `folder`, with the keys that they are used with. False if something is missing.
[[nodiscard]] bool copyExamples(const TempFolder& folder);
