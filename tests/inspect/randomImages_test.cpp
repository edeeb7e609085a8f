// Tests the tool and the opener against each other. Random command lines make images. The opener must prove each image
// and its contents, and must detect every change of bytes that its ranges call covered.

#include "cli/CommandLineTool.h"
#include "inspect/sources.h"
#include "tests/inspect/Inspection.h"
#include "tests/inspect/SealingKit.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/outsideTool.h"

#include <QCryptographicHash>

#include <algorithm>
#include <random>

namespace {

/// Random numbers that are the same on all platforms. The standard library's distributions aren't used, because only
/// the output of its engines is fixed.
class Dice {
  public:
    explicit Dice(std::uint32_t seed) : engine_(seed) {}
    int below(int limit) { return static_cast<int>(engine_() % static_cast<std::uint32_t>(limit)); }
    bool oneIn(int sides) { return below(sides) == 0; }
    QByteArray bytes(int size) {
        QByteArray bytes(size, '\0');
        std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<char>(engine_() & 0xFF); });
        return bytes;
    }

  private:
    std::mt19937 engine_;
};

/// A command line and its output. The opener opens the output with the key and compares the contents with the sources.
struct Job {
    explicit Job(std::uint32_t seed) : dice(seed) {}

    void add(const QStringList& words) { arguments += words; }
    QString write(const QByteArray& content, const char* suffix) {
        const QByteArray name = "in" + QByteArray::number(++fileCount) + suffix;
        return folder.write(name.constData(), content);
    }
    void addKeyAndNonce(int nonceSize) {
        key = dice.bytes(16);
        add({QStringLiteral("-k"), write(key, ".key"), QStringLiteral("-n"), write(dice.bytes(nonceSize), ".nonce")});
    }
    void addOutput(const char* option, const char* name) {
        add({QLatin1String(option), folder.path(name)});
        (image.isEmpty() ? image : second) = QByteArray(name);
    }

    Dice dice;
    TempFolder folder;
    QStringList arguments{QStringLiteral("QVORASealedBundleBuilder_CLI")};
    QByteArray image;
    QByteArray second;
    QByteArray key;
    QByteArray publicKey;
    inspect::Sources sources;
    bool isRepeatable = true;
    int fileCount = 0;
};

QString hex(std::uint32_t value) {
    return QStringLiteral("0x") + QString::number(value, 16);
}

std::uint32_t nth(std::uint32_t base, int index) {
    return base + static_cast<std::uint32_t>(index) * 0x10000;
}

// Addresses may be unaligned. Files are so far apart that the tool fills no gap.
void addFirmware(Job& job, int files) {
    for (int i = 0; i < files; ++i) {
        const QByteArray bytes = job.dice.bytes(1 + job.dice.below(1500));
        const std::uint32_t address = nth(0x08000000, i) + static_cast<std::uint32_t>(job.dice.below(64));
        job.add({QStringLiteral("-fir"), job.write(bytes, ".bin"), hex(address)});
        job.sources.hasFirmware = true;
        job.sources.firmware.push_back({address, bytes});
    }
}

void addExternalFirmware(Job& job) {
    for (int i = job.dice.below(3); i > 0; --i) {
        const QByteArray bytes = job.dice.bytes(1 + job.dice.below(700));
        const std::uint32_t address = nth(0x70000000, i);
        const auto mode = static_cast<std::uint32_t>(job.dice.below(4));
        const auto region = static_cast<std::uint32_t>(job.dice.below(8));
        job.add({QStringLiteral("-firx"), job.write(bytes, ".bin"), hex(address), hex(mode), hex(region),
                 hex(nth(0x08040000, i))});
        job.sources.firmware.push_back({address, bytes});
    }
}

QByteArray besideList(const QString& path) {
    return "./" + path.section(u'/', -1).toUtf8();
}

