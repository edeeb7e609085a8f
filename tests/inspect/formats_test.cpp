#include "tests/inspect/Inspection.h"
#include "tests/inspect/SealingKit.h"
#include "tests/inspect/SigningKit.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace {

const QByteArray binding(32, 'r');

Given given(const char* name, const QByteArray& bytes) {
    Given made;
    made.name = name;
    made.bytes = bytes;
    made.key = kitKey;
    return made;
}

Given update(const KitPair& pair) {
    Given made = given("a.tbuh", pair.header);
    made.second = pair.segment;
    return made;
}

Given signedImage(const QByteArray& image, std::uint32_t length) {
    const KitSigned made = kitSign(image, length);
    Given result = given("a.bin", made.image);
    result.publicKey = made.publicPem;
    return result;
}

Given payload() {
    Given made = given("payload.pvs", kitPayload(QByteArray(40, 's'), binding));
    made.publicKey = binding;
    return made;
}

Given mcuboot(KitKind signer, bool isPure = false) {
    KitMcuboot image;
    image.signer = signer;
    image.isPure = isPure;
    if (isPure) {
        image.moreTlvs = {{0x25, "\1"}};
    }
    Given made = given("a.kdu", kitMake(image));
    made.publicKey = kitKeyOf(signer).publicPem;
    return made;
}

Given wireless(const char* name, const QByteArray& bytes) {
    Given made = given(name, bytes);
    made.publicKey = kitKeyOf(KitKind::rsa2048).publicPem;
    return made;
}

Given personalization() {
    const KitKey card = kitMakeKey(KitKind::p256);
    const QByteArray secret = kitPersoSecret(kitKeyOf(KitKind::p256), card);
    const Sealed sealed = kitSeal(secret.sliced(16, 12), {}, QByteArray(50, 'p'), secret.first(16));
    Given made = given("data.enc.bin", sealed.tag + sealed.bytes);
    made.as = "personalizationData";
    made.privateKey = kitKeyOf(KitKind::p256).privatePem;
    made.publicKey = card.publicPem;
    return made;
}

// The bytes 0 to 63 at 0xB000ABE0 under kitKey, as the tool encrypts them.
Given memory(std::uint32_t mode) {
    const char* const images[] = {
        "9266f8a57cb701645ada93b0edb2895a927d05c7e6c773678f5c4e3d158ce22d"
        "f69afc64bfef187077c297eb27eddac6d4eb80bdc4246e54e3cbc4ab1887d75b",
        "578ce5baf01dd57a70bb14f2c28c43553018a4842675af0fe31c2de2800ff63c"
        "4fc08591cf255c45b4aaf543526b5930e27d7fa62232d57f41daabab5c8c8534",
        "351f4710ea2027f2479070043e94a7bce520b06f2f9d184a2fabd8b1af19aeb0"
        "a332b2fdc83378e824f09a0d03b62c00d173184f8e64cf40ac8298783719d7e4"};
    Given made = given("Encrypted_Image.bin", QByteArray::fromHex(images[std::min(mode, 2U)]));
    made.as = "memoryImage";
    made.memory = inspect::MemoryUse{0xB000ABE0, mode};
    made.app = QByteArray(64, '\0');
    std::iota(made.app->begin(), made.app->end(), '\0');
    return made;
}

/// A whole file of a format, with the expected faults and proof.
struct Whole {
    const char* format;
    Given given;
    const char* faults;
    const char* proof;
};

