#include "display/Display.h"
#include "files/byteWriter.h"
#include "files/hexPairs.h"
#include "files/readExactly.h"
#include "formats/FileTSV.h"
#include "formats/readers.h"

#include <QList>

#include <algorithm>
#include <array>
#include <numeric>

namespace {

constexpr qint64 longestLine = 1024;
constexpr qsizetype columnCount = 7;
constexpr qsizetype addressColumn = 1;
constexpr qsizetype offsetColumn = 5;
constexpr qsizetype fileColumn = 6;
constexpr qsizetype headerSize = 256;

/// Splits at runs of tabs: two tabs in a row are one separator.
QList<QByteArray> splitAtTabs(const QByteArray& line) {
    QList<QByteArray> fields;
    qsizetype start = 0;
    for (qsizetype tab = line.indexOf('\t'); tab >= 0; tab = line.indexOf('\t', start)) {
        fields.append(line.sliced(start, tab - start));
        start = tab;
        while (start < line.size() && line.at(start) == '\t') {
            ++start;
        }
    }
    fields.append(line.sliced(start));
    return fields;
}

/// The low 32 bits of the hexadecimal number at the start of `text`; 0 if there is none. Ignores the rest of the text.
std::uint32_t leadingHexNumber(QByteArrayView text) {
    text = text.trimmed();
    if (text.startsWith("0x") || text.startsWith("0X")) {
        text = text.sliced(2);
    }
    std::uint32_t number = 0;
    for (const char character : text) {
        const int digit = hexDigitValue(character);
        if (digit < 0) {
            break;
        }
        number = number << 4 | static_cast<std::uint32_t>(digit);
    }
    return number;
}

/// Whether one or more hex digits, and nothing else, follow the "0x". The value isn't read, because an offset on a
/// large medium doesn't fit 32 bits.
bool isHexOffset(QByteArrayView offset) {
    const QByteArrayView digits = offset.trimmed().sliced(2);
    return !digits.isEmpty() &&
           std::all_of(digits.begin(), digits.end(), [](char digit) { return hexDigitValue(digit) >= 0; });
}

QByteArray cutAt(char character, const QByteArray& text) {
    const qsizetype end = text.indexOf(character);
    return end < 0 ? text : text.first(end);
}

QByteArray binaryFileName(const QByteArray& column) {
    return cutAt(' ', cutAt('\n', column).replace("\r", ""));
}

bool takeLine(const QString& path, const QByteArray& line, FileTSV& file, QByteArray& text) {
    const QList<QByteArray> columns = splitAtTabs(line);
    if (columns.size() != columnCount) {
        return reportError("TSV file %s not conform: it may miss some columns or fields", qUtf8Printable(path));
    }
    const QByteArray& offset = columns.at(offsetColumn);
    if (offset.startsWith("0x") && !isHexOffset(offset)) {
        return reportError("TSV file %s is not conform. Wrong Offset value : %s", qUtf8Printable(path),
                           offset.constData());
    }
    TsvEntry entry;
    entry.column1 = QString::fromUtf8(columns.at(0));
    entry.hexValue = leadingHexNumber(columns.at(addressColumn));
    entry.column3 = QString::fromUtf8(columns.at(2));
    entry.column4 = QString::fromUtf8(columns.at(3));
    entry.column5 = QString::fromUtf8(columns.at(4));
    entry.offset = QString::fromUtf8(offset);
    entry.binaryFile = QString::fromUtf8(binaryFileName(columns.at(fileColumn)));
    file.entries.push_back(std::move(entry));
    for (qsizetype i = 0; i < offsetColumn; ++i) {
        text += columns.at(i) + '\t';
    }
    text += offset + '\n';
    return true;
}

/// The header before the normalised text: "QVR2", 64 zero bytes, the sum of the text's bytes, 0x00010000, the text's
/// length, 20 zero bytes, 1, and zeros up to 256 bytes. Numbers are 32-bit and little-endian.
QByteArray textHeader(const QByteArray& text) {
    const std::uint32_t sum = std::accumulate(
        text.begin(), text.end(), std::uint32_t{0},
        [](std::uint32_t total, char character) { return total + static_cast<std::uint8_t>(character); });
    QByteArray header = "QVR2";
    header.append(64, '\0');
    appendU32(header, sum);
    appendU32(header, 0x00010000);
    appendU32(header, static_cast<std::uint32_t>(text.size()));
    header.append(20, '\0');
    appendU32(header, 1);
    header.append(headerSize - header.size(), '\0');
    return header;
}

}  // namespace

bool readTsvFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    auto file = std::make_shared<FileTSV>();
    file->fileType = fileTypeTsv;
    QByteArray text;
    std::array<char, longestLine + 1> buffer{};
    while (!device.atEnd()) {
        const QByteArray line(buffer.data(), std::max<qint64>(device.readLine(buffer.data(), buffer.size()), 0));
        if (!line.startsWith('#') && !takeLine(device.fileName(), line, *file, text)) {
            return false;
        }
    }
    if (text.isEmpty()) {
        return reportError("TSV file %s not conform: it may miss some columns or fields",
                           qUtf8Printable(device.fileName()));
    }
    if (!memoryAvailable(headerSize + text.size())) {
        return reportError("Unable to allocate memory");
    }
    file->text = textHeader(text) + text;
    file->textSize = static_cast<std::uint32_t>(file->text.size());
    file->text.append('\0');
    record = std::move(file);
    return true;
}
