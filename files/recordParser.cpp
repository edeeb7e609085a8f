#include "files/recordParser.h"

#include "display/Display.h"
#include "files/hexPairs.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>

// A record is decoded as a whole, and its fields are checked afterwards. If this fails, the line is checked field by
// field to report the wrong field. The text passes through one buffer of fixed size, and the decoded bytes of a record
// are copied straight into the file under construction.

namespace {

// A longer line is read in pieces of this size. The longest record has only 521 characters.
constexpr qsizetype maxLineLength = 1024;

constexpr qsizetype windowSize = qsizetype{256} * 1024;

constexpr std::size_t maxRecordPairs = 255 + 5;

// The data of a decoded HEX record comes after count, address and type.
constexpr std::size_t hexDataOffset = 4;

/// The part of a text that is in memory.
class TextWindow {
  public:
    explicit TextWindow(QIODevice& device) : device_(device) {}

    /// Brings the next line, or its first maxLineLength characters, into the window. False at the end of the text.
    bool fill() {
        if (size() < maxLineLength && !complete_) {
            readOn();
        }
        return begin_ != end_;
    }
    [[nodiscard]] const char* data() const { return buffer_.constData() + begin_; }
    [[nodiscard]] qsizetype size() const { return end_ - begin_; }
    [[nodiscard]] bool failed() const { return failed_; }

    /// The next line with its line feed, if it has one.
    [[nodiscard]] QByteArrayView line() const {
        const QByteArrayView text(data(), std::min(size(), maxLineLength));
        const qsizetype lineFeed = text.indexOf('\n');
        return lineFeed < 0 ? text : text.first(lineFeed + 1);
    }
    void skipLine() { begin_ += line().size(); }

    /// Skips the line whose first `used` characters are a record.
    void skipRecord(qsizetype used) {
        const char* const rest = data() + used;
        const qsizetype left = size() - used;
        if (left > 0 && rest[0] == '\n') {
            begin_ += used + 1;
        } else if (left > 1 && rest[0] == '\r' && rest[1] == '\n') {
            begin_ += used + 2;
        } else {
            skipLine();
        }
    }

  private:
    void readOn() {
        char* const start = buffer_.data();
        std::memmove(start, start + begin_, static_cast<std::size_t>(size()));
        end_ -= begin_;
        begin_ = 0;
        while (size() < maxLineLength && !complete_) {
            const qint64 count = device_.read(start + end_, windowSize - end_);
            complete_ = count <= 0;
            failed_ = count < 0;
            end_ += std::max<qint64>(count, 0);
        }
    }

    QIODevice& device_;
    QByteArray buffer_ = QByteArray(windowSize + qsizetype{hexTextSlack}, '\0');
    qsizetype begin_ = 0;
    qsizetype end_ = 0;
    bool complete_ = false;
    bool failed_ = false;
};

constexpr qsizetype digitsOf(std::size_t pairs) {
    return 2 * static_cast<qsizetype>(pairs);
}

// The value of the pair of digits at `offset` of the line. Returns 0 if there is no valid pair; decoding the record
// fails in this case.
inline std::size_t countAt(const TextWindow& text, qsizetype offset) {
    if (text.size() < offset + 2) {
        return 0;
    }
    const int high = hexDigitValue(text.data()[offset]);
    const int low = hexDigitValue(text.data()[offset + 1]);
    return high < 0 || low < 0 ? 0 : static_cast<std::size_t>(high * 16 + low);
}

class RecordParser {
  public:
    RecordParser(QIODevice& device, const RecordCallbacks& callbacks) : text_(device), callbacks_(callbacks) {}

    bool parse();

  private:
    bool parseLine();
    bool parseHexLine();
    bool parseSrecLine();
    bool applyHexRecord(std::size_t count);
    bool applySrecRecord(char type, std::size_t count);
    bool decode(qsizetype textOffset, std::size_t pairs, std::uint8_t checkedSum);
    bool addBlock(std::uint32_t address, std::size_t offset, std::size_t count);
    void endSegment();

    bool refuseHexLine();
    bool refuseSrecLine();
    bool walkPairs(QByteArrayView digits, const char* field, std::size_t pairs, qsizetype& at);
    bool fail(const char* format, ...) __attribute__((format(printf, 2, 3)));

