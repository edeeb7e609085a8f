#include "inspect/extract.h"
#include "inspect/sources.h"
#include "tests/inspect/SealingKit.h"
#include "tests/inspect/SigningKit.h"
#include "tests/support/TempFolder.h"
#include "tests/support/outsideTool.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMessageAuthenticationCode>
#include <QProcess>

#include <gtest/gtest.h>

namespace {

struct CallResult {
    int status = -1;
    std::string output;
    std::string errors;
};

CallResult run(const TempFolder& folder, const char* program, const QStringList& arguments,
               const QByteArray& input = {}) {
    QProcess process;
    process.setWorkingDirectory(folder.path("."));
    process.start(QString::fromUtf8(program), arguments);
    process.write(input);
    process.closeWriteChannel();
    CallResult result;
    if (process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit) {
        result.status = process.exitCode();
    }
    result.output = process.readAllStandardOutput().toStdString();
    result.errors = process.readAllStandardError().trimmed().toStdString();
    return result;
}

CallResult runInspect(const TempFolder& folder, const char* arguments, const QByteArray& input = {}) {
    return run(folder, QVORA_INSPECT, QString::fromUtf8(arguments).split(u' ', Qt::SkipEmptyParts), input);
}

/// Runs `script` with the opener as "$0".
CallResult runShell(const TempFolder& folder, const char* script) {
    return run(folder, "/bin/sh", {QStringLiteral("-c"), QString::fromUtf8(script), QStringLiteral(QVORA_INSPECT)});
}

/// An install image with `firmware` at 0x08000000.
KitImage kitPlaced(const QByteArray& firmware) {
    KitImage image;
    image.areas = {{'F', 0x08000000, firmware, {}, {}, {}, {}, {}}};
    image.areas.push_back(kitHash(image.areas));
    image.areas.push_back({'C', 0, {}, {}, {}, {}, {}, {}});
    return image;
}

void makeFiles(const TempFolder& folder) {
    folder.write("a.tbi", kitMake(kitInstallImage()));
    folder.write("tag.tbi", kitMake(kitInstallImage()).replace(42, 1, "x"));
    folder.write("cut.tbi", kitMake(kitInstallImage()).chopped(1));
    folder.write("key.bin", kitKey);
    folder.write("key15.bin", kitKey.first(15));
    folder.write("line.bin", kitKey + '\n');
    folder.write("other.bin", QByteArray(16, 'k'));
    folder.write("nonce.bin", KitImage().nonce);
    folder.write("noise", "no format");
    std::uint16_t version = 0;
    for (const char* const name : {"u", "v", "w", "x"}) {
        const KitPair pair = kitUpdate(QByteArray("segment of ") + name, ++version);
        const char* const suffix = version < 3 ? ".segment" : ".tbu";
        folder.write((QByteArray(name) + ".tbuh").constData(), pair.header);
        folder.write((QByteArray(name) + suffix).constData(), pair.segment);
        folder.write((QByteArray(name) + ".other.tbu").constData(), pair.segment);
    }
    KitImage image = kitInstallImage();
    image.nonce = "another";
    folder.write("b.tbi", kitMake(image));
    image.areas[0].payload[5] = 'x';
    image.areas[1].address += 4;
    image.areas[2] = kitHash({image.areas.begin(), image.areas.begin() + 2});
    folder.write("c.tbi", kitMake(image));
    const KitSigned made = kitSign("image", 5);
    folder.write("signed.bin", made.image);
    folder.write("signer.pem", made.publicPem);
    folder.write("image", "image");
    folder.write("imago", "imago");
    folder.write("wireless-signed.bin", kitWirelessBinary(QByteArray(60, 'w')));
    folder.write("wireless.bin", QByteArray(60, 'w'));
    folder.write("wireless-changed.bin", QByteArray(59, 'w') + 'W');
    folder.write("wireless.pem", kitKeyOf(KitKind::rsa2048).publicPem);
    KitMcuboot update;
    folder.write("free.kdu", kitMake(update));
    folder.write("code", update.code);
    update.signer = KitKind::ed25519;
    folder.write("signed.kdu", kitMake(update));
    folder.write("kdu.pem", kitKeyOf(KitKind::ed25519).publicPem);
    folder.write("header-and-code", QByteArray(32, '\0') + update.code);
    // ECDSA signatures vary in length. A second signature of another length moves the fill of the slot.
    update.signer = KitKind::p256;
    const auto inSlot = [](QByteArray bytes) { return bytes.leftJustified(400, '\xff') + "trailer"; };
    const QByteArray first = kitMake(update);
    QByteArray second = first;
    while (second.size() == first.size()) {
        second = kitMake(update);
    }
    folder.write("short.kdu", first);
    folder.write("long.kdu", second);
    folder.write("first.kdu", inSlot(first));
    folder.write("second.kdu", inSlot(second));
    folder.write("longer.kdu", inSlot(second) + '\xff');
    update.code[3] = 'x';
    folder.write("changed.kdu", inSlot(kitMake(update)));
    folder.write("p256.pem", kitKeyOf(KitKind::p256).publicPem);
    folder.write("memory.bin", QByteArray::fromHex("9266f8a57cb701645ada93b0edb2895a927d05c7e6c773678f5c4e3d158ce22d"));
    folder.write("memory-other.bin", QByteArray(32, 'm'));
    folder.write("memory-app.bin",
                 QByteArray::fromHex("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"));
    folder.write("other-signed.bin", kitSign("image", 5).image);
    folder.write("changed-signed.bin", kitSign("imago", 5).image);
    folder.write("raw.bin", QByteArray(17, 'g'));
    folder.write("fw.hex",
                 ":020000040800F2\n"
                 ":10000000666666666666666666666666666666"
                 "6690\n"
                 ":10001000666666666666666666666666666666"
                 "6680\n"
                 ":10002000666666666666666666666666666666"
                 "6670\n:00000001FF\n");
    image.areas = {{'M', 0x08000000, "KMDMAGIC" + QByteArray::fromHex("00000008") + "code", {}, {}, {}, {}, {}},
                   {'M', 0x08020000, QByteArray(48, 'f'), {}, {}, {}, {}, {}}};
    image.areas.push_back(kitHash(image.areas));
    image.areas.push_back({'C', 0, {}, {}, {}, {}, {}, {}});
    folder.write("modules.tbi", kitMake(image));
    folder.write("free.kmd", "KMDMAGIC" + QByteArray(4, '\0') + "code");
    folder.write("placed.kmd", "KMDMAGIC" + QByteArray::fromHex("00000008") + "code");
    const QByteArray memory = QByteArray(48, 'f').leftJustified(256, '\xff') + QByteArray(17, 'g');
    folder.write("memory.dump", memory + "more");
    folder.write("flipped.dump", QByteArray(memory).replace(260, 1, "x"));
    folder.write("low.dump", memory.first(48));
    folder.write("high.dump", memory.sliced(256));
    folder.write("beside.dump", memory.sliced(256, 16));
    // A programmer may leave erased lines out.
    folder.write("erased.tbi", kitMake(kitPlaced(QByteArray(16, 'a') + QByteArray(16, '\0') + QByteArray(16, 'b'))));
    folder.write("lines.hex",
                 ":020000040800F2\n:1000000061616161616161616161616161616161E0\n"
                 ":1000200062626262626262626262626262626262B0\n:00000001FF\n");
    folder.write("secrets.password", QByteArray::fromHex("0000008004000000") + "word");
    folder.write("whole.tbi", kitMake(kitPlaced(QByteArray(48, 'f'))));
    folder.write("whole.tbuh", kitUpdate(QByteArray(48, 'f'), 7).header);
    folder.write("whole.tbu", kitUpdate(QByteArray(48, 'f'), 7).segment);
    folder.write("tail.tbi", kitMake(kitPlaced(QByteArray(16, 'a') + QByteArray(4, '\xff'))));
    folder.write("a.bin", QByteArray(16, 'a'));
    folder.write("broken.hex", ":0200\n");
    folder.write("ob.csv", "A,0x63636363,B,0x63636363\n");
    folder.write("odd.csv", "A,1,B\n");
    for (const char* name : {"key.bin", "other.bin", "line.bin"}) {
        EXPECT_TRUE(QFile::setPermissions(folder.path(name), QFile::ReadOwner | QFile::WriteOwner));
    }
}

/// Folders with and without the keys of the files, and a site secret.
void makeKeyFolders(const TempFolder& folder) {
    EXPECT_TRUE(QDir().mkpath(folder.path("keys")));
    EXPECT_TRUE(QDir().mkpath(folder.path("no-keys")));
    folder.write("keys/a-other", QByteArray(16, 'k'));
    folder.write("keys/b-fits", kitKey);
    EXPECT_TRUE(QFile::setPermissions(folder.path("keys/b-fits"), QFile::ReadOwner));
    folder.write("keys/c-note", "the keys of the product");
    folder.write("keys/d-other.pem", kitKeyOf(KitKind::p256).publicPem);
    folder.write("keys/e-signer.pem", folder.read("signer.pem"));
    folder.write("site", QByteArray(32, 's'));
}

TEST(InspectCommandLine, EndsAsItsRowSays) {
    const TempFolder folder;
    makeFiles(folder);
    makeKeyFolders(folder);
    struct Row {
        const char* arguments;
        int status;
        const char* errors;
        const char* lastLine;
    };
    const Row rows[] = {
        {"", 2, "a command is missing; --help lists them", ""},
        {"open a.tbi", 2, "unknown command open; --help lists them", ""},
        {"show", 2, "a file is missing", ""},
        {"show --key key.bin a.tbi", 0, "", "  word 2 0x63636363"},
        {"show --key key.bin tag.tbi", 1, "", "  word 2 0x63636363"},
        {"show --key other.bin a.tbi", 2, "a.tbi: no tag is right under the key given",
         "memory 0x08000100-0x08000110 firmware"},
        {"show --contents a.tbi", 0, "", "memory 0x08000100-0x08000110 firmware"},
        {"show --contents fw.hex", 0, "", "contents of segment 1: firmware, 48 bytes"},
        {"show --contents --texts many fw.hex", 2, "--texts needs a number", ""},
        {"show --device 455 --key key.bin a.tbi", 2, "--device needs --devices", ""},
        {"show --devices keys --key key.bin a.tbi", 2, "keys: no device description", ""},
        {"show --devices none --key key.bin a.tbi", 2, "none: no device description", ""},
        {"show --devices " QVORA_DATA_BASE " --device x a.tbi", 2, "--device needs a hexadecimal number", ""},
        {"show --devices " QVORA_DATA_BASE " --device 456 a.tbi", 2, "no description of device 456", ""},
        {"show --devices " QVORA_DATA_BASE " --device 0x455 --key key.bin a.tbi", 0, "",
         "  word 2 START 0x63636363: Pause 6, Greeting 1 (Spoken), Lamp 0, Echo 0, Chime 1, Start from 0 (Main "
         "program), Edition 6"},
        {"diff --devices " QVORA_DATA_BASE " --device 456 a.tbi a.tbi", 2, "no description of device 456", ""},
        {"verify --reveal a.tbi", 2, "verify doesn't accept --reveal", ""},
        {"verify --device-memory a.tbi", 2, "policy: it needs a device and its description (--devices)", ""},
        {"verify --option-word START.Pause=0 a.tbi", 2, "policy: it needs a device and its description (--devices)",
         ""},
        {"verify --devices " QVORA_DATA_BASE " --device 455 --option-word START.Paws=0 a.tbi", 2,
         "policy: device 0x455 has no option START.Paws", ""},
        {"verify --devices " QVORA_DATA_BASE " --device 455 --option-word START.Pause=nap a.tbi", 2,
         "policy: option START.Pause has no value nap", ""},
        {"show --foo a.tbi", 2, "Unknown option 'foo'.", ""},
        {"diff --help", 0, "", "Status: 0 proven or no difference, 1 wrong or a difference, 2 can't be judged."},
        {"verify --key key.bin --key key.bin a.tbi", 2, "--key can be given once only", ""},
        {"show --as nothing a.tbi", 2, "unknown format nothing; --help lists them", ""},
        {"show none.tbi", 2, "none.tbi: No such file or directory", ""},
        {"show .", 2, ".: file to open is a directory", ""},
        {"show noise", 2, "noise: no known format; choose one with --as", ""},
        {"show a.tbi", 0, "", "memory 0x08000100-0x08000110 firmware"},
        {"show --as installImage noise", 1, "", "error: at byte 9: cut off, 19 of 28 bytes are missing"},
        {"show cut.tbi", 1, "", "error: area 4 C at byte 252: cut off, 1 of 8 bytes are missing"},
        {"verify a.tbi", 2, "", "undecided: a.tbi, no key given"},
        {"verify --key key.bin --nonce nonce.bin a.tbi", 0, "", "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin --nonce other.bin a.tbi", 1, "", "wrong: 1 of 8 checks of a.tbi are bad"},
        {"verify --key other.bin a.tbi", 1, "",
         "wrong: 4 of 6 checks of a.tbi are bad; no tag is right: another key or a changed file header"},
        {"verify --key key.bin cut.tbi a.tbi", 1, "", "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify cut.tbi a.tbi", 1, "", "undecided: a.tbi, no key given"},
        {"verify a.tbi cut.tbi", 1, "", "wrong: 1 of 2 checks of cut.tbi are bad"},
        {"verify --key key.bin cut.tbi none.tbi", 1, "none.tbi: No such file or directory",
         "wrong: 1 of 6 checks of cut.tbi are bad"},
        {"verify --key key.bin a.tbi none.tbi", 2, "none.tbi: No such file or directory",
         "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify --key key15.bin a.tbi", 2, "key15.bin: a key has 16 bytes, not 15", ""},
        {"verify --key line.bin a.tbi", 2, "line.bin: a key has 16 bytes; there are more, the 17th a line feed", ""},
        {"verify --key - --nonce - a.tbi", 2, "standard input can be given once only", ""},
        {"extract a.tbi", 2, "extract needs -o FOLDER", ""},
        {"extract -o out a.tbi", 2, "", "undecided: a.tbi, no key given"},
        {"extract -o out --key other.bin a.tbi", 1, "",
         "wrong: 4 of 5 checks of a.tbi are bad; no tag is right: another key or a changed file header"},
        {"extract -o none/out --key key.bin a.tbi", 2, "none/out: No such file or directory",
         "proven by tag and digest: 253 bytes of a.tbi"},
        {"extract -o out --key key.bin a.tbi", 0, "", "written to out"},
        {"extract -o out --key key.bin a.tbi", 2, "out: it exists already",
         "proven by tag and digest: 253 bytes of a.tbi"},
        {"extract -o plain --as rawFirmware raw.bin", 2, "", "written to plain"},
        {"extract -o bare signed.bin", 2, "", "written to bare"},
        {"diff a.tbi", 2, "diff needs two files", ""},
        {"diff a.tbi a.tbi", 0, "", "no difference"},
        {"diff a.tbi b.tbi", 2, "", "undecided: contents not compared, no key given"},
        {"diff --key other.bin a.tbi b.tbi", 2, "a.tbi: no tag is right under the key given", ""},
        {"diff --key key.bin a.tbi b.tbi", 0, "", "no difference"},
        {"diff --key key.bin --key-b other.bin a.tbi b.tbi", 2, "b.tbi: no tag is right under the key given", ""},
        {"diff --key key.bin a.tbi c.tbi", 1, "", "different"},
        {"diff --key key.bin --payload u.segment --payload-b u.segment u.tbuh u.tbuh", 0, "", "no difference"},
        {"diff --key key.bin --payload u.segment --payload-b v.segment u.tbuh v.tbuh", 1, "", "different"},
        {"diff --key key.bin a.tbi tag.tbi", 1, "", "different"},
        {"diff --key key.bin fw.hex erased.tbi", 1, "", "different"},
        {"diff --key key.bin fw.hex whole.tbi", 0, "", "no difference"},
        {"diff fw.hex whole.tbi", 2, "", "undecided: contents not compared, no key given"},
        {"diff secrets.password whole.tbi", 1, "", "different"},
        {"diff secrets.password fw.hex", 1, "", "different"},
        {"diff whole.tbi fw.hex", 2, "", "undecided: contents not compared, no key given"},
        {"diff --key key.bin whole.tbuh fw.hex", 0, "", "no difference"},
        {"diff --key key.bin tag.tbi fw.hex", 1, "", "different"},
        {"diff --key key.bin --bytes -1 a.tbi c.tbi", 2, "--bytes needs a number", ""},
        {"diff --key key.bin --exit-code-only a.tbi c.tbi", 1, "", ""},
        {"diff --key key.bin --exit-code-only a.tbi b.tbi", 0, "", ""},
        {"diff a.tbi tag.tbi", 1, "", "different"},
        {"diff --except-signature first.kdu second.kdu", 0, "", "no difference"},
        {"diff --except-signature first.kdu longer.kdu", 1, "", "different"},
        {"diff --except-signature first.kdu changed.kdu", 1, "", "different"},
        {"diff --public p256.pem first.kdu changed.kdu", 1, "", "different"},
        {"diff --public p256.pem --except-signature first.kdu longer.kdu", 1, "", "different"},
        {"diff --public wireless.pem wireless-signed.bin wireless-signed.bin", 0, "", "no difference"},
        {"diff --key key.bin --address 9000ABE0 --mode 0 memory.bin memory-other.bin", 1, "", "different"},
        {"diff --public p256.pem short.kdu long.kdu", 0, "", "no difference"},
        {"diff short.kdu long.kdu", 1, "", "different"},
        {"diff --public kdu.pem --except-signature signed.kdu free.kdu", 2,
         "at least one of the files has no signature", ""},
        {"diff --except-signature a.tbi b.tbi", 2, "at least one of the files has no signature", ""},
        {"diff --except-signature signed.bin other-signed.bin", 0, "", "no difference"},
        {"diff --except-signature signed.bin changed-signed.bin", 1, "", "different"},
        {"verify --against a.tbi", 2, "--against needs what to compare with, such as --firmware", ""},
        {"verify --firmware raw.bin a.tbi", 2, "raw.bin: raw firmware needs its address: FILE@ADDRESS", ""},
        {"verify --firmware broken.hex a.tbi", 2, "broken.hex: parsing addr, expecting hex digit, found '\\u{a}'", ""},
        {"verify --option-bytes odd.csv a.tbi", 2, "odd.csv: an odd number of fields", ""},
        {"verify --option-bytes raw.bin a.tbi", 2, "raw.bin: a line without a comma", ""},
        {"verify --key key.bin --against --firmware fw.hex --firmware raw.bin@0x08000100 --option-bytes ob.csv a.tbi",
         0, "", "proven by comparison and tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin --firmware fw.hex a.tbi", 1, "", "wrong: 1 of 8 checks of a.tbi are bad"},
        {"verify --key key.bin --module free.kmd --module fw.hex modules.tbi", 0, "",
         "proven by comparison and tag and digest: 244 bytes of modules.tbi"},
        {"verify --key key.bin --module free.kmd --module raw.bin modules.tbi", 1, "",
         "wrong: 1 of 8 checks of modules.tbi are bad"},
        {"verify --public signer.pem --against --firmware image@0 signed.bin", 0, "",
         "proven by comparison and signature: 85 bytes of signed.bin"},
        {"verify --public signer.pem --firmware image@08000000 signed.bin", 0, "",
         "proven by comparison and signature: 85 bytes of signed.bin"},
        {"verify --public signer.pem --firmware imago@0 signed.bin", 1, "",
         "wrong: 1 of 3 checks of signed.bin are bad"},
        {"verify --public wireless.pem --firmware wireless.bin@0 wireless-signed.bin", 0, "",
         "proven by comparison and signature: 316 bytes of wireless-signed.bin"},
        {"verify --public wireless.pem --firmware wireless-changed.bin@0 wireless-signed.bin", 1, "",
         "wrong: 1 of 3 checks of wireless-signed.bin are bad"},
        {"verify --module free.kmd placed.kmd", 0, "", "proven by comparison: 16 bytes of placed.kmd"},
        {"verify --module placed.kmd free.kmd", 1, "", "wrong: 1 of 2 checks of free.kmd are bad"},
        {"verify --module code placed.kmd", 1, "", "wrong: 1 of 2 checks of placed.kmd are bad"},
        {"verify --module free.kdu free.kdu", 0, "", "proven by comparison and digest: 124 bytes of free.kdu"},
        {"verify --module code free.kdu", 2, "",
         "undecided: free.kdu, it isn't signed, and anyone can make its digest"},
        {"verify free.kdu", 2, "", "undecided: free.kdu, it isn't signed, and anyone can make its digest"},
        {"verify --public kdu.pem --module code signed.kdu", 0, "",
         "proven by comparison and signature and digest: 224 of 228 bytes of signed.kdu; nothing covers bytes 124 to "
         "127"},
        {"verify --public kdu.pem --firmware code@0 signed.kdu", 0, "",
         "proven by comparison and signature and digest: 224 of 228 bytes of signed.kdu; nothing covers bytes 124 to "
         "127"},
        {"verify --public kdu.pem --firmware header-and-code@0 signed.kdu", 0, "",
         "proven by comparison and signature and digest: 224 of 228 bytes of signed.kdu; nothing covers bytes 124 to "
         "127"},
        {"verify --public kdu.pem --module image signed.kdu", 1, "", "wrong: 1 of 5 checks of signed.kdu are bad"},
        {"verify --as rawFirmware --firmware raw.bin@0 raw.bin", 0, "", "proven by comparison: 17 bytes of raw.bin"},
        {"verify --key line.bin --address 9000ABE0 --mode 0 --app memory-app.bin memory.bin", 0, "",
         "proven by comparison: 32 bytes of memory.bin"},
        {"verify --key key15.bin --address 9000ABE0 --mode 0 --app memory-app.bin memory.bin", 2,
         "key15.bin: a key has 16 bytes, not 15", ""},
        {"verify --key key.bin --app memory-app.bin memory.bin", 2, "--app needs --address and --mode", ""},
        {"verify --key key.bin u.tbuh u.other.tbu", 0, "", "proven by tag: 76 bytes of u.tbuh"},
        {"verify --key key.bin x.tbu w.tbuh x.tbuh w.tbu", 0, "", "proven by tag: 76 bytes of x.tbuh"},
        {"verify --key key.bin w.tbuh w.other.tbu x.tbuh", 0, "", "proven by tag: 76 bytes of x.tbuh"},
        {"verify --key key.bin u.tbuh x.tbuh x.tbu", 2, "", "proven by tag: 76 bytes of x.tbuh"},
        {"verify --key key.bin u.tbuh v.other.tbu", 1, "",
         "wrong: 1 of 4 checks of u.tbuh are bad; no tag is right: another key or a changed file header"},
        {"verify --key key.bin u.other.tbu", 2, "", "undecided: u.other.tbu, the second file of the pair is missing"},
        {"verify --policy none.json a.tbi", 2, "none.json: No such file or directory", ""},
        {"verify --policy noise a.tbi", 2, "noise: no JSON: byte 1: illegal value", ""},
        {"verify --require trust a.tbi", 2, "--require needs digest, signature, tag or comparison", ""},
        {"verify --public-key 12 a.tbi", 2, "--public-key needs a fingerprint of 64 hexadecimal digits", ""},
        {"verify --least-version 1.x a.tbi", 2, "--least-version needs a version such as 3 or 1.2.3", ""},
        {"verify --largest-size much a.tbi", 2, "--largest-size needs a number of bytes", ""},
        {"verify --option-word 1/0F=10 a.tbi", 2,
         "--option-word needs WORD=VALUE, WORD/MASK=VALUE or REGISTER.FIELD=VALUE, the value inside the mask", ""},
        {"verify --option-word 0=1 a.tbi", 2,
         "--option-word needs WORD=VALUE, WORD/MASK=VALUE or REGISTER.FIELD=VALUE, the value inside the mask", ""},
        {"verify --allow-irreversible a.tbi", 2, "--allow-irreversible needs --policy", ""},
        {"verify --keys keys a.tbi", 0, "", "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify --keys keys signed.bin a.tbi", 0, "", "proven by tag and digest: 253 bytes of a.tbi"},
        {"verify --keys no-keys a.tbi", 2, "", "undecided: a.tbi, no key of the folder fits"},
        {"verify --keys no-keys signed.bin", 2, "", "undecided: signed.bin, no key of the folder fits"},
        {"verify --keys keys tag.tbi", 1, "", "wrong: 1 of 6 checks of tag.tbi are bad"},
        {"verify --keys none a.tbi", 2, "none: No such file or directory", ""},
        {"verify --keys key.bin a.tbi", 2, "key.bin: it is no folder", ""},
        {"verify --keys keys --key key.bin a.tbi", 2, "--keys excludes --key, --key-b and --public", ""},
        {"verify --keys keys --site-secret key.bin a.tbi", 2, "key.bin: a site secret has 32 bytes, not 16", ""},
        {"extract --keys keys -o found a.tbi", 0, "", "written to found"},
        {"diff --keys keys a.tbi b.tbi", 0, "", "no difference"},
        {"verify --key key.bin --dump memory.dump@08000000 a.tbi", 0, "",
         "proven by comparison and tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin --dump high.dump@0x8000100 --dump low.dump@0x8000000 a.tbi", 0, "",
         "proven by comparison and tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin --dump flipped.dump@08000000 a.tbi", 1, "", "wrong: 1 of 8 checks of a.tbi are bad"},
        {"verify --key key.bin --dump memory.dump@08000001 a.tbi", 1, "", "wrong: 1 of 8 checks of a.tbi are bad"},
        {"verify --key key.bin --dump flipped.dump@08000000 --protected 8000104-8000104 a.tbi", 0, "",
         "proven by comparison and tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin --dump flipped.dump@08000000 --protected 8000103-8000103 --protected 8000105-8000110 "
         "a.tbi",
         1, "", "wrong: 1 of 8 checks of a.tbi are bad"},
        {"verify --key key.bin --dump low.dump@08000000 a.tbi", 2, "",
         "undecided: a.tbi, the dump doesn't contain it, or it has no address"},
        {"verify --key key.bin --dump low.dump@08000000 --dump beside.dump@08000100 a.tbi", 2, "",
         "undecided: a.tbi, the dump doesn't contain it, or it has no address"},
        {"verify --key key.bin --dump low.dump@08000000 --dump beside.dump@08000100 --protected 8000110-FFFFFFFF a.tbi",
         0, "", "proven by comparison and tag and digest: 253 bytes of a.tbi"},
        {"verify --key key.bin --dump memory.dump@08000000 --protected 0-FFFFFFFF a.tbi", 2, "",
         "undecided: a.tbi, the dump doesn't contain it, or it has no address"},
        {"verify --dump memory.dump@08000000 a.tbi", 2, "", "undecided: a.tbi, no key given"},
        {"verify --key key.bin --dump lines.hex --erased 00 erased.tbi", 0, "",
         "proven by comparison and tag and digest: 198 bytes of erased.tbi"},
        {"verify --key key.bin --dump lines.hex erased.tbi", 1, "", "wrong: 1 of 7 checks of erased.tbi are bad"},
        {"verify --key key.bin --dump a.bin@08000000 tail.tbi", 0, "",
         "proven by comparison and tag and digest: 170 bytes of tail.tbi"},
        {"verify --key key.bin --dump a.bin@08000000 --erased 0 tail.tbi", 2, "",
         "undecided: tail.tbi, the dump doesn't contain it, or it has no address"},
        {"verify --dump memory.dump@08000000 fw.hex", 0, "", "proven by comparison: 160 bytes of fw.hex"},
        {"verify --dump memory.dump@08000000 --protected 0-8000000 fw.hex", 2, "",
         "undecided: fw.hex, nothing in the format protects it"},
        {"verify --public signer.pem --dump image@0 signed.bin", 2, "",
         "undecided: signed.bin, the dump doesn't contain it, or it has no address"},
        {"verify --dump none.hex a.tbi", 2, "none.hex: No such file or directory", ""},
        {"verify --dump raw.bin a.tbi", 2, "raw.bin: raw firmware needs its address: FILE@ADDRESS", ""},
        {"verify --erased 0 a.tbi", 2, "--erased and --protected need --dump", ""},
        {"verify --dump fw.hex --erased 100 a.tbi", 2, "--erased needs a hexadecimal byte", ""},
        {"verify --dump fw.hex --protected 9-8 a.tbi", 2, "--protected needs two hexadecimal addresses: FROM-TO", ""},
        {"verify --dump fw.hex --protected 0-100000000 a.tbi", 2,
         "--protected needs two hexadecimal addresses: FROM-TO", ""},
        {"show --as rawFirmware /proc/self/mem", 2, "/proc/self/mem: Input/output error", ""},
        {"verify --key /proc/self/mem a.tbi", 2, "/proc/self/mem: Input/output error", ""},
        {"verify --firmware fw.hex a.tbi", 2, "", "undecided: a.tbi, no key given"},
        {"verify --key - a.tbi", 0, "", "proven by tag and digest: 253 bytes of a.tbi"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.arguments);
        const CallResult result = runInspect(folder, row.arguments, kitKey);
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(result.errors, *row.errors == '\0' ? "" : std::string("qvora-inspect: ") + row.errors);
        const std::string body = result.output.substr(0, result.output.empty() ? 0 : result.output.size() - 1);
        EXPECT_EQ(body.substr(body.rfind('\n') + 1), row.lastLine);
    }
}

TEST(InspectCommandLine, ExtractsForTheOwnerOnlyAndLeavesNoOtherFiles) {
    const TempFolder folder;
    makeFiles(folder);
    EXPECT_EQ(runInspect(folder, "extract --key other.bin -o bad a.tbi").status, 1);
    EXPECT_EQ(runInspect(folder, "extract --key key.bin -o out a.tbi").status, 0);
    const QDir out(folder.path("out"));
    EXPECT_EQ(out.entryList(QDir::Files).join(u' ').toStdString(),
              "00001-F-08000000.bin 00002-F-08000100.bin 00003-H-00000000.bin 00004-C-00000000.bin manifest.json");
    EXPECT_EQ(folder.read("out/00001-F-08000000.bin"), QByteArray(48, 'f'));
    const QFile::Permissions others = QFile::ReadGroup | QFile::ReadOther;
    EXPECT_EQ(QFile::permissions(folder.path("out")) & others, 0);
    EXPECT_EQ(QFile::permissions(folder.path("out/manifest.json")) & others, 0);
    EXPECT_EQ(QDir(folder.path(".")).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot).join(u' '),
              QStringLiteral("out"));
}

