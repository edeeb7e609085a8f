#include "inspect/areaImage.h"

#include "files/ByteReader.h"
#include "files/isZero.h"
#include "files/readExactly.h"
#include "inspect/cipher.h"

#include <algorithm>
#include <array>

namespace inspect {

namespace {

constexpr qsizetype magicSize = 8;
constexpr qsizetype headSize = 14;
constexpr qsizetype blockSize = 16;
constexpr qsizetype baseIvSize = 12;
constexpr std::uint16_t extendedProtocol = 65001;  // packaged modules with a longer header
constexpr qsizetype extendedSize = 96;

void walkHeader(ByteReader& reader, const AreaLayout& layout, AreaImage& image) {
    reader.skip(magicSize);
    image.protocol = reader.u16();
    image.headerSize = layout.isPackaged ? 32 : 28;
    if (layout.isPackaged) {
        image.version = reader.u32();
        image.headerSize += image.protocol == extendedProtocol ? extendedSize : 0;
    }
    image.count = reader.u16();
    image.nonce = reader.take(blockSize);
    if (layout.isPackaged && image.protocol == extendedProtocol) {
        reader.skip(extendedSize);
    }
    image.isHeaderWhole = reader.ok();
}

bool hasSecondBlock(const AreaImage& image, const AreaLayout& layout) {
    return layout.isPackaged || layout.second == SecondBlock::always || image.protocol != 1;
}

Area readAreaHeader(ByteReader& reader, const AreaLayout& layout, bool hasSecond) {
    Area area;
    area.offset = reader.position();
    area.head = reader.take(headSize);
    ByteReader head(area.head);
    area.letter = static_cast<char>(head.u8());
    area.version = head.u8();
    area.index = head.u16();
    area.size = head.u32();
    area.address = head.u32();
    area.count = head.u16();
    if (layout.isPackaged) {
        area.second = reader.take(blockSize);
        area.tag = reader.take(blockSize);
    } else {
        area.tag = reader.take(blockSize);
        area.second = hasSecond ? reader.take(blockSize) : QByteArrayView();
    }
    area.payloadOffset = reader.position();
    return area;
}

void describeHeader(QByteArrayView bytes, const AreaImage& image, const AreaLayout& layout, Description& description) {
    const Cover cover = layout.isPackaged || image.areas.empty() ? Cover::none : Cover::tag;
    if (!image.isHeaderWhole) {
        description.addRange(bytes.size(), Role::unread, Cover::none);
        return;
    }
    if (!bytes.startsWith(QByteArrayView(layout.magic))) {
        description.addFinding(FindingCode::badMagic, 0, 0, {textField("expected", layout.magic)});
    }
    description.addNumber("protocolVersion", image.protocol, magicSize, 2);
    if (layout.isPackaged) {
        description.addNumber("imageVersion", image.version, 10, 4);
        description.addNumber("areaCount", image.count, 14, 2);
        description.addBytes("nonce", image.nonce, 16);
    } else {
        if (!image.areas.empty()) {
            description.addNumber("imageVersion", image.version, image.areas.front().offset + 1, 1);
        }
        description.addNumber("areaCount", image.count, 10, 2);
        description.addBytes("baseIv", image.nonce.first(baseIvSize), 12);
        if (!isZero(image.nonce.sliced(baseIvSize))) {
            description.addFinding(FindingCode::notZero, 0, 24);
        }
        if (image.protocol < 1 || image.protocol > layout.lastProtocol) {
            description.addFinding(FindingCode::unknownProtocol, 0, magicSize, {numberField("value", image.protocol)});
        }
    }
    description.addRange(image.headerSize, Role::header, cover);
}

void addFields(const Area& area, const AreaImage& image, Part& part, Description& description) {
    if (area.second.size() != blockSize) {
        constexpr std::uint32_t regionProtocol = 2;
        description.addFinding(FindingCode::wrongValue, part.index, magicSize,
                               {textField("field", "protocol version"), numberField("value", image.protocol),
                                numberField("expected", regionProtocol)});
        return;
    }
    ByteReader reader(area.second);
    const std::uint32_t address = reader.u32();
    const std::uint32_t mode = reader.u32();
    const std::uint32_t number = reader.u32();
    const std::uint32_t keyAddress = reader.u32();
    const qint64 offset = area.offset + headSize + blockSize;
    part.fields = {numberField("regionMode", mode), numberField("regionNumber", number),
                   addressField("keyAddress", keyAddress)};
    for (std::size_t i = 0; i < part.fields.size(); ++i) {
        part.fields[i].offset = offset + 4 * static_cast<qint64>(i + 1);
        part.fields[i].size = 4;
    }
    const auto expect = [&](const char* name, Field value, bool holds, qint64 at) {
        if (!holds) {
            description.addFinding(FindingCode::wrongDescriptor, part.index, offset + at,
                                   {textField("field", name), std::move(value)});
        }
    };
    expect("address", addressField("value", address), address == area.address, 0);
    expect("mode", numberField("value", mode), mode <= 3, 4);
    expect("number", numberField("value", number), number <= 7, 8);
}

void compareHeader(const Area& area, int index, const AreaImage& image, const AreaLayout& layout,
                   Description& description) {
    const auto expect = [&](FindingCode code, std::uint64_t value, std::uint64_t expected, qint64 at) {
        if (value != expected) {
            description.addFinding(code, index, area.offset + at,
                                   {numberField("value", value), numberField("expected", expected)});
        }
    };
    if (!layout.isPackaged) {
        expect(FindingCode::wrongVersion, area.version, image.version, 1);
    }
    expect(FindingCode::wrongIndex, area.index, static_cast<std::uint64_t>(index), 2);
    expect(FindingCode::wrongCount, area.count, image.count, 12);
}

// Checks an area's header against the row of its letter.
void checkLetter(const Area& area, int index, const AreaLetter& letter, Description& description) {
    constexpr std::uint32_t wordSize = 4;
    const auto addSize = [&](FindingCode code, std::uint32_t expected) {
        description.addFinding(
            code, index, area.offset + 4,
            {textField("field", "size"), numberField("value", area.size), numberField("expected", expected)});
    };
    if (area.size < letter.leastSize) {
        addSize(letter.leastSize == 1 ? FindingCode::empty : FindingCode::tooSmall, letter.leastSize);
    } else if (letter.exactSize != 0 && area.size != letter.exactSize) {
        addSize(FindingCode::wrongSize, letter.exactSize);
    } else if (letter.isWords && area.size % wordSize != 0) {
        addSize(FindingCode::unaligned, wordSize);
    }
    if (letter.isAtZero && area.address != 0) {
        description.addFinding(FindingCode::wrongValue, index, area.offset + 8,
                               {textField("field", "destination address"), addressField("value", area.address),
                                addressField("expected", 0)});
    }
}

void describeArea(const Area& area, int index, const AreaImage& image, const AreaLayout& layout,
                  Description& description) {
    const AreaLetter* const letter = letterOf(layout, area.letter);
    const bool hasRegion = letter != nullptr && letter->hasRegionKey;
    Part part;
    part.index = index;
    part.letter = area.letter;
    part.hasAddress = true;
    part.address = area.address;
    part.offset = area.offset;
    part.payloadOffset = area.payloadOffset;
    part.payloadSize = area.payload.size();
    part.size = part.payloadOffset + part.payloadSize - part.offset;
    if (letter == nullptr) {
        description.addFinding(FindingCode::unknownLetter, index, area.offset,
                               {textField("value", QByteArrayView(&area.letter, 1))});
    } else {
        part.letterName = letter->name;
        if (letter->isInMemory) {
            const std::uint32_t keySize = hasRegion ? blockSize : 0;
            part.memorySize = area.size - std::min(area.size, keySize);
        }
    }
    compareHeader(area, index, image, layout, description);
    if (letter != nullptr) {
        checkLetter(area, index, *letter, description);
    }
    if (!layout.isPackaged && !hasRegion && !isZero(area.second)) {
        description.addFinding(FindingCode::notZero, index, area.offset + headSize + blockSize);
    }
    if (hasRegion) {
        addFields(area, image, part, description);
    }

    const Cover cover = layout.isPackaged ? Cover::none : Cover::tag;
    description.addRange(headSize, Role::header, cover, index);
    if (layout.isPackaged) {
        description.addRange(area.second.size(), Role::header, cover, index);
        description.addRange(blockSize, Role::tag, cover, index);
    } else {
        description.addRange(blockSize, Role::tag, cover, index);
        description.addRange(area.second.size(), Role::header, cover, index);
        description.ivs.push_back({areaIv(image.nonce.first(baseIvSize), layout.ivKind, area.version, area.index),
                                   area.tag.toByteArray(), index});
    }
    description.addRange(area.payload.size(), Role::payload, cover, index);
    description.parts.push_back(std::move(part));
}

/// The first and last bytes of a plain payload, which the checks need.
struct Glimpse {
    QByteArray head;
    QByteArray tail;

