#include "images/secretsGenerator.h"

#include "images/imageFile.h"
#include "images/imageLayout.h"
#include "images/itemDocument.h"
#include "images/itemFiles.h"

#include "files/byteWriter.h"
#include "files/hexPairs.h"
#include "files/outputFile.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <utility>

namespace {

using WipeDataOnExit = WipeSegmentsOnExit<SecretSegment, &SecretSegment::data>;

/// The protection word of a secret word that has no value yet. The secret word itself is zero.
constexpr std::uint32_t unfilledProtection = 0x10000000;

/// A key whose value is a string of decimal digits, and the words of the message about an invalid value.
struct DecimalRow {
    QLatin1String key;
    std::uint32_t least;
    std::uint32_t greatest;
    const char* shownName;
    const char* shownValues = "0/1";
};

constexpr DecimalRow mandatoryRow = {QLatin1String("isMandatory"), 0, 1, "Mandatory"};
constexpr DecimalRow ownerRow = {QLatin1String("isVXOwner"), 0, 1, "isVXOwner"};
constexpr DecimalRow isFileRow = {QLatin1String("isFile"), 0, 1, "isFile"};
constexpr DecimalRow expectedSizeRow = {QLatin1String("expectedSize"), 0, 0x7FFFFFFF, "expectedSize"};
constexpr DecimalRow formatRow = {QLatin1String("Format"), 1, 2, "isFile", "1/2"};

template <typename Number>
bool readDecimal(const QJsonObject& object, const DecimalRow& row, Number& number) {
    const QString text = object.value(row.key).toString();
    std::uint32_t value = 0;
    if (!parseNumber(text, 10, value) || value < row.least || value > row.greatest) {
        return reportError("Invalid %s item value : %s \nPossible values: %s", row.shownName, qUtf8Printable(text),
                           row.shownValues);
    }
    number = static_cast<Number>(value);
    return true;
}

template <typename Number>
bool readOptional(const QJsonObject& object, const DecimalRow& row, Number& number) {
    return !object.contains(row.key) || readDecimal(object, row, number);
}

bool readExpectedSize(const QJsonObject& object, SecretItem& item) {
    if (item.isVXOwner && !object.contains(expectedSizeRow.key)) {
        return reportError("Invalid json item [expectedSize field does not exist, it is mandatory for VX Owner Items]");
    }
    return readOptional(object, expectedSizeRow, item.expectedSize);
}

void reverseWords(QByteArray& data) {
    const qsizetype wholeWords = data.size() - data.size() % otpWordSize;
    for (qsizetype i = 0; i < wholeWords; i += otpWordSize) {
        std::reverse(data.begin() + i, data.begin() + i + otpWordSize);
    }
}

/// Whether the item's `Bytes` start with the nonce.
bool startsWithNonce(const SecretItem& item) {
    return hasNonce(item) && item.Nonce.isEmpty() && item.isFile && item.Bytes.size() > qsizetype{nonceSize};
}

bool readFile(const SecretItem& item, const QString& noncePath, SecretSegment& segment) {
    QByteArray nonce;
    const WipeOnExit wipeNonce(nonce);
    if (!noncePath.isEmpty() && !readNonce(item, secretPath(noncePath), nonce)) {
        return false;
    }
    if (!item.Bytes.isEmpty()) {
        if (!checkItemSize(item, QString(), item.Bytes.size() - (startsWithNonce(item) ? qsizetype{nonceSize} : 0))) {
            return false;
        }
        segment.data.reserve(nonce.size() + item.Bytes.size());
        segment.data.append(nonce).append(item.Bytes);
    } else if (!item.PathOrWord.isEmpty() && !readItemData(item, secretPath(item.PathOrWord), nonce, segment.data)) {
        return false;
    }
    segment.size = static_cast<std::uint32_t>(segment.data.size());
    return true;
}

/// The number of digits determines the number of bytes in `data`, but `size` is always the size of one word. No message
/// contains the word, because it is a secret.
bool readWord(const SecretItem& item, SecretSegment& segment) {
    segment.size = otpWordSize;
    return readSecretWord(item.PathOrWord, segment.data) ||
           reportError("[%s]\nThe secret word must have two hexadecimal digits or more after 0x.",
                       qUtf8Printable(item.Name));
}

std::uint32_t headerWord(const SecretItem& item) {
    return item.Offset | (protectionWord(item) & secretRecord::protectionMask);
}

bool buildSegment(const SecretItem& item, bool forPreview, QList<SecretSegment>& segments) {
    QString noncePath;
    if (!startsWithNonce(item) && !chooseNonce(item, item.PathOrWord, MessageKind::warning, noncePath)) {
        return false;
    }
    if (isUnfilledWord(item)) {
        return forPreview || reportError("[%s]\nSecret word is not filled/configured.", qUtf8Printable(item.Name));
    }
    SecretSegment& segment = segments.emplaceBack();
    segment.offset = item.Offset;
    segment.word = headerWord(item);
    if (!(item.isFile ? readFile(item, noncePath, segment) : readWord(item, segment))) {
        return false;
    }
    if (!forPreview && (!item.isFile || item.Format == 1)) {
        reverseWords(segment.data);
    }
    return true;
}

constexpr OtpRange fixedRanges[] = {{fixedSecrets::headWord, fixedSecrets::headWord},
                                    {fixedSecrets::firstWord, fixedSecrets::lastWord}};
constexpr OtpRange recordsRanges[] = {{12, 12},   {17, 19},   {22, 22},   {144, 144},
                                      {152, 152}, {176, 254}, {256, 256}, {260, 367}};

bool isAmong(std::span<const OtpRange> ranges, std::uint32_t index) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [index](const OtpRange& range) { return index >= range.first && index <= range.last; });
}

