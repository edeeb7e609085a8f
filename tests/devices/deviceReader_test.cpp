#include "devices/deviceReader.h"

#include "images/secretsGenerator.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/outsideTool.h"

#include <chrono>

namespace {

/// The text before `content` ends with a line break, so `content` begins in line 2.
QByteArray device(const QByteArray& content) {
    return "<Device><DeviceID>1</DeviceID><Name>d</Name>\n" + content + "</Device>";
}

QByteArray storage(const QByteArray& memories) {
    return "<Device><DeviceID>1</DeviceID><Name>d</Name><Storage>\n" + memories + "</Storage></Device>";
}

QByteArray optionBytes(const QByteArray& registers) {
    return "<Device><DeviceID>1</DeviceID><Name>d</Name><Configuration><OptionBytes>\n" + registers +
           "</OptionBytes></Configuration></Device>";
}

QByteArray byteFields(const QByteArray& fields) {
    return optionBytes("<Register Name='R' Order='1' Size='1' Reset='0'>" + fields + "</Register>");
}

QByteArray values(const QByteArray& valueElements) {
    return byteFields("<Field Name='F' Bit='4' Width='2'>" + valueElements + "</Field>");
}

QByteArray fuses(const QByteArray& content) {
    return "<Device><DeviceID>1</DeviceID><Name>d</Name><Configuration><Fuses Words='8'>\n" + content +
           "</Fuses></Configuration></Device>";
}

QByteArray parameters(const QByteArray& regions) {
    return device("<Parameters PartialImages='true' OtpLayout='Fixed'>" + regions + "</Parameters>");
}

QByteArray memory(const char* address, const char* size, const char* name = "M", const char* unit = "1") {
    return QByteArray("<Memory Name='") + name + "' Kind='RAM' Address='" + address + "' Size='" + size +
           "' WriteUnit='" + unit + "'/>";
}

constexpr char wordW[] = "<Word Name='W' Index='3' Count='2'/>";

struct FaultRow {
    const char* name;
    QByteArray document;
    const char* message;
};

const FaultRow faults[] = {
    // The document
    {"empty", "", "line 1, column 1: Premature end of document."},
    {"no element", "<!-- -->", "line 1, column 9: Premature end of document."},
    {"cut off", "<Device>\n<Name", "line 2, column 6: Premature end of document."},
    {"other root", "<Root/>", "line 1, column 1: Unknown element \"Root\""},
    {"two roots", device("") + "<Device/>", "line 2, column 19: Extra content at end of document."},
    {"text", device("<!-- a\nb -->\nx"), "line 4, column 1: Text where only elements are expected"},
    {"document type", "<?xml version='1.0'?>\n <!DOCTYPE Device [<!ENTITY e 'x'>]>" + device(""),
     "line 2, column 2: A document type isn't allowed"},
    {"entity", device("<Description>&e;</Description>"), "line 2, column 17: Entity 'e' not declared."},
    {"not UTF-8", device("<Description>\xC3</Description>"), "line 2, column 14: The text isn't UTF-8"},
    {"long tag", device(QByteArray("<Storage a='>'").leftJustified(4096, ' ') + "/>"),
     "line 2, column 1: A tag has more than 4096 characters"},
    {"namespace", "<Device xmlns='urn:x'/>", "line 1, column 1: Unknown element \"Device\""},
    {"other attribute of the schema's namespace",
     "<Device xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:nil='1'/>",
     "line 1, column 1: Unknown attribute \"xsi:nil\" of \"Device\""},
    // Elements
    {"unknown element", device("<Storrage/>"), "line 2, column 1: Unknown element \"Storrage\" in \"Device\""},
    {"long unknown element", device("<" + QByteArray(41, 'x') + "/>"),
     "line 2, column 1: Unknown element \"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...\" in \"Device\""},
    {"nested", device("<Storage><Storage/></Storage>"),
     "line 2, column 10: Unknown element \"Storage\" in \"Storage\""},
    {"child of a leaf", storage("<Memory Name='M' Kind='RAM' Address='0' Size='1' WriteUnit='1'><Device/></Memory>"),
     "line 2, column 64: Unknown element \"Device\" in \"Memory\""},
    {"child of a text", device("<Description>a<b/></Description>"), "line 2, column 19: Expected character data."},
    {"element twice", device("<Parameters PartialImages='true' OtpLayout='None'/>\n<Name>e</Name>"),
     "line 3, column 1: \"Name\" occurs twice in \"Device\""},
    {"no DeviceID", "<Device><Name>d</Name></Device>", "line 1, column 23: \"Device\" has no \"DeviceID\""},
    {"no Name", "<Device><DeviceID>1</DeviceID></Device>", "line 1, column 31: \"Device\" has no \"Name\""},
    {"no memory", storage(""), "line 2, column 1: \"Storage\" has no \"Memory\""},
    {"no register", optionBytes(""), "line 2, column 1: \"OptionBytes\" has no \"Register\""},
    {"no word", fuses(""), "line 2, column 1: \"Fuses\" has no \"Word\""},
    {"no protection", fuses("<Protection/>"), "line 2, column 1: \"Protection\" has no \"Field\""},
    {"unknown configuration", device("<Configuration><X/></Configuration>"),
     "line 2, column 16: Unknown element \"X\" in \"Configuration\""},
    {"unknown fuse element", fuses("<X/>"), "line 2, column 1: Unknown element \"X\" in \"Fuses\""},
    {"protection twice",
     fuses("<Protection><Field Name='CID' Bit='0' Width='1'/></Protection>\n<Protection/>" + QByteArray(wordW)),
     "line 3, column 1: \"Protection\" occurs twice in \"Fuses\""},
    {"option bytes twice",
     optionBytes("<Register Name='R' Order='1' Size='1' Reset='0'/></OptionBytes>\n<OptionBytes>"),
     "line 3, column 1: \"OptionBytes\" occurs twice in \"Configuration\""},
    // Attributes and their values
    {"unknown attribute", storage("<Memory name='x'/>"), "line 2, column 1: Unknown attribute \"name\" of \"Memory\""},
    {"attribute of a text", "<Device>\n<Name lang='en'>d</Name></Device>",
     "line 2, column 1: Unknown attribute \"lang\" of \"Name\""},
    {"attribute twice", storage("<Memory Name='a' Name='b'/>"), "line 2, column 28: Attribute 'Name' redefined."},
    {"missing attribute", storage("<Memory Name='M' Kind='RAM'/>"), "line 2, column 1: \"Memory\" has no \"Address\""},
    {"kind", storage("<Memory Name='M' Kind='ram' Address='0' Size='1' WriteUnit='1'/>"),
     "line 2, column 1: \"Kind\" of \"Memory\" is \"ram\": it can be Flash, RAM, ROM, OTP, Backup or External"},
    {"access", byteFields("<Field Name='F' Bit='0' Width='1' Access='rw'/>"),
     "line 2, column 49: \"Access\" of \"Field\" is \"rw\": it can be ReadWrite, ReadOnly or WriteOnce"},
    {"partial images", device("<Parameters PartialImages='1' OtpLayout='None'/>"),
     "line 2, column 1: \"PartialImages\" of \"Parameters\" is \"1\": it can be false or true"},
    {"layout", device("<Parameters PartialImages='true' OtpLayout='x'/>"),
     "line 2, column 1: \"OtpLayout\" of \"Parameters\" is \"x\": it can be None, Fixed or Records"},
    {"octal number", storage(memory("010", "1")),
     "line 2, column 1: \"Address\" of \"Memory\" is \"010\": it can be a number of 32 bits, decimal or hexadecimal "
     "after 0x"},
    {"33 bits", storage(memory("4294967296", "1")),
     "line 2, column 1: \"Address\" of \"Memory\" is \"4294967296\": it can be a number of 32 bits, decimal or "
     "hexadecimal after 0x"},
    {"nine digits", storage(memory("0x000000001", "1")),
     "line 2, column 1: \"Address\" of \"Memory\" is \"0x000000001\": it can be a number of 32 bits, decimal or "
     "hexadecimal after 0x"},
    {"no digits", storage(memory("0x", "1")),
     "line 2, column 1: \"Address\" of \"Memory\" is \"0x\": it can be a number of 32 bits, decimal or hexadecimal "
     "after 0x"},
    {"DeviceID 0", "<Device><DeviceID>0</DeviceID></Device>",
     "line 1, column 9: \"DeviceID\" is 0: it can be 1 to 4294967295"},
    {"DeviceID", "<Device><DeviceID>a&lt;</DeviceID></Device>",
     "line 1, column 9: \"DeviceID\" is \"a<\": it can be a number of 32 bits, decimal or hexadecimal after 0x"},
    {"empty name", storage(memory("0", "1", " ")), "line 2, column 1: \"Name\" of \"Memory\" is empty"},
    {"empty text", device("<Description/>"), "line 2, column 1: \"Description\" is empty"},
    {"long name", storage(memory("0", "1", QByteArray(65, 'n').constData())),
     "line 2, column 1: \"Name\" of \"Memory\" has more than 64 characters"},
    {"long description", device("<Description>" + QByteArray(1001, 'n') + "</Description>"),
     "line 2, column 1: \"Description\" has more than 1000 characters"},
    {"control character", storage(memory("0", "1", "a&#x85;b")),
     "line 2, column 1: \"Name\" of \"Memory\" contains a control character"},
    {"reversed writing", device("<Description>a\xE2\x80\xAE</Description>"),
     "line 2, column 1: \"Description\" contains a control character"},
    // Memories
    {"memory beyond", storage(memory("0xFFFFFFFF", "2")), "line 2, column 1: \"Memory\" ends beyond 32 bits"},
    {"write unit", storage(memory("0", "4", "M", "5")), "line 2, column 1: \"WriteUnit\" is larger than the memory"},
    {"memories overlap", storage(memory("16", "4", "A") + "\n" + memory("0xF", "2", "B")),
     "line 3, column 1: \"B\" overlaps \"A\""},
    {"memory twice", storage(memory("0", "1") + "\n" + memory("1", "1")),
     "line 3, column 1: There are two \"Memory\" named \"M\""},
    // Registers
    {"comma", optionBytes("<Register Name='a,b' Order='1' Size='1' Reset='0'/>"),
     "line 2, column 1: \"Name\" of \"Register\" contains a comma, which ends a label in a table"},
    {"size", optionBytes("<Register Name='a' Order='1' Size='3' Reset='0'/>"),
     "line 2, column 1: \"Size\" of \"Register\" is 3: it can be 1, 2 or 4"},
    {"reset", optionBytes("<Register Name='a' Order='1' Size='2' Reset='0x10000'/>"),
     "line 2, column 1: \"Reset\" doesn't fit a register of 16 bits"},
    {"no place", optionBytes("<Register Name='a' Size='1' Reset='0'/>"),
     "line 2, column 1: \"Register\" needs either \"Order\" or \"Address\""},
    {"two places", optionBytes("<Register Name='a' Order='1' Address='0' Size='1' Reset='0'/>"),
     "line 2, column 1: \"Register\" needs either \"Order\" or \"Address\""},
    {"mixed places",
     optionBytes("<Register Name='a' Order='1' Size='1' Reset='0'/>\n"
                 "<Register Name='b' Address='0' Size='1' Reset='0'/>"),
     "line 3, column 1: Some registers have an \"Order\" and some an \"Address\""},
    {"order",
     optionBytes("<Register Name='a' Order='1' Size='1' Reset='0'/>\n"
                 "<Register Name='b' Order='3' Size='1' Reset='0'/>"),
     "line 3, column 1: \"Order\" is 3: the next register is 2"},
    {"registers overlap",
     optionBytes("<Register Name='a' Address='4' Size='4' Reset='0'/>\n"
                 "<Register Name='b' Address='7' Size='1' Reset='0'/>"),
     "line 3, column 1: \"b\" overlaps or precedes \"a\""},
    {"register beyond", optionBytes("<Register Name='a' Address='0xFFFFFFFD' Size='4' Reset='0'/>"),
     "line 2, column 1: \"Register\" ends beyond 32 bits"},
    {"register twice",
     optionBytes("<Register Name='a' Order='1' Size='1' Reset='0'/>\n"
                 "<Register Name='a' Order='2' Size='1' Reset='0'/>"),
     "line 3, column 1: There are two \"Register\" named \"a\""},
    // Fields and values
    {"bit", byteFields("\n<Field Name='F' Bit='32' Width='1'/>"),
     "line 3, column 1: \"Bit\" of \"Field\" is 32: it can be 0 to 31"},
    {"width", byteFields("\n<Field Name='F' Bit='0' Width='0'/>"),
     "line 3, column 1: \"Width\" of \"Field\" is 0: it can be 1 to 32"},
    {"field beyond", byteFields("\n<Field Name='F' Bit='7' Width='2'/>"),
     "line 3, column 1: \"F\" ends beyond its word"},
    {"field beyond 32", byteFields("\n<Field Name='F' Bit='31' Width='32'/>"),
     "line 3, column 1: \"F\" ends beyond its word"},
    {"fields overlap", byteFields("<Field Name='F' Bit='0' Width='4'/>\n<Field Name='G' Bit='3' Width='1'/>"),
     "line 3, column 1: \"G\" overlaps \"F\""},
    {"field twice", byteFields("<Field Name='F' Bit='0' Width='1'/>\n<Field Name='F' Bit='1' Width='1'/>"),
     "line 3, column 1: There are two \"Field\" named \"F\""},
    {"value too wide", values("\n<Value Value='4' Name='v'/>"),
     "line 3, column 1: \"v\" doesn't fit a field of 2 bits"},
    {"value twice", values("<Value Value='1' Name='v'/>\n<Value Value='0x1' Name='w'/>"),
     "line 3, column 1: \"w\" has the value of \"v\""},
    {"value's name twice", values("<Value Value='1' Name='v'/>\n<Value Value='2' Name='v'/>"),
     "line 3, column 1: There are two \"Value\" named \"v\""},
    // Fuses
    {"word beyond", fuses("<Word Name='W' Index='7' Count='2'/>"), "line 2, column 1: \"W\" ends beyond word 7"},
    {"index", fuses("<Word Name='W' Index='8'/>"), "line 2, column 1: \"Index\" of \"Word\" is 8: it can be 0 to 7"},
    {"words overlap", fuses(QByteArray(wordW) + "\n<Word Name='V' Index='4'/>"),
     "line 3, column 1: \"V\" overlaps or precedes \"W\""},
    {"word twice", fuses(QByteArray(wordW) + "\n<Word Name='W' Index='5'/>"),
     "line 3, column 1: There are two \"Word\" named \"W\""},
    {"too many words", device("<Configuration>\n<Fuses Words='4097'/></Configuration>"),
     "line 3, column 1: \"Words\" of \"Fuses\" is 4097: it can be 1 to 4096"},
    {"late protection", fuses(QByteArray(wordW) + "\n<Protection/>"),
     "line 3, column 1: \"Protection\" must precede every \"Word\""},
    {"protection's name", fuses("<Protection>\n<Field Name='L' Bit='0' Width='1'/></Protection>"),
     "line 3, column 1: \"Name\" of \"Field\" is \"L\": it can be Lock, CID, EncWrap, KeySel, KeySize, Algorithm or "
     "HDPL"},
    {"protection's bits",
     fuses("<Protection><Field Name='Lock' Bit='1' Width='1'/></Protection>\n"
           "<Word Name='W' Index='0' Protection='3'/>"),
     "line 3, column 1: \"Protection\" has bits that are in no field of it"},
    // Regions
    {"region's number", parameters("\n<Region Name='R' Number='8' Address='0' Size='1'/>"),
     "line 3, column 1: \"Number\" of \"Region\" is 8: it can be 0 to 7"},
    {"region beyond", parameters("\n<Region Name='R' Number='7' Address='0xFFFFFFFF' Size='2'/>"),
     "line 3, column 1: \"Region\" ends beyond 32 bits"},
    {"region's number twice",
     parameters("<Region Name='R' Number='7' Address='0' Size='1'/>\n"
                "<Region Name='S' Number='7' Address='0' Size='1'/>"),
     "line 3, column 1: \"S\" has the number of \"R\""},
};

TEST(DeviceReader, ReportsTheFirstFaultWithItsPlace) {
    const MessageCapture nothing;
    for (const FaultRow& row : faults) {
        devices::Device device;
        device.name = QStringLiteral("untouched");
        devices::TextFault fault;
        EXPECT_FALSE(devices::readDevice(row.document, device, fault)) << row.name;
        EXPECT_EQ(devices::faultLine(fault).toStdString(), row.message) << row.name;
        EXPECT_EQ(device.name, QStringLiteral("untouched")) << row.name;
    }
    EXPECT_TRUE(nothing.texts().empty());
}

/// `count` different elements; `element` makes each from its number.
template <typename Element>
QByteArray many(int count, Element element) {
    QByteArray elements;
    for (int i = 0; i < count; ++i) {
        elements += element(QByteArray::number(i));
    }
    return elements;
}

TEST(DeviceReader, LimitsCountsAndSizes) {
    const auto oneMemory = [](const QByteArray& n) { return memory(n.constData(), "1", n.constData()); };
    const auto oneRegister = [](const QByteArray& n) {
        return "<Register Name='" + n + "' Address='" + n + "' Size='1' Reset='0'/>";
    };
    const auto oneValue = [](const QByteArray& n) { return "<Value Value='" + n + "' Name='" + n + "'/>"; };
    const auto manyValues = [&](int count) {
        return optionBytes("<Register Name='R' Order='1' Size='4' Reset='0'><Field Name='F' Bit='0' Width='32'>" +
                           many(count, oneValue) + "</Field></Register>");
    };
    const QByteArray padding(devices::maxDescriptionSize - device("").size(), ' ');
    struct Row {
        QByteArray allowed;
        QByteArray refused;
        const char* message;
    };
    const Row rows[] = {
        {storage(many(64, oneMemory)), storage(many(65, oneMemory)), "\"Storage\" has more than 64 \"Memory\""},
        {optionBytes(many(1024, oneRegister)), optionBytes(many(1025, oneRegister)),
         "\"OptionBytes\" has more than 1024 \"Register\""},
        {manyValues(256), manyValues(257), "\"Field\" has more than 256 \"Value\""},
        {device(padding), device(padding + ' '), "A description has at most 1048576 bytes"},
        {device("<Description" + QByteArray(4095 - 12, ' ') + ">d</Description>"),
         device("<Description" + QByteArray(4096 - 12, ' ') + ">d</Description>"),
         "A tag has more than 4096 characters"},
    };
    for (const Row& row : rows) {
        devices::Device device;
        devices::TextFault fault;
        EXPECT_TRUE(devices::readDevice(row.allowed, device, fault)) << devices::faultLine(fault).toStdString();
        EXPECT_FALSE(devices::readDevice(row.refused, device, fault));
        EXPECT_EQ(fault.text.toStdString(), row.message);
    }
}

TEST(DeviceReader, RejectsHostileDocumentsQuickly) {
    const int size = static_cast<int>(devices::maxDescriptionSize);
    const auto attribute = [](const QByteArray& n) { return " a" + n + "=''"; };
    for (const QByteArray& document :
         {"<Device" + many(size / 16, attribute) + "/>", QByteArray("<a>").repeated(size / 4),
          "<Device><!--" + QByteArray(size / 2, '\n'), QByteArray("<!---->").repeated(size / 8), QByteArray(size, '<'),
          "<Device" + QByteArray(size / 2, '"')}) {
        devices::Device device;
        devices::TextFault fault;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(devices::readDevice(document, device, fault));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << document.first(40).constData();
    }
}

devices::Device example(const char* name) {
    devices::Device device;
    devices::TextFault fault;
    EXPECT_TRUE(devices::readDeviceFile(QStringLiteral(DATA_BASE "/%1").arg(QLatin1String(name)), device, fault))
        << devices::faultLine(fault).toStdString();
    return device;
}

TEST(DeviceReader, ReadsTheExampleOfOptionBytes) {
    const devices::Device device = example("example-0x455.xml");
    EXPECT_EQ(device.deviceId, 0x455U);
    EXPECT_TRUE(device.description.startsWith(QStringLiteral("Example only: names of registers and fields, their")));
    ASSERT_EQ(device.memories.size(), 5);
    EXPECT_EQ(std::tuple(device.memories[3].kind, device.memories[3].address, device.memories[3].writeUnit),
              std::tuple(devices::MemoryKind::backup, 0x50000000U, 4U));
    ASSERT_EQ(device.registers.size(), 9);
    const devices::DeviceRegister& lamp = device.registers[1];
    EXPECT_EQ(std::tuple(lamp.name, lamp.address, lamp.size, lamp.reset),
              std::tuple(QStringLiteral("START"), std::nullopt, 4U, 0x30000210U));
    const devices::DeviceField& start = lamp.fields[5];
    EXPECT_EQ(std::tuple(start.name, start.valueIn(lamp.reset), start.values[1].name),
              std::tuple(QStringLiteral("Start from"), 0U, QStringLiteral("Spare program")));
    EXPECT_EQ(start.set(lamp.reset, 0xFFFFFFFD), 0x30040210U);
    EXPECT_EQ(lamp.fields[6].access, devices::FieldAccess::readOnly);
    EXPECT_EQ(std::tuple(device.parameters.otpLayout, device.parameters.externalRegions[1].number),
              std::tuple(devices::OtpLayout::none, 1U));
}

TEST(DeviceReader, ReadsTheExampleOfFuses) {
    const devices::Device device = example("example-0x505.xml");
    EXPECT_EQ(std::tuple(device.deviceId, device.parameters.otpLayout),
              std::tuple(0x505U, devices::OtpLayout::records));
    const devices::FuseWords& key = device.fuses.words[10];
    EXPECT_EQ(std::tuple(key.index, key.count, key.protection, key.mayBeLeftOut),
              std::tuple(272U, 8U, 0x15000000U, true));
    EXPECT_FALSE(device.fuses.words[0].mayBeLeftOut);
    // The description lists exactly the words that a secrets image of the device can contain.
    const TempFolder folder;
    const MessageCapture messages;
    for (std::uint32_t index = 0; index < 400; ++index) {
        QList<SecretItem> items(1);
        items[0].Offset = index;
        items[0].PathOrWord = QStringLiteral("0x12345678");
        const bool isThere = std::any_of(
            device.fuses.words.begin(), device.fuses.words.end(),
            [index](const devices::FuseWords& words) { return index >= words.index && index < words.end(); });
        EXPECT_EQ(generateSecrets(device.deviceId, items, folder.path("out.bin")) == 1, isThere) << index;
    }
}

TEST(DeviceReader, AgreesWithTheSchema) {
    for (const char* const name : {"example-0x455.xml", "example-0x505.xml"}) {
        outsideTool(QByteArray("xmllint --noout --schema " DATA_BASE "/device.xsd " DATA_BASE "/") + name);
    }
    // The schema also accepts and rejects these documents. It can express all of the faults.
    const TempFolder folder;
    const QByteArrayList taken = {
        device(""),
        parameters(""),
        fuses(wordW),
        device("<Configuration/>"),
        "<Device><Name>\n a\tb </Name><?p i?><DeviceID> 7 </DeviceID><!-- c "
        "--><Description>\xC3\xA9</Description></Device>",
        optionBytes("<Register Name='a' Address='0' Size='2' Reset='0xFfFf' Description='a&#10;b'/>")};
    for (const QByteArray& document : taken) {
        devices::Device device;
        devices::TextFault fault;
        EXPECT_TRUE(devices::readDevice(document, device, fault))
            << document.constData() << devices::faultLine(fault).toStdString();
        outsideTool("xmllint --noout --schema " DATA_BASE "/device.xsd " + folder.write("d.xml", document).toUtf8());
    }
}

}  // namespace
