#include "devices/OptionBytes.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    devices::OptionBytes table;
    devices::TextFault fault;
    const bool done = devices::readOptionBytes(text, table, fault);
    if (devices::writeOptionBytes(table) != (done ? text : QByteArray())) {
        std::abort();
    }
    for (devices::OptionByte& word : table.words) {
        word.value = ~word.read;
    }
    devices::OptionBytes changed;
    if (done && (!devices::readOptionBytes(devices::writeOptionBytes(table), changed, fault) ||
                 changed.words.size() != table.words.size() ||
                 !std::equal(changed.words.begin(), changed.words.end(), table.words.begin(),
                             [](const devices::OptionByte& a, const devices::OptionByte& b) {
                                 return a.read == b.value && a.label() == b.label();
                             }))) {
        std::abort();
    }
    return 0;
}