std::string shown(const TempFolder& folder) {
    return QDir(folder.path(".")).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot).join(u' ').toStdString();
}

// Makes an image with many areas, so that extracting or printing them takes a while.
void makeManyAreas(const TempFolder& folder, int count) {
    KitImage image;
    for (int i = 0; i < count; ++i) {
        image.areas.push_back({'F', 0x08000000U + static_cast<std::uint32_t>(i) * 32, "f", {}, {}, {}, {}, {}});
    }
    image.areas.push_back(kitHash(image.areas));
    image.areas.push_back({'C', 0, {}, {}, {}, {}, {}, {}});
    folder.write("many.tbi", kitMake(image));
}

TEST(InspectCommandLine, ASignalLeavesNothing) {
    const TempFolder folder;
    makeFiles(folder);
    makeManyAreas(folder, 1500);
    // The shell starts background commands with SIGINT ignored, and `env` restores the default. The last row runs
    // without `env` and sends SIGINT, which must have no effect.
    for (const char* const signal : {"TERM", "HUP", "INT", ""}) {
        const bool isIgnored = *signal == '\0';
        const QByteArray script =
            QByteArray(isIgnored ? "" : "env --default-signal=INT ") +
            "\"$0\" extract --key key.bin -o out many.tbi & until [ -d .qvora* ]; do kill -0 $! || "
            "exit 9; done; kill -" +
            (isIgnored ? "INT" : signal) + " $!; wait $!";
        const CallResult result = runShell(folder, script.constData());
        EXPECT_EQ(result.status > 128, !isIgnored) << signal << result.status;
        EXPECT_EQ(shown(folder), isIgnored ? "out" : "") << signal;
    }
}

