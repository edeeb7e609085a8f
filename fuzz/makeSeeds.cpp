// make_seeds FOLDER: writes a few valid inputs for each fuzz target. The builders of the tests make them.

#include "tests/inspect/SealingKit.h"
#include "tests/inspect/SigningKit.h"
#include "tests/record/RecordKit.h"
#include "tests/support/ImageBuilder.h"

#include <QDir>
#include <QFile>

#include <cstdio>

namespace {

constexpr char obdataTemplate[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<Root><Obdata>
<Info><Title>t</Title><ObDestAddress>0x10000100</ObDestAddress><DoEncryption>1</DoEncryption><GlobalAlign>16</GlobalAlign>
<FlashStart>0x4000000</FlashStart><FlashSize>0x180000</FlashSize><FlashSectorSize>0x1000</FlashSectorSize></Info>
<Data><Name>Slot offset</Name><Width>4</Width><Default>0x2000</Default><TypeSlot>Execution</TypeSlot><SlotCli>start#1</SlotCli></Data>
<Data><Name>Slot size</Name><Width>4</Width><Default>8192</Default><SlotCli>size#1</SlotCli></Data>
<Bool><Name>b</Name><Width>1</Width><Default>0</Default><True>1</True><False>0</False></Bool>
<List><Name>l</Name><Width>1</Width><Default>3</Default><Val>3,x</Val></List>
<Text><Name>p</Name><MinWidth>1</MinWidth><Width>16</Width><Default>word</Default></Text>
<Permission><Name>m</Name><Width>16</Width><Default>0x5057</Default></Permission>
<File><Name>Key</Name><Align>4</Align><KeyType>ecc</KeyType><Default>./keys/a.pem</Default></File>
<Output><Name>o</Name><Default>./out.obk</Default></Output>
</Obdata></Root>
)";

constexpr char mcubootTemplate[] = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<Root><McubootFormat>
<GlobalParam><Title>t</Title><LinkedXML>#1#./a.xml</LinkedXML><LinkedXML>#2#./b.xml</LinkedXML><Command>sign</Command></GlobalParam>
<Param><Name>Key</Name><Link>#1#GetPublic</Link><Type>File</Type><Command>-k</Command><Enable>1</Enable><Default>k.pem</Default></Param>
<Param><Name>Version</Name><Type>Data</Type><Command>-v</Command><Default>1.0.0</Default><Value>1.2.3</Value></Param>
<Output><Name>Image</Name><Default>./a.bin</Default><Value>./b.bin</Value></Output>
</McubootFormat></Root>
)";

constexpr char deviceDescription[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<Device><DeviceID>0x455</DeviceID><Name>d</Name><Description>t</Description>
<Storage><Memory Name="m" Kind="Flash" Address="0x4000000" Size="64" WriteUnit="8"/></Storage>
<Configuration><OptionBytes>
<Register Name="a" Address="0" Size="4" Reset="0xAA" Description="t">
<Field Name="f" Bit="0" Width="8" Access="ReadOnly"><Value Value="0xAA" Name="v"/></Field></Register>
<Register Name="b" Address="4" Size="2" Reset="1"><Field Name="f" Bit="15" Width="1"/></Register>
</OptionBytes><Fuses Words="8"><Protection><Field Name="Lock" Bit="28" Width="1"/></Protection>
<Word Name="w" Index="1" Count="2" Protection="0x10000000" Optional="true"/></Fuses></Configuration>
<Parameters PartialImages="true" OtpLayout="Records"><Region Name="r" Number="1" Address="0" Size="9"/></Parameters>
</Device>
)";

constexpr char protectedFields[] = R"("Protection": {
"Lock": {"BitOffset": "10", "BitWidth": "1", "BitValue": "0", "PossibleValues": {"0": "no"}},
"CID": {"BitOffset": "11", "BitWidth": "1", "BitValue": "0", "PossibleValues": {}},
"EncWrap": {"BitOffset": "0x12", "BitWidth": "2", "BitValue": "2", "PossibleValues": {}},
"KeySel": {"BitOffset": "14", "BitWidth": "1", "BitValue": "0", "PossibleValues": {}},
"KeySize": {"BitOffset": "15", "BitWidth": "1", "BitValue": "0", "PossibleValues": {}},
"Algorithm": {"BitOffset": "13", "BitWidth": "3", "BitValue": "0", "PossibleValues": {}}}}]})";

constexpr char productionJob[] =
    R"({"version": 1, "product": "p", "keys": {"k": {"file": "keys/k.bin"}}, "allowDevelopmentKeys": true,
