#pragma once

#include "cli/CommandLineTool.h"
#include "formats/FileTBI.h"

/// Prints what an install image holds. `path` is the path to show.
void parseTbiDisplay(const FileTBI& image, const QString& path);

/// Opens the provisioning image at `path` and prints what it holds. `written` is the image that this run has just put
/// there, in case it was a pipe or device; null: none. Without one the size line and the format error still
/// name the tool's output path.
Flow parsePvsTbiDisplay(CommandLineTool& tool, const QString& path, const QByteArray* written = nullptr);