    ~Glimpse() {
        wipe(head);
        wipe(tail);
    }
    void add(QByteArrayView piece) {
        constexpr qsizetype headLimit = 32;
        head.reserve(headLimit);
        tail.reserve(2 * blockSize);
        head.append(piece.first(std::min(piece.size(), headLimit - head.size())));
        tail.append(piece.last(std::min(piece.size(), blockSize)));
        if (tail.size() > blockSize) {
            tail.remove(0, tail.size() - blockSize);
        }
    }
};

/// Checks the areas of an image, in order, with its key.
class Prover {
  public:
    Prover(const AreaImage& image, const AreaLayout& layout, const Evidence& evidence, Description& description,
           Contents* contents)
        : image_(image),
          layout_(layout),
          evidence_(evidence),
          description_(description),
          contents_(contents),
          opener_(evidence.key) {
        const bool hasHash =
            std::any_of(image.areas.begin(), image.areas.end(), [](const Area& area) { return area.letter == 'H'; });
        isDigesting_ = hasHash && layout.endsByOptionBytes;
    }

    void proveArea(const Area& area, int index);

  private:
    void provePlain(const Area& area, int index, const Glimpse& glimpse);
    void proveRecord(const Area& area, int index, const std::array<std::uint32_t, 3>& header);
    void proveDigest(int index, const Glimpse& glimpse);
    void proveRegionKey(const Area& area, int index, const Glimpse& glimpse);
    void keep(const Area& area, int index, Content content);

