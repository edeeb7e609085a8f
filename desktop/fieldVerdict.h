#pragma once

#include "desktop/FormView.h"

/// What can be said of the values of any field of its kind: whether something is missing, whether its files and folders
/// are there and may be used. A relative path counts from `folder`, or from the program's own if that is empty.
[[nodiscard]] Verdict fieldVerdict(const FormField& field, const QStringList& values, const QString& folder);

/// What tells whether the files behind the values are still those that a verdict was made of.
[[nodiscard]] QStringList fileStamps(const FormField& field, const QStringList& values, const QString& folder);