"steps": [{"name": "a", "job": "install-image", "timeout": 9, "values": {"device": "{column:d}", "firmware": [{"path": "{{x}}{serial}.bin",
"beside": "{column:at}"}], "key": "{key:k}", "nonce": "{nonce}", "version": "1", "out": "{out}/{column:o}.tbi", "log": "{out}/log"}},
{"job": "provisioning-image", "values": {"secrets": "{nonce:a}", "backup": [{"path": "{out}/b", "beside": "1"}], "key": "{key:k}",
"nonce": "{serial}", "out": "{out}/s.pvs"}, "proof": {"derive": true, "nonce": null, "blob": ["b", "c"], "firmware": "f@10"}},
{"job": "provisioning-file", "values": {"template": "{out}/t.xml"}, "copies": [{"from": "t.xml", "to": "{out}/t.xml"}]},
{"job": "sign", "values": {"binary": "b", "key": "{key:k}", "version": "1", "out": "{out}/x.bin"}, "proof": {"public": "p"}}]})";

void write(const QDir& root, const char* target, const char* name, const QByteArray& bytes) {
    const QString folder = QString::fromLatin1(target);
    QFile file(root.filePath(folder + u'/' + QString::fromLatin1(name)));
    if (!root.mkpath(folder) || !file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        std::fprintf(stderr, "cannot write %s\n", qUtf8Printable(file.fileName()));
    }
}

void writeImages(const QDir& root) {
    const std::vector<ImageArea> areas = {{'M', 0x20000, QByteArray(16, 'm')},
                                          {'F', 0x8000000, QByteArray(64, 'f')},
                                          {'E', 0x9000000, QByteArray(48, 'e')},
                                          {'C', 0, QByteArray(8, 'c')}};
    write(root, "tbi", "version1", buildImage(ImageKind::tbi, 1, areas));
    write(root, "tbi", "version2", buildImage(ImageKind::tbi, 2, areas));
    write(root, "xtbi", "short", buildImage(ImageKind::xtbi, 1, areas));
    write(root, "xtbi", "long", buildImage(ImageKind::xtbi, 65001, areas));
    write(root, "pvs", "image", buildImage(ImageKind::pvsTbi, 1, areas));
}

void writeFirmware(const QDir& root) {
    write(root, "hex", "hex", ":020000040800F2\n:10000000000102030405060708090A0B0C0D0E0F78\n:00000001FF\n");
    write(root, "srec", "srec", "S0030000FC\nS1071000010203049E\nS9030000FC\n");
    QByteArray elf = QByteArray::fromHex(
        "7f454c460101010000000000000000000200280001000000000000083400000000000000000000003400200001002800000000000100"
        "0000540000000000000800000008080000000800000005000000040000000011223344556677");
    write(root, "elf", "elf", elf);
    const QByteArray module = QByteArray("KMDMAGIC") + QByteArray(24, '\1');
    write(root, "kmd", "kmd", module);
    QByteArray update;
    appendU32(update, 0x96F3B83D);
    appendU32(update, 0);
    appendU32(update, 0x000C0020);
    appendU32(update, 4);
    appendU32(update, 0);
    update += QByteArray(12, '\0') + "code";
    update += QByteArray::fromHex(
        "08690c00"
        "a0000400"
        "01020304"
        "07690c00"
        "10000400"
        "05060708");
    write(root, "kdu", "kdu", update);
    write(root, "obk", "obk", QByteArray(44, 'o'));
}

void writeTables(const QDir& root) {
    write(root, "csv", "csv", "SEAL,0xAA,START,020\n");
    write(root, "optionBytes", "table", "SEAL,0xaa, START ,020\r\nx,9\n");
    write(root, "kcsv", "kcsv", "10,FF,0x20\n");
    write(root, "tsv", "tsv", "#a\nP\t0x1\tfsbl\tBinary\tnone\t0x0\tfile.bin\n");
    write(root, "mcsv", "mcsv", "./input.mcsv.bin,none,0x08100000\n");
    write(root, "ecsv", "ecsv", "./input.ecsv.bin,Chip,0xB0000000,1,2,0x08001000\n");
}