#ifdef QVORA_SANITIZED
// Qt's containers throw when memory runs out. Here the sanitizer's limit makes an allocation fail.
TEST(InspectCommandLine, RunningOutOfMemoryIsReportedAndLeavesNoFiles) {
    const TempFolder folder;
    makeFiles(folder);
    makeManyAreas(folder, 4000);
    for (const char* const call : {"show --json many.tbi", "extract --key key.bin -o out many.tbi"}) {
        const QByteArray script = QByteArray(
                                      "ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=1 "
                                      "exec \"$0\" ") +
                                  call + " 2>&1 >out.txt | grep -v WARNING; exit ${PIPESTATUS[0]}";
        const CallResult result =
            run(folder, "/bin/bash", {QStringLiteral("-c"), QString::fromUtf8(script), QStringLiteral(QVORA_INSPECT)});
        EXPECT_EQ(result.output, "qvora-inspect: not enough memory\n");
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(shown(folder), "");
    }
}

#endif

TEST(InspectCommandLine, OutputThatCantBeWrittenIsNoAnswer) {
    const TempFolder folder;
    makeFiles(folder);
    for (const char* const call : {"show a.tbi", "show --json a.tbi", "--help", "--version"}) {
        for (const char* const output : {">/dev/full", ">&-", "| true"}) {
            const QByteArray script = QByteArray("{ sleep 0.1; \"$0\" ") + call + "; echo $? >status; } " + output;
            EXPECT_EQ(runShell(folder, script.constData()).errors, "qvora-inspect: the output can't be written");
            EXPECT_EQ(folder.read("status"), "2\n") << call << output;
        }
    }
}

