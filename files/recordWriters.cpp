#include "display/Display.h"
#include "files/openFile.h"
#include "files/outputFile.h"
#include "files/recordFiles.h"

#include <QFileInfo>

#include <algorithm>
#include <array>

namespace {

constexpr std::uint32_t maxRecordData = 32;

constexpr std::uint32_t maxBinarySpan = 0x1FFFFFFF;

constexpr qint64 pieceSize = 65536;

/// The bytes of a segment that are still to be written.
struct Remainder {
    std::uint32_t address = 0;
    QByteArrayView bytes;

    /// Removes and returns the data of the next record.
    QByteArrayView takeRecord() {
        const QByteArrayView taken = bytes.first(std::min<qsizetype>(bytes.size(), maxRecordData));
        bytes = bytes.sliced(taken.size());
        address += static_cast<std::uint32_t>(taken.size());
        return taken;
    }
};

Remainder wholeOf(const FileSegment& segment) {
    return {segment.address, QByteArrayView(segment.data).first(segment.size)};
}

constexpr char upperDigits[] = "0123456789ABCDEF";
constexpr char lowerDigits[] = "0123456789abcdef";

void appendHex(QByteArray& text, std::uint32_t value, int width, const char* digits = upperDigits) {
    while (width-- > 0) {
        text.append(digits[value >> (4 * width) & 0xF]);
    }
}

unsigned sumOf(std::uint32_t number) {
    return (number >> 24) + ((number >> 16) & 0xFF) + ((number >> 8) & 0xFF) + (number & 0xFF);
}

unsigned appendData(QByteArray& text, QByteArrayView data) {
    unsigned sum = 0;
    for (const char byte : data) {
        const auto value = static_cast<std::uint8_t>(byte);
        appendHex(text, value, 2);
        sum += value;
    }
    return sum;
}

// Appends the record that sets the upper half of the following addresses.
void appendLinearAddress(QByteArray& text, std::uint32_t address) {
    const std::uint32_t upper = address >> 16;
    text.append(":02000004");
    appendHex(text, upper, 4);
    appendHex(text, 0U - 6U - sumOf(upper), 2);
    text.append('\n');
}

// Appends 256 records, or fewer if a 64 KiB page ends before. If the segment ends earlier, the remaining records have
// no data, because the programming devices that receive the file expect this form.
void appendHexRun(QByteArray& text, Remainder& rest) {
    constexpr int maxRecords = 256;
    constexpr std::uint32_t pageEnd = 0xFFE0;
    bool atPageEnd = false;
    for (int i = 0; i < maxRecords && !atPageEnd; ++i) {
        const std::uint32_t low = rest.address & 0xFFFF;
        atPageEnd = (low & pageEnd) == pageEnd;
        const QByteArrayView data = rest.takeRecord();
        const auto length = static_cast<unsigned>(data.size());
        text.append(':');
        appendHex(text, length, 2);
        appendHex(text, low, 4);
        appendHex(text, 0, 2);
        const unsigned sum = length + sumOf(low) + appendData(text, data);
        appendHex(text, 0U - sum, 2);
        text.append('\n');
    }
}

bool writeHexSegment(const PieceWriter& write, const FileSegment& segment) {
    Remainder rest = wholeOf(segment);
    bool first = true;
    while (!rest.bytes.isEmpty() || first) {
        QByteArray text;
        if (rest.address > 0xFFFF) {
            appendLinearAddress(text, rest.address);
        }
        appendHexRun(text, rest);
        if (!write(text)) {
            return false;
        }
        first = false;
    }
    return true;
}

/// One of the three widths of S-Records.
struct SrecForm {
    std::uint32_t aboveTop;  ///< the form is used if the image's last address is above this; S1 is used for the rest
    const char* type;
    int addressDigits;
    const char* termination;
};

constexpr std::array srecForms = {
    SrecForm{0xFFFFFF, "S3", 8, "S70500000000FA\n"},
    SrecForm{0xFFFF, "S2", 6, "S804000000FB\n"},
    SrecForm{0, "S1", 4, "S9030000FC\n"},
};

const SrecForm& srecFormOf(const FileData& file) {
    const FileSegment last = file.segments.empty() ? FileSegment{} : file.segments.back();
    const std::uint32_t top = last.size == 0 ? last.address : last.address + last.size - 1;
    return top > srecForms[0].aboveTop ? srecForms[0] : top > srecForms[1].aboveTop ? srecForms[1] : srecForms[2];
}

bool writeSrecSegment(const PieceWriter& write, const SrecForm& form, const FileSegment& segment) {
    Remainder rest = wholeOf(segment);
    QByteArray text;
    while (!rest.bytes.isEmpty()) {
        const std::uint32_t address = rest.address & (UINT32_MAX >> (32 - 4 * form.addressDigits));
        const QByteArrayView data = rest.takeRecord();
        const auto count = static_cast<unsigned>(data.size() + form.addressDigits / 2 + 1);
        text.append(form.type);
        appendHex(text, count, 2, lowerDigits);
        appendHex(text, address, form.addressDigits, lowerDigits);
        const unsigned sum = count + sumOf(address) + appendData(text, data);
        appendHex(text, ~sum, 2);
        text.append('\n');
        if (text.size() >= pieceSize || rest.bytes.isEmpty()) {
            if (!write(text)) {
                return false;
            }
            text.clear();
        }
    }
    return true;
}

// Writes the segment at `start` of the file, which has `written` bytes so far, and fills the gap before it.
bool writeBinSegment(const PieceWriter& write, const FileSegment& segment, std::uint32_t start, std::uint8_t fillByte,
                     qint64& written) {
    while (written < start) {
        const QByteArray fill(std::min(pieceSize, start - written), static_cast<char>(fillByte));
        if (!write(fill)) {
            return false;
        }
        written += fill.size();
    }
    written += segment.size;
    return write(QByteArrayView(segment.data).first(segment.size));
}

constexpr char notWritten[] = "Error occured while writing in the file";

bool writeReported(const QString& path, const ContentWriter& writeContent, const char* writeError = notWritten) {
    const QString name = QFileInfo(path).fileName();
    warnOfOverwriting(path, name);
    return reportReplacement(replaceFileBy(path, writeContent), name, {"Unable to create the file %s", writeError});
}

}  // namespace

