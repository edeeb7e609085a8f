#include "formats/signedImageLayout.h"

#include "files/byteWriter.h"

namespace signedFooter {

QByteArray head(std::uint32_t version, std::uint8_t algorithm, std::uint32_t signedSize) {
    QByteArray bytes = magic.toByteArray();
    appendU32(bytes, version);
    appendU32(bytes, algorithm);  // one byte and three zero bytes
    appendU32(bytes, signedSize);
    return bytes;
}

}  // namespace signedFooter
