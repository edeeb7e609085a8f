#include "images/backupImage.h"

#include "images/ProtectedItem.h"
#include "images/imageFile.h"
#include "images/imageLayout.h"

#include "display/Display.h"
#include "files/ByteReader.h"
#include "files/wipe.h"

#include <QScopeGuard>

#include <algorithm>

namespace {

bool readRecord(ByteReader& reader, BackupSegment& segment) {
    const qsizetype start = reader.position();
    segment.offset = reader.u32();
    segment.protection = reader.u32();
    segment.size = reader.u32();
    if (!reader.ok()) {
        return false;
    }
    reader.seek(start);
    segment.record = reader.take(backupRecord::headerSize + qsizetype{segment.size}).toByteArray();
    return reader.ok();
}

}  // namespace

void wipeRecords(QList<BackupSegment>& segments) {
    for (BackupSegment& segment : segments) {
        wipeIfOwned(segment.record);
    }
}

int parseBackupImage(const QString& path, QList<BackupSegment>& segments) {
    QByteArray image;
    const WipeOnExit wipeImage(image);
    return readImage(path, image) ? parseBackupImage(image, path, segments) : -1;
}

int parseBackupImage(QByteArrayView image, const QString& path, QList<BackupSegment>& segments) {
    ByteReader reader(image);
    QList<BackupSegment> found;
    const auto wipeFound = qScopeGuard([&found] { wipeRecords(found); });
    while (!reader.atEnd()) {
        BackupSegment segment;
        if (!readRecord(reader, segment)) {
            reportError("Input Backup file is not valid : %s", qUtf8Printable(path));
            return -1;
        }
        if (found.size() == maxRecords) {
            reportError("The backup image %s has more than 65535 records", qUtf8Printable(path));
            return -1;
        }
        found.append(std::move(segment));
    }
    segments.swap(found);  // the guard of `found` now wipes the previous records
    return 0;
}

bool checkBackupOverlap(const QList<BackupSegment>& segments) {
    QList<BackupSegment> sorted = segments;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const BackupSegment& a, const BackupSegment& b) { return a.offset < b.offset; });
    bool apart = true;
    for (qsizetype i = 1; i < sorted.size(); ++i) {
        const BackupSegment& first = sorted.at(i - 1);
        const BackupSegment& second = sorted.at(i);
        const std::int64_t end = std::int64_t{first.offset} + first.size - nonceBytes(first.protection);
        if (end > second.offset) {
            apart = reportError("Overlap detected between files at offsets [0x%08X] and [0x%08X]", first.offset,
                                second.offset);
        }
    }
    return apart;
}
