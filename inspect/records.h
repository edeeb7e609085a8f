#pragma once

#include "inspect/Description.h"

namespace inspect {

constexpr qsizetype backupHeaderSize = 12;  ///< of the records of a backup image

/// One of the consecutive records of a plain image: a header of fixed size, then the data. The last four bytes of the
/// header are the size of the data.
struct Record {
    qint64 offset = 0;
    QByteArrayView header;
    std::uint32_t size = 0;  ///< from the header
    QByteArrayView data;     ///< shorter than `size` if the file is cut off
};

/// Reads the records in `bytes`. Adds one part for each record, the ranges, and the findings about missing bytes to
/// `description`. The caller reads the fields of the headers.
[[nodiscard]] std::vector<Record> readRecords(QByteArrayView bytes, qsizetype headerSize, Description& description);

}  // namespace inspect
