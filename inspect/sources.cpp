#include "inspect/sources.h"

#include "display/Display.h"
#include "files/elfReader.h"
#include "files/recordFiles.h"
#include "files/wipe.h"
#include "inspect/compare.h"
#include "inspect/input.h"

#include <QFile>

#include <algorithm>

namespace inspect {

namespace {

QString lastMessage;

void keepMessage(std::int32_t /*kind*/, const wchar_t* text) {
    lastMessage = QString::fromWCharArray(text).trimmed();
}

/// What the readers of firmware say becomes the fault, and nothing goes to the console.
class QuietDisplay {
  public:
    QuietDisplay() : before_(Display::getInstance()->callback) {
        lastMessage.clear();
        Display::getInstance()->callback = keepMessage;
    }
    ~QuietDisplay() { Display::getInstance()->callback = before_; }
    QuietDisplay(const QuietDisplay&) = delete;
    QuietDisplay& operator=(const QuietDisplay&) = delete;

  private:
    DisplayCallback before_;
};

bool parseHex(const QString& text, std::uint64_t& value) {
    const QStringView digits =
        text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? QStringView(text).mid(2) : QStringView(text);
    bool isNumber = false;
    value = digits.toULongLong(&isNumber, 16);
    constexpr std::uint64_t last = 0xFFFFFFFF;
    return isNumber && value <= last && digits.at(0).isLetterOrNumber();
}

bool readSegments(FileReader reader, QFile& file, std::vector<SourcePiece>& pieces, QString& fault) {
    FileLoadContext context;
    std::shared_ptr<FileData> record;
    const QuietDisplay quiet;
    if (!reader(context, file, record)) {
        fault = lastMessage.startsWith(QLatin1String("Error: ")) ? lastMessage.sliced(7) : lastMessage;
        return false;
    }
    for (const FileSegment& segment : record->segments) {
        pieces.push_back({segment.address, segment.data.first(static_cast<qsizetype>(segment.size))});
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

void proveFirmware(const Sources& sources, const Contents& contents, Description& description) {
    std::vector<PlacedBytes> inImage;
    for (const Content* const content : contentsOfKind(contents, ContentKind::firmware)) {
        inImage.push_back({content->address, content->bytes});
    }
    std::vector<PlacedBytes> given;
    for (const SourcePiece& piece : sources.firmware) {
        given.push_back({piece.address, piece.bytes});
    }
    const std::size_t before = description.differences.size();
    addByteDifferences("firmware", 0, compareBytes(std::move(inImage), std::move(given)), {"image", "source"},
                       description.differences);
    finish("firmware", before, description);
}

void proveInTurn(const char* name, const std::vector<QByteArray>& given, const std::vector<const Content*>& inImage,
                 Description& description) {
    const std::size_t before = description.differences.size();
    const std::size_t pairs = std::min(given.size(), inImage.size());
    for (std::size_t i = 0; i < pairs; ++i) {
        addByteDifferences(name, inImage[i]->part, compareBytes({{0, inImage[i]->bytes}}, {{0, given[i]}}),
                           {"image", "source"}, description.differences);
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
}

bool Sources::isEmpty() const {
    return !hasFirmware && !hasOptionBytes && modules.empty() && blobs.empty();
}

bool readFirmware(const QString& argument, std::vector<SourcePiece>& pieces, QString& fault) {
    const qsizetype at = argument.lastIndexOf(u'@');
    std::uint64_t address = 0;
    const bool hasAddress = at > 0 && !QFile::exists(argument) && parseHex(argument.sliced(at + 1), address);
    const QString path = hasAddress ? argument.first(at) : argument;
    if (hasAddress) {
        SourcePiece piece;
        piece.address = address;
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
        return readSegments(readElfFile, file, pieces, fault);
    }
    if (isRecord) {
        return readSegments(readRecordFile, file, pieces, fault);
    }
    fault = QStringLiteral("raw firmware needs its address: FILE@ADDRESS");
    return false;
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

void proveAgainst(const Sources& sources, const Contents& contents, Description& description) {
    const auto tellUncompared = [&](const char* name, ContentKind kind, bool isCompared) {
        if (!isCompared && !contentsOfKind(contents, kind).empty()) {
            description.addUnchecked(CheckCode::against, Reason::notAsked, 0, false);
            description.checks.back().arguments.push_back(textField("content", name));
        }
    };
    tellUncompared("firmware", ContentKind::firmware, sources.hasFirmware);
    tellUncompared("module", ContentKind::module, !sources.modules.empty());
    tellUncompared("optionBytes", ContentKind::optionBytes, sources.hasOptionBytes);
    tellUncompared("blob", ContentKind::blob, !sources.blobs.empty());
    tellUncompared("other", ContentKind::other, false);
    if (sources.hasFirmware) {
        proveFirmware(sources, contents, description);
    }
    if (sources.hasOptionBytes) {
        proveInTurn("optionBytes", {sources.optionBytes}, contentsOfKind(contents, ContentKind::optionBytes),
                    description);
    }
    if (!sources.modules.empty()) {
        proveInTurn("module", sources.modules, contentsOfKind(contents, ContentKind::module), description);
    }
    if (!sources.blobs.empty()) {
        proveInTurn("blob", sources.blobs, contentsOfKind(contents, ContentKind::blob), description);
    }
}

}  // namespace inspect
