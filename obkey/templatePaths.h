#pragma once

#include <QString>

/// The folder of the template at `xmlPath`, without a slash at its end. A path without a folder lies in ".".
[[nodiscard]] QString templateFolder(const QString& xmlPath);

/// `xmlPath` with every doubled backslash made a single one.
[[nodiscard]] QString withSingleBackslashes(QString xmlPath);

/// The path of a file that an `Obdata` template in `folder` names: relative unless it begins with "/" or with a drive
/// letter in capitals.
void resolveObkeyPath(QString& path, const QString& folder);

/// The path of a file that a `McubootFormat` template in `folder` names: relative only if it begins with "./" or "../".
/// A long one loses its inner "." and ".." segments, as the programs that get it may take fewer than 260
/// characters.
void resolveMcubootPath(QString& path, const QString& folder);

/// `path` with slashes alone and without the "." and ".." segments that can be taken out by its text.
[[nodiscard]] QString collapsePath(QString path);
