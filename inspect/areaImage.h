#pragma once

#include "inspect/formats.h"

/// The common code of the formats that consist of a file header and a sequence of areas.
namespace inspect {

struct AreaLetter {
    char letter;
    const char* name;
    ContentKind kind = ContentKind::other;
    bool isInMemory = false;      ///< the destination address is the payload's address in memory
    bool isAtZero = false;        ///< the destination address is 0
    bool hasRegionKey = false;    ///< the second block describes a region, and the payload ends with its key
    bool isWords = false;         ///< the payload consists of 32-bit words
    std::uint32_t leastSize = 0;  ///< least size of the payload
    std::uint32_t exactSize = 0;  ///< exact size of the payload; 0 if it may vary
};

enum class SecondBlock { byProtocol, always };

struct AreaLayout {
    const char* magic;
    std::span<const AreaLetter> letters;
    bool isPackaged;         ///< the header layout of packaged modules, which only their maker can open
    SecondBlock second;      ///< for other layouts: whether areas have a second block
    bool endsByOptionBytes;  ///< area `C` is the last one
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
    QByteArrayView head;    ///< the 14 bytes before the blocks
    QByteArrayView tag;     ///< 16 bytes
    QByteArrayView second;  ///< 16 bytes or none
    qint64 payloadOffset = 0;
    QByteArrayView payload;  ///< shorter than `size` if the file is cut off
};

struct AreaImage {
    std::uint16_t protocol = 0;
    std::uint32_t version = 0;  ///< from the header of a packaged module, otherwise from the first area
    std::uint16_t count = 0;
    qint64 headerSize = 0;
    bool isHeaderWhole = false;
    QByteArrayView header;
    QByteArrayView nonce;  ///< 16 bytes; except in a packaged module, the base IV and four zero bytes
    std::vector<Area> areas;
    qint64 end = 0;  ///< offset after the last area
    qint64 cutWanted = 0;
    qint64 cutMissing = 0;  ///< not 0 if the file ends inside a header or payload
    bool hasEndArea = false;
};

[[nodiscard]] AreaImage walkAreas(QByteArrayView bytes, const AreaLayout& layout);
[[nodiscard]] Match matchAreas(QByteArrayView bytes, const AreaLayout& layout);
[[nodiscard]] const AreaLetter* letterOf(const AreaLayout& layout, char letter);

/// Adds fields, parts, ranges, IVs and the findings about headers. The caller adds the findings about areas that depend
/// on each other.
void describeAreas(QByteArrayView bytes, const AreaImage& image, const AreaLayout& layout, Description& description);

/// Adds the checks of the tags and of the plain payloads.
void proveAreas(const AreaImage& image, const AreaLayout& layout, const Evidence& evidence, Description& description,
                Contents* contents);

/// The IV of an area: the base IV, its last four bytes exclusive-ored with kind, version and number, big-endian.
[[nodiscard]] QByteArray areaIv(QByteArrayView baseIv, std::uint32_t kind, std::uint32_t version, std::uint32_t number);

/// Checks the base IV against the given nonce, if there is one.
void proveNonce(QByteArrayView baseIv, const Evidence& evidence, Description& description);

}  // namespace inspect
