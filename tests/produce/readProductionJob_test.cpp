#include "produce/readProductionJob.h"
#include "tests/produce/jobText.h"
#include "tests/support/outsideTool.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace produce {

namespace {

/// The fault without the path of the file; empty if the job was read.
QString faultOf(const TempFolder& folder, const QByteArray& text) {
    ProductionJob job;
    QString fault;
    const QString path = folder.write("job.json", text);
    if (readProductionJob(path, job, fault)) {
        EXPECT_FALSE(job.steps.isEmpty());
        return {};
    }
    EXPECT_TRUE(job.steps.isEmpty() && job.path.isEmpty());
    EXPECT_TRUE(fault.startsWith(path + QStringLiteral(": "))) << fault.toStdString();
    return fault.sliced(path.size() + 2);
}

struct Case {
    const char* name;
    QByteArrayList fromTo;
    QByteArray fault;
};

const char* const memberNames = "There is no such member; those here are ";

std::vector<Case> cases() {
    const QByteArray name = "name has 1 to 64 letters, digits, -, _ and ., and begins with a letter, a digit or _.";
    const QByteArray step = "\"job\": \"provisioning-image\"";
    const QByteArray firmware = "[ { \"path\": \"blink.elf\" } ]";
    const QByteArray nonce = "\"nonce\": \"{nonce}\"";
    const QByteArray out = "{out}/blink.tbi";
    const QByteArray secrets = "{column:secrets}";
    return {
        {"unchanged", {}, ""},
        {"no JSON", {"\"keys\"", "keys"}, "This isn't JSON: unterminated object in line 4."},
        {"member",
         {"\"product\"", "\"produkt\": 1, \"product\""},
         QByteArray("produkt: ") + memberNames + "version, product, keys, policy, allowDevelopmentKeys, steps."},
        {"member twice",
         {"\"product\"", "\"product\": \"meter-b\", \"product\""},
         "product: The member “product” occurs twice."},
        {"member twice, escaped",
         {"\"nonce\":", "\"\\u006eonce\": \"\", \"nonce\":"},
         "steps[0].values.nonce: The member “steps[0].values.nonce” occurs twice."},
        {"no version", {"\"version\": 1,", ""}, "This isn't a job: it has no version."},
        {"newer version",
         {"\"version\": 1,", "\"version\": 2,"},
         "The job has version 2, and this program reads version 1."},
        {"product", {"meter-a", "meter a"}, "product: A product's " + name},
        {"product number", {"\"meter-a\"", "7"}, "product: This must be a text."},
        {"no product", {"\"product\": \"meter-a\",", ""}, "product: This member is missing."},
        {"flag", {"false", "\"no\""}, "allowDevelopmentKeys: This must be true or false."},
        {"keys", {"{ \"image\": { \"file\": \"keys/image.bin\" } }", "[]"}, "keys: This must be an object."},
        {"key's name", {"\"image\"", "\".image\""}, "keys..image: A key's " + name},
        {"key's path",
         {"{ \"file\": \"keys/image.bin\" }", "\"keys/image.bin\""},
         "keys.image: This must be an object with the member file or token."},
        {"key's member", {"\"file\"", "\"path\""}, QByteArray("keys.image.path: ") + memberNames + "file."},
        {"key's empty path", {"keys/image.bin", ""}, "keys.image.file: The path is empty."},
        {"unused key",
         {"\"image\":", "\"other\": { \"file\": \"x\" }, \"image\":"},
         "keys.other: No step uses this key."},
        {"no steps",
         {"\"steps\": [", "\"steps\": [], \"x\": ["},
         QByteArray("x: ") + memberNames + "version, product, keys, policy, allowDevelopmentKeys, steps."},
        {"step", {"{ \"job\": \"install-image\"", "7, { \"job\": \"install-image\""}, "steps[0]: A step is an object."},
        {"step's member",
         {"\"timeout\"", "\"timeOut\""},
         QByteArray("steps[1].timeOut: ") + memberNames + "name, job, values, file, copies, proof, timeout."},
        {"no job", {step, "\"copies\": []"}, "steps[1]: A step has either a job or the file of a saved job."},
        {"job and file",
         {step, step + ", \"file\": \"x\""},
         "steps[1]: A step has either a job or the file of a saved job."},
        {"unknown job",
         {"provisioning-image", "provisioning-imago"},
         "steps[1].job: There is no job “provisioning-imago”."},
        {"unprovable job",
         {"provisioning-image", "key-pair"},
         "steps[1].job: The job “key-pair” can't be a step: it makes no file that the opener can check."},
        {"a job without an output",
         {"provisioning-image", "print-image"},
         "steps[1].job: The job “print-image” can't be a step: it makes no file that the opener can check."},
        {"same name",
         {"\"name\": \"secrets\"", "\"name\": \"install-image\""},
         "steps[1].name: Another step has the name “install-image”."},
        {"name", {"\"name\": \"secrets\"", "\"name\": \"a b\""}, "steps[1].name: A step's " + name},
        {"timeout 0",
         {"\"timeout\": 5", "\"timeout\": 0"},
         "steps[1].timeout: This must be a whole number of seconds from 1 to 86400."},
        {"timeout 1.5",
         {"\"timeout\": 5", "\"timeout\": 1.5"},
         "steps[1].timeout: This must be a whole number of seconds from 1 to 86400."},
        {"timeout 1e99",
         {"\"timeout\": 5", "\"timeout\": 1e99"},
         "steps[1].timeout: This must be a whole number of seconds from 1 to 86400."},
        {"timeout text",
         {"\"timeout\": 5", "\"timeout\": \"5\""},
         "steps[1].timeout: This must be a whole number of seconds from 1 to 86400."},
        {"field", {"\"device\"", "\"devise\""}, "steps[0].values.devise: The job “install-image” has no such field."},
        {"field's type", {"\"0x455\"", "1109"}, "steps[0].values.device: This must be a text."},
        {"choice",
         {"\"0x455\"", "\"0x456\""},
         "steps[0].values.device: “0x456” isn't one of 0x450, 0x455, 0x462, 0x472, 0x476, 0x478, 0x480, 0x481, 0x482, "
         "0x483, 0x484, 0x485, 0x492, 0x497, 0x4B0."},
        {"choice from a column", {"\"0x455\"", "\"{column:device}\""}, ""},
        {"list", {firmware, "\"blink.elf\""}, "steps[0].values.firmware: This must be an array of at most 256 files."},
        {"list's entry",
         {firmware, "[\"blink.elf\"]"},
         "steps[0].values.firmware[0]: This must be an object with the member path."},
        {"list's member",
         {"\"path\": \"blink.elf\"", "\"path\": \"blink.elf\", \"besides\": \"\""},
         QByteArray("steps[0].values.firmware[0].besides: ") + memberNames + "path, beside."},
        {"list without path",
         {"\"path\": \"blink.elf\"", ""},
         "steps[0].values.firmware[0].path: This member is missing."},
        {"NUL",
         {"blink.elf", "blink\\u0000.elf"},
         "steps[0].values.firmware[0].path: A text has at most 8192 characters and no NUL."},
        {"brace",
         {"blink.elf", "blink{.elf"},
         "steps[0].values.firmware[0].path: A brace has no partner; a literal brace is written twice, as {{ or }}."},
        {"closing brace",
         {"blink.elf", "blink}.elf"},
         "steps[0].values.firmware[0].path: A brace has no partner; a literal brace is written twice, as {{ or }}."},
        {"literal braces", {"blink.elf", "{{blink}}.elf"}, ""},
        {"placeholder",
         {"blink.elf", "{serials}.elf"},
         "steps[0].values.firmware[0].path: {serials} isn't a placeholder; those are {serial}, {column:NAME}, {nonce}, "
         "{nonce:STEP}, {key:NAME} and {out}, and a literal brace is written twice."},
        {"column without name",
         {secrets, "{column:}"},
         "steps[1].values.secrets: {column:} isn't a placeholder; those are {serial}, {column:NAME}, {nonce}, "
         "{nonce:STEP}, {key:NAME} and {out}, and a literal brace is written twice."},
        {"column serial",
         {secrets, "{column:serial}"},
         "steps[1].values.secrets: The column “serial” is written {serial}."},
        {"unknown key",
         {"\"{key:image}\", \"nonce\"", "\"{key:imago}\", \"nonce\""},
         "steps[0].values.key: There is no key “imago” in keys."},
        {"key in a path",
         {"\"{key:image}\", \"nonce\"", "\"a/{key:image}\", \"nonce\""},
         "steps[0].values.key: {nonce} and {key:NAME} must be the whole value."},
        {"key as firmware",
         {"blink.elf", "{key:image}"},
         "steps[0].values.firmware[0].path: This field takes no key or nonce."},
        {"key as text",
         {"\"version\": \"1\"", "\"version\": \"{key:image}\""},
         "steps[0].values.version: Only {serial} and {column:NAME} can be in this value."},
        {"nonce as key",
         {"\"{key:image}\", \"nonce\"", "\"{nonce}\", \"nonce\""},
         "steps[0].values.key: This field takes no nonce of its step."},
        {"other step's nonce", {"\"secrets\": \"{column:secrets}\"", "\"secrets\": \"{nonce:install-image}\""}, ""},
        {"unknown step's nonce",
         {"{column:secrets}", "{nonce:install}"},
         "steps[1].values.secrets: There is no step “install”."},
        {"shared nonce",
         {nonce, "\"nonce\": \"{nonce:secrets}\""},
         "steps[0].values.nonce: An image needs a nonce of its own: {nonce}."},
        {"fixed nonce",
         {nonce, "\"nonce\": \"nonce.bin\""},
         "steps[0].values.nonce: All devices would have the same nonce; write {nonce}, or a path with {serial} or "
         "{column:NAME}."},
        {"fixed nonce with braces",
         {nonce, "\"nonce\": \"{{serial}}.bin\""},
         "steps[0].values.nonce: All devices would have the same nonce; write {nonce}, or a path with {serial} or "
         "{column:NAME}."},
        {"user's nonce", {nonce, "\"nonce\": \"nonces/{serial}.bin\""}, ""},
        {"nonce of a step without one",
         {nonce, "\"nonce\": \"{column:nonce}\"", secrets, "{nonce:install-image}"},
         "steps[1].values.secrets: The step “install-image” has no nonce: its field nonce isn't {nonce}."},
        {"output elsewhere", {out, "blink.tbi"}, "steps[0].values.out: This must begin with {out}/."},
        {"output in a name", {out, "x{out}/blink.tbi"}, "steps[0].values.out: This must begin with {out}/."},
        {"output beside", {out, "{out}blink.tbi"}, "steps[0].values.out: This must begin with {out}/."},
        {"output up",
         {out, "{out}/../blink.tbi"},
         "steps[0].values.out: The path may not have empty names, . and .. in it."},
        {"output twice a slash",
         {out, "{out}//blink.tbi"},
         "steps[0].values.out: The path may not have empty names, . and .. in it."},
        {"output with a nonce",
         {out, "{out}/{nonce}.tbi"},
         "steps[0].values.out: Only {serial} and {column:NAME} can be in this value."},
        {"output with a column", {out, "{out}/{column:kind}/{serial}.tbi"}, ""},
        {"same output", {out, "{out}/secrets.pvs"}, "steps[1].values.out: steps[0].values.out names the same file."},
        {"log elsewhere",
         {"\"version\": \"1\"", "\"version\": \"1\", \"log\": \"run.log\""},
         "steps[0].values.log: This must begin with {out}/."},
        {"input in the device's folder", {"blink.elf", "{out}/blink.elf"}, ""},
        {"input beside the device's folder",
         {"blink.elf", "{out}/../blink.elf"},
         "steps[0].values.firmware[0].path: The path may not have empty names, . and .. in it."},
        {"out in a path",
         {"blink.elf", "a{out}"},
         "steps[0].values.firmware[0].path: {out} can only be at the beginning of a path."},
        {"copies", {step, step + ", \"copies\": {}"}, "steps[1].copies: This must be an array of at most 256 copies."},
        {"copy",
         {step, step + ", \"copies\": [1]"},
         "steps[1].copies[0]: This must be an object with the members from and to."},
        {"copy's member",
         {step, step + R"(, "copies": [{"from": "a", "to": "{out}/a", "expands": true}])"},
         QByteArray("steps[1].copies[0].expands: ") + memberNames + "from, to, expand."},
        {"copy over an output",
         {step, step + R"(, "copies": [{"from": "a", "to": "{out}/blink.tbi"}])"},
         "steps[1].copies[0].to: steps[0].values.out names the same file."},
        {"copy elsewhere",
         {step, step + R"(, "copies": [{"from": "a", "to": "b"}])"},
         "steps[1].copies[0].to: This must begin with {out}/."},
        {"copied nonce", {step, step + R"(, "copies": [{"from": "{nonce}", "to": "{out}/nonce.bin"}])"}, ""},
        {"copied key",
         {step, step + R"(, "copies": [{"from": "{key:image}", "to": "{out}/key.bin"}])"},
         "steps[1].copies[0].from: A key isn't copied."},
        {"expanded column's file",
         {step, step + R"(, "copies": [{"from": "{column:a}", "to": "{out}/a", "expand": true}])"},
         "steps[1].copies[0].from: A file that is expanded is the same for all devices, so its path has no "
         "placeholder."},
        {"proof", {step, step + ", \"proof\": []"}, "steps[1].proof: This must be an object."},
        {"proof's option",
         {step, step + R"(, "proof": {"--key": "x"})"},
         "steps[1].proof.--key: qvora-inspect verify has no such option for a step."},
        {"proof's runner option",
         {step, step + R"(, "proof": {"json": "x"})"},
         "steps[1].proof.json: qvora-inspect verify has no such option for a step."},
        {"proof's values",
         {step, step + R"(, "proof": {"public": ["a", "b"]})"},
         "steps[1].proof.public: This option has one value."},
        {"proof's list",
         {step, step + R"(, "proof": {"blob": ["a", ""]})"},
         "steps[1].proof.blob[1]: The value is empty."},
        {"proof's good list",
         {step, step + R"(, "proof": {"blob": ["a", "{column:b}"], "nonce": null, "derive": false})"},
         ""},
        {"proof's missing key",
         {"\"timeout\": 5,\n      \"values\": { \"secrets\": \"{column:secrets}\", \"key\": "
          "\"{key:image}\", \"nonce\": \"{nonce}\", \"out\": \"{out}/secrets.pvs\" }",
          "\"values\": {\"binary\": \"stack.bin\", \"key\": \"{key:image}\", \"version\": \"1\", "
          "\"out\": \"{out}/stack.bin\"}",
          "provisioning-image", "sign"},
         "steps[1].proof: The opener can't prove the files of the job “sign” without public."},
        {"signing key of the user",
         {"\"timeout\": 5,\n      \"values\": { \"secrets\": \"{column:secrets}\", \"key\": "
          "\"{key:image}\", \"nonce\": \"{nonce}\", \"out\": \"{out}/secrets.pvs\" }",
          "\"values\": {\"binary\": \"stack.bin\", \"key\": \"private.pem\", \"version\": "
          "\"1\", \"out\": \"{out}/stack.bin\"}, \"proof\": {\"public\": \"pub.pem\"}",
          "provisioning-image", "sign"},
         "steps[1].values.key: A signing key must be one of the job's keys: {key:NAME}."},
        {"template elsewhere",
         {"\"timeout\": 5,\n      \"values\": { \"secrets\": \"{column:secrets}\", \"key\": "
          "\"{key:image}\", \"nonce\": \"{nonce}\", \"out\": \"{out}/secrets.pvs\" }",
          "\"values\": {\"template\": \"provisioning.xml\"}", "provisioning-image", "provisioning-file"},
         "steps[1].values.template: The tool writes values into a template and its output beside it: copy the template "
         "to {out}/ and name the copy here."},
    };
}

TEST(ReadProductionJob, ReportsTheMemberOfEachFault) {
    const TempFolder folder;
    for (const Case& one : cases()) {
        const QByteArray text = changedJob(one.fromTo);
        ASSERT_FALSE(text.isEmpty()) << one.name;
        EXPECT_EQ(faultOf(folder, text).toStdString(), one.fault.toStdString()) << one.name;
    }
    EXPECT_EQ(faultOf(folder, "[]").toStdString(), "A job is a JSON object.");
    EXPECT_EQ(faultOf(folder, QByteArray((1 << 20) + 1, ' ')).toStdString(), "A job has at most 1048576 bytes.");
    ProductionJob job;
    QString fault;
    EXPECT_FALSE(readProductionJob(QStringLiteral("/nowhere/job.json"), job, fault));
    EXPECT_EQ(fault.toStdString(), "/nowhere/job.json: The file can't be read: No such file or directory.");
    EXPECT_FALSE(readProductionJob(QStringLiteral("/"), job, fault));
    EXPECT_EQ(fault.toStdString(), "/: This is a folder.");
}

TEST(ReadProductionJob, GivesWhatTheFileHas) {
    const TempFolder folder;
    const QString path = folder.write("job.json", jobText());
    ProductionJob job;
    QString fault;
    ASSERT_TRUE(readProductionJob(path, job, fault)) << fault.toStdString();
    EXPECT_EQ(job.product.toStdString(), "meter-a");
    ASSERT_EQ(job.keys.size(), 1);
    EXPECT_EQ(job.keys.constFirst().path, folder.path("keys/image.bin"));
    EXPECT_EQ(job.columns, QStringList(QStringLiteral("secrets")));
    ASSERT_EQ(job.steps.size(), 2);
    EXPECT_EQ(job.steps.at(0).name.toStdString(), "install-image");
    EXPECT_EQ(job.steps.at(0).timeoutSeconds, 60);
    EXPECT_EQ(job.steps.at(0).values.value(QStringLiteral("external-mode")), QStringList(QStringLiteral("0")))
        << "an initial value";
    EXPECT_EQ(job.steps.at(1).name.toStdString(), "secrets");
    EXPECT_EQ(job.steps.at(1).timeoutSeconds, 5);
    EXPECT_TRUE(usesNonce(job.steps.at(1)));
    EXPECT_EQ(outsideTool(QStringLiteral("sha256sum"), {path}).left(64), job.digest.toHex());
}

// A step has the values of its saved job, with paths from that job's folder. The step's own values replace some of
// them.
TEST(ReadProductionJob, ReadsSavedJobs) {
    const TempFolder folder;
    QDir(folder.path("")).mkdir(QStringLiteral("sav{ed"));
    const QByteArray saved = R"({"version": 1, "job": "install-image", "values": {
        "device": "0x455", "firmware": [{"path": "../blink.elf"}, {"path": "{column:more}", "beside": "0x10"}],
        "key": "key.bin", "nonce": "nonce.bin", "version": "7", "out": "blink.tbi"}})";
    const QString savedPath = folder.write("sav{ed/job.json", saved);
    const QByteArray text = R"({"version": 1, "product": "p", "keys": {"k": {"file": "/k"}}, "steps": [
        {"file": "sav{ed/job.json", "values": {"key": "{key:k}", "nonce": "{nonce}", "out": "{out}/blink.tbi"}}]})";
    const QString path = folder.write("job.json", text);
    ProductionJob job;
    QString fault;
    ASSERT_TRUE(readProductionJob(path, job, fault)) << fault.toStdString();
    const Step& step = job.steps.constFirst();
    EXPECT_EQ(step.values.value(QStringLiteral("firmware")).join(u'|'),
              folder.path("sav{{ed") + QStringLiteral("/../blink.elf||{column:more}|0x10"));
    EXPECT_EQ(step.values.value(QStringLiteral("version")).join(u'|').toStdString(), "7");
    EXPECT_EQ(step.values.value(QStringLiteral("key")).join(u'|').toStdString(), "{key:k}");
    EXPECT_EQ(placeOf(step, QStringLiteral("key")).toStdString(), "steps[0].values.key");
    EXPECT_EQ(placeOf(step, QStringLiteral("version")).toStdString(), "steps[0].file: values.version");
    const QString both = folder.write("both", text + saved);
    EXPECT_EQ(outsideTool(QStringLiteral("sha256sum"), {both}).left(64), job.digest.toHex());

    // The digest covers the policy, which each proof demands unless its step has another one or none.
    const QByteArray policy = R"({"version": 1, "proofs": ["tag"]})";
    folder.write("pol{icy.json", policy);
    const auto withPolicy = [&text](const char* proof) {
        return QByteArray(text)
            .replace("\"steps\"", R"("policy": "pol{icy.json", "steps")")
            .replace("{\"file\": \"sav", QByteArray("{") + proof + "\"file\": \"sav");
    };
    const auto policiesOf = [&folder](const QByteArray& document, ProductionJob& read) {
        QString why;
        EXPECT_TRUE(readProductionJob(folder.write("job.json", document), read, why)) << why.toStdString();
        QStringList policies;
        for (const ProofArgument& argument : read.steps.constFirst().proof) {
            policies.append(argument.value);
        }
        return policies.join(u' ').toStdString();
    };
    ProductionJob shipped;
    EXPECT_EQ(policiesOf(withPolicy(""), shipped), "pol{{icy.json");
    const QString three = folder.write("three", withPolicy("") + saved + policy);
    EXPECT_EQ(outsideTool(QStringLiteral("sha256sum"), {three}).left(64), shipped.digest.toHex());
    EXPECT_EQ(policiesOf(withPolicy(R"("proof": {"policy": "own.json"}, )"), shipped), "own.json");
    EXPECT_EQ(policiesOf(withPolicy(R"("proof": {"policy": null}, )"), shipped), "");
    folder.write("pol{icy.json", R"({"version": 1, "proof": []})");
    EXPECT_EQ(faultOf(folder, withPolicy("")).toStdString(),
              "policy: “pol{icy.json” is no policy: unknown member \"proof\".");
    folder.write("pol{icy.json", R"({"version": 1, "device": "455"})");
    EXPECT_EQ(faultOf(folder, withPolicy("")).toStdString(),
              "policy: “pol{icy.json” names a device or its registers; a job needs addresses and numbers.");
    EXPECT_EQ(faultOf(folder, withPolicy("").replace("pol{icy.json", "none.json")).toStdString(),
              "policy: “none.json” can't be read, or is larger than 1 MiB.");

    const QByteArray withoutOut = QByteArray(text).replace(", \"out\": \"{out}/blink.tbi\"", "");
    EXPECT_EQ(faultOf(folder, withoutOut).toStdString(), "steps[0].file: values.out: This must begin with {out}/.");
    folder.write("sav{ed/job.json", QByteArray(saved).replace("\"version\": \"7\"", "\"versoin\": \"7\""));
    EXPECT_EQ(faultOf(folder, text).toStdString(),
              "steps[0].file: values.versoin: The job “install-image” has no such field.");
    folder.write("sav{ed/job.json", "{");
    EXPECT_EQ(faultOf(folder, text),
              QStringLiteral("steps[0].file: “%1”: This isn't JSON: unterminated object in line 1.").arg(savedPath));
    QFile::remove(savedPath);
    EXPECT_EQ(faultOf(folder, text),
              QStringLiteral("steps[0].file: “%1”: The file can't be read: No such file or directory.").arg(savedPath));
}

