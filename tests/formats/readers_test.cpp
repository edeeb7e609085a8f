#include "formats/readers.h"

#include "formats/FileECSV.h"
#include "formats/FileKDU.h"
#include "formats/FileMCSV.h"
#include "formats/FileTBI.h"
#include "formats/FileTSV.h"
#include "tests/support/ImageBuilder.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <QDir>
#include <QMap>

#include <gtest/gtest.h>

#ifdef __SANITIZE_ADDRESS__
/// Makes an allocation that is too large fail instead of ending the program.
extern "C" const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier)
    return "allocator_may_return_null=1:max_allocation_size_mb=1024";
}
#endif

namespace {

const QMap<QByteArray, FileReader> readers = {
    {"tbi", readTbiFile},   {"xtbi", readXtbiFile}, {"pvs", readPvsTbiFile},      {"kmd", readKmdFile},
    {"kdu", readKduFile},   {"tsv", readTsvFile},   {"csv", readOptionBytesFile}, {"kcsv", readKeyAreaFile},
    {"mcsv", readMcsvFile}, {"ecsv", readEcsvFile}};

const QMap<QByteArray, ImageKind> imageKinds = {
    {"tbi", ImageKind::tbi}, {"xtbi", ImageKind::xtbi}, {"pvs", ImageKind::pvsTbi}};

/// A file that can report a larger size than it has.
struct ClaimingFile : QFile {
    using QFile::QFile;
    [[nodiscard]] qint64 size() const override { return claimedSize > 0 ? claimedSize : QFile::size(); }
    qint64 claimedSize = 0;
};

struct ReadRun {
    std::shared_ptr<FileData> record;
    QStringList messages;
};

/// Reads `bytes` from a file. In the messages, "@" replaces the file's path and "#" its folder.
ReadRun readBytesBy(FileReader read, const TempFolder& folder, const QByteArray& bytes, qint64 claimedSize = 0) {
    QFile::remove(folder.path("file"));  // a new file is faster, because some file systems truncate slowly
    ClaimingFile device(folder.write("file", bytes));
    device.claimedSize = claimedSize;
    EXPECT_TRUE(device.open(QIODevice::ReadOnly));
    const MessageCapture capture;
    FileLoadContext context;
    ReadRun run;
    const bool done = read(context, device, run.record);
    EXPECT_EQ(done, run.record != nullptr);
    for (const std::string& text : capture.texts()) {
        run.messages += QString::fromStdString(text).replace(device.fileName(), QLatin1String("@"));
        run.messages.last().replace(QFileInfo(device).path(), QLatin1String("#"));
    }
    return run;
}

/// The image that the words after "image" in a case describe.
QByteArray imageFrom(const QByteArrayList& words) {
    std::vector<ImageArea> areas;
    int promised = -1;
    for (const QByteArray& word : words) {
        const qsizetype plus = word.indexOf('+');
        if (plus > 0) {
            const QByteArray payload(word.sliced(plus + 1).toInt(nullptr, 16), 'p');
            areas.push_back({word.front(), word.sliced(1, plus - 1).toUInt(nullptr, 16), payload});
        } else if (word.startsWith('*')) {
            promised = word.sliced(1).toInt();
        }
    }
    QByteArray image = buildImage(imageKinds.value(words.at(0)), words.at(1).toUShort(), areas, promised);
    for (const QByteArray& word : words) {
        const qsizetype colon = word.indexOf(':');
        if (word.startsWith('@')) {
            image[word.sliced(1, colon - 1).toInt()] = static_cast<char>(word.sliced(colon + 1).toInt(nullptr, 16));
        } else if (word.startsWith('<')) {
            image.truncate(word.sliced(1).toInt());
        }
    }
    return image;
}

QByteArray unescaped(QByteArray text) {
    return text.replace("\\n", "\n").replace("\\r", "\r").replace("\\t", "\t");
}

QByteArray contentFrom(const QByteArray& text) {
    return text.startsWith("image ") ? imageFrom(text.sliced(6).split(' '))
           : text.startsWith("hex ") ? QByteArray::fromHex(text.sliced(4))
                                     : unescaped(text);
}

QString hex(std::uint32_t number) {
    return QString::number(number, 16);
}

/// The words as one text, a blank before each. "." represents an empty word.
QString joined(const QStringList& words) {
    QString text;
    for (const QString& word : words) {
        text += QLatin1Char(' ') + (word.isEmpty() ? QStringLiteral(".") : word);
    }
    return text;
}

QString textOf(const FileTBI& image, const QByteArray& bytes) {
    QStringList words(QStringLiteral("%1/%2").arg(image.fileType).arg(image.protocolVersion));
    QByteArray read = image.header;
    EXPECT_EQ(image.segmentCount, image.areas.size());
    EXPECT_EQ(image.nonce, QByteArray(image.header.size() < 28 ? 0 : 16, 'n'));
    EXPECT_EQ(image.imageVersion, image.areas.empty() ? 0U : 7U);
    for (const TbiArea& area : image.areas) {
        EXPECT_EQ(area.tag, QByteArray(16, 't'));
        EXPECT_EQ(area.headerSize, area.header.size());
        read += area.header + area.data;
        words += QLatin1Char(static_cast<char>(area.type)) + hex(area.address) + QLatin1Char('+') + hex(area.size);
        if (area.size != area.data.size()) {
            words.last() += QStringLiteral("(%1)").arg(area.data.size());
        }
    }
    EXPECT_TRUE(bytes.startsWith(read));
    return joined(words);
}

template <typename List>
QString textOfList(const List& list) {
    QString text;
    EXPECT_EQ(list.segmentCount, list.modules.size());
    for (const auto& module : list.modules) {
        EXPECT_EQ(module.moduleSize, module.moduleData.size());
        EXPECT_EQ(module.licenseSize, module.license.size());
        EXPECT_EQ(module.hsmIdSize, module.hsmId.size());
        const QByteArray data = QByteArray(module.moduleData).replace('\xFF', "\\ff");
        text += joined({QString::fromUtf8(module.moduleName), hex(module.destinationAddress), QString::fromUtf8(data),
                        hex(module.hasLicense), QString::fromUtf8(module.license), QString::fromUtf8(module.hsmId)});
        if constexpr (requires { module.regionMode; }) {
            text += joined({hex(module.regionNumber), hex(module.regionMode), hex(module.keyAddress)});
        }
        text += QLatin1String(" ;");
    }
    return text;
}

QStringList tlvWords(const std::vector<TlvEntry>& entries) {
    QStringList words;
    for (const TlvEntry& entry : entries) {
        EXPECT_EQ(entry.value.size(), entry.length + 1);
        words += QString::fromStdString(entry.name) + QLatin1Char('=') + QLatin1String(entry.value.constData());
    }
    return words;
}

/// The text of a record that was read from `bytes`, in the form of cases.txt.
QString textOf(const FileData& file, const QByteArray& bytes) {
    QString text;
    if (file.fileType == fileTypeTbi || file.fileType == fileTypeXtbi) {
        text = textOf(static_cast<const FileTBI&>(file), bytes);
    } else if (file.fileType == fileTypeMcsv) {
        text = textOfList(static_cast<const FileMCSV&>(file));
    } else if (file.fileType == fileTypeEcsv) {
        text = textOfList(static_cast<const FileECSV&>(file));
    } else if (file.fileType == fileTypeTsv) {
        const auto& table = static_cast<const FileTSV&>(file);
        for (const TsvEntry& entry : table.entries) {
            text += joined({entry.column1, hex(entry.hexValue), entry.column3, entry.column4, entry.column5,
                            entry.offset, entry.binaryFile, QStringLiteral(";")});
        }
        EXPECT_EQ(table.textSize + 1, table.text.size());
        EXPECT_EQ(table.text.first(68), "QVR2" + QByteArray(64, '\0'));
        EXPECT_EQ(table.text.sliced(80, 176), QByteArray(20, '\0') + '\1' + QByteArray(155, '\0'));
        text += joined({QString::fromUtf8(table.text.sliced(256).chopped(1)),
                        QString::fromLatin1(table.text.sliced(68, 4).toHex()),
                        QString::fromLatin1(table.text.sliced(76, 4).toHex())});
    } else if (file.fileType == fileTypeKdu) {
        const auto& update = static_cast<const FileKDU&>(file);
        const QString version = QStringLiteral("%1.%2.%3.%4").arg(update.versionMajor).arg(update.versionMinor);
        text = joined(QStringList{hex(update.loadAddress), hex(update.headerSize), hex(update.protectedTlvSize),
                                  hex(update.imageSize), hex(update.moduleFlag),
                                  version.arg(update.versionRevision).arg(update.versionBuild)} +
                      tlvWords(update.protectedTlvs) + QStringList(QStringLiteral("/")) + tlvWords(update.tlvs));
        EXPECT_EQ(file.segments.front().data, bytes);
    } else if (file.fileType == fileTypeKmd) {
        text = joined({QString::fromUtf8(file.segments.front().data)});
    } else if (file.fileType == fileTypeCsv) {
        text = joined({QString::fromLatin1(file.segments.front().data.toHex())});
    }
    return text;
}

class Readers : public testing::Test {
  protected:
    void SetUp() override {
        folder_.write("fw.bin", "firmware");
        folder_.write("x.bin.old", "old");
        folder_.write("x.lic", "licence");
        folder_.write("empty.hex", "");
        folder_.write("gap.hex",
                      ":0210000041426B\n:0210040043446"
                      "3\n:00000001FF\n");
        folder_.write("far.hex",
                      ":0100000001FE\n:020000048000"
                      "7A\n:0100000001FE\n");
        folder_.write("wide.hex",
                      ":0100000001FE\n:020000040900"
                      "F1\n:0100000001FE\n:00000001FF\n");
        QDir(folder_.path("")).mkdir(QStringLiteral("dir.bin"));
        QDir(folder_.path("")).mkdir(QStringLiteral("dir.lic"));
    }

