#include "fuzz/FuzzFile.h"
#include "obkey/Imgtool.h"

#include <cstdlib>

// An array must have at most one byte for every two characters of the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (obkey::imgtoolArrayBytes(text).size() > text.size() / 2 + 1) {
        std::abort();
    }
    return 0;
}
