#include "tests/inspect/Inspection.h"
#include "tests/inspect/SealingKit.h"

namespace {

TEST(InspectInstallImage, IsShown) {
    const Inspection plain = inspectBytes(kitMake(kitInstallImage()), "a.tbi", {});
    EXPECT_EQ(plain.text("show"),
              "a.tbi: install image by content, 253 bytes, protocol version 1, image version 1, area count 4, base IV "
              "19937636ac35ca34e8608bfd\n"
              "area 1 F firmware      at 28   0x08000000-0x0800002F  48 bytes\n"
              "area 2 F firmware      at 106  0x08000100-0x08000110  17 bytes\n"
              "area 3 H hash          at 153  0x00000000             32 bytes\n"
              "area 4 C option bytes  at 215  0x00000000              8 bytes\n"
              "memory 0x08000000-0x0800002F firmware\n"
              "memory 0x08000100-0x08000110 firmware\n");
    const Inspection external = inspectBytes(kitMake(kitExternalImage()), "\x1b[31m\xe2\x80\xae.tbi", {});
    EXPECT_EQ(external.text("show").substr(0, 24), "\\u{1b}[31m\\u{202e}.tbi: ");
    EXPECT_NE(external.text("show").find(
                  "0xB0000000-0xB000001F  48 bytes, region mode 2, region number 5, key address 0x08001000\n"),
              std::string::npos);
}

TEST(InspectInstallImage, IsProvenByItsKey) {
    const Inspection inspection = inspectBytes(kitMake(kitExternalImage()), "a.tbi", kitKey);
    EXPECT_EQ(inspection.faults(), "");
    const std::string text = inspection.text("verify");
    EXPECT_EQ(text.substr(text.find('\n') + 1),
              "note: area 6 e at byte 381: module and firmware overlap: area 4 also has bytes from 0xB0000000 on\n"
              "area 1 O 0x10000100 16 bytes: tag good, form of the content good\n"
              "area 2 m 0x08010000 11 bytes: tag good, form of the content good\n"
              "area 3 M 0x08010000 40 bytes: tag good\n"
              "area 4 E 0xB0000000 48 bytes: tag good, region key good\n"
              "area 5 P 0x0800F000 8 bytes: tag good, part and area count good\n"
              "area 6 e 0xB0000000 32 bytes: tag good, region key good\n"
              "area 7 H 0x00000000 32 bytes: tag good, digest good\n"
              "area 8 C 0x00000000 0 bytes: tag good\n"
              "a.tbi: rules of the format good, IVs all different good\n"
              "proven by tag and digest: 583 bytes of a.tbi\n");
    EXPECT_EQ(inspectBytes(kitMake(kitExternalImage()), "a.tbi", {}).judgement.verdict, inspect::Verdict::undecided);
}

TEST(InspectInstallImage, IsCoveredByItsTags) {
    for (const inspect::Range& range : inspectBytes(kitMake(kitExternalImage()), "a.tbi", {}).description.ranges) {
        EXPECT_EQ(range.cover, inspect::Cover::tag) << range.offset;
    }
}

KitImage changed(KitImage image, void (*change)(KitImage& image)) {
    change(image);
    return image;
}

void updateHash(KitImage& image) {
    const auto hash = image.areas.end() - 2;
    *hash = kitHash({image.areas.begin(), hash});
}

// Inserts a second `P` area at index `at`, and corrects the number of areas in the first one.
void addPartEnd(KitImage& image, std::ptrdiff_t at, std::uint32_t address, const char* payload) {
    image.areas[4].payload[4] = 4;
    image.areas.insert(image.areas.begin() + at, {'P', address, QByteArray::fromHex(payload), {}, {}, {}, {}, {}});
    updateHash(image);
}

// Each image breaks at most one rule. Its tags are right, because the opener makes further checks only after good tags.
TEST(InspectInstallImage, NamesTheOneRuleThatIsBroken) {
    struct Row {
        const char* faults;
        KitImage base;
        void (*change)(KitImage& image);
    };
    const Row rows[] = {
        {"badMagic", kitInstallImage(), [](KitImage& image) { image.magic = "TBIMAGIK"; }},
        {"unknownProtocol", kitExternalImage(), [](KitImage& image) { image.protocol = 3; }},
        {"notZero", kitInstallImage(), [](KitImage& image) { image.headerEnd[3] = 1; }},
        {"notZero", kitExternalImage(), [](KitImage& image) { image.areas[0].second = QByteArray(16, 'x'); }},
        {"unknownLetter", kitInstallImage(), [](KitImage& image) { image.areas[0].letter = 'X'; }},
        {"wrongIndex", kitInstallImage(), [](KitImage& image) { image.areas[1].index = 9; }},
        {"ivs wrongIndex", kitInstallImage(), [](KitImage& image) { image.areas[1].index = 1; }},
        {"wrongVersion", kitInstallImage(), [](KitImage& image) { image.areas[2].version = 2; }},
        {"wrongCount", kitInstallImage(), [](KitImage& image) { image.areas[2].count = 5; }},
        {"wrongCount", kitInstallImage(), [](KitImage& image) { image.count = 5; }},
        {"noEndArea", kitInstallImage(), [](KitImage& image) { image.areas.pop_back(); }},
        {"noHashArea", kitInstallImage(), [](KitImage& image) { image.areas.erase(image.areas.begin() + 2); }},
        {"wrongSize", kitInstallImage(), [](KitImage& image) { image.areas[2].payload += 'x'; }},
        {"unaligned", kitInstallImage(), [](KitImage& image) { image.areas[3].payload = "torn.."; }},
        {"overlap", kitInstallImage(), [](KitImage& image) { image.areas[1].address = 0x0800002F; }},
        {"", kitInstallImage(), [](KitImage& image) { image.areas[1].address = 0xFFFFFFEF; }},
        {"addressWraps", kitInstallImage(), [](KitImage& image) { image.areas[1].address = 0xFFFFFFF0; }},
        {"moduleTail", kitExternalImage(), [](KitImage& image) { image.areas[4].address = 0x08010028; }},
        {"wrongOrder", kitExternalImage(), [](KitImage& image) { image.areas[1].address = 0; }},
        {"wrongDescriptor", kitExternalImage(), [](KitImage& image) { image.areas[3].second[4] = 4; }},
        {"wrongDescriptor", kitExternalImage(), [](KitImage& image) { image.areas[5].second[0] = 1; }},
        {"", kitExternalImage(),
         [](KitImage& image) {
             image.areas[3].second[4] = 3;
             image.areas[3].second[8] = 7;
             updateHash(image);
         }},
        {"wrongDescriptor", kitExternalImage(),
         [](KitImage& image) {
             image.areas[3].second[8] = 8;
             updateHash(image);
         }},
        {"", kitExternalImage(),  // the longest identity
         [](KitImage& image) {
             image.areas[1].payload = QByteArray::fromHex("02000000") + QByteArray(15, 'i');
             updateHash(image);
         }},
        {"", kitExternalImage(),  // as close to a module as allowed
         [](KitImage& image) { image.areas[4].address = 0x08010040; }},
        {"moduleTail", kitExternalImage(), [](KitImage& image) { image.areas[4].address = 0x0801003F; }},
        {"overlap", kitInstallImage(), [](KitImage& image) { image.areas[1].address = 0x08000000; }},
        {"", kitInstallImage(), [](KitImage& image) { image.areas[1].address = 0x08000030; }},
        {"digest", kitInstallImage(), [](KitImage& image) { image.areas[2].payload[31] ^= 1; }},
        {"regionKey", kitExternalImage(),
         [](KitImage& image) {
             image.areas[3].regionKeyOf = "another";
             updateHash(image);
         }},
        {"continuation", kitExternalImage(),
         [](KitImage& image) {
             image.areas[4].payload[0] = 2;
             updateHash(image);
         }},
        {"payloadForm", kitExternalImage(),
         [](KitImage& image) {
             image.areas[0].payload[0] = 5;
             updateHash(image);
         }},
        {"payloadForm", kitExternalImage(),  // a wrong size of the data
         [](KitImage& image) {
             image.areas[0].payload[4] = 5;
             updateHash(image);
         }},
        {"payloadForm", kitExternalImage(),  // an identity that is too long
         [](KitImage& image) {
             image.areas[1].payload = QByteArray::fromHex("02000000") + QByteArray(16, 'i');
             updateHash(image);
         }},
        {"payloadForm", kitExternalImage(),  // two licences
         [](KitImage& image) {
             image.areas.insert(image.areas.begin() + 1, image.areas[1]);
             updateHash(image);
         }},
        {"payloadForm wrongOrder", kitExternalImage(),
         [](KitImage& image) {
             image.areas.insert(image.areas.begin() + 1, 2, image.areas[1]);
             updateHash(image);
         }},
        {"addressWraps", kitExternalImage(),
         [](KitImage& image) { image.areas[1].address = image.areas[2].address = 0xFFFFFFF0; }},
        {"descending", kitInstallImage(), [](KitImage& image) { image.areas[0].address = 0x08000200; }},
        {"wrongValue", kitInstallImage(), [](KitImage& image) { image.areas[3].address = 4; }},
        {"empty", kitInstallImage(),
         [](KitImage& image) {
             image.areas[1].payload = QByteArray();
             updateHash(image);
         }},
        {"tooSmall", kitExternalImage(),
         [](KitImage& image) {
             image.areas[3].payload = QByteArray();
             updateHash(image);
         }},
        {"continuation wrongSize", kitExternalImage(),
         [](KitImage& image) {
             image.areas[4].payload += 'x';
             updateHash(image);
         }},
        {"wrongOrder", kitExternalImage(),
         [](KitImage& image) { addPartEnd(image, 5, 0x0800F000, "0200000003000000"); }},
        {"wrongValue", kitExternalImage(),
         [](KitImage& image) { addPartEnd(image, 6, 0x0800F004, "0200000002000000"); }},
        {"regionKey wrongValue", kitExternalImage(), [](KitImage& image) { image.protocol = 1; }},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(inspectBytes(kitMake(changed(row.base, row.change)), "a.tbi", kitKey).faults(), row.faults);
    }
    EXPECT_EQ(inspectBytes(kitMake(kitInstallImage()) + "x", "a.tbi", kitKey).faults(), "bytesBehindEnd");
    EXPECT_EQ(inspectBytes(kitMake(kitInstallImage()), "a.tbi", QByteArray(16, 'k')).faults(), "tag");
}

TEST(InspectInstallImage, AreasHaveTheirLeastSizeAndTheirPlace) {
    struct Row {
        char letter;
        int least;
        const char* faults;  // the faults of an area that is one byte shorter
        bool isAtZero;
    };
    for (const Row& row : {Row{'S', 1, "empty", true}, Row{'O', 12, "payloadForm tooSmall", false},
                           Row{'K', 4, "tooSmall", true}, Row{'R', 4, "tooSmall", true}, Row{'F', 1, "empty", false}}) {
        const auto faultsOf = [&row](int size, std::uint32_t address) {
            KitImage image = kitInstallImage();
            image.areas.insert(image.areas.begin(), {row.letter, address, QByteArray(size, '\0'), {}, {}, {}, {}, {}});
            updateHash(image);
            return inspectBytes(kitMake(image), "a.tbi", kitKey).faults();
        };
        EXPECT_EQ(faultsOf(row.least, 0), "") << row.letter;
        EXPECT_EQ(faultsOf(row.least - 1, 0), row.faults) << row.letter;
        if (row.letter != 'O') {  // its payload contains the address, too
            EXPECT_EQ(faultsOf(row.least, 4), row.isAtZero ? "wrongValue" : "") << row.letter;
        }
    }
}

// A module directly beside firmware is right. A module that overlaps firmware gives a note, not an error.
TEST(InspectInstallImage, NotesModulesOverFirmware) {
    struct Row {
        std::uint32_t firmware;
        int size;
        bool isNoted;
    };
    for (const Row& row :
         {Row{0x0800FFF0, 16, false}, Row{0x0800FFF0, 17, true}, Row{0x08010010, 4, true}, Row{0x08010040, 4, false}}) {
        KitImage image = kitInstallImage();
        image.areas[0] = {'M', 0x08010000, QByteArray(64, 'm'), {}, {}, {}, {}, {}};
        image.areas[1] = {'F', row.firmware, QByteArray(row.size, 'f'), {}, {}, {}, {}, {}};
        updateHash(image);
        const Inspection inspection = inspectBytes(kitMake(image), "a.tbi", kitKey);
        EXPECT_EQ(inspection.faults(), "");
        EXPECT_EQ(inspection.description.findings.size(), row.isNoted ? 1U : 0U) << row.firmware;
    }
}

// Two different images with a common IV are detected without a key. Two files with the same image contain one message,
// so they are good.
TEST(InspectInstallImage, IvsDifferOverAllFiles) {
    KitImage other = kitInstallImage();
    other.areas[0].payload[0] = 'x';
    KitImage fresh = other;
    fresh.nonce = "fresh";
    struct Row {
        KitImage image;
        bool isGood;
    };
    for (const Row& row : {Row{kitInstallImage(), true}, Row{other, false}, Row{fresh, true}}) {
        std::vector<inspect::Description> files;
        for (const QByteArray& bytes : {kitMake(kitInstallImage()), kitMake(row.image)}) {
            files.push_back(inspectBytes(bytes, "a.tbi", {}).description);
            files.back().checks.clear();
        }
        inspect::proveIvs(files);
        EXPECT_EQ(inspect::judge(files[0]).bad == 0, row.isGood);
        EXPECT_EQ(inspect::judge(files[1]).bad == 0, row.isGood);
    }
}

}  // namespace
