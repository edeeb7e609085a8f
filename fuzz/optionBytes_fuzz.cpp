#include "devices/OptionBytes.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    OptionBytes table;
    TextFault fault;
    const bool done = readOptionBytes(text, table, fault);
    if (writeOptionBytes(table) != (done ? text : QByteArray())) {
        std::abort();
    }
    for (OptionByte& word : table.words) {
        word.value = ~word.read;
    }
    OptionBytes changed;
    if (done &&
        (!readOptionBytes(writeOptionBytes(table), changed, fault) || changed.words.size() != table.words.size() ||
         !std::equal(
             changed.words.begin(), changed.words.end(), table.words.begin(),
             [](const OptionByte& a, const OptionByte& b) { return a.read == b.value && a.label() == b.label(); }))) {
        std::abort();
    }
    return 0;
}