    [[nodiscard]] std::uint32_t baseOf(std::size_t count) const;
    [[nodiscard]] std::uint32_t bigEndian(std::size_t offset, std::size_t width) const;

    TextWindow text_;
    const RecordCallbacks& callbacks_;
    std::uint32_t lineNumber_ = 0;
    bool isHex_ = false;
    bool isSrec_ = false;
    std::array<std::uint8_t, maxRecordPairs + hexBytesSlack> record_{};
    std::uint32_t segmentStart_ = 0;
    std::uint32_t segmentLength_ = 0;
    bool segmentOpen_ = false;
    std::uint32_t segmentBase_ = 0;
    std::uint32_t linearBase_ = 0;
};

bool RecordParser::parse() {
    while (text_.fill()) {
        ++lineNumber_;
        if (!parseLine()) {
            return false;
        }
    }
    if (text_.failed()) {
        return reportError("Error while reading the file");
    }
    endSegment();
    callbacks_.finish(*callbacks_.context);
    return true;
}

bool RecordParser::parseLine() {
    const char first = *text_.data();
    if (!isHex_ && !isSrec_) {
        isHex_ = first == ':';
        isSrec_ = first == 'S';
    }
    if (isSrec_) {
        return parseSrecLine();
    }
    if (first == ':') {
        return parseHexLine();
    }
    text_.skipLine();
    return true;
}

// Decodes the record whose digits begin at `textOffset` of the line. The sum of its bytes, checksum included, must be
// `checkedSum`.
bool RecordParser::decode(qsizetype textOffset, std::size_t pairs, std::uint8_t checkedSum) {
    if (digitsOf(pairs) > text_.size() - textOffset) {
        return false;
    }
    const HexDecoding decoding = decodeHexPairs(text_.data() + textOffset, pairs, record_.data());
    return decoding.valid && decoding.sum == checkedSum;
}

// Parses a record: ":", count, address (2 bytes), type, data and checksum. The count is the number of data bytes.
bool RecordParser::parseHexLine() {
    constexpr qsizetype prefix = 1;
    const std::size_t count = countAt(text_, prefix);
    const std::size_t pairs = count + 5;
    if (!decode(prefix, pairs, 0)) {
        return refuseHexLine();
    }
    text_.skipRecord(prefix + digitsOf(pairs));
    return applyHexRecord(count);
}

bool RecordParser::applyHexRecord(std::size_t count) {
    switch (record_[3]) {
        case 0:
            return addBlock(bigEndian(1, 2) + segmentBase_ + linearBase_, hexDataOffset, count);
        case 1:
            endSegment();
            return true;
        case 2:
            segmentBase_ = baseOf(count) << 4;
            return true;
        case 3:
        case 5:
            return true;  // the start address of the program isn't part of the segments
        case 4:
            linearBase_ = baseOf(count) << 16;
            return true;
        default:
            return fail("Unrecognized record type: %d", record_[3]);
    }
}

// The number in the first two data bytes of an address record. The record's count isn't checked: a missing byte counts
// as 0.
std::uint32_t RecordParser::baseOf(std::size_t count) const {
    const std::size_t width = std::min<std::size_t>(count, 2);
    return bigEndian(hexDataOffset, width) << (8 * (2 - width));
}

// Parses a record: "S", a digit, count, address (2 to 4 bytes), data and checksum. The count is the number of bytes
// after it.
bool RecordParser::parseSrecLine() {
    constexpr qsizetype prefix = 2;
    const std::size_t count = countAt(text_, prefix);
    const std::size_t pairs = std::max<std::size_t>(count, 1) + 1;
    const bool headFits =
        text_.size() > 1 && text_.data()[0] == 'S' && text_.data()[1] >= '0' && text_.data()[1] <= '9';
    if (!headFits || !decode(prefix, pairs, 0xFF)) {
        return refuseSrecLine();
    }
    const char type = text_.data()[1];
    text_.skipRecord(prefix + digitsOf(pairs));
    return applySrecRecord(type, count);
}

bool RecordParser::applySrecRecord(char type, std::size_t count) {
    if (type == '4') {
        return fail("Unrecognized S-Record: S%c", type);
    }
    if (type < '1' || type > '3') {
        endSegment();
        return true;
    }
    const auto addressWidth = static_cast<std::size_t>(type - '0') + 1;
    if (count < addressWidth + 1) {
        return fail("S-Record S%c is too short for its address", type);
    }
    return addBlock(bigEndian(1, addressWidth), 1 + addressWidth, count - addressWidth - 1);
}

bool RecordParser::addBlock(std::uint32_t address, std::size_t offset, std::size_t count) {
    if (segmentOpen_ && segmentStart_ + segmentLength_ != address) {
        endSegment();
    }
    if (count == 0) {
        return true;
    }
    if (!segmentOpen_) {
        segmentOpen_ = true;
        segmentStart_ = address;
        segmentLength_ = 0;
        callbacks_.beginSegment(*callbacks_.context, address);
    }
    segmentLength_ += static_cast<std::uint32_t>(count);
    return callbacks_.addData(*callbacks_.context,
                              {address, QByteArrayView(record_.data() + offset, static_cast<qsizetype>(count))});
}

void RecordParser::endSegment() {
    if (segmentOpen_) {
        segmentOpen_ = false;
        callbacks_.endSegment(*callbacks_.context);
    }
}

std::uint32_t RecordParser::bigEndian(std::size_t offset, std::size_t width) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        value = value << 8 | record_[offset + i];
    }
    return value;
}