void writeDocuments(const QDir& root) {
    write(root, "obdata", "template", obdataTemplate);
    write(root, "mcuboot", "template", mcubootTemplate);
    write(root, "device", "description", deviceDescription);
    const QByteArray backup = QByteArray(
                                  "{\"Title\": \"t\", \"Files\": [{\"Name\": \"n\", \"Path\": \"./x\", "
                                  "\"Offset\": \"0x10\", ") +
                              protectedFields;
    write(root, "backupJson", "document", backup);
    const QByteArray secrets = QByteArray(
                                   "{\"Title\": \"t\", \"Files\": [{\"Name\": \"n\", \"PathOrWord\": "
                                   "\"0x12345678\", \"Offset\": \"3C\", \"isFile\": \"0\", \"Format\": \"1\", ") +
                               protectedFields;
    write(root, "secretsJson", "document", secrets);
    const QByteArray record = QByteArray::fromHex(
        "10000000"
        "00000000"
        "04000000"
        "01020304");
    write(root, "backupImage", "image", record + record);
    write(root, "secretsImage", "fixed", QByteArray(1, '\0') + QByteArray(152, 's'));
    write(root, "secretsImage", "records",
          QByteArray(1, '\1') + QByteArray::fromHex("0c000000"
                                                    "04000000"
                                                    "01020304"));
    write(
        root, "imgtoolOutput", "array",
        "/* made by imgtool */\r\nconst unsigned char key[] = {\r\n    0x30, 0x59, 0x30,\r\n    0x13, 0x06,\r\n};\r\n");
    write(root, "keyUri", "whole",
          "pkcs11:token=line%3B1;manufacturer=a;serial=42;model=T;slot-id=7;object=key%20a;id=%00%FF;type=private"
          "?module-path=/lib/a.so&module-name=a&pin-source=file:/run/pin");
    write(root, "keyUri", "refused", "pkcs11:object=a?pin-value=1234");
    write(root, "policy", "all",
          R"({"version": 1, "formats": ["installImage"], "proofs": ["tag", "digest"], "imageKeys": [], "publicKeys": [],
              "leastVersion": "1.2.3+4", "largestSize": 65536, "overlaps": false,
              "memory": [{"name": "Flash", "from": "0x08000000", "to": "0x0800FFFF"}],
              "optionWords": [{"word": 1, "mask": "FF", "is": "63"},
                              {"name": "lock", "word": 2, "isNot": "63636363", "irreversible": true}]})");
    write(root, "policy", "number", R"({"version": 1, "leastVersion": 2})");
    write(root, "policy", "device",
          R"({"version": 1, "device": "0", "optionWords": [{"register": "START", "field": "Level", "isNot": "5"}]})");
    write(root, "publicKeyText", "text",
          "Public-Key: (32 bit)\nModulus:\n    00:c3:5a:\n    11:22\nExponent: 65537 (0x10001)\n");
    write(root, "commandLine", "tbi", QByteArray::fromHex("0312391341421512164a1744"));
}

// An MCUboot image of imgtool, encrypted for the private key of the verify target.
constexpr const char* encryptedMcuboot =
    "3db8f39600000000200082002000000004000000010203000900000000000000ae2053a13bbfd1ce516ca7d5554b3705"
    "3edcf6dafe4ed32945ea2460305a2fb208698200500004000700000060005c00a50164726f6c650465312e322e330558"
    "203af8a0850be524b42cafbbb0bf0a597ea95689d37d9582b8d15d433889df8f72066653484132353602582000000000"
    "0000000000000000000000000000000000000000000000000000000040000c00010000000102030004000000a0000200"
    "12340769e400100020008b849b82de4b0bbe0a0a3b2e02cc573ce83110a5257d12c2f6342270158c5ba0010020003af8"
    "a0850be524b42cafbbb0bf0a597ea95689d37d9582b8d15d433889df8f72240040003fe831e7d777f27f93c03723cd76"
    "febc0fa77bb3466a205a4113eb4c395fb24afaa18e6256e74c20a80b7e0879af7546058c801fb02919d6cb53eec22158"
    "65033300500021d5d25288630861ff7f492463de00159782cc1019ea7e2d3e6052e32cde3d6c5843a331347c54f37299"
    "4b0ba9b5916933ad185df9e278af4b8f3de1559161e182774088a0f0c711717b6f93ef5d640e";

