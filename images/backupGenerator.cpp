#include "images/backupGenerator.h"

#include "images/backupImage.h"
#include "images/imageFile.h"
#include "images/imageLayout.h"
#include "images/itemDocument.h"
#include "images/itemFiles.h"

#include "files/byteWriter.h"
#include "files/outputFile.h"
#include "files/readExactly.h"

#include <QFileInfo>

#include <algorithm>
#include <utility>

namespace {

using WipeRecordsOnExit = WipeSegmentsOnExit<BackupSegment, &BackupSegment::record>;

bool readItem(const QJsonObject& object, BackupItem& item) {
    if (!hasKeys(object, {QLatin1String("Name"), QLatin1String("Path"), QLatin1String("Offset"),
                          QLatin1String("Protection")})) {
        return reportError("Invalid json item");
    }
    item.Name = object.value(QLatin1String("Name")).toString();
    item.Path = object.value(QLatin1String("Path")).toString();
    return readHex(object.value(QLatin1String("Offset")), item.Offset) &&
           readProtection(object.value(QLatin1String("Protection")).toObject(), protectionFields(item), item.Nonce);
}

bool buildSegment(const BackupItem& item, const QString& folder, BackupSegment& segment) {
    QString noncePath;
    if (!chooseNonce(item, item.Path, MessageKind::error, noncePath)) {
        return false;
    }
    if (item.Offset % backupRecord::offsetUnit != 0) {
        return reportError("[%s]\nOffset value is not aligned with 32-bit.\n%s", qUtf8Printable(item.Name),
                           qUtf8Printable(item.Path));
    }
    QByteArray nonce;
    QByteArray data;
    const WipeOnExit wipeNonce(nonce);
    const WipeOnExit wipeData(data);
    if (!noncePath.isEmpty() && !readNonce(item, resolvedPath(folder, noncePath), nonce)) {
        return false;
    }
    if (!readItemData(item, resolvedPath(folder, item.Path), nonce, data)) {
        return false;
    }
    segment.offset = item.Offset;
    segment.protection = protectionWord(item);
    segment.size = static_cast<std::uint32_t>(data.size());
    segment.record.reserve(backupRecord::headerSize + data.size());
    appendU32(segment.record, segment.offset);
    appendU32(segment.record, segment.protection);
    appendU32(segment.record, segment.size);
    segment.record.append(data);
    return true;
}

/// Checks that the output overwrites neither the document nor a file that its items name.
bool checkOutput(const QList<BackupItem>& items, const QString& jsonPath, const QString& outputPath) {
    if (isSameFile(outputPath, jsonPath)) {
        return reportError("The output file would replace the document.\n%s", qUtf8Printable(outputPath));
    }
    const QString folder = QFileInfo(jsonPath).absolutePath();
    return std::all_of(items.begin(), items.end(), [&](const BackupItem& item) {
        return sparesFiles(outputPath, item, {resolvedPath(folder, item.Path), resolvedPath(folder, item.Nonce)});
    });
}

bool buildSegments(const QList<BackupItem>& items, const QString& jsonPath, QList<BackupSegment>& segments) {
    const QString folder = QFileInfo(jsonPath).absolutePath();
    for (const BackupItem& item : items) {
        if (!buildSegment(item, folder, segments.emplaceBack())) {
            return false;
        }
    }
    return true;
}

bool joinRecords(const QList<BackupSegment>& segments, QByteArray& image) {
    qsizetype size = 0;
    for (const BackupSegment& segment : segments) {
        size += segment.record.size();
    }
    if (!canAllocate(size)) {
        return reportError("The files are too large.");
    }
    image.reserve(size);
    for (const BackupSegment& segment : segments) {
        image.append(segment.record);
    }
    return true;
}

bool makeImage(const QList<BackupItem>& items, const QString& jsonPath, const QString& outputPath,
               QList<BackupSegment>& segments, QByteArray& image) {
    return checkOutput(items, jsonPath, outputPath) && buildSegments(items, jsonPath, segments) &&
           joinRecords(segments, image) && writeImage(outputPath, image);
}

void listSegments(const QList<BackupSegment>& segments) {
    std::uint8_t number = 0;
    for (const BackupSegment& segment : segments) {
        ++number;
        displayMessage(MessageKind::normal, "  Segment %d/%d     ", int{number}, static_cast<int>(segments.size()));
        displayMessage(MessageKind::normal, "       Offset         : 0x%08X", segment.offset);
        displayMessage(MessageKind::normal, "       Protection     : 0x%08X", segment.protection);
        displayMessage(MessageKind::normal, "       Data Size      : 0x%X\n", segment.size);
    }
}

bool readBack(const QString& path, const QByteArray& image, QList<BackupSegment>& segments) {
    displayMessage(MessageKind::normal, "\nParse PVS Backup image:");
    return (canReadBack(path) ? parseBackupImage(path, segments) : parseBackupImage(image, path, segments)) == 0;
}

void showSuccess() {
    displayMessage(MessageKind::success, "PVS Backup generation SUCCESS");
}

}  // namespace

int parseBackupJson(const QString& jsonPath, QList<BackupItem>& items) {
    QJsonArray files;
    if (!readItemDocument(jsonPath, files)) {
        return -1;
    }
    QList<BackupItem> found;
    for (const QJsonValue element : std::as_const(files)) {
        if (!readItem(element.toObject(), found.emplaceBack())) {
            return -1;
        }
    }
    items.swap(found);
    int number = 0;
    for (const BackupItem& item : std::as_const(items)) {
        listItem(++number, item, item.Path, item.Nonce);
    }
    return 0;
}

int generateBackup(const QString& jsonPath, const QString& outputPath) {
    QList<BackupItem> items;
    if (parseBackupJson(jsonPath, items) != 0) {
        return -2;
    }
    QList<BackupSegment> segments;
    const WipeRecordsOnExit wipeSegments(segments);
    QByteArray image;
    const WipeOnExit wipeImage(image);
    if (!makeImage(items, jsonPath, outputPath, segments, image) || !checkBackupOverlap(segments)) {
        return -1;
    }
    showSuccess();
    QList<BackupSegment> written;
    const WipeRecordsOnExit wipeWritten(written);
    if (!readBack(outputPath, image, written)) {
        return -1;
    }
    listSegments(written);
    return 0;
}

int generateBackupFromItems(const QList<BackupItem>& items, const QString& jsonPath, const QString& outputPath) {
    if (items.isEmpty()) {
        return -1;
    }
    QList<BackupSegment> segments;
    const WipeRecordsOnExit wipeSegments(segments);
    QByteArray image;
    const WipeOnExit wipeImage(image);
    if (!makeImage(items, jsonPath, outputPath, segments, image)) {
        return -1;
    }
    QList<BackupSegment> written;
    const WipeRecordsOnExit wipeWritten(written);
    if (!readBack(outputPath, image, written) || !checkBackupOverlap(written)) {
        return -1;
    }
    listSegments(written);
    showSuccess();
    return 0;
}
