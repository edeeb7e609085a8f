#include "fuzz/FuzzFile.h"
#include "images/backupImage.h"

#include <cstdlib>

// The joined records of an image must be the bytes of the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const FuzzFile file(data, size, ".bin");
    QList<BackupSegment> segments;
    if (parseBackupImage(file.path(), segments) != 0) {
        return segments.isEmpty() ? 0 : (std::abort(), 0);
    }
    QByteArray image;
    for (const BackupSegment& segment : segments) {
        image += segment.record;
    }
    if (image != QByteArrayView(data, static_cast<qsizetype>(size))) {
        std::abort();
    }
    static_cast<void>(checkBackupOverlap(segments));
    return 0;
}
