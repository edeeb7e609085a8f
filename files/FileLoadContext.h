#pragma once

#include "files/FileData.h"

#include <QFile>

#include <memory>
#include <span>
#include <vector>

struct FileLoadContext;

/// Reads one format. `device` is open for reading, at offset 0, and not empty; the caller closes it. On success the new
/// record is stored in `record` and the result is true; on failure the fault has been reported and `record` is
/// unchanged.
using FileReader = bool (*)(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// One row of the table from which openFile picks a reader. A path matches if it ends with `suffix`, in either case.
struct FormatRow {
    const char* suffix;
    FileReader read;
    bool onlyWithPvs = false;  ///< the row is used only if the caller allows provisioning images
};

/// Shared by all reads of a run: the byte that fills small gaps, the readers, and the records. The context owns the
/// records; all other code holds plain pointers to them.
struct FileLoadContext {
    std::uint8_t fillByte = 0xFF;
    std::span<const FormatRow> formats;  ///< the readers by suffix; if empty, every file is read as raw binary
    std::vector<std::shared_ptr<FileData>> records;
};
