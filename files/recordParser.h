#pragma once

#include "files/FileData.h"

#include <QByteArrayView>
#include <QIODevice>

/// The data of one record.
struct RecordBlock {
    std::uint32_t address = 0;
    QByteArrayView bytes;
};

/// The functions that receive the results of a parse. `context` is the file under construction.
struct RecordCallbacks {
    FileData* context = nullptr;
    /// A contiguous run starts.
    void (*beginSegment)(FileData& file, std::uint32_t address) = nullptr;
    /// The next bytes of the run. False, with the reason reported, ends the parse.
    bool (*addData)(FileData& file, const RecordBlock& current) = nullptr;
    /// The run ends.
    void (*endSegment)(FileData& file) = nullptr;
    /// The parse failed at this line, counted from 1.
    void (*reportError)(FileData& file, int lineNumber, const char* text) = nullptr;
    /// Called once at a successful end.
    void (*finish)(FileData& file) = nullptr;
};

/// Parses Intel HEX or Motorola S-Records from the device's position on. The first line that starts with ":" or "S"
/// decides the format; lines before it are comments. Reports a failure and returns false.
[[nodiscard]] bool parseRecords(QIODevice& device, const RecordCallbacks& callbacks);
