#include "tests/inspect/Inspection.h"
#include "tests/inspect/SealingKit.h"

#include "files/byteWriter.h"

#include <algorithm>
#include <iterator>

// Tests of the formats that encrypt nothing: backup and secrets images, provisioning and password files.

namespace {

QByteArray words(std::initializer_list<std::uint32_t> values) {
    QByteArray bytes;
    for (const std::uint32_t value : values) {
        appendU32(bytes, value);
    }
    return bytes;
}

const QByteArray secret = QByteArrayLiteral("plain-secret-16b");

// Three records: a plain one, one for AES-CBC whose nonce the device doesn't store, and another plain one.
QByteArray backup() {
    return words({0x10, 0, 16}) + secret + words({0x20, 1U << 19, 32}) + secret + secret + words({0x30, 0, 4}) + "last";
}

QByteArray secretsRecords() {
    return words({17 | 0x10000000, 4}) + "word" + words({176, 16}) + secret + words({180, 4}) + "last";
}

QByteArray provisioning(bool hasHeader, bool hasDigest) {
    const QByteArray payload = secret + "payload";
    const QByteArray body = (hasDigest ? kitSha256(payload) : QByteArray()) + payload;
    return (hasHeader ? words({0x10000100, static_cast<std::uint32_t>(body.size()), 1}) : QByteArray()) + body;
}

QByteArray password() {
    return words({0x80000000, 16}) + secret;
}

TEST(InspectPlainFormats, AreShownWithoutTheirSecrets) {
    struct Row {
        QByteArray bytes;
        const char* name;
        const char* as;
        const char* text;
    };
    const Row rows[] = {
        {backup(), "a.bin", "backupImage",
         "a.bin: backup image by --as, 88 bytes\n"
         "record 1  at 0   0x00000010-0x0000001F  16 bytes, protection word 0x00000000, algorithm aes ecb or none\n"
         "record 2  at 28  0x00000020-0x0000002F  32 bytes, protection word 0x00080000, algorithm aes cbc with nonce\n"
         "record 3  at 72  0x00000030-0x00000033   4 bytes, protection word 0x00000000, algorithm aes ecb or none\n"
         "memory 0x00000010-0x00000033\n"},
        {QByteArray(152, 's'), "a.bin", "secretsWords",
         "a.bin: secrets image of device 0x500 or 0x501 by --as, 152 bytes\n"
         "words 1  at 0    4 bytes, first otp 56, last otp 56\n"
         "words 2  at 4  148 bytes, first otp 59, last otp 95\n"},
        {secretsRecords(), "a.bin", "secretsRecords",
         "a.bin: secrets image of device 0x505 by --as, 48 bytes\n"
         "record 1  at 0    4 bytes, otp 17, protection word 0x10000000\n"
         "record 2  at 12  16 bytes, otp 176, protection word 0x00000000\n"
         "record 3  at 36   4 bytes, otp 180, protection word 0x00000000\n"},
        {provisioning(true, true), "a.x", nullptr,
         "a.x: provisioning file by content, 67 bytes, destination address 0x10000100, body size 55, encryption flag "
         "1, payload digest (32 bytes)\n"
         "payload 1  at 12  0x10000100-0x10000136  23 bytes\n"},
        {provisioning(false, true), "a.x", nullptr,
         "a.x: provisioning file by content, 55 bytes, payload digest (32 bytes)\n"
         "payload 1  at 0  23 bytes\n"},
        {password(), "a.x", nullptr,
         "a.x: password file by content, 24 bytes\n"
         "password 1  at 8  16 bytes\n"},
    };
    for (const Row& row : rows) {
        const Inspection inspection = inspectBytes(row.bytes, row.name, secret, row.as);
        EXPECT_EQ(inspection.text("show"), row.text);
        EXPECT_FALSE(inspection.json("show").contains(kitSha256(secret + "payload").toHex()));
    }
}

TEST(InspectPlainFormats, AreProvenAsFarAsTheyProtectThemselves) {
    struct Row {
        QByteArray bytes;
        const char* name;
        const char* as;
        const char* faults;
        const char* verdict;
    };
    const Row rows[] = {
        {backup(), "a.bin", "backupImage", "?tag", "undecided: a.bin, nothing in the format protects it"},
        {secretsRecords(), "a.bin", "secretsRecords", "?tag", "undecided: a.bin, nothing in the format protects it"},
        {password(), "password.bin", nullptr, "?tag", "undecided: password.bin, nothing in the format protects it"},
        {provisioning(true, true), "a.obk", nullptr, "",
         "proven by digest: 59 of 67 bytes of a.obk; nothing covers bytes 0 to 3; nothing covers bytes 8 to 11"},
        {provisioning(false, true), "a.bin", nullptr, "", "proven by digest: 55 bytes of a.bin"},
        {provisioning(true, false), "a.obk", nullptr, "?digest", "undecided: a.obk, nothing in the format protects it"},
        {provisioning(true, false), "a.obk", "hashedProvisioningFile", "digest",
         "wrong: 1 of 2 checks of a.obk are bad"},
        {provisioning(false, false), "a.bin", "provisioningFile", "?digest",
         "undecided: a.bin, nothing in the format protects it"},
        {provisioning(true, true).chopped(1), "a.obk", nullptr, "?digest cutOff",
         "wrong: 1 of 1 checks of a.obk are bad"},
        {provisioning(true, true) + "x", "a.obk", nullptr, "?digest bytesBehindEnd",
         "wrong: 1 of 1 checks of a.obk are bad"},
        {"eleven byte", "a.obk", nullptr, "?digest cutOff", "wrong: 1 of 1 checks of a.obk are bad"},
    };
    for (const Row& row : rows) {
        const Inspection inspection = inspectBytes(row.bytes, row.name, {}, row.as);
        EXPECT_EQ(inspection.faults(), row.faults);
        const std::string text = inspection.text("verify");
        EXPECT_EQ(text.substr(text.rfind('\n', text.size() - 2) + 1), std::string(row.verdict) + '\n');
    }
}

TEST(InspectPlainFormats, BrokenRulesAreNamed) {
    struct Row {
        const char* as;
        QByteArray bytes;
        const char* faults;
    };
    const Row rows[] = {
        {"backupImage", {}, "?tag"},
        {"backupImage", backup().chopped(1), "?tag cutOff"},
        {"backupImage", backup() + "x", "?tag cutOff"},
        {"backupImage", words({0x12, 0, 4}) + "data", "?tag unaligned"},
        {"backupImage", words({0x10, 0, 3}) + "dat", "?tag unaligned"},
        {"backupImage", words({0x10, 2U << 19, 15}) + secret.first(15), "?tag noRoomForNonce"},
        {"backupImage", words({0x10, 2U << 19, 16}) + secret, "?tag"},
        {"backupImage", words({0xFFFFFFF0, 0, 16}) + secret, "?tag"},
        {"backupImage", QByteArray(12 * 65535, '\0'), "?tag"},
        {"secretsRecords", words({364, 16}) + secret, "?tag"},
        {"backupImage", words({0x10, 0, 32}) + secret + secret + words({0x20, 1U << 19, 32}) + secret + secret,
         "?tag overlap"},
        {"backupImage", words({0xFFFFFFF0, 0, 20}) + secret + "last", "?tag addressWraps"},
        {"backupImage", QByteArray(12 * 65536, '\0'), "?tag tooManyParts"},
        {"secretsWords", QByteArray(151, '\0'), "?tag wrongSize"},
        {"secretsWords", {}, "?tag wrongSize"},
        {"secretsRecords", words({20, 4}) + "word", "?tag unknownIndex"},
        {"secretsRecords", words({17, 6}) + "word x", "?tag unaligned"},
        {"secretsRecords", words({17, 8}) + "two word" + words({18, 4}) + "word", "?tag sharedOtp"},
        {"secretsRecords", words({366, 12}) + "three words!", "?tag beyondLastIndex"},
        {"secretsRecords", words({367, 4}) + "wor", "?tag cutOff"},
        {"passwordFile", password().replace(0, 1, "x"), "?tag badMagic"},
        {"passwordFile", password().chopped(1), "?tag wrongSize"},
        {"passwordFile", words({0x80000000, 1}) + QByteArray(257, 'p'), "?tag wrongSize"},
        {"passwordFile", password().replace(8, 1, "\xff"), "?tag notUtf8"},
        {"passwordFile", password().replace(6, 1, "x"), "?tag notZero"},
        {"passwordFile", "seven b", "?tag cutOff"},
    };
    for (const Row& row : rows) {
        Given given;
        given.bytes = row.bytes;
        given.as = row.as;
        given.isPrinted = row.bytes.size() < 10000;
        EXPECT_EQ(inspectGiven(given).faults(), row.faults);
    }
}

// The test lists the OTP numbers at which a record may start.
TEST(InspectPlainFormats, SecretsRecordsStartWhereTheDeviceHasRoom) {
    constexpr std::uint32_t runs[][2] = {{12, 12},   {17, 19},   {22, 22},   {144, 144},
                                         {152, 152}, {176, 254}, {256, 256}, {260, 367}};
    for (std::uint32_t otp = 0; otp < 400; ++otp) {
        const bool isKnown = std::any_of(std::begin(runs), std::end(runs), [otp](const std::uint32_t(&run)[2]) {
            return otp >= run[0] && otp <= run[1];
        });
        Given given;
        given.bytes = words({otp, 4}) + "word";
        given.as = "secretsRecords";
        given.isPrinted = false;
        const bool isBeyond = otp > 367;
        EXPECT_EQ(inspectGiven(given).faults(), isBeyond  ? "?tag beyondLastIndex unknownIndex"
                                                : isKnown ? "?tag"
                                                          : "?tag unknownIndex")
            << otp;
    }
}

// A changed bit leaves the file proven only if the ranges say that nothing covers it.
TEST(InspectPlainFormats, EveryChangedBitOfAProvisioningFileCounts) {
    for (const bool hasHeader : {true, false}) {
        const QByteArray good = provisioning(hasHeader, true);
        for (const inspect::Range& range : inspectBytes(good, "a.obk", {}).description.ranges) {
            for (qint64 bit = range.offset * 8; bit < (range.offset + range.size) * 8; ++bit) {
                QByteArray changed = good;
                changed[bit / 8] = static_cast<char>(changed.at(bit / 8) ^ (1 << (bit % 8)));
                const bool isProven = inspectBytes(changed, "a.obk", {}).judgement.verdict == inspect::Verdict::proven;
                EXPECT_EQ(isProven, range.cover == inspect::Cover::none) << bit;
            }
        }
    }
}

}  // namespace
