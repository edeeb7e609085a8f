#pragma once

#include "cli/CommandLineTool.h"
#include "formats/FileTBI.h"

/// Prints what an install image holds. `path` is the path to show.
void parseTbiDisplay(const FileTBI& image, const QString& path);

/// Opens the provisioning image at `path` and prints what it holds. The size line and the format error speak of
/// the tool's output path, which is the same file where an image has just been made.
Flow parsePvsTbiDisplay(CommandLineTool& tool, const QString& path);