/// Checks that the output overwrites no file that the items name.
bool checkOutput(const QList<SecretItem>& items, const QString& outputPath) {
    return std::all_of(items.begin(), items.end(), [&outputPath](const SecretItem& item) {
        return sparesFiles(outputPath, item,
                           {item.isFile ? secretPath(item.PathOrWord) : QString(), secretPath(item.Nonce)});
    });
}

bool checkIndex(std::uint32_t deviceId, const SecretItem& item) {
    if (hasFixedLayout(deviceId)) {
        return isAmong(fixedRanges, item.Offset) ||
               reportError("OTP offset value does not respect the OTP range [59, 95], or 56");
    }
    if (deviceId == recordsDevice) {
        return isAmong(recordsRanges, item.Offset) ||
               reportError(
                   "OTP [%s] : index does not respect the OTP range.\nPossible values :  12, 17, 18, 19, 22, "
                   "144, 152, [176, 254], 256 and [260, 367]",
                   qUtf8Printable(item.Name));
    }
    return reportError("%s", "");
}

/// Copies `data` to `position` of the image. Bytes after the end of the fixed layout are dropped.
void place(const QByteArray& data, qsizetype position, QByteArray& image) {
    const qsizetype size = std::min(data.size(), image.size() - position);
    std::copy_n(data.constData(), size, image.data() + position);
}

/// The image in the fixed layout. The first segment is written at offset 0, whatever its index. Segments for words 59
/// to 95 are written at the offsets of their words. A later segment for word 56 is left out.
QByteArray fixedLayoutImage(const QList<SecretSegment>& segments) {
    QByteArray image(fixedSecrets::imageSize, '\0');
    place(segments.constFirst().data, 0, image);
    for (const SecretSegment& segment : segments) {
        if (segment.offset >= fixedSecrets::firstWord && segment.offset <= fixedSecrets::lastWord) {
            place(segment.data, fixedSecrets::offsetOf(segment.offset), image);
        }
    }
    return image;
}

QByteArray recordsImage(const QList<SecretSegment>& segments) {
    qsizetype size = 0;
    for (const SecretSegment& segment : segments) {
        size += secretRecord::headerSize + segment.data.size();
    }
    QByteArray image;
    image.reserve(size);
    for (const SecretSegment& segment : segments) {
        appendU32(image, segment.word);
        appendU32(image, segment.size);
        image.append(segment.data);
    }
    return image;
}

/// The number of OTP words of all segments without their nonces. A segment that is too small for a nonce counts as a
/// segment without one, whatever its algorithm.
std::int64_t countWords(const QList<SecretSegment>& segments) {
    std::int64_t words = 0;
    for (const SecretSegment& segment : segments) {
        const std::uint32_t nonce = nonceBytes(segment.word);
        const std::int64_t size = segment.size < nonce ? segment.size : segment.size - nonce;
        words += (size + otpWordSize - 1) / otpWordSize;
    }
    return words;
}

void listSegments(const QList<SecretSegment>& segments) {
    for (const SecretSegment& segment : segments) {
        displayMessage(MessageKind::normal, "  OTP AREAS     ");
        displayMessage(MessageKind::normal, "       Offset         : %d", static_cast<int>(segment.offset));
        displayMessage(MessageKind::normal, "       Protection     : 0x%08X",
                       segment.word & secretRecord::protectionMask);
        displayMessage(MessageKind::normal, "       Data Size      : 0x%X\n", segment.size);
    }
}

bool readBack(std::uint32_t deviceId, const QString& path, const QByteArray& image) {
    displayMessage(MessageKind::normal, "\nParse PVS secrets image:");
    QList<SecretSegment> segments;
    const WipeDataOnExit wipeSegments(segments);
    const int read = canReadBack(path) ? parseSecretsImage(deviceId, path, segments)
                                       : parseSecretsImage(deviceId, image, path, segments);
    if (read != 0 || !checkSecretsOverlap(segments, deviceId)) {
        return false;
    }
    listSegments(segments);
    displayMessage(MessageKind::success, "PVS Secrets generation SUCCESS");
    return true;
}

}  // namespace

