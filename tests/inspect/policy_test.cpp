#include "inspect/devicePolicy.h"
#include "tests/support/TempFolder.h"
#include "tests/support/outsideTool.h"

#include <gtest/gtest.h>

namespace {

struct Row {
    QByteArray document;
    const char* fault;        ///< empty: readable
    bool fitsSchema = false;  ///< for a fault that the schema can't express
};

// An outside validator must accept and reject the same documents by the published schema.
TEST(InspectPolicy, ReadsTheDocumentsOfItsSchema) {
    const QByteArray fingerprint = '"' + QByteArray(64, 'A') + '"';
    const auto rule = [](const char* members) {
        return QByteArray(R"({"version": 1, "optionWords": [{)") + members + "}]}";
    };
    constexpr const char* words =
        R"("optionWords" must be a list of rules with "word" and "mask", or with "register" and "field", and either )"
        R"("is" or "isNot", a value inside the mask)";
    constexpr const char* memory = R"("memory" must be a list of ranges with "from" and "to", such as "0x08000000")";
    constexpr const char* least = R"("leastVersion" must be a number or a text such as "1.2.3")";
    const Row rows[] = {
        {R"({"version": 1})", ""},
        {R"({"version": 1, "formats": [], "proofs": [], "memory": [], "optionWords": [], "overlaps": true})", ""},
        {R"({"version": 1, "proofs": ["digest", "signature", "tag", "comparison"], "largestSize": 0})", ""},
        {R"({"version": 1, "imageKeys": [)" + fingerprint + R"(], "publicKeys": []})", ""},
        {R"({"version": 1, "leastVersion": 4294967295})", ""},
        {R"({"version": 1, "leastVersion": "1.2.3+4"})", ""},
        {R"({"version": 1, "memory": [{"name": "Flash", "from": "0", "to": "0xffffffff"}]})", ""},
        {rule(R"("name": "level", "word": 1, "mask": "FF", "is": "0x10")"), ""},
        {rule(R"("word": 65535, "isNot": "0", "irreversible": true)"), ""},
        {R"({"version": 1, "device": "455"})", ""},
        {rule(R"("register": "START", "is": "0x10")"), ""},
        {rule(R"("name": "x", "register": "START", "field": "Pause", "isNot": "1 s", "irreversible": true)"), ""},
        {"{}", R"("version" is missing)"},
        {"[]", "no JSON object"},
        {R"({"version": 2})", R"("version" must be 1)"},
        {R"({"version": 1, "proof": []})", R"(unknown member "proof")"},
        {R"({"version": 1, "proofs": ["structure"]})",
         R"("proofs" must be a list of digest, signature, tag and comparison)"},
        {R"({"version": 1, "proofs": "tag"})", R"("proofs" must be a list of digest, signature, tag and comparison)"},
        {R"({"version": 1, "formats": ["image"]})", R"("formats" must be a list of the formats that --help names)",
         true},
        {R"({"version": 1, "publicKeys": ["12"]})",
         R"("publicKeys" must be a list of fingerprints of 64 hexadecimal digits)"},
        {R"({"version": 1, "leastVersion": -1})", least},
        {R"({"version": 1, "leastVersion": 1.5})", least},
        {R"({"version": 1, "leastVersion": "1.2."})", least},
        {R"({"version": 1, "leastVersion": "1+2"})", least},
        {R"({"version": 1, "leastVersion": "4294967296"})", least, true},
        {R"({"version": 1, "largestSize": 1e30})", R"("largestSize" must be a number of bytes)"},
        {R"({"version": 1, "overlaps": 0})", R"("overlaps" must be true or false)"},
        {R"({"version": 1, "memory": [{"from": "0"}]})", memory},
        {R"({"version": 1, "memory": [{"from": 0, "to": 1}]})", memory},
        {R"({"version": 1, "memory": [{"from": "0", "to": "1", "size": "1"}]})", memory},
        {R"({"version": 1, "memory": [{"from": "1", "to": "0"}]})", memory, true},
        {R"({"version": 1, "device": 455})", R"("device" must be a hexadecimal number, such as "0x455")"},
        {rule(R"("register": "START", "is": "Open")"), words},
        {rule(R"("register": "START", "field": "Pause", "is": "")"), words},
        {rule(R"("register": "START", "field": "", "is": "0")"), words},
        {rule(R"("register": "", "is": "0")"), words},
        {rule(R"("field": "Pause", "is": "0")"), words},
        {rule(R"("word": 1, "field": "Pause", "is": "0")"), words},
        {rule(R"("word": 1, "register": "START", "is": "0")"), words},
        {rule(R"("register": "START", "mask": "F", "is": "0")"), words},
        {rule(R"("register": "START", "field": "Pause", "mask": "F", "is": "0")"), words},
        {rule(R"("register": 1, "is": "0")"), words},
        {rule(R"("register": "START", "field": "Pause", "is": "0", "isNot": "1")"), words},
        {rule(R"("word": 0, "is": "0")"), words},
        {rule(R"("word": 1)"), words},
        {rule(R"("word": 1, "is": "0", "isNot": "1")"), words},
        {rule(R"("word": 1, "is": "g")"), words},
        {rule(R"("word": 1, "is": "0", "irreversible": "no")"), words},
        {rule(R"("word": 1, "mask": "F0", "is": "1")"), words, true},
        {rule(R"("word": 1, "is": "0", "irreversible": true)"), words, true},
    };
    const TempFolder folder;
    QByteArray files;
    QByteArray expected;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.document.constData());
        inspect::Policy policy;
        QString fault;
        EXPECT_EQ(inspect::readPolicy(row.document, policy, fault), *row.fault == '\0');
        EXPECT_EQ(fault.toStdString(), row.fault);
        const QByteArray name = "policy" + QByteArray::number(files.count(' '));
        files += ' ' + folder.write(name.constData(), row.document).toUtf8();
        expected += *row.fault == '\0' || row.fitsSchema ? "fits\n" : "doesn't fit\n";
    }
    const QByteArray script =
        "import json, sys, jsonschema\n"
        "schema = jsonschema.Draft202012Validator(json.load(open(sys.argv[1])))\n"
        "for path in sys.argv[2:]:\n"
        "    fits = schema.is_valid(json.load(open(path)))\n"
        "    print('fits' if fits else \"doesn't fit\")\n";
    EXPECT_EQ(
        outsideTool(("python3 " + folder.write("validate.py", script).toUtf8() + " " QVORA_POLICY_SCHEMA + files)),
        expected);
}