// Checks `pairs` pairs of the digits from position `at` on, and moves `at` past them.
bool RecordParser::walkPairs(QByteArrayView digits, const char* field, std::size_t pairs, qsizetype& at) {
    for (const qsizetype end = at + digitsOf(pairs); at < end; ++at) {
        const char found = at < digits.size() ? digits.at(at) : '\0';
        if (hexDigitValue(found) < 0) {
            return fail("parsing %s, expecting hex digit, found '%c'", field, found);
        }
    }
    return true;
}

bool RecordParser::refuseHexLine() {
    const QByteArrayView digits = text_.line().sliced(1);
    const std::size_t count = countAt(text_, 1);
    qsizetype at = 0;
    if (!walkPairs(digits, "count", 1, at) || !walkPairs(digits, "addr", 2, at) ||
        !walkPairs(digits, "recType", 1, at) || !walkPairs(digits, "data", count, at) ||
        !walkPairs(digits, "checksum", 1, at)) {
        return false;
    }
    const std::size_t pairs = count + 5;
    const HexDecoding decoding = decodeHexPairsPortable(digits.data(), pairs, record_.data());
    const std::uint8_t checksum = record_[pairs - 1];
    return fail("found checksum 0x%02x, expecting 0x%02x", checksum, (checksum - decoding.sum) & 0xFF);
}

bool RecordParser::refuseSrecLine() {
    const QByteArrayView line = text_.line();
    if (line.front() != 'S') {
        return fail("doesn't start with an 'S'");
    }
    const char type = line.size() > 1 ? line.at(1) : '\0';
    if (type < '0' || type > '9') {
        return fail("expecting digit (0-9), found: '%c'", type);
    }
    const QByteArrayView digits = line.sliced(2);
    const std::size_t count = std::max<std::size_t>(countAt(text_, 2), 1);
    qsizetype at = 0;
    if (!walkPairs(digits, "count", 1, at) || !walkPairs(digits, "data", count - 1, at) ||
        !walkPairs(digits, "checksum", 1, at)) {
        return false;
    }
    const HexDecoding decoding = decodeHexPairsPortable(digits.data(), count + 1, record_.data());
    const std::uint8_t checksum = record_[count];
    return fail("found checksum 0x%02x, expecting 0x%02x", checksum, (0xFF - decoding.sum + checksum) & 0xFF);
}

bool RecordParser::fail(const char* format, ...) {
    std::array<char, 128> text{};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    callbacks_.reportError(*callbacks_.context, static_cast<int>(lineNumber_), text.data());
    return false;
}

}  // namespace

bool parseRecords(QIODevice& device, const RecordCallbacks& callbacks) {
    RecordParser parser(device, callbacks);
    return parser.parse();
}
