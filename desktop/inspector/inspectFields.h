#pragma once

#include "desktop/form/FormView.h"

class QFileInfo;

namespace desktop {

/// The options of the opener as fields of a form. Each field has the name of its option.
[[nodiscard]] QList<FormField> inspectFields();

/// Whether a file is larger than 4 GiB. No image is that large, and the window doesn't read such a file.
[[nodiscard]] bool isTooLarge(const QFileInfo& file);

/// The arguments of the opener: `command`, the options for `values`, and then `files`.
[[nodiscard]] QStringList inspectArguments(const QString& command, const QHash<QString, QStringList>& values,
                                           const QStringList& files);

}  // namespace desktop
