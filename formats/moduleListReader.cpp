#include "display/Display.h"
#include "files/memoryFile.h"
#include "files/openFile.h"
#include "files/parseNumber.h"
#include "files/readExactly.h"
#include "formats/FileECSV.h"
#include "formats/FileMCSV.h"
#include "formats/formatTable.h"
#include "formats/readers.h"

#include <QFileInfo>
#include <QList>

#include <initializer_list>

// Each line of a module list describes one module in three columns. The first is the module's file, the second its
// licence file, its identity or "none", the third its destination address or "none". The list for external memory has
// three more columns, for the decryption peripheral, and is otherwise the same. One set of functions reads both lists;
// functions that depend on the type of the record are templates.

namespace {

constexpr std::uint32_t mostModules = 8;
constexpr qsizetype longestIdentity = 15;
constexpr qsizetype longestNumber = 10;

/// The largest total size of the gaps between the segments of all hex modules of a list. A small file can have records
/// at both ends of the address space. 256 MiB is more than any module needs, and can still be allocated.
constexpr std::uint64_t mostGapBytes = 256U << 20;

/// The list that is being read.
struct ListFile {
    QString path;      ///< as the caller gave it
    const char* kind;  ///< "mcsv" or "ecsv"
    std::uint64_t gapBytes = 0;
};

bool isNone(const QByteArray& text) {
    return text.compare("none", Qt::CaseInsensitive) == 0;
}

/// Whether `text` contains one of `suffixes` (lower case). A suffix doesn't count at the start of `text` or directly
/// after a quote.
bool namesFile(const QByteArray& text, std::initializer_list<const char*> suffixes) {
    const QByteArray lower = text.toLower();
    for (const char* const suffix : suffixes) {
        for (qsizetype at = lower.indexOf(suffix, 1); at > 0; at = lower.indexOf(suffix, at + 1)) {
            if (lower.at(at - 1) != '"') {
                return true;
            }
        }
    }
    return false;
}

/// A name that begins with a dot, a slash or a backslash is relative to the list's folder. Any other name is relative
/// to the current folder.
QString resolvePath(const ListFile& list, const QByteArray& name) {
    const bool besideList = name.startsWith('.') || name.startsWith('/') || name.startsWith('\\');
    const QString folder = besideList ? QFileInfo(list.path).path() + QLatin1Char('/') : QString();
    return folder + QString::fromUtf8(name);
}

bool readHexColumn(const QByteArray& text, std::uint32_t& value) {
    return text.size() <= longestNumber && parseNumber(QString::fromLatin1(text), 16, value);
}

bool loadFile(const QString& path, QByteArray& content, std::uint32_t& size) {
    QFile device(path);
    if (!device.open(QIODevice::ReadOnly)) {
        return reportError("Unable to open the file: %s", qUtf8Printable(path));
    }
    if (!takePipeWhole(device, path)) {
        return false;
    }
    switch (readExactly(device, device.size(), content)) {
        case ReadStatus::done:
            size = static_cast<std::uint32_t>(content.size());
            return true;
        case ReadStatus::noMemory:
            return reportError("Unable to allocate memory");
        case ReadStatus::cutShort:
            break;
    }
    return reportError("Error while reading the file");
}

/// Joins the segments, which are sorted and don't overlap, and fills the gaps with 0xFF.
bool joinSegments(const FileData& hex, const QString& path, ListFile& list, QByteArray& content) {
    std::uint64_t dataBytes = 0;
    std::uint64_t gapBytes = 0;
    std::uint64_t end = hex.segments.front().address;
    for (const FileSegment& segment : hex.segments) {
        gapBytes += segment.address > end ? segment.address - end : 0;
        dataBytes += segment.size;
        end = std::uint64_t{segment.address} + segment.size;
    }
    if (gapBytes > mostGapBytes - list.gapBytes) {
        return reportError(
            "Module hex file : %s has its segments too far apart, the gaps in a list may take %llu bytes",
            qUtf8Printable(path), static_cast<unsigned long long>(mostGapBytes));
    }
    list.gapBytes += gapBytes;
    const qint64 joinedSize = static_cast<qint64>(dataBytes) + static_cast<qint64>(gapBytes);
    if (!memoryAvailable(joinedSize)) {
        return reportError("Unable to allocate memory");
    }
    content.reserve(joinedSize);
    end = hex.segments.front().address;
    for (const FileSegment& segment : hex.segments) {
        if (segment.address > end) {
            content.append(static_cast<qsizetype>(segment.address - end), '\xFF');
        }
        content.append(segment.data.constData(), segment.size);
        end = std::uint64_t{segment.address} + segment.size;
    }
    return true;
}

/// Loads a hex module. `address` contains the list's address and receives the address of the hex file. Warns if the
/// list gives an address and the two differ.
bool loadHexModule(const QString& path, bool addressGiven, ListFile& list, std::uint32_t& address,
                   QByteArray& content) {
    // The separate context frees the hex file at the end of this function, and doesn't change the caller's fill byte.
    FileLoadContext context;
    context.formats = formatTable();
    FileData* hex = nullptr;
    if (!openFile(context, path, hex, 0xFF)) {
        return false;
    }
    Q_ASSERT(!hex->segments.empty());  // openFile rejects a hex file without data
    if (hex->segments.empty() || !joinSegments(*hex, path, list, content)) {
        return false;
    }
    const std::uint32_t own = hex->segments.front().address;
    if (addressGiven && own != address) {
        displayMessage(MessageKind::warning,
                       "Module hex file : %s contains address [0x%08X] different than the Destination Address field "
                       "[0x%08X] !\n\nThe value [0x%08X] will be considered as destination address.",
                       qUtf8Printable(path), own, address, own);
    }
    address = own;
    return true;
}

template <typename Module>
bool takeLicense(const ListFile& list, const QByteArray& column, Module& module) {
    if (isNone(column)) {
        return true;
    }
    if (!namesFile(column, {".bin", ".lic"})) {
        if (column.size() > longestIdentity) {
            return reportError("%s is an invalid %s file\nHSM FW ID parameter exceeds 15 characters: %s",
                               qUtf8Printable(list.path), list.kind, column.constData());
        }
        module.hsmId = column;
        module.hsmIdSize = static_cast<std::uint32_t>(column.size());
        return true;
    }
    module.hasLicense = 1;
    const QString path = resolvePath(list, column);
    if (!QFile::exists(path)) {
        return reportError("License file : %s does not exist !", qUtf8Printable(path));
    }
    return loadFile(path, module.license, module.licenseSize);
}

template <typename Module>
bool takeModule(ListFile& list, const QByteArray& column, bool destinationNone, Module& module) {
    if (!namesFile(column, {".kdu", ".bin", ".hex"})) {
        return reportError("%s is an invalid %s file\nPlease check module : %s", qUtf8Printable(list.path), list.kind,
                           column.constData());
    }
    module.moduleName = column.trimmed();
    const QString path = resolvePath(list, module.moduleName);
    if (!QFile::exists(path)) {
        return reportError("Module file : %s does not exist !", qUtf8Printable(path));
    }
    if (path.endsWith(QLatin1String(".hex"), Qt::CaseInsensitive)) {
        if (!loadHexModule(path, !destinationNone, list, module.destinationAddress, module.moduleData)) {
            return false;
        }
        module.moduleSize = static_cast<std::uint32_t>(module.moduleData.size());
        return true;
    }
    if (destinationNone) {
        return reportError("Module file : %s should not contain [none] destination address !", qUtf8Printable(path));
    }
    return loadFile(path, module.moduleData, module.moduleSize);
}

bool takePeripheralColumns(const ListFile& /*list*/, const QList<QByteArray>& /*columns*/, McsvModule& /*module*/) {
    return true;
}

bool takePeripheralColumns(const ListFile& list, const QList<QByteArray>& columns, EcsvModule& module) {
    const struct {
        const char* name;
        const QByteArray text;
        std::uint32_t& value;
    } fields[] = {
        {"Region Number", columns.at(3).trimmed(), module.regionNumber},
        {"Region Mode", columns.at(4).trimmed(), module.regionMode},
        {"Key Address", columns.at(5).trimmed(), module.keyAddress},
    };
    for (const auto& field : fields) {
        if (!readHexColumn(field.text, field.value)) {
            return reportError("%s is an invalid %s file\nCheck LIVDEC %s parameter\n\nInvalid address: %s",
                               qUtf8Printable(list.path), list.kind, field.name, field.text.constData());
        }
    }
    return true;
}

/// Reads one line into a new module of `file`. The order of the steps decides which fault of a line is reported.
template <typename File>
bool takeLine(ListFile& list, const QByteArray& line, qsizetype columnCount, File& file) {
    const qsizetype commas = line.count(',');
    if (commas < columnCount - 1) {
        return reportError("%s is an invalid %s file", qUtf8Printable(list.path), list.kind);
    }
    if (commas > columnCount - 1) {
        return reportError("%s file %s is not conform: it may miss or exceed some columns !", list.kind,
                           qUtf8Printable(list.path));
    }
    const QList<QByteArray> columns = line.split(',');
    const QByteArray address = columns.at(2).trimmed();
    file.destinationNone = file.destinationNone || isNone(address);

    typename decltype(file.modules)::value_type module;
    if (!readHexColumn(address, module.destinationAddress) && !file.destinationNone) {
        return reportError("%s is an invalid %s file\nCheck destination address parameter\n\nInvalid address: %s",
                           qUtf8Printable(list.path), list.kind, address.constData());
    }
    if (!takeLicense(list, columns.at(1).trimmed(), module) ||
        !takeModule(list, columns.at(0), file.destinationNone, module) ||
        !takePeripheralColumns(list, columns, module)) {
        return false;
    }
    file.modules.push_back(std::move(module));
    ++file.segmentCount;
    if (file.segmentCount > mostModules) {
        return reportError("%s is an invalid %s file\nMaximum modules number : 8", qUtf8Printable(list.path),
                           list.kind);
    }
    return true;
}

template <typename File>
bool readList(QFile& device, const char* kind, qsizetype columnCount, std::shared_ptr<File>& file) {
    ListFile list{.path = device.fileName(), .kind = kind};
    while (!device.atEnd()) {
        const QByteArray read = device.readLine();
        if (read.isEmpty()) {
            return reportError("Error while reading the file");
        }
        const QByteArray line = read.trimmed();
        if (!line.isEmpty() && !line.startsWith('#') && !takeLine(list, line, columnCount, *file)) {
            return false;
        }
    }
    if (file->segmentCount == 0) {
        return reportError("%s is an invalid %s file\nNo module is mentioned !", qUtf8Printable(list.path), kind);
    }
    return true;
}

}  // namespace

bool readMcsvFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    auto file = std::make_shared<FileMCSV>();
    file->fileType = fileTypeMcsv;
    if (!readList(device, "mcsv", 3, file)) {
        return false;
    }
    record = std::move(file);
    return true;
}

bool readEcsvFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    auto file = std::make_shared<FileECSV>();
    file->fileType = fileTypeEcsv;
    if (!readList(device, "ecsv", 6, file)) {
        return false;
    }
    record = std::move(file);
    return true;
}
