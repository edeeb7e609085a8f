#pragma once

#include "inspect/formats.h"

/// What the formats share that are a file header and areas one behind the other.
namespace inspect {

struct AreaLetter {
    char letter;
    const char* name;
    ContentKind kind = ContentKind::other;
    bool isInMemory = false;      ///< the destination address is where the payload lies
    bool isAtZero = false;        ///< the destination address is 0
    bool hasRegionKey = false;    ///< the second block describes a region, and the payload ends with its key
    bool isWords = false;         ///< the payload is 32-bit words
    std::uint32_t leastSize = 0;  ///< of the payload
    std::uint32_t exactSize = 0;  ///< of the payload; 0 if it may vary
};

enum class SecondBlock { byProtocol, always };

struct AreaLayout {
    const char* magic;
    std::span<const AreaLetter> letters;
    bool isPackaged;         ///< the header layout of packaged modules, which nobody but their maker can open
    SecondBlock second;      ///< of the others
    bool endsByOptionBytes;  ///< area `C` is the last
    std::uint32_t ivKind;
    std::uint16_t lastProtocol = 1;
};

struct Area {
    char letter = 0;
    std::uint8_t version = 0;
    std::uint16_t index = 0;
    std::uint32_t size = 0;
    std::uint32_t address = 0;
    std::uint16_t count = 0;
    qint64 offset = 0;
    QByteArrayView head;    ///< the 14 bytes in front of the blocks
    QByteArrayView tag;     ///< 16 bytes
    QByteArrayView second;  ///< 16 bytes or none
    qint64 payloadOffset = 0;
    QByteArrayView payload;  ///< as far as it is there
};

struct AreaImage {
    std::uint16_t protocol = 0;
    std::uint32_t version = 0;  ///< of a packaged module; else of the first area
    std::uint16_t count = 0;
    qint64 headerSize = 0;
    bool isHeaderWhole = false;
    QByteArrayView header;
    QByteArrayView nonce;  ///< 16 bytes: base IV and four zero bytes, where the layout is open
    std::vector<Area> areas;
    qint64 end = 0;  ///< behind the last byte that has a place
    qint64 cutWanted = 0;
    qint64 cutMissing = 0;  ///< not 0: the file ends inside a header or payload
    bool hasEndArea = false;
};

[[nodiscard]] AreaImage walkAreas(QByteArrayView bytes, const AreaLayout& layout);
[[nodiscard]] Match matchAreas(QByteArrayView bytes, const AreaLayout& layout);
[[nodiscard]] const AreaLetter* letterOf(const AreaLayout& layout, char letter);

/// Fields, parts, ranges, IVs and the findings about headers; the caller adds what areas have to do with each other.
void describeAreas(QByteArrayView bytes, const AreaImage& image, const AreaLayout& layout, Description& description);

/// The checks of tags and of what can be seen in the plain payloads.
void proveAreas(const AreaImage& image, const AreaLayout& layout, const Evidence& evidence, Description& description,
                Contents* contents);

/// The IV of an area: the base IV, its last four bytes exclusive-ored with kind, version and number, big-endian.
[[nodiscard]] QByteArray areaIv(QByteArrayView baseIv, std::uint32_t kind, std::uint32_t version, std::uint32_t number);

/// Checks the base IV against the nonce that was given, if one was.
void proveNonce(QByteArrayView baseIv, const Evidence& evidence, Description& description);

}  // namespace inspect