std::vector<Whole> wholeFiles() {
    const QByteArray image = kitMake(kitInstallImage());
    return {{"installImage", given("a.tbi", image), "", "tag digest"},
            {"installImage", given("module.tbix", kitMake(kitExternalImage())), "", "tag digest"},
            {"packagedModule", given("a.xtbi", kitPackagedModule()), "?tag", ""},
            {"provisioningImage", given("a.pvs", kitMake(kitProvisioningImage())), "", "tag"},
            {"provisioningPayload", payload(), "", "tag"},
            {"updateImage", update(kitUpdate(QByteArray(33, 'u'), 0x1FF)), "", "tag"},
            {"signedImage", signedImage(QByteArray(100, 'x'), 100), "", "signature"},
            {"signedImage", signedImage(image, static_cast<std::uint32_t>(image.size())), "", "tag signature digest"},
            {"mcubootImage", mcuboot(KitKind::rsa2048), "", "signature digest"},
            {"mcubootImage", mcuboot(KitKind::rsa3072), "", "signature digest"},
            {"mcubootImage", mcuboot(KitKind::p256), "", "signature digest"},
            {"mcubootImage", mcuboot(KitKind::ed25519), "", "signature digest"},
            {"mcubootImage", mcuboot(KitKind::ed25519, true), "", "signature digest"},
            {"wirelessBinary", wireless("a.bin", kitWirelessBinary(QByteArray(60, 'w'))), "", "signature"},
            {"wirelessKeyFile", wireless("a.c", kitWirelessKey("c")), "", "comparison"},
            {"wirelessKeyFile", wireless("a.py", kitWirelessKey("py")), "", "comparison"},
            {"wirelessKeyFile", wireless("a.txt", kitWirelessKey("txt")), "", "comparison"},
            {"personalizationData", personalization(), "", "tag"},
            {"memoryImage", memory(0), "", "comparison"},
            {"memoryImage", memory(1), "", "comparison"},
            {"memoryImage", memory(7), "", "comparison"}};
}

TEST(InspectFormats, AreFoundAndProven) {
    for (const Whole& whole : wholeFiles()) {
        SCOPED_TRACE(whole.given.name);
        Inspection inspection = inspectGiven(whole.given);
        ASSERT_NE(inspection.description.format, nullptr);
        EXPECT_STREQ(inspection.description.format->name, whole.format);
        EXPECT_EQ(inspection.faults(), whole.faults);
        std::string proof;
        for (const inspect::Proof kind : inspection.judgement.proofs) {
            proof += (proof.empty() ? "" : " ") + std::string(inspect::nameOf(kind));
        }
        EXPECT_EQ(proof, whole.proof);
        // Nothing is proven without a key.
        Given bare = whole.given;
        bare.key.clear();
        bare.publicKey.clear();
        bare.app.reset();
        EXPECT_EQ(inspectGiven(bare).judgement.verdict, inspect::Verdict::undecided);
    }
}

/// Whether nothing covers the byte at `offset`.
bool isUncovered(const inspect::Description& description, qsizetype offset) {
    const auto range =
        std::find_if(description.ranges.begin(), description.ranges.end(),
                     [offset](const inspect::Range& candidate) { return offset < candidate.offset + candidate.size; });
    return range->cover == inspect::Cover::none;
}

// A flipped bit makes the file wrong unless the ranges say that nothing covers the byte.
TEST(InspectFormats, EveryCoveredBitAndEveryCutCounts) {
    for (const Whole& whole : wholeFiles()) {
        SCOPED_TRACE(whole.given.name);
        const Inspection good = inspectGiven(whole.given);
        const qsizetype step = whole.given.bytes.size() > 1000 ? 7 : 1;  // a long file is a text with one check
        for (qsizetype i = 0; i < whole.given.bytes.size(); i += step) {
            Given changed = whole.given;
            changed.as = whole.format;
            changed.isPrinted = i % 16 == 0;
            changed.bytes[i] = static_cast<char>(changed.bytes.at(i) ^ (1 << (i % 8)));
            const bool isWrong = inspectGiven(changed).judgement.verdict == inspect::Verdict::wrong;
            EXPECT_TRUE(isWrong || isUncovered(good.description, i)) << i;
            changed.bytes.truncate(i);
            EXPECT_NE(inspectGiven(changed).judgement.verdict, inspect::Verdict::proven) << i;
        }
        for (qsizetype i = 0; i < whole.given.second.size(); ++i) {
            Given changed = whole.given;
            changed.isPrinted = false;
            changed.second[i] = static_cast<char>(changed.second.at(i) ^ 1);
            EXPECT_EQ(inspectGiven(changed).judgement.verdict, inspect::Verdict::wrong) << i;
        }
    }
}