bool readSecretItem(const QJsonObject& object, SecretItem& item) {
    if (!hasKeys(object, {QLatin1String("Name"), QLatin1String("PathOrWord"), QLatin1String("Offset")})) {
        return reportError("Invalid json item");
    }
    item.Name = object.value(QLatin1String("Name")).toString();
    item.PathOrWord = object.value(QLatin1String("PathOrWord")).toString();
    if (!readHex(object.value(QLatin1String("Offset")), item.Offset) ||
        !readOptional(object, mandatoryRow, item.isMandatory) || !readOptional(object, ownerRow, item.isVXOwner)) {
        return false;
    }
    if (!object.contains(isFileRow.key)) {
        return reportError("Invalid json item [isFile field does not exist]");
    }
    if (!readDecimal(object, isFileRow, item.isFile) || !readExpectedSize(object, item)) {
        return false;
    }
    if (!object.contains(formatRow.key)) {
        return reportError("Invalid json item [Format field does not exist]");
    }
    if (!readDecimal(object, formatRow, item.Format)) {
        return false;
    }
    if (!object.contains(QLatin1String("Protection"))) {
        return reportError("Invalid json item");
    }
    return readProtection(object.value(QLatin1String("Protection")).toObject(), protectionFields(item), item.Nonce);
}

bool readSecretWord(const QString& word, QByteArray& bytes) {
    const QStringView digits = word.isEmpty() ? QStringView(u"00000000") : QStringView(word).mid(2);
    if (digits.size() < 2 || !std::all_of(digits.begin(), digits.end(), isHexDigit)) {
        return false;
    }
    QByteArray text = digits.toLatin1();
    const WipeOnExit wipeText(text);
    bytes = QByteArray::fromHex(text);
    return true;
}

bool isUnfilledWord(const SecretItem& item) {
    return !item.isFile && (item.PathOrWord.isEmpty() || item.PathOrWord == QLatin1String("0x00000000")) &&
           (headerWord(item) & secretRecord::protectionMask) == unfilledProtection;
}

QString secretPath(const QString& path) {
    return resolvedPath(QFileInfo(QCoreApplication::applicationDirPath()).absolutePath(), path);
}

std::span<const OtpRange> secretIndexes(std::uint32_t deviceId) {
    return hasFixedLayout(deviceId)    ? std::span<const OtpRange>(fixedRanges)
           : deviceId == recordsDevice ? std::span<const OtpRange>(recordsRanges)
                                       : std::span<const OtpRange>();
}

int parseSecretsJson(const QString& jsonPath, QList<SecretItem>& items) {
    QJsonArray files;
    if (!readItemDocument(jsonPath, files)) {
        return -1;
    }
    QList<SecretItem> found;
    for (const QJsonValue element : std::as_const(files)) {
        if (!readSecretItem(element.toObject(), found.emplaceBack())) {
            return -1;
        }
    }
    items.swap(found);
    int number = 0;
    for (const SecretItem& item : std::as_const(items)) {
        listItem(++number, item, item.PathOrWord, QString());
    }
    return 0;
}

int buildSecretSegments(const QList<SecretItem>& items, QList<SecretSegment>& segments, bool forPreview,
                        std::uint32_t deviceId) {
    QList<SecretSegment> built;
    const WipeDataOnExit wipeBuilt(built);
    for (const SecretItem& item : items) {
        if (!buildSegment(item, forPreview, built)) {
            return -1;
        }
    }
    if (!checkSecretsOverlap(built, deviceId)) {
        return -1;
    }
    segments.swap(built);  // the guard of `built` now wipes the previous segments
    return 0;
}

int generateSecrets(std::uint32_t deviceId, const QList<SecretItem>& items, const QString& outputPath) {
    if (items.isEmpty()) {
        return -1;
    }
    for (const SecretItem& item : items) {
        if (!checkIndex(deviceId, item)) {
            return -1;
        }
    }
    QList<SecretSegment> segments;
    const WipeDataOnExit wipeSegments(segments);
    if (!checkOutput(items, outputPath) || buildSecretSegments(items, segments, false, deviceId) != 0) {
        return -1;
    }
    const bool fixed = hasFixedLayout(deviceId);
    QByteArray image = fixed ? fixedLayoutImage(segments) : recordsImage(segments);
    const WipeOnExit wipeImage(image);
    if (!writeImage(outputPath, image) || !readBack(deviceId, outputPath, image)) {
        return -1;
    }
    return fixed ? static_cast<int>(fixedSecrets::imageSize / otpWordSize) : static_cast<int>(countWords(segments));
}
