#pragma once

#include "files/FileData.h"

#include <QFile>

#include <memory>
#include <span>
#include <vector>

struct FileLoadContext;

/// Reads one format. `device` is open for reading, at offset 0, and not empty; the caller closes it. On success the
/// new record is stored in `record` and the result is true; on failure the fault has been reported and `record` is
/// untouched.
using FileReader = bool (*)(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// One row of the table by which openFile picks a reader: the end of a path, compared without regard to case.
struct FormatRow {
    const char* suffix;
    FileReader read;
    bool onlyWithPvs = false;  ///< counts only where the caller allows provisioning images
};

/// What every read shares: the byte that bridges small gaps, the readers, and the ownership of what was read.
/// Records stay allocated as long as the context; everybody else holds plain pointers to look at.
struct FileLoadContext {
    std::uint8_t fillByte = 0xFF;
    std::span<const FormatRow> formats;  ///< the readers by suffix; without it every file is read as binary
    std::vector<std::shared_ptr<FileData>> records;
};
