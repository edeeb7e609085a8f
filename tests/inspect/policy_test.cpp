#include "inspect/policy.h"
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
        R"("optionWords" must be a list of rules with "word", "mask" and either "is" or "isNot", a value inside the mask)";
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

}  // namespace