bool writeHexFile(const FileLoadContext& /*context*/, const FileData& file, const QString& path) {
    return writeReported(path, [&file](const PieceWriter& write) {
        return std::all_of(file.segments.begin(), file.segments.end(),
                           [&write](const FileSegment& segment) { return writeHexSegment(write, segment); }) &&
               write(":00000001FF\n");
    });
}

bool writeSrecFile(const FileLoadContext& /*context*/, const FileData& file, const QString& path) {
    const SrecForm& form = srecFormOf(file);
    return writeReported(path, [&file, &form](const PieceWriter& write) {
        return std::all_of(file.segments.begin(), file.segments.end(),
                           [&](const FileSegment& segment) { return writeSrecSegment(write, form, segment); }) &&
               write(form.termination);
    });
}

qint64 writeBinFile(const FileLoadContext& context, const FileData& file, const QString& path) {
    const std::uint32_t first = file.segments.empty() ? 0 : file.segments.front().address;
    const bool wide = std::any_of(file.segments.begin(), file.segments.end(), [first](const FileSegment& segment) {
        return segment.address - first > maxBinarySpan;
    });
    qint64 size = 0;
    const auto writeContent = [&](const PieceWriter& write) {
        return !wide && std::all_of(file.segments.begin(), file.segments.end(), [&](const FileSegment& segment) {
            return writeBinSegment(write, segment, segment.address - first, context.fillByte, size);
        });
    };
    constexpr char tooWide[] = "Segments are widely spaced. Unable to create a binary file";
    return writeReported(path, writeContent, wide ? tooWide : notWritten) ? size : -1;
}