// Makes random changes of one byte, and reads the files in every format. Each change is a difference. Files with
// different bytes can be equal only if both are proven; the next test has such pairs.
TEST(InspectFormats, NoChangedByteIsNoDifference) {
    std::mt19937 random(20);
    for (const Whole& whole : wholeFiles()) {
        for (const inspect::FormatRow& row : inspect::formatTable()) {
            Given good = whole.given;
            good.as = row.name;
            const bool isOwn = std::string(row.name) == whole.format;
            EXPECT_EQ(compareGiven(good, good), 0);
            for (unsigned i = 0; i < (isOwn ? 48U : 2U); ++i) {
                Given changed = good;
                good.key = changed.key = i % 3 == 0 ? QByteArray() : kitKey;
                const bool isSecond = i % 2 == 1 && !good.second.isEmpty();
                QByteArray& bytes = isSecond ? changed.second : changed.bytes;
                const auto at = static_cast<qsizetype>(random() % static_cast<unsigned>(bytes.size()));
                bytes[at] = static_cast<char>(static_cast<unsigned>(bytes.at(at)) ^ (1 + random() % 255));
                EXPECT_NE(compareGiven(good, changed), 0) << row.name << ' ' << whole.format << ' ' << at;
            }
        }
    }
}

TEST(InspectFormats, CompareByWhatCounts) {
    const KitImage image = kitInstallImage();
    KitImage fresh = image;
    fresh.nonce = "another";
    const auto kdu = [](KitKind signer, const QByteArray& code) {
        KitMcuboot made;
        made.signer = signer;
        made.code = code;
        Given result = given("a.kdu", kitMake(made));
        result.publicKey = kitKeyOf(signer).publicPem;
        return result;
    };
    const auto withoutKey = [](Given bare) {
        bare.key.clear();
        bare.publicKey.clear();
        return bare;
    };
    const auto onHex = [](const char* text) {
        Given hex = given("a.hex", text);
        hex.as = "hexFile";
        return hex;
    };
    const Given update1 = update(kitUpdate(QByteArray(33, 'u'), 2));
    Given headerOnly = update1;
    headerOnly.second = QByteArray();
    Given otherSegment = update1;
    otherSegment.second = kitUpdate(QByteArray(33, 'v'), 2).segment;
    const Given tbi = given("a.tbi", kitMake(image));
    Given tail = signedImage(QByteArray(100, 'x'), 90);
    Given otherTail = tail;
    otherTail.bytes[95] = 'y';
    Given otherIv = withoutKey(tbi);
    otherIv.bytes[12] = 'x';
    const char* const records = ":0400000001020304F2\n:0400100005060708D2\n:00000001FF\n";
    struct Row {
        Given a;
        Given b;
        int status;
    };
    const Row rows[] = {
        {tbi, given("b.tbi", kitMake(fresh)), 0},                          // a fresh nonce doesn't count
        {withoutKey(tbi), withoutKey(given("b.tbi", kitMake(fresh))), 2},  // but without a key it hides the contents
        {kdu(KitKind::p256, "code"), kdu(KitKind::p256, "code"), 0},       // each ECDSA signature differs
        {withoutKey(kdu(KitKind::p256, "code")), withoutKey(kdu(KitKind::p256, "code")), 1},
        {kdu(KitKind::p256, "code"), kdu(KitKind::p256, "coda"), 1},
        {kdu(KitKind::p256, "code"), kdu(KitKind::ed25519, "code"), 1},
        {tail, otherTail, 1},           // both are proven, but nothing covers some of their bytes
        {withoutKey(tbi), otherIv, 2},  // equal ciphertext under another IV
        {update1, headerOnly, 2},
        {withoutKey(update1), withoutKey(otherSegment), 2},
        {onHex(records), onHex(":0400100005060708d2\n:020000000102FB\n:020002000304F5\n:00000001FF\n"), 0},
        {onHex(records), onHex(":0400000001020304F2\n:0400100005060709D1\n:00000001FF\n"), 1},
        {onHex(":0400000001020304F2\n:04001000050607\n"), onHex(records), 1},
    };
    int index = 0;
    for (const Row& row : rows) {
        EXPECT_EQ(compareGiven(row.a, row.b), row.status) << index;
        EXPECT_EQ(compareGiven(row.b, row.a), row.status) << index;
        ++index;
    }
}

