#include "desktop/secrets/secretsImages.h"

#include "desktop/secrets/SecretsDocument.h"
#include "display/MessageCollector.h"
#include "jobs/counted.h"

#include "files/isZero.h"
#include "files/outputFile.h"
#include "files/wipe.h"
#include "images/imageLayout.h"
#include "images/itemFiles.h"
#include "images/secretsImage.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <limits>
#include <utility>

namespace desktop {

namespace {

constexpr qsizetype maxRecordItems = 4096;        // the limit of a document
constexpr qint64 maxImageSize = qint64{1} << 20;  // several times the size that the words of a device need

QString text(const char* source) {
    return QCoreApplication::translate("SecretsPage", source);
}

/// The words as bytes in the order of their text; empty if they are invalid.
QByteArray bytesOf(const SecretItem& item) {
    QByteArray bytes;
    return readSecretWord(item.PathOrWord, bytes) ? bytes : QByteArray();
}

SecretSize sizeOfWords(const SecretItem& item) {
    SecretSize size;
    QByteArray bytes = bytesOf(item);
    const WipeOnExit wipeBytes(bytes);
    const bool hasPrefix =
        item.PathOrWord.isEmpty() || item.PathOrWord.startsWith(QLatin1String("0x"), Qt::CaseInsensitive);
    if (!hasPrefix || item.PathOrWord.size() % 2 != 0 || bytes.size() < otpWordSize) {
        size.data = {jobs::Verdict::Kind::fault, text("Words are 0x and eight hexadecimal digits for each.")};
        return size;
    }
    size.isKnown = true;
    size.bytes = bytes.size();
    if (isUnfilledWord(item) || (item.PathOrWord.isEmpty() && item.isMandatory)) {
        size.data = {jobs::Verdict::Kind::missing, text("Still to be filled in.")};
    }
    return size;
}

/// The verdict on the path of an item. Rejects a pipe, because its reader could wait forever, and a closing window
/// waits for the reader.
jobs::Verdict fileVerdict(const QString& path, qint64& bytes) {
    const QFileInfo info(path.contains(QChar::Null) ? QString() : path);
    const char* fault = !info.exists()       ? QT_TRANSLATE_NOOP("SecretsPage", "There is no file “%1”.")
                        : info.isDir()       ? QT_TRANSLATE_NOOP("SecretsPage", "“%1” is a folder.")
                        : !info.isFile()     ? QT_TRANSLATE_NOOP("SecretsPage", "“%1” is no plain file.")
                        : !info.isReadable() ? QT_TRANSLATE_NOOP("SecretsPage", "You have no right to read “%1”.")
                                             : nullptr;
    if (fault != nullptr) {
        return {jobs::Verdict::Kind::fault, text(fault).arg(QDir::cleanPath(path))};
    }
    bytes = info.size();
    return {};
}

SecretSize sizeOfFile(const SecretItem& item, const QString& folder) {
    SecretSize size;
    if (item.PathOrWord.isEmpty()) {
        size.isKnown = item.expectedSize <= 0;
        size.data = {jobs::Verdict::Kind::missing, text("No file is chosen yet.")};
        return size;
    }
    qint64 bytes = 0;
    size.data = fileVerdict(secretFile(item.PathOrWord, folder), bytes);
    if (size.data.kind == jobs::Verdict::Kind::good) {
        size.isKnown = true;
        size.bytes = bytes;
    }
    return size;
}

jobs::Verdict nonceVerdict(const SecretItem& item, qint64 size, const QString& folder) {
    if (item.Nonce.isEmpty()) {
        const bool isAmongWords = !item.isFile && size > qint64{nonceSize};
        return isAmongWords
                   ? jobs::Verdict()
                   : jobs::Verdict{jobs::Verdict::Kind::missing, text("This algorithm needs a nonce of 16 bytes.")};
    }
    qint64 bytes = 0;
    const jobs::Verdict verdict = fileVerdict(secretFile(item.Nonce, folder), bytes);
    return verdict.kind == jobs::Verdict::Kind::good && bytes != nonceSize
               ? jobs::Verdict{jobs::Verdict::Kind::fault, text("A nonce has 16 bytes, this file has %1.").arg(bytes)}
               : verdict;
}

QString overwrittenInput(const QList<SecretItem>& items, const QString& folder, const QString& documentPath,
                         const QString& outputPath) {
    QStringList inputs = {documentPath};
    for (const SecretItem& item : items) {
        if (item.isFile) {
            inputs += secretFile(item.PathOrWord, folder);
        }
        inputs += secretFile(item.Nonce, folder);
    }
    for (const QString& input : std::as_const(inputs)) {
        if (!input.isEmpty() && isSameFile(input, outputPath)) {
            return input;
        }
    }
    return {};
}

/// In the fixed layout, the first item's data is stored in word 56, and any further data in word 59 and later.
SecretsOpenPoint headWordPoint(const QList<SecretItem>& items, const QString& folder) {
    const SecretItem& first = items.constFirst();
    if (first.Offset != fixedSecrets::headWord) {
        return {0, text("An image of this device takes word 56 from its first item. Put an item for word 56 "
                        "first, with zeros if the word is unused.")};
    }
    if (secretSize(first, folder).words() > 1) {
        return {0, text("%1: word 56 is separate in an image, so its item must have one word.").arg(first.Name)};
    }
    return {};
}

/// The words of a record as text.
QString wordsText(const QByteArray& data) {
    QByteArray numbers = data;
    numbers.detach();
    const WipeOnExit wipeNumbers(numbers);
    for (qsizetype i = 0; i + otpWordSize <= numbers.size(); i += otpWordSize) {
        std::reverse(numbers.begin() + i, numbers.begin() + i + otpWordSize);
    }
    return QStringLiteral("0x") + QString::fromLatin1(numbers.toHex().toUpper());
}

QByteArray itemOf(const devices::Device& device, const SecretSegment& segment) {
    const qsizetype fuse = devices::fuseAt(device.fuses, segment.offset);
    NewSecret secret;
    secret.name = text("Word %1").arg(segment.offset);
    if (fuse >= 0 && device.fuses.words.at(fuse).index == segment.offset) {
        secret.name = device.fuses.words.at(fuse).name;
        secret.isMandatory = !device.fuses.words.at(fuse).mayBeLeftOut;
    }
    secret.index = segment.offset;
    secret.protection = segment.word & secretRecord::protectionMask;
    secret.isFile = segment.data.isEmpty();  // a record without data becomes a file item without a path
    secret.pathOrWord = segment.data.isEmpty() ? QString() : wordsText(segment.data);
    return secretItemText(device.fuses, secret);
}

}  // namespace

SecretKind secretKind(const SecretItem& item) {
    return !item.isFile ? SecretKind::words : item.Format == 1 ? SecretKind::numbers : SecretKind::bytes;
}

QString secretFile(const QString& path, const QString& folder) {
    if (path.isEmpty()) {
        return path;
    }
    return path.startsWith(u'.') ? secretPath(path) : QDir(folder).filePath(path);
}

std::uint32_t SecretSize::words() const {
    const qint64 count = (bytes + otpWordSize - 1) / otpWordSize;
    return static_cast<std::uint32_t>(std::min<qint64>(count, std::numeric_limits<std::uint32_t>::max()));
}

SecretSize secretSize(const SecretItem& item, const QString& folder) {
    SecretSize size = item.isFile ? sizeOfFile(item, folder) : sizeOfWords(item);
    if (size.isKnown && size.data.kind == jobs::Verdict::Kind::good && item.expectedSize > 0 &&
        size.bytes != item.expectedSize) {
        size.data = {jobs::Verdict::Kind::fault,
                     jobs::counted(item.expectedSize, text("1 byte is expected, there are %2."),
                                   text("%1 bytes are expected, there are %2."))
                         .arg(size.bytes)};
    }
    if (!size.isKnown) {
        size.bytes = std::max(item.expectedSize, 0);
    }
    if (hasNonce(item)) {
        size.nonce = nonceVerdict(item, size.bytes, folder);
        // The library adds no nonce to a single word, and words of an image already contain theirs.
        const bool isAdded = item.isFile || (size.bytes > otpWordSize && !item.Nonce.isEmpty());
        size.nonceBytes = isAdded && size.bytes > 0 ? nonceSize : 0;
        size.bytes += size.nonceBytes;
    }
    return size;
}

jobs::Verdict openVerdict(const SecretItem& item, const SecretSize& size) {
    const bool isLeftOut = item.isFile && item.PathOrWord.isEmpty() && !item.isMandatory;
    for (const jobs::Verdict& verdict : {size.data, size.nonce}) {
        if (verdict.kind == jobs::Verdict::Kind::fault ||
            (verdict.kind == jobs::Verdict::Kind::missing && !isLeftOut)) {
            return verdict;
        }
    }
    return {};
}

QList<devices::OtpItem> otpItems(const devices::DeviceFuses& fuses, const QList<SecretItem>& items,
                                 const QList<SecretSize>& sizes) {
    QList<devices::OtpItem> places;
    for (qsizetype i = 0; i < items.size(); ++i) {
        const SecretItem& item = items.at(i);
        std::uint32_t count = sizes.at(i).words();
        if (count == 0 && !sizes.at(i).isKnown) {
            const qsizetype fuse = devices::fuseAt(fuses, item.Offset);
            count = fuse < 0 ? 1 : fuses.words.at(fuse).end() - item.Offset;
        }
        places += {item.Name, item.Offset, count};
    }
    return places;
}

QByteArray secretPreview(const SecretItem& item, const QString& folder, qsizetype most) {
    const SecretSize size = secretSize(item, folder);
    QByteArray bytes;
    if (!size.isKnown) {
        return bytes;
    }
    if (!item.isFile) {
        bytes = bytesOf(item);
        std::fill(bytes.begin() + std::min(most, bytes.size()), bytes.end(), '\0');
        bytes.truncate(most);
        return bytes;
    }
    const QString path = secretFile(item.PathOrWord, folder);
    QFile file(path);
    // A pipe would block until another process writes to it.
    if (QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        bytes = file.read(most);
    }
    return bytes;
}

bool makesSecretsFor(std::uint32_t deviceId) {
    return hasFixedLayout(deviceId) || deviceId == recordsDevice;
}

SecretsOpenPoint secretsOpenPoint(std::uint32_t deviceId, const QList<SecretItem>& items, const QString& folder) {
    if (!makesSecretsFor(deviceId)) {
        return {-1, text("Images are made for the devices 0x500, 0x501 and 0x505.")};
    }
    if (items.isEmpty()) {
        return {-1, text("The document has no items yet.")};
    }
    for (qsizetype i = 0; i < items.size(); ++i) {
        const SecretItem& item = items.at(i);
        const jobs::Verdict verdict = openVerdict(item, secretSize(item, folder));
        if (verdict.kind != jobs::Verdict::Kind::good) {
            return {i, text("%1: %2").arg(item.Name, verdict.text)};
        }
    }
    return hasFixedLayout(deviceId) ? headWordPoint(items, folder) : SecretsOpenPoint();
}

SecretsMade makeSecretsImage(std::uint32_t deviceId, const QList<SecretItem>& items, const QString& folder,
                             const QString& documentPath, const QString& outputPath) {
    SecretsMade made;
    made.fault = secretsOpenPoint(deviceId, items, folder).text;
    if (!made.fault.isEmpty()) {
        return made;
    }
    const QString input = overwrittenInput(items, folder, documentPath, outputPath);
    if (!input.isEmpty()) {
        made.fault = text("The image would replace “%1”, which it is made from.").arg(input);
        return made;
    }
    QList<SecretItem> given = items;
    const WipeSegmentsOnExit<SecretItem, &SecretItem::Bytes> wipeGiven(given);
    for (SecretItem& item : given) {
        item.Nonce = secretFile(item.Nonce, folder);
        if (item.isFile) {
            item.PathOrWord = secretFile(item.PathOrWord, folder);
        } else if (item.Bytes = bytesOf(item); item.Bytes.size() > otpWordSize) {
            // The library makes a record of several words only from a file of numbers.
            item.isFile = true;
            item.Format = 1;
            item.PathOrWord.clear();
        }
    }
    const MessageCollector messages;
    made.words = generateSecrets(deviceId, given, outputPath);
    made.fault = made.words < 0 ? messages.faults() : QString();
    made.warning = messages.warnings();
    if (made.words < 0 && made.fault.isEmpty()) {
        made.fault = made.warning;
    }
    return made;
}

bool readSecretsImage(const devices::Device& device, const QString& path, QByteArrayList& items, QString& fault,
                      QString& remark) {
    if (!makesSecretsFor(device.deviceId)) {
        fault = text("Images can be read for the devices 0x500, 0x501 and 0x505.");
        return false;
    }
    if (!QFileInfo(path).isFile() || QFileInfo(path).size() > maxImageSize) {
        fault = QFileInfo(path).isFile() ? text("“%1” is too large for an image of OTP words.").arg(path)
                                         : text("“%1” can't be read.").arg(path);
        return false;
    }
    QList<SecretSegment> segments;
    const WipeSegmentsOnExit<SecretSegment, &SecretSegment::data> wipeSegments(segments);
    const MessageCollector messages;
    if (parseSecretsImage(device.deviceId, path, segments) != 0) {
        fault = messages.faults();
        return false;
    }
    QByteArrayList found;
    qsizetype zeros = 0;
    for (const SecretSegment& segment : std::as_const(segments)) {
        // Keep the first segment even if it is zero, because an image stores its first item in the first word.
        if (hasFixedLayout(device.deviceId) && isZero(segment.data) && !found.isEmpty()) {
            ++zeros;
            continue;
        }
        if (found.size() == maxRecordItems) {
            fault = text("A document may have %1 items, this image has more.").arg(maxRecordItems);
            return false;
        }
        found += itemOf(device, segment);
    }
    remark = zeros > 0
                 ? jobs::counted(zeros, text("1 word of zeros was left out."), text("%1 words of zeros were left out."))
                 : QString();
    items = found;
    return true;
}

}  // namespace desktop