// If OpenSSL offers no usable cipher, digest or key, the verdict is undecided and names the reason.
TEST(InspectCommandLine, WhatOpenSslDoesntOfferIsUndecided) {
    const TempFolder folder;
    makeFiles(folder);
    folder.write("fips.cnf", "openssl_conf = a\n[a]\nalg_section = b\n[b]\ndefault_properties = fips=yes\n");
    folder.write("p.pvs", kitPayload("blob", QByteArray(32, 'r')));
    folder.write("key.c", kitWirelessKey("c"));
    const QByteArray body = kitSha256("payload") + "payload";
    folder.write("a.obk", QByteArray::fromHex("00000010") + QByteArray(1, static_cast<char>(body.size())) +
                              QByteArray(7, '\0') + body);
    for (const char* const call :
         {"verify --key key.bin --nonce nonce.bin a.tbi", "verify --key key.bin p.pvs",
          "verify --key key.bin --payload u.segment u.tbuh", "verify --public signer.pem signed.bin",
          "verify --public wireless.pem wireless-signed.bin", "verify --public kdu.pem signed.kdu",
          "verify --public wireless.pem key.c", "verify --as hashedProvisioningFile a.obk", "verify a.obk",
          "verify --key key.bin --address 9000ABE0 --mode 0 --app memory-app.bin memory.bin"}) {
        const CallResult result =
            runShell(folder, (QByteArray("OPENSSL_CONF=fips.cnf exec \"$0\" ") + call).constData());
        EXPECT_EQ(result.status, 2) << call;
        const std::string reason = "OpenSSL, as it is configured, doesn't offer the algorithm\n";
        EXPECT_EQ(result.output.substr(result.output.size() - std::min(result.output.size(), reason.size())), reason)
            << call << result.output << result.errors;
    }
}