// Writes seeds for the opener. The kit uses the key and nonce of the verify target.
void writeInspected(const QDir& root) {
    const QByteArray image = kitMake(kitInstallImage());
    const KitPair update = kitUpdate(QByteArray(33, 'u'), 2);
    const QByteArray record = QByteArray::fromHex("10000000000000000400000001020304");
    const QByteArray word = QByteArray::fromHex("0c0000000400000001020304");
    const QByteArray obk = QByteArray::fromHex("000100080400000000000000") + "data";
    // One segment of 8 bytes.
    const QByteArray elf = QByteArray::fromHex(
                               "7f454c4601010100000000000000000002002800010000004100000834000000"
                               "00000000000000003400200001002800000000000100000054000000"
                               "00000008000000080800000008000000050000000400000000000000") +
                           "segment1";
    KitMcuboot compressed;
    compressed.flags = 0xC00;
    compressed.code =
        QByteArray::fromHex("185de00086001e5d003a1a08ce7649b47d12a17b27842b3794321d1fd901ebdb6ec74d89d9860000");
    compressed.protectedTlvs = {{0x70, QByteArray::fromHex("87000000")}, {0x71, QByteArray(32, 'd')}};
    const struct {
        const char* format;
        QByteArray bytes;
    } seeds[] = {
        {"installImage", image},
        {"installImage", kitMake(kitExternalImage())},
        {"packagedModule", kitPackagedModule()},
        {"provisioningImage", kitMake(kitProvisioningImage())},
        {"provisioningPayload", kitPayload(QByteArray(40, 's'), QByteArray(32, 'b'))},
        {"signedImage", kitSign(image, static_cast<std::uint32_t>(image.size())).image},
        {"updateImage", update.header + update.segment},
        {"updatePayload", update.segment},
        {"backupImage", record + record},
        {"secretsWords", QByteArray(152, 's')},
        {"secretsRecords", word + word},
        {"provisioningFile", obk},
        {"hashedProvisioningFile", QByteArray::fromHex("000100082400000000000000") + kitSha256("data") + "data"},
        {"passwordFile", QByteArray::fromHex("0000008004000000") + "word"},
        {"memoryImage", QByteArray(70, 'm')},
        {"personalizationData", QByteArray(40, 'p')},
        {"wirelessBinary", kitWirelessBinary(QByteArray(40, 'w'))},
        {"wirelessKeyFile", kitWirelessKey("c")},
        {"wirelessKeyFile", kitWirelessKey("txt")},
        {"moduleFile", "KMDMAGIC" + QByteArray::fromHex("00000108") + "code"},
        {"mcubootImage", kitMake(KitMcuboot())},
        {"mcubootImage", QByteArray::fromHex(encryptedMcuboot)},
        {"mcubootImage", kitMake(compressed)},
        {"hexFile", ":0400000001020304F2\n:020000040800F2\n:00000001FF\n"},
        {"sRecordFile", "S0030000FC\nS107000001020304EE\nS9030000FC\n"},
        {"elfFile", elf},
        {"rawFirmware", "raw"}};
    int number = 0;
    for (const auto& seed : seeds) {
        const QByteArray name = "seed" + QByteArray::number(++number);
        write(root, ("inspect-" + QByteArray(seed.format)).constData(), name.constData(), seed.bytes);
        write(root, "inspect-verify", name.constData(), seed.bytes);
    }
}

void writeProduction(const QDir& root) {
    write(root, "productionJob", "job", productionJob);
    write(root, "deviceTable", "csv", "serial,a,b\r\nA1,\"x, \"\"y\"\"\n\",z\r\n\r\nA2,,\n");
    write(root, "deviceTable", "jsonLines",
          "{\"serial\": \"A1\", \"a\": \"\\u00e9\\n\", \"b\": \"\"}\n{\"b\":\"\",\"a\":\"\",\"serial\":\"a1\"}\n");
}

// Records, bodies of lines and a statement, in the three ways that the target explains.
void writeRecords(const QDir& root) {
    const KitWriter whole = kitRecord();
    write(root, "record", "record", 'r' + whole.bytes());
    write(root, "record", "small", 'r' + kitSmallRecord().bytes());
    QByteArrayList bodies;
    for (const QJsonObject& body : {kitStart(), kitDevice(), kitFailedDevice(), kitEnd(1, 1, 0), kitRecall(),
                                    kitRetire(), kitEpoch(), kitImport()}) {
        bodies.append(record::canonicalJson(body));
    }
    write(root, "record", "bodies", 'b' + kitBytes(bodies));
    KitWriter start;
    start.add(kitStart());
    start.add(kitDevice());
    write(root, "record", "statement", 's' + record::canonicalJson(start.statement()));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "make_seeds FOLDER\n");
        return 2;
    }
    const QDir root(QString::fromLocal8Bit(argv[1]));
    writeImages(root);
    writeFirmware(root);
    writeTables(root);
    writeDocuments(root);
    writeInspected(root);
    writeProduction(root);
    writeRecords(root);
    return 0;
}
