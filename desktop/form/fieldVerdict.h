#pragma once

#include "desktop/form/FormField.h"

/// The verdict that follows from the kind of a field: whether a value is missing, and whether its files and folders
/// exist and can be used. Relative paths are relative to `folder`, or to the current folder of the process if that is
/// empty.
[[nodiscard]] Verdict fieldVerdict(const FormField& field, const QStringList& values, const QString& folder);

/// Turns a good verdict on input files into a warning if every user can read one of them that is secret.
[[nodiscard]] Verdict withAccess(const Verdict& verdict, const FormField& field, const QStringList& values,
                                 const QString& folder);

/// The verdict on a needed value that is empty.
[[nodiscard]] Verdict missingVerdict(FieldKind kind);

/// Size, time and rights of a field's input files. If they are equal, an earlier verdict on the files still holds.
/// Empty for fields of other kinds.
[[nodiscard]] QStringList fileStamps(const FormField& field, const QStringList& values, const QString& folder);
