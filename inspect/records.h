#pragma once

#include "inspect/Description.h"

namespace inspect {

/// One of the records that stand one behind the other in a plain image: a header of fixed size whose last four bytes
/// are the size of the data that follow it.
struct Record {
    qint64 offset = 0;
    QByteArrayView header;
    std::uint32_t size = 0;  ///< as its header says
    QByteArrayView data;     ///< as far as it is there
};

/// Walks `bytes` to their end. Parts, ranges and the findings about what is missing are added to `description`; what
/// a header means is the caller's: one part a record stands in `description.parts`.
[[nodiscard]] std::vector<Record> readRecords(QByteArrayView bytes, qsizetype headerSize, Description& description);

}  // namespace inspect
