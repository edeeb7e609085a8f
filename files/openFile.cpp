#include "files/openFile.h"

#include "display/Display.h"
#include "files/FileOBK.h"
#include "files/outputFile.h"
#include "files/readExactly.h"

#include <QFileInfo>

#include <algorithm>
#include <array>

namespace {

// A file whose suffix contains one of these is raw binary, even if the suffix also matches a format.
constexpr std::array binaryWords = {"bin", "qvora", "ext2", "ext3", "ext4", "vfat", "ubi", "jffs2", "img", "wic"};

bool hasBinarySuffix(const QString& path) {
    const QString suffix = QFileInfo(path).suffix();
    return std::any_of(binaryWords.begin(), binaryWords.end(), [&suffix](const char* word) {
        return suffix.contains(QLatin1String(word), Qt::CaseInsensitive);
    });
}

void announceBinary(const QString& name) {
    displayMessage(MessageKind::verbose2,
                   "The file %s has a non recognized extension !\nSupported extensions are : bin, hex, srec, s19, elf, "
                   "axf, qvora, ext2, ext3, ext4, vfat, ubi, jffs2, img, o, so, out, tsv, csv, kcsv, tbi, tbix, pvs, "
                   "xtbi, kdu, obk, mcsv, wic.",
                   qUtf8Printable(name));
    displayMessage(MessageKind::verbose2, "File will be considered and parsed as a binary format.");
}

// Reads the next `size` bytes into the one segment of `file`.
bool readSegment(QFile& device, qint64 size, FileData& file) {
    FileSegment segment;
    switch (readExactly(device, size, segment.data)) {
        case ReadStatus::done:
            break;
        case ReadStatus::noMemory:
            return reportError("Unable to allocate memory");
        case ReadStatus::cutShort:
            return reportError("Error while reading the file");
    }
    segment.size = static_cast<std::uint32_t>(size);
    file.segments.push_back(std::move(segment));
    file.segmentCount = 1;
    return true;
}

bool seekTo(QFile& device, qint64 offset) {
    return (offset >= 0 && device.seek(offset)) || reportError("Unable to find fPosition");
}

/// The part of a raw binary to read.
struct BinaryPart {
    qint64 offset = 0;
    std::uint32_t size = 0;
};

/// Reads `device` with the reader of `row`, or as raw binary if `row` is null.
bool readBy(const FormatRow* row, FileLoadContext& context, QFile& device, const BinaryPart& part, FileData*& result) {
    if (row == nullptr && !hasBinarySuffix(device.fileName())) {
        announceBinary(bareFileName(device));
    }
    std::shared_ptr<FileData> record;
    if (!(row != nullptr ? row->read(context, device, record)
                         : readBinaryImage(device, part.offset, part.size, record))) {
        return false;
    }
    result = record.get();
    context.records.push_back(std::move(record));
    return true;
}

}  // namespace

const FormatRow* formatOf(std::span<const FormatRow> formats, const QString& path, bool allowPvs) {
    if (hasBinarySuffix(path)) {
        return nullptr;
    }
    const auto row = std::find_if(formats.begin(), formats.end(), [&](const FormatRow& candidate) {
        return (allowPvs || !candidate.onlyWithPvs) &&
               path.endsWith(QLatin1String(candidate.suffix), Qt::CaseInsensitive);
    });
    return row == formats.end() ? nullptr : &*row;
}

bool openInputFile(NamedFile& device, QIODevice::OpenMode more) {
    const QString name = bareFileName(device);
    if (!device.exists()) {
        return reportError("The file %s does not exist, please check the file's path", qUtf8Printable(name));
    }
    if (!device.open(QIODevice::ReadOnly | more)) {
        return reportError("Unable to open the file %s", qUtf8Printable(name));
    }
    if (!takePipeWhole(device, name)) {
        return false;
    }
    if (device.size() == 0) {
        return reportError("The file %s is empty", qUtf8Printable(name));
    }
    return true;
}

bool openFile(FileLoadContext& context, const QString& path, FileData*& result, std::uint8_t fillByte, qint64 offset,
              std::uint32_t size, bool allowPvs) {
    context.fillByte = fillByte;
    NamedFile device(path);
    const FormatRow* const row = formatOf(context.formats, path, allowPvs);
    // Raw bytes and provisioning data may be secrets, which must not stay in a buffer that is never wiped.
    const bool mayBeSecret = row == nullptr || row->read == readObkFile;
    return openInputFile(device, mayBeSecret ? QIODevice::Unbuffered : QIODevice::NotOpen) &&
           readBy(row, context, device, {offset, size}, result);
}

bool openOutput(FileLoadContext& context, const QString& path, QByteArrayView bytes, FileData*& result, bool allowPvs) {
    if (canReadBack(path)) {
        return openFile(context, path, result, context.fillByte, 0, 0, allowPvs);
    }
    NamedFile device(path);
    return (openOnBytes(device, bytes) || reportError("Unable to allocate memory")) &&
           readBy(formatOf(context.formats, path, allowPvs), context, device, {}, result);
}

bool openPendingOutput(FileLoadContext& context, const QString& path, const PendingFile& output, QByteArrayView bytes,
                       FileData*& result) {
    NamedFile device(path);
    return ((output.isHeld() ? output.openContent(device) : openOnBytes(device, bytes)) ||
            reportError("Unable to open the file %s", qUtf8Printable(bareFileName(device)))) &&
           readBy(formatOf(context.formats, path), context, device, {}, result);
}

bool readBinaryImage(QFile& device, qint64 offset, std::uint32_t size, std::shared_ptr<FileData>& record) {
    // Without a size, this function reads as many bytes as the file has. If there is an offset, fewer bytes follow it,
    // so the read fails.
    const qint64 wanted = size != 0 ? size : device.size();
    auto file = std::make_shared<FileData>();
    if ((offset != 0 && !seekTo(device, offset)) || !readSegment(device, wanted, *file)) {
        return false;
    }
    record = std::move(file);
    return true;
}

bool readObkFile(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    auto file = std::make_shared<FileOBK>();
    file->fileType = fileTypeObk;
    const auto headSize = static_cast<qint64>(file->head.size());
    if (device.read(reinterpret_cast<char*>(file->head.data()), headSize) != headSize) {
        return reportError("Error while reading the file");
    }
    if (!readSegment(device, device.size() - headSize, *file)) {
        return false;
    }
    record = std::move(file);
    return true;
}

QString bareFileName(const QFile& device) {
    return QFileInfo(device.fileName()).fileName();
}