TEST(InspectCommandLine, OptionBytesAreReadInTheirBase) {
    const TempFolder folder;
    struct Row {
        const char* text;
        const char* words;
    };
    for (const Row& row : {Row{"A,010\n", "08000000"}, Row{"A,10,B, 0X1f", "0a0000001f000000"}, Row{"A,0", "00000000"},
                           Row{"A,4294967295", "ffffffff"}, Row{"A,4294967296", ""}, Row{"A,08", ""}, Row{"A,+1", ""},
                           Row{"A,0x", ""}, Row{"A,", ""}, Row{"A", ""}, Row{"A,1\n\n", ""}}) {
        QByteArray words;
        QString fault;
        const bool isRead = inspect::readOptionBytes(folder.write("ob.csv", row.text), words, fault);
        EXPECT_EQ(isRead ? words.toHex() : QByteArray(), row.words) << row.text;
        EXPECT_EQ(isRead, fault.isEmpty()) << row.text;
    }
}

// Only the letters A to Z and a to z of areas get into file names, even if a reader accepts another letter.
TEST(InspectCommandLine, NamesOfFilesAreOurs) {
    const TempFolder folder;
    inspect::Description description;
    description.format = inspect::formatByName(QStringLiteral("installImage"));
    for (const char letter : {'@', 'A', 'Z', '[', '`', 'a', 'z', '{', '/', '.', '\n', '\xe9'}) {
        inspect::Contents contents;
        inspect::Content& content = contents.list.emplace_back();
        content.part = 1;
        content.name = "area";
        content.letter = letter;
        content.bytes = "x";
        QString fault;
        const bool isLetter = (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z');
        const QString out = folder.path(isLetter ? (QByteArray("out") + letter).constData() : "none");
        EXPECT_EQ(inspect::writeContents(out, description, contents, fault), isLetter) << letter;
        EXPECT_EQ(QDir(out).exists(), isLetter) << letter;
    }
}

TEST(InspectCommandLine, AFullDiskIsReportedAndLeavesNoFiles) {
    const TempFolder folder;
    makeFiles(folder);
    KitImage image;
    image.areas = {{'F', 0x08000000, QByteArray(5000, 'f'), {}, {}, {}, {}, {}}};
    image.areas.push_back(kitHash(image.areas));
    image.areas.push_back({'C', 0, {}, {}, {}, {}, {}, {}});
    folder.write("large.tbi", kitMake(image));
    const CallResult result = runShell(folder, "ulimit -f 4; exec \"$0\" extract --key key.bin -o out large.tbi");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors, "qvora-inspect: out: File too large");
    EXPECT_EQ(QDir(folder.path(".")).entryList(QDir::Dirs | QDir::Hidden | QDir::NoDotAndDotDot).join(u' '), QString());
}

