#pragma once

#include "tests/desktop/DesktopKit.h"

/// Makes an install image from the examples with the tool: three firmware areas with gaps between them, a hash, option
/// bytes. Returns its path. The program ends if the tool fails.
QString makeInstallImage(const DesktopKit& kit, const char* name, int version = 1);

/// Copies the file `path`, replaces bytes from `offset` on, and returns the path of the copy.
QString changedCopy(const DesktopKit& kit, const QString& path, const char* name, qint64 offset,
                    const QByteArray& bytes);