QByteArray listedModules(Job& job, std::uint32_t base, bool isExternal) {
    QByteArray lines;
    for (int i = 1 + job.dice.below(3); i > 0; --i) {
        const QByteArray bytes = job.dice.bytes(1 + job.dice.below(300));
        const QByteArray module = besideList(job.write(bytes, ".bin"));
        const int licence = job.dice.below(3);
        lines += module + ',' +
                 (licence == 0   ? QByteArray("none")
                  : licence == 1 ? QByteArray("Identity-") + QByteArray::number(i)
                                 : besideList(job.write(job.dice.bytes(1 + job.dice.below(40)), ".lic"))) +
                 ',' + hex(nth(base, i)).toUtf8();
        if (isExternal) {
            // Each call is a statement of its own, because the order of calls in an expression isn't fixed.
            const int mode = job.dice.below(4);
            const int region = job.dice.below(8);
            lines += ',' + QByteArray::number(region) + ',' + QByteArray::number(mode) + ',' +
                     hex(nth(0x08060000, i)).toUtf8();
        }
        lines += '\n';
        job.sources.modules.push_back(bytes);
    }
    return lines;
}

void addModules(Job& job) {
    for (int i = job.dice.below(3); i > 0; --i) {
        QByteArray bytes = QByteArray("KMDMAGIC") + job.dice.bytes(4 + job.dice.below(200));
        bytes[11] = '\x09';
        bytes[10] = static_cast<char>(i);
        job.add({QStringLiteral("-m"), job.write(bytes, ".kmd")});
        job.sources.modules.push_back(bytes);
    }
    if (job.dice.oneIn(3)) {
        job.add({QStringLiteral("-mcsv"), job.write(listedModules(job, 0x0A000000, false), ".mcsv")});
    }
    if (job.dice.oneIn(3)) {
        job.add({QStringLiteral("-ecsv"), job.write(listedModules(job, 0xB0000000, true), ".ecsv")});
    }
}

QByteArray provisioningFile(Dice& dice, int bodySize) {
    const QByteArray size = QByteArray(1, static_cast<char>(bodySize)) + QByteArray(3, '\0');
    const QByteArray body = dice.bytes(bodySize);
    const QByteArray flags = dice.bytes(4);
    return dice.bytes(4) + size + flags + body;
}

QByteArray table(Job& job, bool hasLabels) {
    QByteArray text;
    for (int i = 1 + job.dice.below(12); i > 0; --i) {
        const QByteArray word = QByteArray::number(job.dice.below(0x7FFFFFFF), 16);
        text += hasLabels ? "W" + QByteArray::number(i) + ",0x" + word + '\n' : "0x" + word + ",0\n";
    }
    return text;
}

void makeInstallImage(Job& job) {
    job.add({QStringLiteral("-tbi"), QStringLiteral("-devid"), QStringLiteral("0x484")});
    addFirmware(job, 1 + job.dice.below(3));
    addExternalFirmware(job);
    addModules(job);
    job.addKeyAndNonce(job.dice.oneIn(2) ? 12 : 1 + job.dice.below(40));
    job.add({QStringLiteral("-v"), QString::number(job.dice.below(256))});
    if (job.dice.oneIn(2)) {
        const QByteArray options = table(job, true);
        QString fault;
        const QString path = job.write(options, ".csv");
        job.add({QStringLiteral("-ob"), path});
        job.sources.hasOptionBytes = true;
        EXPECT_TRUE(inspect::readOptionBytes(path, job.sources.optionBytes, fault)) << qUtf8Printable(fault);
    }
    for (const char* const option : {"-kx", "-diver"}) {
        if (job.dice.oneIn(4)) {
            job.add({QLatin1String(option), job.write(table(job, false), ".csv")});
        }
    }
    if (job.dice.oneIn(3)) {
        job.add({QStringLiteral("-obkeys"), job.write(provisioningFile(job.dice, 0), ".obk"),
                 job.write(provisioningFile(job.dice, job.dice.below(90)), ".obk")});
    }
    if (job.dice.oneIn(5)) {
        job.add({QStringLiteral("-xtbi"), job.write(kitPackagedModule(), ".xtbi")});
    }
    if (job.dice.oneIn(3)) {
        job.add({QStringLiteral("-rs"), QString::number(1024 + job.dice.below(2000))});
        if (job.dice.oneIn(2)) {
            job.add({QStringLiteral("-ct"), QStringLiteral("0x20000000")});
        }
    }
    job.addOutput("-o", "out.tbi");
}