TEST(InspectCommandLine, ListsDifferencesByAddress) {
    const TempFolder folder;
    makeFiles(folder);
    EXPECT_EQ(runInspect(folder, "diff --key key.bin a.tbi c.tbi").output,
              "firmware differs in 3 ranges\n"
              "base IV changed\n"
              "area F: changed 0x08000005-0x08000005\n"
              "area H: changed 0x00000000-0x0000001F\n"
              "area F: moved 0x08000100 -> 0x08000104\n"
              "different\n");
    // If no check can prove the files, all differences are listed.
    folder.write("a.password", QByteArray::fromHex("0000008002000000") + "aa");
    folder.write("b.password", QByteArray::fromHex("0000008002000100") + "ab");
    EXPECT_EQ(runInspect(folder, "diff --as passwordFile a.password b.password").output,
              "verdict undecided -> wrong\n"
              "password: changed 0x00000001-0x00000001\n"
              "file: changed 0x00000006-0x00000006\n"
              "different\n");
    const std::string output = runInspect(folder, "verify --key key.bin --firmware fw.hex a.tbi").output;
    EXPECT_NE(output.find("\nfirmware: only in image 0x08000100-0x08000110\n"), std::string::npos) << output;
    EXPECT_NE(output.find("option bytes contents against their sources unchecked (not asked for)"), std::string::npos);
}

