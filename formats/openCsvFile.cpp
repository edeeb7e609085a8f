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
    NamedFile device(path);
    if (!path.endsWith(QLatin1String("csv"), Qt::CaseInsensitive)) {
        return reportError("The file %s does not have .csv extension, please check the file's path",
                           qUtf8Printable(bareFileName(device)));
    }
    if (!openInputFile(device)) {
        return false;
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
