#pragma once

#include "cli/CommandLineTool.h"
#include "formats/FileTBI.h"

namespace cli {

/// Prints the contents of an install image. `path` is the path to print.
void parseTbiDisplay(const FileTBI& image, const QString& path);

/// Opens the provisioning image at `path` and prints its contents. If this run has just written the image, `written`
/// contains it, because a pipe or device can't be read back; otherwise it is null. Without `written`, the size line
/// shows the size of the file at the tool's output path. The format error always names the output path.
Flow parsePvsTbiDisplay(CommandLineTool& tool, const QString& path, const QByteArray* written = nullptr);

}  // namespace cli