// The names and places are those of "readelf --symbols" for the example.
TEST(InspectCommandLine, ComparesMemoryByNameAndAcrossFormats) {
    const TempFolder folder;
    makeFiles(folder);
    QFile file(QStringLiteral(QVORA_EXAMPLES "/firmware/blink.elf"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    QByteArray elf = file.readAll();
    folder.write("blink.elf", elf);
    constexpr qsizetype code = 0x1000;  // offset of the first segment
    elf[code + 0x10] = 'x';
    elf[code + 0x100] = 'y';
    folder.write("changed.elf", elf);
    EXPECT_EQ(runInspect(folder, "diff --bytes 2 blink.elf changed.elf").output,
              "firmware differs in 2 ranges\n"
              "0x04000010-0x04000010 vectors+0x10 in .vectors: 41 -> 78\n"
              "0x04000100-0x04000100 banner+0x30 in .text: 42 -> 79\n"
              "segment: changed 0x04000010-0x04000010\n"
              "segment: changed 0x04000100-0x04000100\n"
              "different\n");
    // Each table of the file is cut or points outside it once.
    for (qsizetype at : {32, 46, 48, 50}) {
        QByteArray broken = elf;
        broken[at] = '\xff';
        broken[at + 1] = '\xff';
        folder.write("broken.elf", broken);
        EXPECT_EQ(runInspect(folder, "diff --exit-code-only blink.elf broken.elf").status, 1) << at;
    }
    KitImage image = kitInstallImage();
    image.areas.back().payload[5] = 'x';
    image.version = 2;
    folder.write("options.tbi", kitMake(image));
    const std::string output = runInspect(folder, "diff --key key.bin a.tbi options.tbi").output;
    EXPECT_EQ(output.substr(0, output.find('\n')),
              "firmware equal; version 1 -> 2; option word 2: 0x63636363 -> 0x63637863");
    const std::string named =
        runInspect(folder, "diff --key key.bin --devices " QVORA_DATA_BASE " --device 455 a.tbi options.tbi").output;
    EXPECT_EQ(named.substr(0, named.find('\n')),
              "firmware equal; version 1 -> 2; option word 2 START: 0x63636363 -> 0x63637863");
    image.areas.back().payload[5] = '\x61';
    folder.write("greeting.tbi", kitMake(image));
    const std::string field =
        runInspect(folder, "diff --key key.bin --devices " QVORA_DATA_BASE " --device 455 a.tbi greeting.tbi").output;
    EXPECT_EQ(field.substr(0, field.find('\n')),
              "firmware equal; version 1 -> 2; option START.Greeting: 1 (Spoken) -> 0 (Silent)");
    EXPECT_EQ(runInspect(folder, "diff a.tbi a.tbi").output, "no difference\n");
    EXPECT_EQ(runInspect(folder, "diff --key key.bin --bytes 3 fw.hex a.tbi").output,
              "firmware differs in 1 range\n"
              "0x08000100-0x08000110: nothing -> 676767\n"
              "formats hexFile and installImage, compared as memory\n"
              "memory: only in B 0x08000100-0x08000110\n"
              "different\n");
}

/// The SHA-256 of a public key as "openssl" computes it.
QByteArray fingerprintOf(const TempFolder& folder, const char* pem) {
    const QByteArray der = outsideTool("openssl pkey -pubin -outform DER -in " + folder.path(pem).toUtf8());
    return kitSha256(der).toHex();
}

QByteArray siteFingerprintOf(const TempFolder& folder, const char* key) {
    return QMessageAuthenticationCode::hash(kitSha256(folder.read(key)), folder.read("site"),
                                            QCryptographicHash::Sha256)
        .toHex();
}

/// The result of each check of a policy, its reason if it wasn't made, and the findings about policies.
std::string policyResult(const std::string& json) {
    const QJsonObject report = QJsonDocument::fromJson(QByteArray::fromStdString(json)).object();
    const QJsonObject file = report.value(QLatin1String("files")).toArray().at(0).toObject();
    QStringList words;
    for (const QJsonValue& check : file.value(QLatin1String("checks")).toArray()) {
        if (check.toObject().value(QLatin1String("code")).toString() == QLatin1String("policy")) {
            words << check.toObject().value(QLatin1String("result")).toString()
                  << check.toObject().value(QLatin1String("reason")).toString();
        }
    }
    for (const QJsonValue& finding : file.value(QLatin1String("findings")).toArray()) {
        const QString code = finding.toObject().value(QLatin1String("code")).toString();
        words << (code.startsWith(QLatin1String("policy")) ? code : QString());
    }
    words.removeAll(QString());
    return words.join(u' ').toStdString();
}

TEST(InspectCommandLine, PoliciesNameEachRuleThatAFileBreaks) {
    const TempFolder folder;
    makeFiles(folder);
    makeKeyFolders(folder);
    const QByteArray signer = fingerprintOf(folder, "keys/e-signer.pem");
    const QByteArray image = siteFingerprintOf(folder, "key.bin");
    const QByteArray noKey(64, '0');
    const QByteArray flash =
        R"("memory": [{"from": "08000000", "to": "080000FF"}, {"from": "08000100", "to": "0800010F"}])";
    struct Row {
        const char* arguments;
        QByteArray policy;
        int status;
        const char* found;
    };
    const Row rows[] = {
        {"--key key.bin a.tbi", R"("proofs": ["tag", "digest"], "leastVersion": 1, "largestSize": 253)", 0, "good"},
        {"--key key.bin a.tbi", R"("proofs": ["signature", "comparison"], "leastVersion": 2, "largestSize": 252)", 1,
         "bad policyProof policyProof policyVersion policySize"},
        {"a.tbi", R"("proofs": ["tag"])", 2, "unchecked noKey"},
        {"a.tbi", R"("proofs": ["tag"], "leastVersion": 2)", 1, "bad policyVersion"},
        {"--keys no-keys signed.bin", R"("proofs": ["signature"])", 2, "unchecked noFittingKey"},
        {"--key key.bin a.tbi", R"("formats": ["updateImage"], "overlaps": true)", 1, "bad policyFormat"},
        {"--key key.bin a.tbi", R"("formats": ["updateImage", "installImage"], "overlaps": false)", 0, "good"},
        {"--public signer.pem signed.bin", R"("leastVersion": "3.0.0")", 0, "good"},
        {"--public signer.pem signed.bin", R"("leastVersion": "3.0.0+1")", 1, "bad policyVersion"},
        {"--public kdu.pem signed.kdu", R"("leastVersion": "1.2.3+4")", 0, "good"},
        {"--public kdu.pem signed.kdu", R"("leastVersion": "1.2.4")", 1, "bad policyVersion"},
        {"--firmware fw.hex fw.hex", R"("leastVersion": 0)", 1, "bad policyNoVersion"},
        {"--firmware fw.hex fw.hex", R"("proofs": ["comparison"])", 0, "good"},
        {"--key key.bin a.tbi", flash, 1, "bad policyMemory"},
        {"--key key.bin a.tbi", R"("memory": [{"from": "08000000", "to": "08000110"}])", 0, "good"},
        {"--key key.bin a.tbi", R"("memory": [])", 1, "bad policyMemory policyMemory"},
        {"--public signer.pem signed.bin", R"("publicKeys": [")" + signer + R"("])", 0, "good"},
        {"--public signer.pem signed.bin", R"("publicKeys": [")" + signer.toUpper() + R"("])", 0, "good"},
        {"--public signer.pem signed.bin", R"("publicKeys": [")" + noKey + R"("])", 1, "bad policyKey"},
        {"--key key.bin a.tbi", R"("publicKeys": [")" + signer + R"("])", 1, "bad policyProof"},
        {"--key key.bin a.tbi", R"("imageKeys": [")" + image + R"("])", 2, "unchecked noSiteSecret"},
        {"--key key.bin --site-secret site a.tbi", R"("imageKeys": [")" + image + R"("])", 0, "good"},
        {"--key key.bin --site-secret site a.tbi", R"("imageKeys": [])", 1, "bad policyKey"},
        {"--key key.bin a.tbi", R"("optionWords": [{"word": 1, "is": "63636363"}, {"word": 3, "isNot": "0"}])", 0,
         "good"},
        {"--key key.bin a.tbi", R"("optionWords": [{"word": 2, "mask": "FF00", "is": "6300"}])", 0, "good"},
        {"--key key.bin a.tbi", R"("optionWords": [{"word": 2, "mask": "FF00", "isNot": "6300"}])", 1,
         "bad policyForbiddenOption"},
        {"--key key.bin a.tbi",
         R"("optionWords": [{"word": 1, "is": "0"}, {"word": 2, "is": "1"}, {"word": 3, "is": "0"}])", 1,
         "bad policyOption policyOption policyNoOption"},
        {"--key key.bin a.tbi", R"("optionWords": [{"word": 1, "isNot": "63636363", "irreversible": true}])", 1,
         "bad policyIrreversible"},
        {"--key key.bin --devices " QVORA_DATA_BASE " a.tbi",
         R"("device": "455", "optionWords": [{"register": "START", "field": "Greeting", "isNot": "Spoken"}])", 1,
         "bad policyMemory policyMemory policyForbiddenOption"},
        {"--key key.bin --devices " QVORA_DATA_BASE " --device 455 a.tbi",
         R"("optionWords": [{"register": "START", "field": "Greeting", "is": "Spoken"}])", 0, "good"},
        {"--key key.bin --devices " QVORA_DATA_BASE " --device 455 --device-memory a.tbi", R"("formats": [])", 1,
         "bad bad policyFormat policyMemory policyMemory"},
        {"--key key.bin --allow-irreversible a.tbi",
         R"("optionWords": [{"word": 1, "isNot": "63636363", "irreversible": true}])", 0, "good"},
        {"--key key.bin --allow-irreversible a.tbi", R"("optionWords": [{"word": 1, "isNot": "63636363"}])", 1,
         "bad policyForbiddenOption"},
        {"a.tbi", R"("optionWords": [{"word": 1, "isNot": "63636363"}])", 2, "unchecked notAuthentic"},
        // The options are further rules; none of them widens the document.
        {"--key key.bin --memory 8000000-80001FF a.tbi", flash, 1, "bad good policyMemory"},
        {"--key key.bin --require tag --least-version 2 a.tbi", {}, 1, "good bad policyVersion"},
        {"--key key.bin --require signature --largest-size 1 --no-overlap --option-word 1/FF=62 --option-word "
         "2!=63636363 "
         "--memory 0-1 a.tbi",
         {},
         1,
         "good bad policyProof policySize policyMemory policyMemory policyOption policyForbiddenOption"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.arguments + std::string(" ") + row.policy.toStdString());
        folder.write("policy.json",
                     R"({"version": 1)" + QByteArray(row.policy.isEmpty() ? "" : ", ") + row.policy + '}');
        const CallResult result =
            runInspect(folder, ("verify --json --policy policy.json " + std::string(row.arguments)).c_str());
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(policyResult(result.output), row.found) << result.errors;
    }
}

// Python computes the fingerprints as docs/formats.md describes them.
TEST(InspectCommandLine, NamesKeysByFilesAndFingerprints) {
    const TempFolder folder;
    makeFiles(folder);
    makeKeyFolders(folder);
    const QByteArray script =
        "import hashlib, hmac, sys\n"
        "from cryptography.hazmat.primitives import serialization\n"
        "key = hashlib.sha256(open('keys/b-fits', 'rb').read()).digest()\n"
        "print('image key keys/b-fits, fingerprint', hmac.new(b's' * 32, key, 'sha256').hexdigest())\n"
        "public = serialization.load_pem_public_key(open('keys/e-signer.pem', 'rb').read())\n"
        "der = public.public_bytes(serialization.Encoding.DER, serialization.PublicFormat.SubjectPublicKeyInfo)\n"
        "print('signed by keys/e-signer.pem, SHA-256', hashlib.sha256(der).hexdigest())\n";
    const std::string expected = run(folder, "python3", {QStringLiteral("-c"), QString::fromUtf8(script)}).output;
    const auto keyLines = [&folder](const char* arguments) {
        std::string lines;
        for (const QByteArray& line : QByteArray::fromStdString(runInspect(folder, arguments).output).split('\n')) {
            if (line.startsWith("image key") || line.startsWith("signed by")) {
                lines += line.toStdString() + '\n';
            }
        }
        return lines;
    };
    EXPECT_EQ(keyLines("show --keys keys --site-secret site a.tbi free.kdu signed.bin"), expected);
    EXPECT_EQ(keyLines("verify --keys keys --site-secret site a.tbi free.kdu signed.bin"), expected);
    EXPECT_EQ(keyLines("show --keys keys a.tbi"), "image key keys/b-fits\n");
    EXPECT_EQ(keyLines("verify --key key.bin a.tbi"), "image key key.bin\n");
    EXPECT_EQ(keyLines("verify --key other.bin a.tbi"), "");
    EXPECT_EQ(keyLines("show --keys no-keys a.tbi"), "");
}

// An outside validator checks every kind of output against the published schema.
TEST(InspectCommandLine, JsonIsOneDocumentThatKeepsTheSchema) {
    const TempFolder folder;
    makeFiles(folder);
    makeKeyFolders(folder);
    folder.write("e.tbix", kitMake(kitExternalImage()));
    folder.write("s.pvs", kitMake(kitProvisioningImage()));
    folder.write("m.xtbi", kitPackagedModule());
    folder.write("u.tbuh", kitUpdate("segment", 1).header);
    folder.write("u.tbu", kitUpdate("segment", 1).segment);
    folder.write("inner.bin", kitSign(kitMake(kitInstallImage()), 100).image);
    KitImage options = kitInstallImage();
    options.areas.back().payload[5] = 'x';
    options.version = 2;
    folder.write("options.tbi", kitMake(options));
    QByteArray strange = kitMake(kitInstallImage());
    strange[28] = '\xff';
    folder.write("strange.tbi", strange);
    const char* const calls[] = {
        "show none.tbi",
        "",
        "--foo",
        "show a.tbi cut.tbi strange.tbi e.tbix s.pvs m.xtbi u.tbuh u.tbu signed.bin inner.bin",
        "verify --key key.bin a.tbi b.tbi c.tbi cut.tbi e.tbix s.pvs m.xtbi u.tbuh inner.bin",
        "verify a.tbi",
        "verify --key key.bin --firmware fw.hex --option-bytes ob.csv a.tbi c.tbi",
        "extract --key key.bin -o out e.tbix",
        "extract --key key.bin -o out e.tbix",
        "diff --key key.bin a.tbi c.tbi",
        "verify --key key.bin --dump flipped.dump@08000000 a.tbi",
        "verify --key key.bin --dump low.dump@08000000 a.tbi",
        "show --keys keys --site-secret site a.tbi signed.bin free.kdu",
        "verify --keys keys a.tbi",
        "show --key key.bin --site-secret site --reveal --texts 2 a.tbi modules.tbi e.tbix s.pvs",
        "show --contents --texts 2 " QVORA_EXAMPLES "/firmware/blink.elf",
        "show --key key.bin --devices " QVORA_DATA_BASE " --device 455 a.tbi",
        "diff --key key.bin --devices " QVORA_DATA_BASE " --device 455 options.tbi a.tbi",
        "verify --key key.bin --least-version 2 --option-word 1=0 --memory 0-1 a.tbi",
        "diff --key key.bin --bytes 4 fw.hex a.tbi",
        "diff --key key.bin --bytes 4 options.tbi a.tbi",
        "diff a.tbi b.tbi",
        "diff a.tbi s.pvs",
        "diff --except-signature a.tbi b.tbi"};
    QString command = QStringLiteral(QVORA_VALIDATE " " QVORA_SCHEMA);
    int index = 0;
    const auto keep = [&](const CallResult& result) {
        const QByteArray name = "call" + QByteArray::number(index++) + ".json";
        command += u' ' + folder.write(name.constData(), QByteArray::fromStdString(result.output));
        EXPECT_EQ(result.output.find_first_of("\x7f\xff"), std::string::npos);
    };
    for (const char* const call : calls) {
        keep(runInspect(folder, ("--json " + std::string(call)).c_str()));
    }
    const CallResult strangeName = runShell(folder, "exec \"$0\" show --json \"$(printf '\\377')\"");
    EXPECT_EQ(strangeName.status, 2);
    EXPECT_EQ(strangeName.errors, "qvora-inspect: argument 3 is not in UTF-8");
    keep(strangeName);
    outsideTool(command.toUtf8());
}

TEST(InspectCommandLine, HelpsWithOneCommand) {
    const TempFolder folder;
    const std::string all = runInspect(folder, "--help").output;
    const std::string diff = runInspect(folder, "diff --help").output;
    for (const char* const option : {"--except-signature", "--bytes", "--key-b"}) {
        EXPECT_NE(all.find(option), std::string::npos) << option;
        EXPECT_NE(diff.find(option), std::string::npos) << option;
    }
    for (const char* const option : {"--reveal", "--policy", "--output"}) {
        EXPECT_NE(all.find(option), std::string::npos) << option;
        EXPECT_EQ(diff.find(option), std::string::npos) << option;
    }
    EXPECT_EQ(runInspect(folder, "dif --help").output, all);
}

TEST(InspectCommandLine, ComparesProvisioningImagesWithTheirSources) {
    const TempFolder folder;
    makeFiles(folder);
    const QByteArray record = QByteArray(8, '\0') + QByteArray::fromHex("04000000");
    folder.write("s.pvs", kitMake(kitProvisioningImage()));
    folder.write("blob", QByteArray(24, 's'));
    folder.write("f.bin", QByteArray(16, 'f'));
    folder.write("backup.bin", record + "data");
    folder.write("other.backup", record + "dada");
    folder.write("longer.backup", record + "data" + record + "more");
    folder.write("cut.backup", record + "dat");
    struct Row {
        const char* sources;
        int status;
        const char* found;
    };
    constexpr Row rows[] = {
        {"--blob blob --firmware f.bin@08000000 --backup backup.bin@50000000", 0, "proven by comparison and tag"},
        {"--backup backup.bin", 0, "blob contents against their sources unchecked (not asked for)"},
        {"--blob blob", 0, "backup contents against their sources unchecked (not asked for)"},
        {"--backup backup.bin@0x50000004", 1, "backup: moved 0x50000000 -> 0x50000004"},
        {"--backup other.backup", 1, "backup: changed 0x0000000E-0x0000000E"},
        {"--backup longer.backup", 1, "backup"},
        {"--backup backup.bin --backup backup.bin", 1, "backup"},
        {"--backup cut.backup", 2, ""},
    };
    for (const Row& row : rows) {
        const CallResult result =
            runInspect(folder, ("verify --key key.bin --against " + std::string(row.sources) + " s.pvs").c_str());
        EXPECT_EQ(result.status, row.status) << row.sources;
        EXPECT_NE(result.output.find(row.found), std::string::npos) << result.output;
    }
}

// Secrets get into a pipe or a file of the owner, not into a file that others can read.
TEST(InspectCommandLine, RevealsSecretsToTheOwnerOnly) {
    const TempFolder folder;
    makeFiles(folder);
    folder.write("s.pvs", kitMake(kitProvisioningImage()));
    struct Row {
        const char* script;
        int status;
    };
    constexpr Row rows[] = {
        {"umask 077; \"$0\" show --key key.bin --reveal s.pvs >own.txt", 0},
        {"umask 037; \"$0\" show --key key.bin --reveal s.pvs >group.txt", 2},
        {"umask 022; mkfifo pipe; cat pipe >/dev/null & \"$0\" show --key key.bin --reveal s.pvs >pipe", 2},
        {"exec >&-; \"$0\" show --key key.bin --reveal s.pvs", 2},
        {"script -qec '\"'\"$0\"'\" show --key key.bin --reveal s.pvs' /dev/null", 2},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(runShell(folder, row.script).status, row.status) << row.script;
    }
    EXPECT_TRUE(folder.read("own.txt").contains(QByteArray(24, 's').toHex()));
    EXPECT_FALSE(folder.read("group.txt").contains(QByteArray(24, 's').toHex()));
    EXPECT_TRUE(QByteArray::fromStdString(runInspect(folder, "show --key key.bin --reveal s.pvs").output)
                    .contains(QByteArray(24, 's').toHex()));
}

TEST(InspectCommandLine, WarnsOfAKeyThatEveryUserCanRead) {
    const TempFolder folder;
    makeFiles(folder);
    ASSERT_TRUE(QFile::setPermissions(folder.path("key.bin"), QFile::ReadOwner | QFile::ReadOther));
    const CallResult result = runInspect(folder, "verify --key key.bin a.tbi");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "qvora-inspect: warning: key.bin: every user can read the key file");
    makeKeyFolders(folder);
    const QString inFolder = folder.path("keys/b-fits");
    ASSERT_TRUE(QFile::setPermissions(inFolder, QFile::ReadOwner | QFile::ReadOther));
    EXPECT_EQ(runInspect(folder, "verify --keys keys a.tbi").errors,
              "qvora-inspect: warning: keys/b-fits: every user can read the key file");
}

}  // namespace
