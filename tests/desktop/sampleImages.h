#pragma once

#include "tests/desktop/DesktopKit.h"

/// An install image made by the tool from the examples: three firmware areas with gaps between them, a hash, option
/// bytes. The path; the program ends if the tool fails.
QString makeInstallImage(const DesktopKit& kit, const char* name, int version = 1);

/// A copy of `path` with other bytes from `offset` on.
QString changedCopy(const DesktopKit& kit, const QString& path, const char* name, qint64 offset,
                    const QByteArray& bytes);
