#pragma once

#include "cli/CommandLineTool.h"
#include "formats/FileTBI.h"

/// Prints the contents of an install image. `path` is the path to print.
void parseTbiDisplay(const FileTBI& image, const QString& path);

/// Opens the provisioning image at `path` and prints its contents. `written` is the image that this run has just
/// written there, since a pipe or device can't be read back; null if the run wrote none. Without it, the size line
/// shows the file at the tool's output path. The format error always names the output path.
Flow parsePvsTbiDisplay(CommandLineTool& tool, const QString& path, const QByteArray* written = nullptr);