KitImage provisioning(void (*change)(KitImage& image)) {
    KitImage image = kitProvisioningImage();
    change(image);
    return image;
}

// A signed image whose r (64 bytes before the end) or s (32 bytes before the end) is replaced.
Given scalar(qsizetype fromEnd, const char* value) {
    Given made = signedImage("image", 5);
    made.bytes.replace(made.bytes.size() - fromEnd, 32, QByteArray::fromHex(value));
    return made;
}

TEST(InspectFormats, NameTheOneRuleThatIsBroken) {
    const KitPair pair = kitUpdate(QByteArray(33, 'u'), 2);
    Given longSegment = update(pair);
    longSegment.second += 'x';
    Given shortSegment = update(pair);
    shortSegment.second.chop(1);
    Given noSegment = update(pair);
    noSegment.second = QByteArray();
    Given strangeKey = payload();
    strangeKey.publicKey = QByteArray(32, 'q');
    Given noPublicKey = signedImage("image", 5);
    noPublicKey.publicKey = kitKey;
    struct Row {
        const char* faults;
        Given given;
    };
    const Row rows[] = {
        {"wrongOrder", given("a.pvs", kitMake(provisioning([](KitImage& image) {
             std::swap(image.areas[0], image.areas[1]);
         })))},
        {"wrongOrder", given("a.pvs", kitMake(provisioning([](KitImage& image) {
             std::swap(image.areas[2], image.areas[1]);
         })))},
        {"payloadForm", given("a.pvs", kitMake(provisioning([](KitImage& image) { image.areas[2].payload += 'x'; })))},
        {"payloadForm", given("a.pvs", kitMake(provisioning([](KitImage& image) {
             image.areas[2].payload[6] = 3 << 3;  // AES in an unknown mode
         })))},
        {"payloadForm", given("a.pvs", kitMake(provisioning([](KitImage& image) {
             image.areas[2].payload = image.areas[2].payload.chopped(1).replace(8, 1, "\3");
         })))},
        {"", given("a.pvs", kitMake(provisioning([](KitImage& image) {
             image.areas[2].payload.replace(0, 4, QByteArray::fromHex("00000050"));
         })))},
        {"payloadForm", given("a.pvs", kitMake(provisioning([](KitImage& image) {
             image.areas[2].payload.replace(0, 4, QByteArray::fromHex("04000050"));  // above the area's address
         })))},
        {"empty", given("a.pvs", kitMake(provisioning([](KitImage& image) { image.areas[1].payload = QByteArray(); })))},
        {"notZero", given("a.pvs", kitMake(provisioning([](KitImage& image) {
             image.areas[1].second = QByteArray(16, 'x');
         })))},
        {"", given("a.pvs", kitMake(provisioning([](KitImage& image) {
             image.areas[1].address = 0xFFFFFFF0;
             image.areas[2].address = 0xFFFFFFFC;
         })))},
        {"addressWraps",
         given("a.pvs", kitMake(provisioning([](KitImage& image) { image.areas[1].address = 0xFFFFFFF1; })))},
        {"addressWraps",
         given("a.pvs", kitMake(provisioning([](KitImage& image) { image.areas[2].address = 0xFFFFFFFD; })))},
        {"", update(kitUpdate(QByteArray(33, 'u'), 2, 0xFFFFFFDF))},
        {"addressWraps", update(kitUpdate(QByteArray(33, 'u'), 2, 0xFFFFFFE0))},
        {"?tag", given("a.pvs", kitMake(provisioning([](KitImage& image) { image.areas.clear(); })))},
        {"bytesBehindEnd", given("a.pvs", kitMake(kitProvisioningImage()) + 'x')},
        {"bytesBehindEnd", longSegment},
        {"?tag cutOff", shortSegment},
        {"?tag", noSegment},
        {"binding", strangeKey},
        {"?signature", noPublicKey},
        {"unknownAlgorithm", [] {
             const KitSigned made = kitSign("image", 5, 1);
             Given row = given("a.bin", made.image);
             row.publicKey = made.publicPem;
             row.as = "signedImage";
             return row;
         }()},
        {"outOfRange signature", scalar(32, "FFFFFFFF00000000FFFFFFFFFFFFFFFFBCE6FAADA7179E84F3B9CAC2FC632551")},
        {"signature", scalar(32, "FFFFFFFF00000000FFFFFFFFFFFFFFFFBCE6FAADA7179E84F3B9CAC2FC632550")},
        {"outOfRange signature", scalar(64, "0000000000000000000000000000000000000000000000000000000000000000")},
        {"empty", signedImage("image", 0)},
        {"beyondEnd", [] {
             const KitSigned made = kitSign("image", 6);
             Given row = given("a.bin", made.image);
             row.publicKey = made.publicPoint;
             row.as = "signedImage";
             return row;
         }()},
    };
    int index = 0;
    for (const Row& row : rows) {
        EXPECT_EQ(inspectGiven(row.given).faults(), row.faults) << index;
        ++index;
    }
}