    const AreaImage& image_;
    const AreaLayout& layout_;
    const Evidence& evidence_;
    Description& description_;
    Contents* contents_;
    GcmOpener opener_;
    Sha256 digest_;
    bool isDigesting_ = false;
    bool isDigestSound_ = true;
    std::uint32_t partEnds_ = 0;
    std::uint32_t recordKind_ = 0;  // kind of the module record before this area; 0 if there is none
};

void Prover::proveArea(const Area& area, int index) {
    if (area.payload.size() != static_cast<qint64>(area.size)) {
        description_.addUnchecked(CheckCode::tag, Reason::cutOff, index);
        isDigestSound_ = false;
        return;
    }
    Content content;
    const WipeOnExit wiped(content.bytes);
    if (contents_ != nullptr) {
        if (!canAllocate(area.payload.size())) {
            description_.addUnchecked(CheckCode::tag, Reason::noMemory, index);
            isDigestSound_ = false;
            return;
        }
        content.bytes.reserve(area.payload.size());
    }
    Glimpse glimpse;
    const bool countsInDigest = isDigesting_ && area.letter != 'H';
    const CheckResult result =
        opener_.open(areaIv(image_.nonce.first(baseIvSize), layout_.ivKind, area.version, area.index),
                     {image_.header, area.head, area.second}, area.payload, area.tag, [&](QByteArrayView piece) {
                         glimpse.add(piece);
                         if (countsInDigest) {
                             digest_.add(piece);
                         }
                         if (contents_ != nullptr) {
                             content.bytes.append(piece);
                         }
                     });
    description_.addResult(CheckCode::tag, result, index);
    if (result != CheckResult::good) {
        isDigestSound_ = false;
        return;
    }
    provePlain(area, index, glimpse);
    if (contents_ != nullptr) {
        keep(area, index, std::move(content));
    }
}

void Prover::keep(const Area& area, int index, Content content) {
    const AreaLetter* const letter = letterOf(layout_, area.letter);
    Content kept = contentOf(description_.parts[static_cast<std::size_t>(index - 1)],
                             letter != nullptr ? letter->kind : ContentKind::other);
    kept.bytes = std::move(content.bytes);
    if (letter != nullptr && letter->hasRegionKey) {
        kept.bytes.chop(blockSize);
    }
    contents_->list.push_back(std::move(kept));
}

void Prover::provePlain(const Area& area, int index, const Glimpse& glimpse) {
    const AreaLetter* const letter = letterOf(layout_, area.letter);
    if (letter != nullptr && letter->hasRegionKey) {
        proveRegionKey(area, index, glimpse);
    }
    ByteReader head(glimpse.head);
    const std::uint32_t first = head.u32();
    const std::uint32_t second = head.u32();
    const std::uint32_t third = head.u32();
    if (!layout_.endsByOptionBytes) {
        if (area.letter == 'B') {
            proveRecord(area, index, {first, second, third});
        }
        return;
    }
    if (area.letter != 'm' && area.letter != 'P') {
        recordKind_ = 0;
    }
    switch (area.letter) {
        case 'H':
            proveDigest(index, glimpse);
            break;
        case 'P':
            ++partEnds_;
            description_.addCheck(
                CheckCode::continuation,
                area.size == 8 && first == partEnds_ && second == image_.count - static_cast<std::uint32_t>(index),
                index);
            break;
        case 'O': {  // its block contains the address and the size of the data after it
            constexpr std::uint32_t dataBlockSize = 12;
            description_.addCheck(
                CheckCode::payloadForm,
                area.size >= dataBlockSize && first == area.address && second == area.size - dataBlockSize, index);
            break;
        }
        case 'm': {  // a licence, an identity, or both in this order
            constexpr std::uint32_t identity = 2;
            constexpr std::uint32_t longestIdentity = 4 + 15;
            const bool hasSize = area.size > 4 && (first != identity || area.size <= longestIdentity);
            description_.addCheck(CheckCode::payloadForm, hasSize && first <= identity && first > recordKind_, index);
            recordKind_ = first;
            break;
        }
        default:
            break;
    }
}

// Checks a whole record of a backup image. Its header contains the size of the data, and whether the data start with a
// nonce.
void Prover::proveRecord(const Area& area, int index, const std::array<std::uint32_t, 3>& header) {
    constexpr std::uint32_t headerSize = 12;
    const auto [offset, protection, size] = header;
    const std::uint32_t algorithm = (protection >> 19) & 7;
    const std::uint32_t nonceSize = algorithm == 1 || algorithm == 2 ? blockSize : 0;
    const bool isWhole = area.size >= headerSize && size == area.size - headerSize && size >= nonceSize;
    const bool isPlaced = offset % 4 == 0 && offset <= area.address && (size - nonceSize) % 4 == 0;
    description_.addCheck(CheckCode::payloadForm, isWhole && isPlaced && algorithm <= 2, index);
    description_.parts[static_cast<std::size_t>(index - 1)].memorySize = isWhole ? size - nonceSize : 0;
}

void Prover::proveDigest(int index, const Glimpse& glimpse) {
    isDigesting_ = false;
    if (!isDigestSound_) {
        description_.addUnchecked(CheckCode::digest, Reason::notAuthentic, index);
        return;
    }
    description_.addResult(CheckCode::digest, compareDigest(digest_.finish(), glimpse.head), index);
}

// Checks the region key: the first 16 bytes of HMAC-SHA256(image key, "region" || region number || base IV).
void Prover::proveRegionKey(const Area& area, int index, const Glimpse& glimpse) {
    QByteArray message = QByteArrayLiteral("region");
    if (area.second.size() == blockSize) {
        message.append(area.second.at(8));
    }
    message.append(image_.nonce.first(baseIvSize));
    QByteArray expected = hmacSha256(evidence_.key, message);
    const WipeOnExit wiped(expected);
    const QByteArrayView key = expected.isEmpty() ? QByteArrayView() : QByteArrayView(expected).first(blockSize);
    description_.addResult(CheckCode::regionKey, compareDigest(key, glimpse.tail), index);
}

}  // namespace

const AreaLetter* letterOf(const AreaLayout& layout, char letter) {
    const auto row = std::find_if(layout.letters.begin(), layout.letters.end(),
                                  [letter](const AreaLetter& candidate) { return candidate.letter == letter; });
    return row == layout.letters.end() ? nullptr : &*row;
}

AreaImage walkAreas(QByteArrayView bytes, const AreaLayout& layout) {
    AreaImage image;
    ByteReader reader(bytes);
    walkHeader(reader, layout, image);
    if (!image.isHeaderWhole) {
        image.cutWanted = image.headerSize;
        image.cutMissing = image.headerSize - bytes.size();
        image.end = bytes.size();
        return image;
    }
    image.header = bytes.first(image.headerSize);
    image.end = image.headerSize;
    const bool hasSecond = hasSecondBlock(image, layout);
    const qint64 headerSize = headSize + blockSize * (hasSecond ? 2 : 1);
    while (image.areas.size() < image.count && !image.hasEndArea) {
        const qint64 present = reader.remaining();
        Area area = readAreaHeader(reader, layout, hasSecond);
        if (!reader.ok()) {
            image.cutWanted = headerSize;
            image.cutMissing = headerSize - present;
            return image;
        }
        const qint64 size = area.size;
        if (size > reader.remaining()) {
            image.cutWanted = size;
            image.cutMissing = size - reader.remaining();
        }
        area.payload = reader.take(std::min<qint64>(size, reader.remaining()));
        image.end = reader.position();
        if (image.areas.empty() && !layout.isPackaged) {
            image.version = area.version;
        }
        image.hasEndArea = layout.endsByOptionBytes && area.letter == 'C';
        image.areas.push_back(area);
        if (image.cutMissing > 0) {
            break;
        }
    }
    return image;
}

Match matchAreas(QByteArrayView bytes, const AreaLayout& layout) {
    if (!bytes.startsWith(QByteArrayView(layout.magic))) {
        return Match::no;
    }
    const AreaImage image = walkAreas(bytes, layout);
    const bool keepsRules = std::all_of(image.areas.begin(), image.areas.end(), [&](const Area& area) {
        return letterOf(layout, area.letter) != nullptr && area.count == image.count;
    });
    const bool isWhole = image.isHeaderWhole && image.cutMissing == 0 && image.end == bytes.size() &&
                         image.areas.size() == image.count && keepsRules &&
                         (image.hasEndArea || !layout.endsByOptionBytes);
    return isWhole ? Match::whole : Match::magic;
}

void describeAreas(QByteArrayView bytes, const AreaImage& image, const AreaLayout& layout, Description& description) {
    describeHeader(bytes, image, layout, description);
    int index = 0;
    description.parts.reserve(image.areas.size());
    for (const Area& area : image.areas) {
        describeArea(area, ++index, image, layout, description);
    }
    const bool isPayloadCut = image.end == bytes.size();
    if (image.cutMissing > 0) {
        addCut(description.findings, image.cutWanted, image.cutWanted - image.cutMissing, bytes.size(),
               isPayloadCut ? index : 0);
    } else if (layout.endsByOptionBytes && !image.hasEndArea) {
        description.addFinding(FindingCode::noEndArea, 0, image.end);
    } else if (image.areas.size() != image.count) {
        description.addFinding(FindingCode::wrongCount, 0, 10,
                               {numberField("value", image.count), numberField("expected", image.areas.size())});
    }
    const qint64 rest = bytes.size() - image.end;
    if (rest > 0 && image.isHeaderWhole) {
        description.addRange(rest, image.cutMissing > 0 ? Role::unread : Role::unused, Cover::none);
        if (image.cutMissing == 0) {
            description.addFinding(FindingCode::bytesBehindEnd, 0, image.end,
                                   {numberField("size", static_cast<std::uint64_t>(rest))});
        }
    }
}

void proveAreas(const AreaImage& image, const AreaLayout& layout, const Evidence& evidence, Description& description,
                Contents* contents) {
    if (!image.isHeaderWhole) {
        return;
    }
    proveNonce(image.nonce.first(baseIvSize), evidence, description);
    if (image.areas.empty()) {
        description.addUnchecked(CheckCode::tag, Reason::noProtection);
        return;
    }
    if (evidence.key.isEmpty()) {
        description.addUnchecked(CheckCode::tag, Reason::noKey);
        return;
    }
    Prover prover(image, layout, evidence, description, contents);
    if (evidence.isTrial) {
        const auto smallest =
            std::min_element(image.areas.begin(), image.areas.end(),
                             [](const Area& a, const Area& b) { return a.payload.size() < b.payload.size(); });
        prover.proveArea(*smallest, static_cast<int>(smallest - image.areas.begin()) + 1);
        return;
    }
    int index = 0;
    for (const Area& area : image.areas) {
        prover.proveArea(area, ++index);
    }
}

QByteArray areaIv(QByteArrayView baseIv, std::uint32_t kind, std::uint32_t version, std::uint32_t number) {
    const std::uint32_t mask = (kind << 24) | ((version & 0xFF) << 16) | (number & 0xFFFF);
    QByteArray iv = baseIv.toByteArray();
    char* const last = iv.data() + iv.size() - 4;
    for (int i = 0; i < 4; ++i) {
        last[i] = static_cast<char>(static_cast<std::uint8_t>(last[i]) ^ ((mask >> (24 - 8 * i)) & 0xFF));
    }
    return iv;
}

void proveNonce(QByteArrayView baseIv, const Evidence& evidence, Description& description) {
    if (evidence.hasNonce) {
        description.addResult(CheckCode::nonce, compareDigest(sha256(evidence.nonce).left(baseIv.size()), baseIv));
    }
}

}  // namespace inspect