    TempFolder folder_;
};

TEST_F(Readers, MatchTheCases) {
    int cases = 0;
    for (const QByteArray& line : fileContent(QStringLiteral(FORMATS_CASES)).split('\n')) {
        if (line.startsWith('#') || line.isEmpty()) {
            continue;
        }
        SCOPED_TRACE(line.constData());
        const qsizetype first = line.indexOf(" | ");
        const qsizetype last = line.lastIndexOf(" | ");
        ASSERT_LT(first, last);
#ifndef __SANITIZE_ADDRESS__
        if (line.endsWith("Unable to allocate memory")) {
            continue;  // only the address sanitizer makes an allocation fail
        }
#endif
        const QByteArrayList head = line.first(first).trimmed().split(' ');
        const FileReader read = readers.value(head.first());
        const QByteArray content = contentFrom(line.sliced(first + 3, last - first - 3));
        const ReadRun run = readBytesBy(read, folder_, content, head.value(1).toLongLong());
        QStringList outcome = run.messages;
        if (run.record != nullptr) {
            outcome.prepend(QLatin1Char('=') + textOf(*run.record, content));
        }
        EXPECT_EQ(outcome.join(QLatin1String(" && ")).toStdString(), unescaped(line.sliced(last + 3)).toStdString());
        ++cases;
    }
    EXPECT_GT(cases, 100);
}

TEST_F(Readers, TsvLinesMayHave1024Bytes) {
    const QByteArray line = "a\t1\tc\td\te\tf\t" + QByteArray(1011, 'g');
    EXPECT_NE(readBytesBy(readers.value("tsv"), folder_, line + '\n').record, nullptr);
    EXPECT_EQ(readBytesBy(readers.value("tsv"), folder_, line + "g\n").record, nullptr);
}

TEST_F(Readers, SurviveCutsAndFlips) {
    for (const char* const text : {"tbi 1 F8+8 C0+0", "tbi 3 E8+18 C0+0", "xtbi 65001 F8+8 C0+0", "pvs 1 F8+8 B0+0"}) {
        const QByteArrayList words = QByteArray(text).split(' ');
        const QByteArray image = imageFrom(words);
        for (qsizetype at = 0; at < image.size(); ++at) {
            const ReadRun cut = readBytesBy(readers.value(words.first()), folder_, image.first(at));
            EXPECT_EQ(cut.record, nullptr) << at;
            EXPECT_EQ(cut.messages.size(), 1) << at;
            QByteArray flipped = image;
            flipped[at] = static_cast<char>(flipped.at(at) ^ 0x81);
            const ReadRun run = readBytesBy(readers.value(words.first()), folder_, flipped);
            EXPECT_EQ(run.messages.size(), run.record == nullptr ? 1 : 0) << at;
        }
    }
}

}  // namespace
