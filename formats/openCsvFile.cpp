#include "formats/openCsvFile.h"

#include "display/Display.h"
#include "files/openFile.h"
#include "formats/readers.h"

namespace {

FileReader readerFor(CsvKind kind) {
    switch (kind) {
        case CsvKind::optionBytes:
            return readOptionBytesFile;
        case CsvKind::keyArea:
        case CsvKind::diversification:
            return readKeyAreaFile;
        case CsvKind::moduleList:
            return readMcsvFile;
        case CsvKind::externalModuleList:
            return readEcsvFile;
    }
    return nullptr;
}

}  // namespace

bool openCsvFile(FileLoadContext& context, const QString& path, CsvKind kind, FileData*& result) {
    QFile device(path);
    const QString name = bareFileName(device);
    if (!path.endsWith(QLatin1String("csv"), Qt::CaseInsensitive)) {
        return reportError("The file %s does not have .csv extension, please check the file's path",
                           qUtf8Printable(name));
    }
    if (!device.exists()) {
        return reportError("The file %s does not exist, please check the file's path", qUtf8Printable(name));
    }
    if (!device.open(QIODevice::ReadOnly)) {
        return reportError("Unable to open the file %s", qUtf8Printable(name));
    }
    if (device.size() == 0) {
        return reportError("The file %s is empty", qUtf8Printable(name));
    }
    const FileReader read = readerFor(kind);
    std::shared_ptr<FileData> record;
    if (read == nullptr || !read(context, device, record)) {
        return false;
    }
    result = record.get();
    context.records.push_back(std::move(record));
    return true;
}