devices::Device device() {
    devices::DeviceField field;
    field.name = QStringLiteral("Level of it");
    field.bit = 8;
    field.width = 4;
    field.values = {{9, QStringLiteral("Sealed"), {}}, {3, QStringLiteral("5"), {}}};
    devices::DeviceRegister first;
    first.name = QStringLiteral("A.B");
    first.size = 2;
    devices::DeviceRegister second;
    second.name = QStringLiteral("PROTECTION");
    second.fields = {field};
    devices::Device device;
    device.deviceId = 0x777;
    device.registers = {first, second};
    device.memories = {{QStringLiteral("Flash"), devices::MemoryKind::flash, 0x1000, 0x100, 1, {}},
                       {QStringLiteral("More"), devices::MemoryKind::flash, 0x1100, 0x100, 1, {}},
                       {QStringLiteral("Last"), devices::MemoryKind::ram, 0xFFFFF000, 0x1000, 1, {}}};
    return device;
}

TEST(InspectPolicy, NamesOfADeviceBecomeNumbers) {
    struct RuleRow {
        const char* text;
        std::uint32_t word;  ///< 0: it doesn't fit the device
        std::uint32_t mask;
        std::uint32_t value;
    };
    constexpr RuleRow rows[] = {
        {"A.B=12", 1, 0xFFFF, 0x12},
        {"A.B=10000", 0, 0, 0},
        {"PROTECTION!=0x500", 2, 0xFFFFFFFF, 0x500},
        {"PROTECTION=Sealed", 0, 0, 0},
        {"PROTECTION.Level of it!=Sealed", 2, 0xF00, 0x900},
        {"PROTECTION.Level of it=F", 2, 0xF00, 0xF00},
        {"PROTECTION.Level of it=5", 2, 0xF00, 0x300},  // the name of a value comes before its number
        {"PROTECTION.Level of it=10", 0, 0, 0},
        {"PROTECTION.Level=1", 0, 0, 0},
        {"A=1", 0, 0, 0},
    };
    const devices::Device own = device();
    for (const RuleRow& row : rows) {
        inspect::Policy policy;
        QString fault;
        ASSERT_TRUE(inspect::parseOptionRule(QString::fromUtf8(row.text), policy.options.emplace_back()));
        EXPECT_FALSE(inspect::applyDevice(nullptr, policy, fault)) << row.text;
        EXPECT_EQ(inspect::applyDevice(&own, policy, fault), row.word != 0) << row.text << fault.toStdString();
        const inspect::OptionRule& rule = policy.options.front();
        EXPECT_EQ(rule.place.isEmpty(), row.word != 0) << row.text;
        if (row.word != 0) {
            EXPECT_EQ(rule.word, row.word) << row.text;
            EXPECT_EQ(rule.mask, row.mask) << row.text;
            EXPECT_EQ(rule.value, row.value) << row.text;
        }
    }
}

TEST(InspectPolicy, MemoryIsThatOfTheDeviceAndOfTheDocument) {
    const devices::Device own = device();
    inspect::Policy policy;
    QString fault;
    EXPECT_TRUE(inspect::applyDevice(&own, policy, fault));
    EXPECT_FALSE(policy.memory.has_value());
    policy.isForDeviceMemory = true;
    EXPECT_FALSE(inspect::applyDevice(nullptr, policy, fault));
    ASSERT_TRUE(inspect::applyDevice(&own, policy, fault));
    ASSERT_EQ(policy.memory->size(), 2U);
    EXPECT_EQ(policy.memory->front().to, 0x1200U);
    EXPECT_EQ(policy.memory->back().to, 0x100000000U);
    policy.memory = {{{0x1080, 0x2000}}};
    ASSERT_TRUE(inspect::applyDevice(&own, policy, fault));
    ASSERT_EQ(policy.memory->size(), 1U);
    EXPECT_EQ(policy.memory->front().from, 0x1080U);
    EXPECT_EQ(policy.memory->front().to, 0x1200U);
}

}  // namespace