void makeUpdateImage(Job& job) {
    job.add({QStringLiteral("-tbu")});
    addFirmware(job, 1);
    job.sources.firmware.front().address = 0;  // an update image's raw binary has no address
    job.addKeyAndNonce(12);
    job.add({QStringLiteral("-v"), QString::number(job.dice.below(256))});
    job.addOutput("-oh", "out.tbuh");
    job.addOutput("-os", "out.tbu");
}

void addBlob(Job& job, int size) {
    job.sources.blobs.push_back(job.dice.bytes(size));
    job.add({QStringLiteral("-b"), job.write(job.sources.blobs.back(), ".bin")});
}

void makePayload(Job& job) {
    constexpr int blobSize = 152;
    job.add({QStringLiteral("-pvs")});
    addBlob(job, blobSize);
    job.publicKey = job.dice.oneIn(2) ? fileContent(QStringLiteral(QVORA_EXAMPLES "/provisioning/oem-public.pem"))
                                      : job.dice.bytes(32);
    job.add({QStringLiteral("-pk"), job.write(job.publicKey, job.publicKey.size() == 32 ? ".bin" : ".pem")});
    job.addKeyAndNonce(16);
    job.addOutput("-o", "out.pvs");
}

void makeProvisioningImage(Job& job) {
    job.add({QStringLiteral("-pvs-tbi")});
    addBlob(job, 1 + job.dice.below(400));
    job.addKeyAndNonce(12);
    job.add({QStringLiteral("-iv"), QString::number(job.dice.below(256))});
    job.addOutput("-o", "out.pvs");
}

void makeSignedImage(Job& job) {
    job.isRepeatable = false;
    const QString keyPath = job.folder.path("key.pem");
    opensslMakeKey(keyPath, "EC -pkeyopt ec_paramgen_curve:P-256");
    job.publicKey = openssl(QStringLiteral("pkey -pubout -in ") + keyPath);
    const QByteArray stack = job.dice.bytes(64 + job.dice.below(500)) + QByteArray::fromHex("91293723");
    job.add({QStringLiteral("-sign"), QStringLiteral("-bin"), job.write(stack, ".bin"), QStringLiteral("-prvk"),
             keyPath, QStringLiteral("-v"), hex(static_cast<std::uint32_t>(job.dice.below(9)))});
    job.addOutput("-o", "out.bin");
}

struct Recipe {
    const char* format;
    void (*make)(Job& job);
    int images;
};

constexpr Recipe recipes[] = {
    {"installImage", makeInstallImage, 200},  {"updateImage", makeUpdateImage, 20},
    {"provisioningPayload", makePayload, 20}, {"provisioningImage", makeProvisioningImage, 30},
    {"signedImage", makeSignedImage, 3},
};

Given givenOf(const Job& job, const char* format) {
    Given given;
    given.bytes = job.folder.read(job.image.constData());
    given.name = job.image.constData();
    given.key = job.key;
    given.as = format;
    given.publicKey = job.publicKey;
    given.isPrinted = false;
    if (!job.second.isEmpty()) {
        given.second = job.folder.read(job.second.constData());
    }
    return given;
}

/// Whether the contents are exactly those of the sources.
bool holdsItsSources(const Job& job, const Given& given) {
    inspect::Evidence evidence;
    evidence.key = QByteArray(given.key.constData(), given.key.size());
    evidence.publicKey = given.publicKey;
    const inspect::Source source{QString(), given.bytes, QStringLiteral("second"), given.second};
    inspect::Description description = inspect::describe(source, inspect::formatByName(QLatin1String(given.as)));
    inspect::Contents contents;
    inspect::prove(source, evidence, description, &contents);
    inspect::proveAgainst(job.sources, contents, given.bytes, description);
    return inspect::judge(description).verdict == inspect::Verdict::proven;
}

inspect::Verdict verdictOf(const Given& given, const QByteArray& changed) {
    Given other = given;
    other.bytes = changed;
    return inspectGiven(other).judgement.verdict;
}

bool isCovered(const inspect::Description& description, qint64 offset) {
    for (const inspect::Range& range : description.ranges) {
        if (offset - range.offset < range.size) {
            return range.cover != inspect::Cover::none && range.cover != inspect::Cover::structure;
        }
    }
    return false;
}

