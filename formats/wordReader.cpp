#include "display/Display.h"
#include "files/byteWriter.h"
#include "files/parseNumber.h"
#include "files/readExactly.h"
#include "formats/readers.h"

#include <QString>

namespace {

/// Appends the numbers of one line to `words`. False if the line doesn't have the table's form.
bool takeWords(QByteArrayView line, bool pairs, QByteArray& words) {
    const qsizetype commas = line.count(',');
    if (commas == 0 || (pairs && commas % 2 == 0)) {
        return false;
    }
    bool isLabel = pairs;
    for (qsizetype i = 0; i <= commas; ++i) {
        const qsizetype comma = line.indexOf(',');
        const QByteArrayView field = comma < 0 ? line : line.first(comma);
        line = line.sliced(comma + 1);
        std::uint32_t word = 0;
        if (!isLabel) {
            if (!parseNumber(QString::fromLatin1(field.trimmed()), pairs ? 0 : 16, word)) {
                return false;
            }
            appendU32(words, word);
        }
        isLabel = pairs && !isLabel;
    }
    return true;
}

bool readWords(QFile& device, bool pairs, std::shared_ptr<FileData>& record) {
    QByteArray words;
    while (!device.atEnd()) {
        if (!takeWords(device.readLine(), pairs, words)) {
            return reportError("%s is an invalid option bytes file", qUtf8Printable(device.fileName()));
        }
    }
    if (!memoryAvailable(words.size())) {
        return reportError("Unable to allocate memory");
    }
    auto file = std::make_shared<FileData>();
    file->fileType = fileTypeCsv;
    file->segmentCount = 1;
    file->segments.push_back({0, static_cast<std::uint32_t>(words.size()), words});
    record = std::move(file);
    return true;
}

}  // namespace

bool readOptionBytesFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    return readWords(device, true, record);
}

bool readKeyAreaFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    return readWords(device, false, record);
}
