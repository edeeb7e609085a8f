#include "Preparation/src/TarnwaveQuill/publicKeyText.h"
#include "fuzz/FuzzFile.h"

#include <QBuffer>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile quiet(data, 0, ".txt");
    QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    QBuffer text(&bytes);
    static_cast<void>(text.open(QIODevice::ReadOnly));
    const PublicKeyText key = parsePublicKeyText(text);
    for (const std::int32_t byte : key.modulusBytes) {
        if (byte < 0 || byte > 255) {
            std::abort();
        }
    }
    QByteArray r2;
    static_cast<void>(computeR2(key.modulusHex, r2));
    text.seek(0);
    std::uint32_t exponent = 0;
    static_cast<void>(readExponent(text, exponent));
    return 0;
}
