#pragma once

#include "files/FileLoadContext.h"
#include "files/memoryFile.h"

#include <QString>

class PendingFile;

/// Reads the file at `path`; the file's name decides how.
///
/// `result` receives the new record, which the context owns; on failure it is untouched and the fault has been
/// reported. `fillByte` bridges gaps of up to 31 bytes between segments. `offset` and `size` (bytes, 0 for the whole
/// file) bound a binary read; give both or neither. With `allowPvs` a ".pvs" file is read as a provisioning image.
[[nodiscard]] bool openFile(FileLoadContext& context, const QString& path, FileData*& result,
                            std::uint8_t fillByte = 0xFF, qint64 offset = 0, std::uint32_t size = 0,
                            bool allowPvs = false);

/// The row of `formats` whose reader the end of `path` asks for; null for raw binary, as which all other names count.
[[nodiscard]] const FormatRow* formatOf(std::span<const FormatRow> formats, const QString& path, bool allowPvs = false);

/// Reads back an output of this run as openFile would: the file at `path` or, where that is a pipe or device, which
/// doesn't give back what was written to it, the `bytes` that were.
[[nodiscard]] bool openOutput(FileLoadContext& context, const QString& path, QByteArrayView bytes, FileData*& result,
                              bool allowPvs = false);

/// The same for an output that `path` names and that hasn't taken its place yet.
[[nodiscard]] bool openPendingOutput(FileLoadContext& context, const QString& path, const PendingFile& output,
                                     QByteArrayView bytes, FileData*& result);

/// Reads `device` as raw binary: one segment at address 0. The file has no format, so nothing but a short read fails.
[[nodiscard]] bool readBinaryImage(QFile& device, qint64 offset, std::uint32_t size, std::shared_ptr<FileData>& record);

/// Reads a provisioning data file; a FileReader.
[[nodiscard]] bool readObkFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Opens an input file for reading; a pipe or device is read to its end first. False, with a message, if it doesn't
/// exist, can't be opened or read, or is empty.
[[nodiscard]] bool openInputFile(NamedFile& device, QIODevice::OpenMode more = {});

/// The name of `device`'s file without its folder.
[[nodiscard]] QString bareFileName(const QFile& device);
