#include "inspect/sources.h"

#include "display/MessageCollector.h"
#include "files/ByteReader.h"
#include "files/byteWriter.h"
#include "files/elfReader.h"
#include "files/isZero.h"
#include "files/readExactly.h"
#include "files/recordFiles.h"
#include "files/wipe.h"
#include "inspect/compare.h"
#include "inspect/input.h"
#include "inspect/records.h"

#include <QFile>

#include <algorithm>

namespace inspect {

namespace {

bool parseHex(const QString& text, std::uint64_t& value) {
    const QStringView digits =
        text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? QStringView(text).mid(2) : QStringView(text);
    bool isNumber = false;
    value = digits.toULongLong(&isNumber, 16);
    constexpr std::uint64_t last = 0xFFFFFFFF;
    return isNumber && value <= last && digits.at(0).isLetterOrNumber();
}

/// A path, and the address after "@" if there is one.
std::pair<QString, std::optional<std::uint64_t>> splitArgument(const QString& argument) {
    const qsizetype at = argument.lastIndexOf(u'@');
    std::uint64_t address = 0;
    if (at > 0 && !QFile::exists(argument) && parseHex(argument.sliced(at + 1), address)) {
        return {argument.first(at), address};
    }
    return {argument, std::nullopt};
}

bool readSegments(FileReader reader, QFile& file, std::uint8_t fillByte, std::vector<SourcePiece>& pieces,
                  QString& fault) {
    FileLoadContext context;
    context.fillByte = fillByte;
    std::shared_ptr<FileData> record;
    const MessageCollector messages;
    if (!reader(context, file, record)) {
        fault = messages.lastFault();
        return false;
    }
    for (const FileSegment& segment : record->segments) {
        pieces.push_back({segment.address, segment.data.first(static_cast<qsizetype>(segment.size))});
    }
    return true;
}

bool layOut(const std::vector<SourcePiece>& pieces, QByteArray& module, QString& fault) {
    if (pieces.empty()) {
        fault = QStringLiteral("it contains no data to load");
        return false;
    }
    std::uint64_t start = pieces.front().address;
    std::uint64_t end = start;
    qint64 filled = 0;
    for (const SourcePiece& piece : pieces) {
        start = std::min(start, piece.address);
        end = std::max(end, piece.address + static_cast<std::uint64_t>(piece.bytes.size()));
        filled += piece.bytes.size();
    }
    const auto size = static_cast<qint64>(end - start);
    if (size - filled > maxInputPipe || !canAllocate(size)) {
        fault = QStringLiteral("its gaps are too large");
        return false;
    }
    module.fill('\xff', size);
    for (const SourcePiece& piece : pieces) {
        std::copy(piece.bytes.begin(), piece.bytes.end(),
                  module.begin() + static_cast<qsizetype>(piece.address - start));
    }
    return true;
}

bool parseNumberField(QByteArrayView field, std::uint32_t& value) {
    const QByteArray text = field.trimmed().toByteArray();
    const bool isHex = text.startsWith("0x") || text.startsWith("0X");
    const QByteArray digits = isHex ? text.sliced(2) : text;
    const int base = isHex ? 16 : text.startsWith('0') ? 8 : 10;
    bool isNumber = false;
    value = digits.toUInt(&isNumber, base);
    return isNumber && digits.at(0) != '+';
}

std::vector<const Content*> contentsOfKind(const Contents& contents, ContentKind kind) {
    std::vector<const Content*> found;
    for (const Content& content : contents.list) {
        if (content.kind == kind) {
            found.push_back(&content);
        }
    }
    return found;
}

void finish(const char* name, std::size_t before, Description& description) {
    description.addCheck(CheckCode::against, description.differences.size() == before, 0, {textField("content", name)});
}

// A content without an address starts at the lowest address of its sources.
std::uint64_t startOf(const std::vector<SourcePiece>& pieces) {
    const auto lowest = std::min_element(
        pieces.begin(), pieces.end(), [](const SourcePiece& a, const SourcePiece& b) { return a.address < b.address; });
    return lowest == pieces.end() ? 0 : lowest->address;
}

/// Returns the source with the values that the packaging tool writes into it.
QByteArray withOwnValues(const QByteArray& source, std::uint64_t address, const Content& content) {
    QByteArray bytes = source;
    for (qsizetype i = content.ownOffset; i < content.ownOffset + content.ownSize; ++i) {
        const std::uint64_t at = content.address + static_cast<std::uint64_t>(i) - address;
        if (i < content.bytes.size() && at < static_cast<std::uint64_t>(bytes.size())) {
            bytes[static_cast<qsizetype>(at)] = content.bytes.at(i);
        }
    }
    return bytes;
}

QByteArrayView withoutHeaderRoom(const QByteArray& source, const Content& content) {
    const qsizetype room = content.headerRoom;
    const qsizetype missing = content.bytes.size() - (source.size() - room);
    const bool hasRoom = room > 0 && source.size() >= room && missing >= 0 && missing <= content.tailRoom &&
                         isZero(QByteArrayView(source).first(room));
    return QByteArrayView(source).sliced(hasRoom ? room : 0);
}

/// The bytes of a content, without the zeros at its end that a source of `size` bytes may lack.
QByteArrayView withoutTailRoom(const Content& content, qsizetype size) {
    const QByteArrayView bytes = content.bytes;
    const qsizetype missing = bytes.size() - size;
    const bool hasRoom = missing > 0 && missing <= content.tailRoom && isZero(bytes.last(missing));
    return hasRoom ? bytes.first(size) : bytes;
}

void proveFirmware(const Sources& sources, const std::vector<const Content*>& found, Description& description) {
    const bool isPlaced = found.empty() || found.front()->hasAddress;
    const std::uint64_t start = isPlaced ? 0 : startOf(sources.firmware);
    std::vector<PlacedBytes> given;
    QByteArrayList changed;
    for (const SourcePiece& piece : sources.firmware) {
        const std::uint64_t address = piece.address - start;
        if (isPlaced) {
            given.push_back({address, piece.bytes});
        } else if (found.front()->ownSize > 0) {
            changed << withOwnValues(piece.bytes, address, *found.front());
            given.push_back({address, changed.constLast()});
        } else {
            given.push_back({address, withoutHeaderRoom(piece.bytes, *found.front())});
        }
    }
    std::vector<PlacedBytes> inImage;
    inImage.reserve(found.size());
    for (const Content* const content : found) {
        const bool isOnly = found.size() == 1 && given.size() == 1 && given.front().address == content->address;
        inImage.push_back(
            {content->address, isOnly ? withoutTailRoom(*content, given.front().bytes.size()) : content->bytes});
    }
    const std::size_t before = description.differences.size();
    addByteDifferences("firmware", 0, compareBytes(std::move(inImage), std::move(given)), {"image", "source"},
                       description.differences);
    finish("firmware", before, description);
    for (QByteArray& bytes : changed) {
        wipe(bytes);
    }
}

// A module that can be placed anywhere has the address 0 in its file; the image contains its actual address there.
std::vector<PlacedBytes> asPlaced(const QByteArray& source, const Content& content) {
    constexpr qsizetype at = 8;
    constexpr qsizetype end = 12;
    QByteArray address;
    appendU32(address, static_cast<std::uint32_t>(content.address));
    const bool isPlaced = content.kind == ContentKind::module && content.hasAddress && source.size() >= end &&
                          source.mid(at, end - at) == QByteArray(end - at, '\0') &&
                          content.bytes.mid(at, end - at) == address;
    if (!isPlaced) {
        return {{0, withoutHeaderRoom(source, content)}};
    }
    return {{0, QByteArrayView(source).first(at)},
            {at, QByteArrayView(content.bytes).sliced(at, end - at)},
            {end, QByteArrayView(source).sliced(end)}};
}

/// The check is good if there are no more than `before` differences.
void proveInTurn(const char* name, const std::vector<QByteArray>& given, const std::vector<const Content*>& inImage,
                 std::size_t before, Description& description) {
    const std::size_t pairs = std::min(given.size(), inImage.size());
    for (std::size_t i = 0; i < pairs; ++i) {
        const std::vector<PlacedBytes> source = asPlaced(given[i], *inImage[i]);
        const QByteArrayView content = withoutTailRoom(*inImage[i], source.back().bytes.size());
        addByteDifferences(name, inImage[i]->part, compareBytes({{0, content}}, source), {"image", "source"},
                           description.differences);
    }
    for (std::size_t i = pairs; i < inImage.size(); ++i) {
        description.differences.push_back(
            {DifferenceCode::sourceMissing, inImage[i]->part, {textField("name", name), numberField("count", i + 1)}});
    }
    for (std::size_t i = pairs; i < given.size(); ++i) {
        description.differences.push_back(
            {DifferenceCode::sourceExtra, 0, {textField("name", name), numberField("count", i + 1)}});
    }
    finish(name, before, description);
}

void proveInTurn(const char* name, const std::vector<QByteArray>& given, const std::vector<const Content*>& inImage,
                 Description& description) {
    proveInTurn(name, given, inImage, description.differences.size(), description);
}

/// Compares the sections of a provisioning image with the records of its backup images, in order, and their addresses
/// with those of the backup memories.
void proveBackups(const std::vector<BackupSource>& backups, const std::vector<const Content*>& inImage,
                  Description& description) {
    std::vector<QByteArray> records;
    std::vector<std::optional<std::uint64_t>> addresses;
    for (const BackupSource& backup : backups) {
        Description scratch;
        for (const Record& record : readRecords(backup.bytes, backupHeaderSize, scratch)) {
            records.emplace_back(record.header.data(), record.header.size() + record.data.size());  // not shared
            const std::uint32_t offset = ByteReader(record.header).u32();
            addresses.push_back(backup.address ? std::optional(*backup.address + offset) : std::nullopt);
        }
    }
    const std::size_t before = description.differences.size();
    for (std::size_t i = 0; i < std::min(records.size(), inImage.size()); ++i) {
        if (addresses[i] && *addresses[i] != inImage[i]->address) {
            description.differences.push_back({DifferenceCode::partMoved,
                                               inImage[i]->part,
                                               {textField("name", "backup"), addressField("a", inImage[i]->address),
                                                addressField("b", *addresses[i])}});
        }
    }
    proveInTurn("backup", records, inImage, before, description);
    for (QByteArray& record : records) {
        wipe(record);
    }
}

}  // namespace

Sources::~Sources() {
    for (SourcePiece& piece : firmware) {
        wipe(piece.bytes);
    }
    for (QByteArray& bytes : modules) {
        wipe(bytes);
    }
    for (QByteArray& bytes : blobs) {
        wipe(bytes);
    }
    for (BackupSource& backup : backups) {
        wipe(backup.bytes);
    }
}

bool Sources::isEmpty() const {
    return !hasFirmware && !hasOptionBytes && modules.empty() && blobs.empty() && backups.empty();
}

bool readFirmware(const QString& argument, std::vector<SourcePiece>& pieces, QString& fault, std::uint8_t fillByte) {
    const auto [path, address] = splitArgument(argument);
    if (address) {
        SourcePiece piece;
        piece.address = *address;
        if (!readInput(path, piece.bytes, fault)) {
            return false;
        }
        pieces.push_back(std::move(piece));
        return true;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        fault = file.errorString();
        return false;
    }
    const QByteArray start = file.peek(4);
    const bool isRecord = start.startsWith(':') ||
                          (start.startsWith('S') && start.size() > 1 && start.at(1) >= '0' && start.at(1) <= '9');
    if (start.startsWith("\x7f"
                         "ELF")) {
        return readSegments(readElfFile, file, fillByte, pieces, fault);
    }
    if (isRecord) {
        return readSegments(readRecordFile, file, fillByte, pieces, fault);
    }
    fault = QStringLiteral("raw firmware needs its address: FILE@ADDRESS");
    return false;
}

bool readBackup(const QString& argument, BackupSource& backup, QString& fault) {
    const auto [path, address] = splitArgument(argument);
    backup.address = address;
    if (!readInput(path, backup.bytes, fault)) {
        return false;
    }
    Description scratch;
    static_cast<void>(readRecords(backup.bytes, backupHeaderSize, scratch));
    fault = QStringLiteral("its records don't fill it, so it is no backup image");
    return scratch.findings.empty();
}

bool readModule(const QString& path, QByteArray& module, QString& fault) {
    if (!path.endsWith(QLatin1String(".hex"), Qt::CaseInsensitive)) {
        return readInput(path, module, fault);
    }
    QFile file(path);
    std::vector<SourcePiece> pieces;
    if (!file.open(QIODevice::ReadOnly)) {
        fault = file.errorString();
        return false;
    }
    return readSegments(readRecordFile, file, 0xFF, pieces, fault) && layOut(pieces, module, fault);
}

bool readOptionBytes(const QString& path, QByteArray& words, QString& fault) {
    QByteArray text;
    if (!readInput(path, text, fault)) {
        return false;
    }
    if (text.endsWith('\n')) {
        text.chop(1);
    }
    QByteArrayList fields;
    for (const QByteArray& line : text.split('\n')) {
        const QByteArrayList ofLine = line.split(',');
        if (ofLine.size() < 2) {
            fault = QStringLiteral("a line without a comma");
            return false;
        }
        fields += ofLine;
    }
    if (fields.size() % 2 != 0) {
        fault = QStringLiteral("an odd number of fields");
        return false;
    }
    for (qsizetype i = 1; i < fields.size(); i += 2) {
        std::uint32_t value = 0;
        if (!parseNumberField(fields.at(i), value)) {
            fault = QStringLiteral("field %1 is no number").arg(i + 1);
            return false;
        }
        for (int shift = 0; shift < 32; shift += 8) {
            words.append(static_cast<char>(value >> shift));
        }
    }
    return true;
}

void proveAgainst(const Sources& sources, const Contents& contents, QByteArrayView file, Description& description) {
    // An image contains a module file unchanged, so a source in the file's own format is compared with the whole file.
    Contents whole;
    const bool isModuleFile = contents.list.size() == 1 && contents.list.front().letter == 0 &&
                              contents.list.front().kind == ContentKind::module;
    const bool isWhole = isModuleFile && sources.modules.size() == 1 && description.format->match != nullptr &&
                         description.format->match(sources.modules.front()) != Match::no;
    if (isWhole) {
        whole.list.push_back(contentOf(description.parts.front(), ContentKind::module));
        whole.list.back().bytes = file.toByteArray();
    }
    const Contents& compared = isWhole ? whole : contents;
    // An MCUboot image contains firmware or a module, and the file doesn't show which.
    const bool isFirmware = isModuleFile && sources.hasFirmware && sources.modules.empty();
    const ContentKind firmwareKind = isFirmware ? ContentKind::module : ContentKind::firmware;
    bool isComplete = true;
    const auto noteUncompared = [&](const char* name, ContentKind kind, bool isCompared) {
        if (!isCompared && !contentsOfKind(compared, kind).empty()) {
            description.addUnchecked(CheckCode::against, Reason::notAsked, 0, false);
            description.checks.back().arguments.push_back(textField("content", name));
            isComplete = false;
        }
    };
    noteUncompared("firmware", ContentKind::firmware, sources.hasFirmware);
    noteUncompared("module", ContentKind::module, !sources.modules.empty() || isFirmware);
    noteUncompared("optionBytes", ContentKind::optionBytes, sources.hasOptionBytes);
    noteUncompared("blob", ContentKind::blob, !sources.blobs.empty());
    noteUncompared("backup", ContentKind::backup, !sources.backups.empty());
    noteUncompared("other", ContentKind::other, false);
    const std::size_t before = description.differences.size();
    if (sources.hasFirmware) {
        proveFirmware(sources, contentsOfKind(compared, firmwareKind), description);
    }
    if (sources.hasOptionBytes) {
        proveInTurn("optionBytes", {sources.optionBytes}, contentsOfKind(compared, ContentKind::optionBytes),
                    description);
    }
    if (!sources.modules.empty()) {
        proveInTurn("module", sources.modules, contentsOfKind(compared, ContentKind::module), description);
    }
    if (!sources.blobs.empty()) {
        proveInTurn("blob", sources.blobs, contentsOfKind(compared, ContentKind::blob), description);
    }
    if (!sources.backups.empty()) {
        proveBackups(sources.backups, contentsOfKind(compared, ContentKind::backup), description);
    }
    if (isComplete && description.differences.size() == before) {
        settleByComparison(isWhole, description);
    }
}

void settleByComparison(bool isWhole, Description& description) {
    bool isSettled = false;
    for (Check& check : description.checks) {
        const bool isAnswered =
            check.result == CheckResult::unchecked &&
            (check.reason == Reason::noProtection || (isWhole && check.reason == Reason::notSigned));
        isSettled = isSettled || (isAnswered && check.needed);
        check.needed = check.needed && !isAnswered;
    }
    for (Range& range : description.ranges) {
        const bool isCompared = isWhole || range.role == Role::payload;
        range.cover = isSettled && isCompared && range.cover == Cover::none ? Cover::comparison : range.cover;
    }
}

}  // namespace inspect
