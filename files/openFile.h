#pragma once

#include "files/FileLoadContext.h"
#include "files/memoryFile.h"

#include <QString>

class PendingFile;

/// Reads the file at `path` in the format that its name asks for.
///
/// `result` receives the new record, which the context owns; on failure it is unchanged and the fault has been
/// reported. `fillByte` fills gaps of up to 31 bytes between segments. `offset` and `size` (in bytes) select the part
/// of a raw binary that is read. A `size` of 0 means the size of the file, which is too much after an `offset`: the
/// read then fails. With `allowPvs` a ".pvs" file is read as a provisioning image.
[[nodiscard]] bool openFile(FileLoadContext& context, const QString& path, FileData*& result,
                            std::uint8_t fillByte = 0xFF, qint64 offset = 0, std::uint32_t size = 0,
                            bool allowPvs = false);

/// The row of `formats` whose reader handles the file at `path`; null if the file is read as raw binary.
[[nodiscard]] const FormatRow* formatOf(std::span<const FormatRow> formats, const QString& path, bool allowPvs = false);

/// Reads back an output of this run in the same way as openFile. A pipe or device can't be read back; its record is
/// made from `bytes`, the written content.
[[nodiscard]] bool openOutput(FileLoadContext& context, const QString& path, QByteArrayView bytes, FileData*& result,
                              bool allowPvs = false);

/// The same for an output that isn't at its `path` yet.
[[nodiscard]] bool openPendingOutput(FileLoadContext& context, const QString& path, const PendingFile& output,
                                     QByteArrayView bytes, FileData*& result);

/// Reads `device` as raw binary: one segment at address 0. There is no format to check, so only the read itself can
/// fail.
[[nodiscard]] bool readBinaryImage(QFile& device, qint64 offset, std::uint32_t size, std::shared_ptr<FileData>& record);

/// Reads a provisioning data file; a FileReader.
[[nodiscard]] bool readObkFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Opens an input file for reading; a pipe or device is read to its end first. False, with a message, if the file
/// doesn't exist, can't be opened or read, or is empty.
[[nodiscard]] bool openInputFile(NamedFile& device, QIODevice::OpenMode more = {});

/// The name of `device`'s file without its folder.
[[nodiscard]] QString bareFileName(const QFile& device);
