#pragma once

#include "desktop/form/FormField.h"

namespace desktop {

/// The verdict that follows from the kind of a field: whether a value is missing, and whether its files and folders
/// exist and can be used. Relative paths start from `folder`; an empty `folder` means the current folder of the
/// process.
[[nodiscard]] jobs::Verdict fieldVerdict(const FormField& field, const QStringList& values, const QString& folder);

/// Turns a good verdict into a warning if every user of the computer can read a secret input file.
[[nodiscard]] jobs::Verdict withAccess(const jobs::Verdict& verdict, const FormField& field, const QStringList& values,
                                       const QString& folder);

/// The verdict on an empty value that is needed.
[[nodiscard]] jobs::Verdict missingVerdict(jobs::FieldKind kind);

/// Size, time and rights of a field's input files. While they stay equal, an earlier verdict on the files is valid.
/// Empty for fields of other kinds.
[[nodiscard]] QStringList fileStamps(const FormField& field, const QStringList& values, const QString& folder);

}  // namespace desktop
