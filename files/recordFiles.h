#pragma once

#include "files/FileLoadContext.h"

#include <QString>

/// Reads an Intel HEX or Motorola S-Record file. The content decides the format. The name only decides the file type of
/// the record: HEX for ".hex", otherwise S-Record. The segments are sorted and joined. A FileReader.
[[nodiscard]] bool readRecordFile(FileLoadContext& context, QFile& device, std::shared_ptr<FileData>& record);

/// Writes the segments as Intel HEX records of up to 32 bytes. Line ends are single line feeds.
[[nodiscard]] bool writeHexFile(const FileLoadContext& context, const FileData& file, const QString& path);

/// Writes the segments as S-Records of up to 32 data bytes. The last address of the last segment decides between S1, S2
/// and S3.
[[nodiscard]] bool writeSrecFile(const FileLoadContext& context, const FileData& file, const QString& path);

/// Writes the segments as raw binary, with the first segment's address at offset 0 and gaps filled with the context's
/// fill byte. Returns the size of the written file, or -1.
[[nodiscard]] qint64 writeBinFile(const FileLoadContext& context, const FileData& file, const QString& path);
