#include "jobs/fieldChecks.h"

#include "display/MessageCollector.h"
#include "files/elfReader.h"
#include "files/openFile.h"
#include "files/parseNumber.h"
#include "files/recordFiles.h"
#include "formats/formatTable.h"
#include "jobs/counted.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>

#include <algorithm>

namespace jobs {

namespace {

// A larger file isn't read for a verdict, since the window would have to wait for it.
constexpr qint64 largestRead = qint64{2} << 20;

struct Texts {
    Q_DECLARE_TR_FUNCTIONS(FieldCheck)
};

QString sizeText(qint64 size) {
    return counted(size, Texts::tr("1 byte"), Texts::tr("%1 bytes"));
}

QString segmentsText(int count) {
    return counted(count, Texts::tr("1 segment"), Texts::tr("%1 segments"));
}

bool isGood(const Verdict& verdict) {
    return verdict.kind == Verdict::Kind::good;
}

/// Whether size and content of the file can be read before the tool runs. A pipe or device could be read only once.
bool canLook(const QString& path) {
    return QFileInfo(path).isFile();
}

bool endsInOneOf(const QString& path, std::initializer_list<const char*> suffixes) {
    return suffixes.size() == 0 || std::any_of(suffixes.begin(), suffixes.end(), [&path](const char* suffix) {
               return path.endsWith(QLatin1String(suffix));
           });
}

QString orList(std::initializer_list<const char*> suffixes) {
    QStringList names;
    for (const char* const suffix : suffixes) {
        names.append(QLatin1String(suffix));
    }
    return names.join(Texts::tr(" or "));
}

/// The fault is the message that the tool prints, since both use the same reader.
template <class Read>
Verdict readVerdict(const Read& read) {
    const MessageCollector messages;
    FileLoadContext context;
    context.formats = formatTable();
    FileData* file = nullptr;
    if (!read(context, file)) {
        const QString text = messages.faults();
        return fault(text.isEmpty() ? Texts::tr("The file can't be read.") : text);
    }
    return {};
}

QString formatName(FileReader reader) {
    return reader == readElfFile ? Texts::tr("ELF") : Texts::tr("HEX or S-Record");
}

Verdict checkSegments(const QString& path, FileReader reader, bool onlyOne) {
    qint64 size = 0;
    int count = 0;
    Verdict verdict = readVerdict([&](FileLoadContext& context, FileData*& file) {
        if (!openFile(context, path, file)) {
            return false;
        }
        for (const FileSegment& segment : file->segments) {
            size += segment.size;
        }
        count = static_cast<int>(file->segmentCount);
        return true;
    });
    if (!isGood(verdict)) {
        return verdict;
    }
    if (onlyOne && count != 1) {
        return fault(Texts::tr("An update needs firmware with one segment; this file has %1.").arg(count));
    }
    return good(Texts::tr("%1, %2, %3").arg(formatName(reader), segmentsText(count), sizeText(size)));
}

Verdict checkFirmwareFile(const QString& path, bool onlyOneSegment) {
    const FormatRow* const format = formatOf(formatTable(), path);
    if (format != nullptr && format->read != readElfFile && format->read != readRecordFile) {
        return fault(Texts::tr("By its name, “%1” isn't firmware: ELF, HEX, S-Record or raw binary.")
                         .arg(QFileInfo(path).fileName()));
    }
    const qint64 size = QFileInfo(path).size();
    if (!canLook(path)) {
        return {};
    }
    if (size == 0) {
        return fault(Texts::tr("The file is empty."));
    }
    if (format == nullptr) {
        return good(Texts::tr("Raw binary, %1").arg(sizeText(size)));
    }
    return size > largestRead ? good(Texts::tr("%1 file, %2").arg(formatName(format->read), sizeText(size)))
                              : checkSegments(path, format->read, onlyOneSegment);
}

}  // namespace

Verdict checkNumber(const QStringList& value, std::uint32_t most) {
    std::uint32_t number = 0;
    if (!parseNumber(textOf(value), 0, number)) {
        return fault(Texts::tr("Enter a number: decimal, hexadecimal with 0x, or octal with a leading 0."));
    }
    return number > most ? fault(Texts::tr("The number must be %1 or less.").arg(QLocale().toString(most))) : Verdict();
}

Verdict checkNumber(const QStringList& value) {
    return checkNumber(value, UINT32_MAX);
}

Verdict checkHexAddress(const QStringList& value) {
    std::uint32_t number = 0;
    if (!parseNumber(textOf(value), 16, number)) {
        return fault(Texts::tr("Enter a hexadecimal number of up to 8 digits."));
    }
    return number == 0 ? fault(Texts::tr("The tool doesn't accept the address 0.")) : Verdict();
}

Verdict checkLength(const QStringList& value, qsizetype mostBytes) {
    const qsizetype length = textOf(value).toUtf8().size();
    return length > mostBytes
               ? fault(Texts::tr("At most %1 bytes fit; this text has %2. Letters with accents have two or more.")
                           .arg(mostBytes)
                           .arg(length))
               : Verdict();
}

Verdict checkFiles(const QStringList& value, Verdict (*check)(const QString& path, const QString& beside)) {
    QStringList findings;
    for (qsizetype i = 0; i < value.size(); i += 2) {
        Verdict verdict = check(value.at(i), value.value(i + 1).simplified());
        if (!isGood(verdict)) {
            return value.size() <= 2
                       ? verdict
                       : Verdict{verdict.kind,
                                 Texts::tr("“%1”: %2").arg(QFileInfo(value.at(i)).fileName(), verdict.text)};
        }
        if (!verdict.text.isEmpty()) {
            findings.append(verdict.text);
        }
    }
    return good(findings.join(Texts::tr("; ")));
}

Verdict checkFileSize(const QString& path, std::initializer_list<qint64> sizes) {
    if (!canLook(path)) {
        return {};
    }
    const qint64 size = QFileInfo(path).size();
    if (sizes.size() == 0) {
        return size == 0 ? fault(Texts::tr("The file is empty.")) : good(sizeText(size));
    }
    if (std::find(sizes.begin(), sizes.end(), size) != sizes.end()) {
        return good(sizeText(size));
    }
    QStringList wanted;
    for (const qint64 one : sizes) {
        wanted.append(QString::number(one));
    }
    return fault(Texts::tr("The file must have %1 bytes, this one has %2.")
                     .arg(wanted.join(Texts::tr(" or ")), QLocale().toString(size)));
}

Verdict checkFileSuffix(const QString& path, const char* suffix) {
    return path.endsWith(QLatin1String(suffix))
               ? Verdict()
               : fault(Texts::tr("The tool accepts only files whose name ends in %1 here.").arg(QLatin1String(suffix)));
}

Verdict checkFormat(const QString& path, FileReader reader) {
    const FormatRow* const format = formatOf(formatTable(), path);
    if ((format == nullptr ? nullptr : format->read) != reader) {
        return fault(
            Texts::tr("By its name, the tool reads “%1” as another kind of file.").arg(QFileInfo(path).fileName()));
    }
    return checkFileSize(path);
}

Verdict checkFirmware(const QString& path, bool needsAddress, const QString& address) {
    Verdict verdict = checkFirmwareFile(path, false);
    if (!isGood(verdict) || !needsAddress || !isRawBinary(path)) {
        return verdict;
    }
    if (address.isEmpty()) {
        return fault(Texts::tr("A raw binary needs a load address."));
    }
    Verdict number = checkNumber({address});
    return isGood(number) ? verdict : number;
}

Verdict checkUpdateFirmware(const QString& path) {
    return checkFirmwareFile(path, true);
}

Verdict checkTable(const QString& path, CsvKind kind) {
    if (!path.endsWith(QLatin1String("csv"), Qt::CaseInsensitive)) {
        return fault(Texts::tr("The tool accepts only files whose name ends in csv here."));
    }
    // The reader of a list also reads the modules in it, which may be many and large.
    const bool isList = kind == CsvKind::moduleList || kind == CsvKind::externalModuleList;
    if (isList || !canLook(path) || QFileInfo(path).size() > largestRead) {
        return {};
    }
    return readVerdict(
        [&](FileLoadContext& context, FileData*& file) { return openCsvFile(context, path, kind, file); });
}

Verdict checkOutput(const QString& path, std::initializer_list<const char*> suffixes) {
    return endsInOneOf(path, suffixes) ? Verdict() : fault(Texts::tr("The name must end in %1.").arg(orList(suffixes)));
}

Verdict checkNewOutput(const QString& path, std::initializer_list<const char*> suffixes) {
    Verdict verdict = checkOutput(path, suffixes);
    return isGood(verdict) && QFileInfo::exists(path)
               ? fault(Texts::tr("A file of this name exists, and the tool doesn't replace it."))
               : verdict;
}

bool isRawBinary(const QString& path) {
    return !path.trimmed().isEmpty() && formatOf(formatTable(), path) == nullptr;
}

}  // namespace jobs
