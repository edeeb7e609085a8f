#include "images/secretsImage.h"

#include "images/imageFile.h"
#include "images/imageLayout.h"

#include "display/Display.h"
#include "files/ByteReader.h"
#include "files/wipe.h"

#include <algorithm>
#include <limits>

namespace {

bool readFixedLayout(QByteArrayView image, QList<SecretSegment>& segments) {
    if (image.size() != fixedSecrets::imageSize) {
        return reportError(
            "Secrets file size is not valid.\nThe expected total size is 152 Bytes (38 OTP words) "
            "corresponding to [56] and [59, 95] OTP regions");
    }
    ByteReader reader(image);
    segments.append({fixedSecrets::headWord, 0, otpWordSize, reader.take(otpWordSize).toByteArray()});
    for (std::uint32_t index = fixedSecrets::firstWord; index <= fixedSecrets::lastWord; ++index) {
        segments.append({index, 0, otpWordSize, reader.take(otpWordSize).toByteArray()});
    }
    return true;
}

/// Reads an image in the records layout. Truncated data is reported as an invalid record. A truncated header is
/// reported as a wrong file size.
bool readRecords(QByteArrayView image, const QString& path, QList<SecretSegment>& segments) {
    ByteReader reader(image);
    while (!reader.atEnd()) {
        SecretSegment segment;
        segment.word = reader.u32();
        segment.offset = segment.word & secretRecord::indexMask;
        segment.size = reader.u32();
        if (!reader.ok()) {
            return reportError("Secrets file size is not correct: %s", qUtf8Printable(path));
        }
        segment.data = reader.take(qsizetype{segment.size}).toByteArray();
        if (!reader.ok()) {
            return reportError("Secrets file is not valid : %s", qUtf8Printable(path));
        }
        if (segments.size() == maxRecords) {
            return reportError("The secrets image %s has more than 65535 records", qUtf8Printable(path));
        }
        segments.append(std::move(segment));
    }
    return true;
}

/// The index after the last complete word of a segment.
std::int64_t endWord(const SecretSegment& segment) {
    return std::int64_t{segment.offset} + segment.size / otpWordSize;
}

}  // namespace

int parseSecretsImage(std::uint32_t deviceId, const QString& path, QList<SecretSegment>& segments) {
    QByteArray image;
    const WipeOnExit wipeImage(image);
    // The reader asks for one byte more than the fixed layout has, so that it detects a file that is too long.
    const qint64 most = hasFixedLayout(deviceId) ? fixedSecrets::imageSize + 1 : std::numeric_limits<qint64>::max();
    return readImage(path, image, most) ? parseSecretsImage(deviceId, image, path, segments) : -1;
}

int parseSecretsImage(std::uint32_t deviceId, QByteArrayView image, const QString& path,
                      QList<SecretSegment>& segments) {
    QList<SecretSegment> found;
    if (!(hasFixedLayout(deviceId) ? readFixedLayout(image, found) : readRecords(image, path, found))) {
        return -1;
    }
    segments.swap(found);
    return 0;
}

bool checkSecretsOverlap(const QList<SecretSegment>& segments, std::uint32_t deviceId) {
    if (segments.isEmpty()) {
        return true;
    }
    QList<SecretSegment> sorted = segments;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const SecretSegment& a, const SecretSegment& b) { return a.offset < b.offset; });
    for (qsizetype i = 1; i < sorted.size(); ++i) {
        const SecretSegment& first = sorted.at(i - 1);
        const SecretSegment& second = sorted.at(i);
        if (endWord(first) > second.offset) {
            const int index = static_cast<int>(first.offset);
            return reportError(
                "Overlap detected between secrets at indexes [%d] and [%d]\nPlease check the size of "
                "the secret binary corresponding to the OTP %d",
                index, static_cast<int>(second.offset), index);
        }
    }
    const SecretSegment& last = sorted.constLast();
    return endWord(last) - 1 <= highestOtpWord(deviceId) ||
           reportError("The last secret binary [OTP%d] exceeds the maximum allowed memory",
                       static_cast<int>(last.offset));
}
