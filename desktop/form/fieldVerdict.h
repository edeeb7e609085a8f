#pragma once

#include "desktop/form/FormField.h"

/// What can be said of the values of any field of its kind: whether something is missing, whether its files and folders
/// are there and may be used. A relative path counts from `folder`, or from the program's own if that is empty.
[[nodiscard]] Verdict fieldVerdict(const FormField& field, const QStringList& values, const QString& folder);

/// Says more of a good value of files: a warning if every user can read one that is secret.
[[nodiscard]] Verdict withAccess(const Verdict& verdict, const FormField& field, const QStringList& values,
                                 const QString& folder);

/// What is needed where there is nothing.
[[nodiscard]] Verdict missingVerdict(FieldKind kind);

/// What tells whether the files behind the values are still those that a verdict was made of.
[[nodiscard]] QStringList fileStamps(const FormField& field, const QStringList& values, const QString& folder);