void expectFlipsShow(Dice& dice, const Given& given, const inspect::Description& description, int flips) {
    const auto bits = static_cast<int>(given.bytes.size()) * 8;
    const bool all = flips >= bits;
    for (int i = 0; i < (all ? bits : flips); ++i) {
        const int bit = all ? i : dice.below(bits);
        if (isCovered(description, bit / 8)) {
            QByteArray changed = given.bytes;
            changed[bit / 8] = static_cast<char>(changed.at(bit / 8) ^ (1 << bit % 8));
            EXPECT_EQ(verdictOf(given, changed), inspect::Verdict::wrong) << "bit " << bit;
        }
    }
}

void expectChangesDiffer(Dice& dice, const Given& given) {
    for (int i = 0; i < 6; ++i) {
        Given changed = given;
        const int at = dice.below(static_cast<int>(given.bytes.size()));
        changed.bytes[at] = static_cast<char>(changed.bytes.at(at) ^ (1 + dice.below(255)));
        EXPECT_NE(compareGiven(given, changed), 0) << "byte " << at;
    }
}

// Tests the changes that flipped bits don't cover: parts in another order, repeated, omitted, cut, or from another
// image with the same key.
void expectShuffledPartsShow(Dice& dice, const Given& given, const inspect::Description& description,
                             const QByteArray& other) {
    const QByteArray& image = given.bytes;
    const auto cut = static_cast<qsizetype>(dice.below(static_cast<int>(image.size())));
    QByteArrayList changes = {image.first(cut), image + dice.bytes(1 + dice.below(20))};
    const std::vector<inspect::Part>& parts = description.parts;
    if (parts.size() >= 2) {
        const auto at = static_cast<std::size_t>(dice.below(static_cast<int>(parts.size()) - 1));
        const QByteArray before = image.first(parts[at].offset);
        const QByteArray first = image.sliced(parts[at].offset, parts[at].size);
        const QByteArray next = image.sliced(parts[at + 1].offset, parts[at + 1].size);
        const QByteArray after = image.sliced(parts[at + 1].offset + parts[at + 1].size);
        changes << before + next + first + after << before + first + first + next + after << before + next + after;
    }
    if (!other.isEmpty() && other.size() > image.size() / 2) {
        changes << image.first(image.size() / 2) + other.sliced(image.size() / 2);
    }
    for (const QByteArray& changed : changes) {
        EXPECT_EQ(verdictOf(given, changed), inspect::Verdict::wrong);
    }
}

TEST(RandomImages, AreProvenAndShowEveryChange) {
    QCryptographicHash all(QCryptographicHash::Sha256);
    std::uint32_t seed = 0;
    for (const Recipe& recipe : recipes) {
        QByteArray last;
        for (int i = 0; i < recipe.images; ++i) {
            SCOPED_TRACE(std::string(recipe.format) + " of seed " + std::to_string(++seed));
            Job job(seed);
            recipe.make(job);
            const MessageCapture messages;
            ASSERT_EQ(cli::CommandLineTool().runArguments(job.arguments), 0)
                << qUtf8Printable(job.arguments.join(u' ')) << testing::PrintToString(messages.texts(5));
            const Given given = givenOf(job, recipe.format);
            const Inspection inspection = inspectGiven(given);
            ASSERT_EQ(inspection.judgement.verdict, inspect::Verdict::proven)
                << inspection.text("verify") << qUtf8Printable(job.arguments.join(u' '));
            EXPECT_TRUE(job.sources.isEmpty() || holdsItsSources(job, given));
            constexpr int everyBit = 1 << 20;
            expectFlipsShow(job.dice, given, inspection.description,
                            i == 0 && given.bytes.size() < 700 ? everyBit : 24);
            expectShuffledPartsShow(job.dice, given, inspection.description, last);
            expectChangesDiffer(job.dice, given);
            last = given.bytes;
            if (job.isRepeatable) {
                all.addData(given.bytes);
                all.addData(given.second);
            }
        }
    }
    // The digest changes if any byte of these images changes. Such a change is a fault, because existing devices
    // couldn't read the new images.
    EXPECT_EQ(all.result().toHex().toStdString(), "4010ec37a6b190f970026abab9fdb2c573c3e94bacc120d3756772372de4e865");
}

}  // namespace
