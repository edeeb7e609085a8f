#pragma once

#include "files/FileLoadContext.h"

// Each of these is a FileReader; the record it makes is named behind it.

[[nodiscard]] bool readTbiFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);   // FileTBI
[[nodiscard]] bool readXtbiFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);  // FileTBI
[[nodiscard]] bool readPvsTbiFile(FileLoadContext& context, QFile& device,
                                  std::shared_ptr<FileData>& record);                                        // FileTBI
[[nodiscard]] bool readKmdFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);  // FileData
[[nodiscard]] bool readKduFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);  // FileKDU
[[nodiscard]] bool readTsvFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);  // FileTSV
[[nodiscard]] bool readMcsvFile(FileLoadContext& context, QFile& device,
                                std::shared_ptr<FileData>& record);  // FileMCSV
[[nodiscard]] bool readEcsvFile(FileLoadContext& context, QFile& device,
                                std::shared_ptr<FileData>& record);  // FileECSV

/// Reads a table of 32-bit words. With `pairs` every second field of a line is a number, told by its form; without,
/// every field is one, in hexadecimal.
[[nodiscard]] bool readWordFile(QFile& device, bool pairs, std::shared_ptr<FileData>& record);
