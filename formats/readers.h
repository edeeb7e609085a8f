#pragma once

#include "files/FileLoadContext.h"

// Each of these functions is a FileReader. Its comment names the record that it makes; docs/formats.md describes the
// layouts. Only the first fault of a file is reported.

/// Reads a secure install image into a FileTBI. No tag is verified and nothing is decrypted: the areas are read up to
/// the option bytes area, and areas of the same kind of firmware must not overlap.
[[nodiscard]] bool readTbiFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Reads a packaged module (an image with the extended header) into a FileTBI, like readTbiFile.
[[nodiscard]] bool readXtbiFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Reads a provisioning image into a FileTBI. Reads as many areas as the header says, and doesn't check for overlaps.
[[nodiscard]] bool readPvsTbiFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Reads a prepared module into a FileData whose one segment, at address 0, holds the whole file.
[[nodiscard]] bool readKmdFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Reads a module update, an image of the MCUboot format, into a FileKDU whose one segment, at address 0, holds the
/// whole file. Any content is accepted: missing fields are 0, and incomplete entries are left out.
[[nodiscard]] bool readKduFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Reads a table of option bytes into a FileData whose one segment, at address 0, holds 32-bit little-endian words.
/// Every second field of a line is a number: hexadecimal after "0x", octal after a leading 0, otherwise decimal.
[[nodiscard]] bool readOptionBytesFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Reads a table of key area words, like readOptionBytesFile, but every field is a hexadecimal number.
[[nodiscard]] bool readKeyAreaFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Reads a partition table into a FileTSV.
[[nodiscard]] bool readTsvFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Reads a module list into a FileMCSV, with the content of every file that it names.
[[nodiscard]] bool readMcsvFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Reads a list of modules for external memory into a FileECSV, like readMcsvFile.
[[nodiscard]] bool readEcsvFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);
