#pragma once

#include <QString>

namespace obkey {

/// The folder of the template at `xmlPath`, without a slash at its end; "." if the path has no folder.
[[nodiscard]] QString templateFolder(const QString& xmlPath);

/// `xmlPath` with a single backslash instead of each double one.
[[nodiscard]] QString withSingleBackslashes(QString xmlPath);

/// Resolves the path of a file that an `Obdata` template in `folder` names. It is relative to `folder` unless it begins
/// with "/" or with a capital drive letter.
void resolveObkeyPath(QString& path, const QString& folder);

/// Resolves the path of a file that a `McubootFormat` template in `folder` names. It is relative to `folder` only if it
/// begins with "./" or "../". The "." and ".." segments of a long path are removed, because programs that receive it
/// may accept fewer than 260 characters.
void resolveMcubootPath(QString& path, const QString& folder);

/// `path` with slashes instead of backslashes, and without the "." and ".." segments that can be removed without
/// access to the file system.
[[nodiscard]] QString collapsePath(QString path);

}  // namespace obkey
