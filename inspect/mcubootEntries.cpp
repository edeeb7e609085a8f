#include "inspect/mcubootEntries.h"

#include "inspect/McubootNumbers.h"

#include <algorithm>
#include <array>
#include <optional>

namespace inspect {

namespace {

constexpr std::uint16_t dependencyType = 0x40;
constexpr std::uint16_t counterType = 0x50;
constexpr std::uint16_t bootRecordType = 0x60;
constexpr std::uint16_t sizeType = 0x70;
constexpr std::uint16_t compressedSizeType = 0x73;
constexpr std::uint16_t vendorType = 0x74;
constexpr std::uint16_t classType = 0x75;
constexpr std::uint16_t firstOwnType = 0xA0;  // the maker of the firmware gives these and higher types
constexpr qsizetype shownSize = 64;

/// Reads the items of a boot record: CBOR (RFC 8949) with definite lengths.
class CborReader {
  public:
    enum class Major : std::uint8_t { number = 0, bytes = 2, text = 3, map = 5 };

    explicit CborReader(QByteArrayView bytes) : reader_(bytes) {}

    /// Reads the head of an item: its major type, and its number or length.
    std::optional<std::uint32_t> head(Major& major) {
        const std::uint8_t first = reader_.u8();
        major = static_cast<Major>(first >> 5);
        const unsigned width = first & 0x1F;
        if (width > 26) {
            return std::nullopt;
        }
        const std::uint32_t value = width < 24    ? width
                                    : width == 24 ? reader_.u8()
                                    : width == 25 ? qbswap(reader_.u16())
                                                  : qbswap(reader_.u32());
        return reader_.ok() ? std::optional(value) : std::nullopt;
    }
    QByteArrayView take(std::uint32_t size) { return reader_.take(size); }
    [[nodiscard]] bool isOk() const { return reader_.ok(); }
    [[nodiscard]] bool isAtEnd() const { return reader_.atEnd(); }

  private:
    ByteReader reader_;
};

/// The members of a boot record by their numbers in PSA Attestation (RFC 9783).
struct RecordMember {
    std::uint32_t number;
    const char* name;
};
constexpr std::array recordMembers = {RecordMember{1, "softwareType"}, RecordMember{2, "measurementValue"},
                                      RecordMember{4, "softwareVersion"}, RecordMember{5, "signerId"},
                                      RecordMember{6, "measurementType"}};

/// Reads a boot record: a map of numbers to texts and bytes. Returns false if it has another form.
bool readBootRecord(QByteArrayView value, std::vector<Field>& fields) {
    CborReader reader(value);
    CborReader::Major major = CborReader::Major::number;
    const std::optional<std::uint32_t> count = reader.head(major);
    if (!count || major != CborReader::Major::map) {
        return false;
    }
    for (std::uint32_t i = 0; i < *count; ++i) {
        const std::optional<std::uint32_t> key = reader.head(major);
        if (!key || major != CborReader::Major::number) {
            return false;
        }
        const std::optional<std::uint32_t> size = reader.head(major);
        const bool isText = major == CborReader::Major::text;
        if (!size || (!isText && major != CborReader::Major::bytes)) {
            return false;
        }
        const QByteArrayView content = reader.take(*size);
        const auto* const member = std::find_if(recordMembers.begin(), recordMembers.end(),
                                                [&key](const RecordMember& known) { return known.number == *key; });
        if (!reader.isOk()) {
            return false;
        }
        if (member != recordMembers.end()) {
            fields.push_back(isText ? textField(member->name, content) : bytesField(member->name, content));
        }
    }
    return reader.isAtEnd();
}

/// The size that a value of this type must have; 0 if it may vary.
qsizetype sizeOf(std::uint16_t type) {
    switch (type) {
        case dependencyType:
            return 12;
        case counterType:
        case sizeType:
        case compressedSizeType:
            return 4;
        case vendorType:
        case classType:
            return 16;
        default:
            return 0;
    }
}

}  // namespace

void describeEntry(std::uint16_t type, QByteArrayView value, bool isBigEndian, Part& part, Description& description) {
    const qsizetype size = sizeOf(type);
    if (size != 0 && value.size() != size) {
        description.addFinding(FindingCode::wrongSize, part.index, part.offset,
                               {numberField("value", static_cast<std::uint64_t>(value.size())),
                                numberField("expected", static_cast<std::uint64_t>(size))});
        return;
    }
    McubootNumbers numbers(value, isBigEndian);
    switch (type) {
        case dependencyType: {
            part.fields.push_back(numberField("image", numbers.u8()));
            numbers.bytes().skip(3);
            QByteArray version = QByteArray::number(numbers.u8());
            version += '.' + QByteArray::number(numbers.u8());
            version += '.' + QByteArray::number(numbers.u16());
            version += '+' + QByteArray::number(numbers.u32());
            part.fields.push_back(textField("leastVersion", version));
            break;
        }
        case counterType:
        case sizeType:
        case compressedSizeType:
            part.fields.push_back(numberField("value", numbers.u32()));
            break;
        case bootRecordType: {
            std::vector<Field> members;
            if (readBootRecord(value, members)) {
                part.fields.insert(part.fields.end(), members.begin(), members.end());
            } else {
                description.addFinding(FindingCode::badBootRecord, part.index, part.offset);
            }
            break;
        }
        default:
            if (type == vendorType || type == classType || (type >= firstOwnType && value.size() <= shownSize)) {
                part.fields.push_back(bytesField("value", value));
            }
            break;
    }
}

}  // namespace inspect
