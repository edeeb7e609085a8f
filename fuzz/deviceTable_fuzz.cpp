#include "fuzz/FuzzFile.h"
#include "produce/DeviceTable.h"

#include <cstdlib>

/// Every row that is read has a valid serial number and a value for each column. The place of a value or a fault is
/// inside the table.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile file(data, size, ".table");
    const QStringList columns{QStringLiteral("a"), QStringLiteral("b")};
    const QByteArrayView bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const qint64 lines = bytes.count('\n') + 1;
    produce::DeviceTable table;
    produce::TableFault fault;
    if (!table.open(file.path(), columns, fault)) {
        return 0;
    }
    produce::SerialSet serials;
    produce::DeviceRow row;
    while (true) {
        const produce::DeviceTable::Next next = table.next(row, fault);
        if (next == produce::DeviceTable::Next::end) {
            return 0;
        }
        if (next != produce::DeviceTable::Next::row) {
            if (fault.text.isEmpty() || fault.line < 1 || fault.line > lines || fault.column < 0) {
                std::abort();
            }
            if (next == produce::DeviceTable::Next::fault) {
                return 0;
            }
            continue;
        }
        static_cast<void>(serials.add(row.serial, row.line));
        const produce::TableFault place = table.placeOf(1);
        if (row.values.size() != columns.size() || !produce::serialFault(row.serial).isEmpty() ||
            place.line < row.line || place.line > lines || place.column < 1) {
            std::abort();
        }
    }
}
