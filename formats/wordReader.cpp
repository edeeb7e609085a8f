#include "display/Display.h"
#include "files/byteWriter.h"
#include "files/readExactly.h"
#include "files/wordLine.h"
#include "formats/readers.h"

namespace {

bool readWords(QFile& device, bool pairs, std::shared_ptr<FileData>& record) {
    QByteArray words;
    const auto takeWord = [&words](QByteArrayView, std::uint32_t value) { appendU32(words, value); };
    WordLineFault fault;
    while (!device.atEnd()) {
        if (!readWordLine(device.readLine(), pairs, takeWord, fault)) {
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
