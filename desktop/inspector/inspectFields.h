#pragma once

#include "desktop/form/FormView.h"

class QFileInfo;

/// What the opener takes besides files, as fields of a form. Their names are those of its options.
[[nodiscard]] QList<FormField> inspectFields();

/// Whether a file is more than any image can be, and more than a window should read.
[[nodiscard]] bool isTooLarge(const QFileInfo& file);

/// The arguments of the opener's `command` for these values, and for `files` behind them: the command itself first.
[[nodiscard]] QStringList inspectArguments(const QString& command, const QHash<QString, QStringList>& values,
                                           const QStringList& files);
