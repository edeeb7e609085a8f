#pragma once

#include <QByteArrayView>

#include <cstdint>

/// The layout of secure images, shared by their writers and readers.
///
/// An image is a file header and a chain of areas, each a plain header, a tag and an encrypted payload. The column
/// "offset" is for install and provisioning images, "XTBI" for packaged install images. All numbers are little-endian.
///
///     File header        size   offset   XTBI       Area header          size   offset   XTBI
///       magic               8        0      0         letter                1        0      0
///       protocol version    2        8      8         image version         1        1      1 (not read)
///       image version       4              10         area number, from 1   2        2      2
///       number of areas     2       10     14         size of the payload   4        4      4
///       nonce              16       12     16         destination address   4        8      8
///       rest               96              32 (*)     number of areas       2       12     12
///                                                     tag                  16       14     30
///     (*) only with protocol version 65001            second block         16       30     14
///
/// The area headers of an install image with protocol version 1 end with the tag. The nonce field holds the base IV and
/// four zero bytes.
namespace secureImage {

inline constexpr QByteArrayView installMagic = "TBIMAGIC";  ///< also the magic of packaged install images
inline constexpr QByteArrayView provisioningMagic = "PVSMAGIC";
inline constexpr qsizetype magicSize = 8;
inline constexpr qsizetype nonceSize = 16;
inline constexpr qsizetype baseIvSize = 12;
inline constexpr qsizetype tagSize = 16;
inline constexpr qsizetype secondBlockSize = 16;

inline constexpr qsizetype protocolVersionOffset = 8;
inline constexpr qsizetype areaCountOffset = 10;
inline constexpr qsizetype nonceOffset = 12;
inline constexpr qsizetype fileHeaderSize = 28;
inline constexpr qsizetype packagedFileHeaderSize = 32;
inline constexpr qsizetype packagedFileHeaderRest = 96;

inline constexpr qsizetype flashWordSize = 32;  ///< the unit in which Flash memory is written

inline constexpr std::uint16_t shortHeaderProtocol = 1;      ///< area headers without a second block; install images
inline constexpr std::uint16_t longHeaderProtocol = 2;       ///< area headers with a second block; install images
inline constexpr std::uint16_t laterLongHeaderProtocol = 3;  ///< read like version 2, never written
inline constexpr std::uint16_t provisioningProtocol = 1;
inline constexpr std::uint16_t longFileHeaderProtocol = 65001;  ///< packaged install images

}  // namespace secureImage

namespace areaHeader {

inline constexpr qsizetype letterOffset = 0;
inline constexpr qsizetype imageVersionOffset = 1;
inline constexpr qsizetype numberOffset = 2;
inline constexpr qsizetype payloadSizeOffset = 4;
inline constexpr qsizetype addressOffset = 8;
inline constexpr qsizetype areaCountOffset = 12;
inline constexpr qsizetype tagOffset = 14;
inline constexpr qsizetype packagedTagOffset = 30;
inline constexpr qsizetype secondBlockOffset = 30;
inline constexpr qsizetype shortHeaderSize = 30;
inline constexpr qsizetype longHeaderSize = 46;

}  // namespace areaHeader

/// The letters of areas, each with the content of the area.
namespace areaLetter {

inline constexpr char backup = 'B';            ///< a section for a backup memory
inline constexpr char optionBytes = 'C';       ///< the last area of an install image
inline constexpr char external = 'E';          ///< firmware in external memory, then the region key
inline constexpr char externalModule = 'e';    ///< a module in external memory, then the region key
inline constexpr char firmware = 'F';          ///< firmware in internal memory
inline constexpr char contentHash = 'H';       ///< SHA-256 over the payloads before it
inline constexpr char keyArea = 'K';           ///< a key area
inline constexpr char module = 'M';            ///< a module
inline constexpr char companion = 'm';         ///< the licence or the identity of the module that follows
inline constexpr char provisioningData = 'O';  ///< an OBK file
inline constexpr char continuation = 'P';      ///< the end of one part of the image
inline constexpr char diversification = 'R';   ///< diversification data
inline constexpr char secureModule = 'S';      ///< a packaged module, or the secrets of a provisioning image

}  // namespace areaLetter

/// The second block of an area in external memory; in all other areas it is zero.
namespace regionDescriptor {

inline constexpr qsizetype addressOffset = 0;
inline constexpr qsizetype modeOffset = 4;
inline constexpr qsizetype numberOffset = 8;
inline constexpr qsizetype keyAddressOffset = 12;
inline constexpr std::uint32_t maxMode = 3;
inline constexpr std::uint32_t maxNumber = 7;
inline constexpr qsizetype keySize = 16;  ///< at the end of the payload, not part of the area's address range

}  // namespace regionDescriptor