// The columns that an expanded file names are columns of the job.
TEST(ReadProductionJob, FindsTheColumnsOfExpandedFiles) {
    const TempFolder folder;
    folder.write("t.json",
                 R"({"a": "{column:name}", "{nonce}": {}, "b": "{column:a{b}", "c": "{serial}{column:x y}"})");
    const QByteArray text = changedJob(
        {"\"timeout\"", R"("copies": [{"from": "t.json", "to": "{out}/t.json", "expand": true}], "timeout")"});
    ProductionJob job;
    QString fault;
    ASSERT_TRUE(readProductionJob(folder.write("job.json", text), job, fault)) << fault.toStdString();
    EXPECT_EQ(job.columns.join(u'|').toStdString(), "secrets|name|x y");
    folder.write("t.json", "\xFF");
    EXPECT_EQ(faultOf(folder, text).toStdString(), "steps[1].copies[0].from: A file that is expanded must be UTF-8.");
    QFile::remove(folder.path("t.json"));
    EXPECT_EQ(faultOf(folder, text),
              QStringLiteral("steps[1].copies[0].from: “%1” can't be read.").arg(folder.path("t.json")));
}

/// The jobs in the manual's page: its JSON blocks that have steps.
QByteArrayList jobsOfPage() {
    QByteArrayList jobs;
    const QByteArray page = fileContent(QStringLiteral(QVORA_PAGE));
    for (qsizetype at = page.indexOf("```json\n"); at >= 0; at = page.indexOf("```json\n", at + 1)) {
        const qsizetype start = at + 8;
        const QByteArray block = page.mid(start, page.indexOf("```", start) - start);
        if (block.contains("\"steps\"")) {
            jobs.append(block);
        }
    }
    return jobs;
}

TEST(ReadProductionJob, AgreesWithItsSchema) {
    const TempFolder folder;
    QStringList arguments{QStringLiteral(QVORA_VALIDATE), QStringLiteral(QVORA_SCHEMA)};
    int number = 0;
    for (const Case& one : cases()) {
        if (one.fault.isEmpty()) {
            arguments.append(
                folder.write(QByteArray("job" + QByteArray::number(number++)).constData(), changedJob(one.fromTo)));
        }
    }
    ASSERT_EQ(jobsOfPage().size(), 1);
    for (const QByteArray& text : jobsOfPage()) {
        EXPECT_EQ(faultOf(folder, text).toStdString(), "");
        arguments.append(folder.write("page.json", text));
    }
    EXPECT_EQ(outsideTool(QStringLiteral("python3"), arguments).toStdString(), "");
}

// Every cut and every changed byte gives a fault or a job, and a fault has a text.
TEST(ReadProductionJob, ReadsDamagedFiles) {
    const TempFolder folder;
    const QByteArray whole = jobText();
    for (qsizetype size = 0; size < whole.size() - 2; ++size) {
        EXPECT_NE(faultOf(folder, whole.first(size)).toStdString(), "") << size;
    }
    for (qsizetype at = 0; at < whole.size(); ++at) {
        QByteArray changed = whole;
        changed[at] = static_cast<char>(changed.at(at) ^ 1);
        static_cast<void>(faultOf(folder, changed));
    }
}

}  // namespace

}  // namespace produce