// Two layouts share a magic. The layout that fits is chosen, whatever the name; if both fit, the suffix decides.
TEST(InspectFormats, ContentDecidesAndThenTheSuffix) {
    struct Row {
        const char* name;
        QByteArray bytes;
        const char* format;
        inspect::FoundBy by;
    };
    const Row rows[] = {
        {"a.xtbi", kitMake(kitInstallImage()), "installImage", inspect::FoundBy::content},
        {"a.tbi", kitPackagedModule(), "packagedModule", inspect::FoundBy::content},
        {"a.tbi", "TBIMAGIC", "installImage", inspect::FoundBy::suffix},
        {"a.xtbi", "TBIMAGIC", "packagedModule", inspect::FoundBy::suffix},
        {"a.tbu", "no magic", "updatePayload", inspect::FoundBy::suffix},
        {"a", "TBIMAGIC", nullptr, inspect::FoundBy::suffix},
        {"a", QByteArray::fromHex("000000100100000000000000aa"), "provisioningFile", inspect::FoundBy::content},
        {"a", QByteArray::fromHex("000000100000000000000000"), nullptr, inspect::FoundBy::suffix},
        {"a", QByteArray::fromHex("0000008001000000aa"), "passwordFile", inspect::FoundBy::content},
        {"a", QByteArray::fromHex("0100008001000000aa"), nullptr, inspect::FoundBy::suffix},
    };
    for (const Row& row : rows) {
        inspect::Description description;
        const inspect::FormatRow* const found =
            inspect::findFormat({QString::fromUtf8(row.name), row.bytes, {}, {}}, description);
        EXPECT_EQ(found == nullptr ? QByteArray() : QByteArray(found->name), QByteArray(row.format)) << row.name;
        EXPECT_EQ(description.by, row.by) << row.name;
    }
}

// The verdict names the bytes that no signature covers, and includes the inner file.
TEST(InspectFormats, SignedImageShowsItsImageAndUncoveredBytes) {
    Given given = signedImage(QByteArray(100, 'x'), 90);
    EXPECT_NE(inspectGiven(given).text("verify").find(
                  "proven by signature: 170 of 180 bytes of a.bin; nothing covers bytes 90 to 99\n"),
              std::string::npos);
    const QByteArray image = kitMake(kitInstallImage());
    given = signedImage(image, static_cast<std::uint32_t>(image.size()));
    given.key.clear();
    EXPECT_EQ(inspectGiven(given).judgement.verdict, inspect::Verdict::proven);
    EXPECT_NE(inspectGiven(given).text("show").find("a.bin: install image by content, 253 bytes"), std::string::npos);
    given.key = QByteArray(16, 'k');
    EXPECT_EQ(inspectGiven(given).judgement.verdict, inspect::Verdict::wrong);
    // If the tags of the inner image are checked, they cover the bytes that the signature doesn't cover.
    given = signedImage(image, 100);
    EXPECT_TRUE(inspectGiven(given).judgement.uncovered.empty());
    given.key.clear();
    EXPECT_NE(inspectGiven(given).text("verify").find(
                  "proven by signature: 180 of 333 bytes of a.bin; nothing covers bytes 100 to 252\n"),
              std::string::npos);
}

}  // namespace
