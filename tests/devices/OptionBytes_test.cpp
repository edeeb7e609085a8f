#include "devices/OptionBytes.h"

#include "devices/deviceReader.h"
#include "formats/readers.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <gtest/gtest.h>

namespace {

devices::OptionBytes tableOf(const QByteArray& text) {
    devices::OptionBytes table;
    devices::TextFault fault;
    EXPECT_TRUE(devices::readOptionBytes(text, table, fault))
        << text.constData() << devices::faultLine(fault).toStdString();
    return table;
}

devices::Device exampleDevice() {
    devices::Device device;
    devices::TextFault fault;
    EXPECT_TRUE(devices::readDeviceFile(QStringLiteral(DATA_BASE "/example-0x455.xml"), device, fault));
    return device;
}

struct TableRow {
    const char* text;
    const char* result;  ///< "label=value" for each word, or the fault
};

constexpr TableRow tables[] = {
    {"a,0x10,b,020,c,9", "a=16 b=16 c=9"},
    {" a b\t, 0XfF \r\n\"q\" ,0\n", "a b=255 \"q\"=0"},
    {",1", "=1"},
    {"\xE9,1,\xE9,4294967295\n", "\xE9=1 \xE9=4294967295"},
    {"", "The table is empty"},
    {"a", "line 1, column 1: A label and a number between commas are expected"},
    {"a,1\n\n", "line 2, column 1: A label and a number between commas are expected"},
    {"a,1,b", "line 1, column 5: A label without a number"},
    {"a,1,", "line 1, column 5: A label without a number"},
    {"a,1\nb,0x",
     "line 2, column 3: A number of 32 bits is expected: 0x hexadecimal, a leading 0 octal, otherwise decimal"},
    {"a, ,b,1",
     "line 1, column 3: A number of 32 bits is expected: 0x hexadecimal, a leading 0 octal, otherwise decimal"},
    {"a,4294967296",
     "line 1, column 3: A number of 32 bits is expected: 0x hexadecimal, a leading 0 octal, otherwise decimal"},
    {"a,08", "line 1, column 3: A number of 32 bits is expected: 0x hexadecimal, a leading 0 octal, otherwise decimal"},
    {"a,-1", "line 1, column 3: A number of 32 bits is expected: 0x hexadecimal, a leading 0 octal, otherwise decimal"},
};

TEST(OptionBytes, ReadsWhatTheCommandReads) {
    const TempFolder folder;
    for (const TableRow& row : tables) {
        devices::OptionBytes table;
        devices::TextFault fault;
        QByteArray result;
        QByteArray words;
        const bool done = devices::readOptionBytes(row.text, table, fault);
        for (const devices::OptionByte& word : table.words) {
            result += (result.isEmpty() ? "" : " ") + word.label() + '=' + QByteArray::number(word.value);
        }
        EXPECT_EQ(done ? result : devices::faultLine(fault).toUtf8(), row.result);
        EXPECT_EQ(devices::writeOptionBytes(table), done ? row.text : "");

        const MessageCapture messages;
        QFile file(folder.write("t.csv", row.text));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        FileLoadContext context;
        std::shared_ptr<FileData> read;
        ASSERT_EQ(readOptionBytesFile(context, file, read) && file.size() > 0, done) << row.text;
    }
    devices::OptionBytes table;
    devices::TextFault fault;
    EXPECT_TRUE(devices::readOptionBytes(QByteArray("a,1\n").repeated(devices::maxOptionBytesSize / 4), table, fault));
    EXPECT_FALSE(
        devices::readOptionBytes(QByteArray("a,1\n").repeated(devices::maxOptionBytesSize / 4 + 1), table, fault));
    EXPECT_EQ(fault.text, QStringLiteral("A table has at most 1048576 bytes"));
}

TEST(OptionBytes, ChangesNothingButTheNumber) {
    devices::OptionBytes table = tableOf("a,0x0f ,B,0X00AB\r\nc , 017,d,10,e,0\r\n");
    for (devices::OptionByte& word : table.words) {
        ++word.value;
    }
    EXPECT_EQ(devices::writeOptionBytes(table), "a,0x10 ,B,0X00AC\r\nc , 020,d,11,e,1\r\n");
    const std::uint32_t wide[] = {0xABCDEF01, 0xABCDEF01, 0xABCDEF01, 0xABCDEF01, 0xABCDEF01};
    for (qsizetype i = 0; i < table.words.size(); ++i) {
        table.words[i].value = wide[i];
    }
    EXPECT_EQ(devices::writeOptionBytes(table),
              "a,0xabcdef01 ,B,0XABCDEF01\r\nc , 025363367401,d,2882400001,e,2882400001\r\n");
    for (devices::OptionByte& word : table.words) {
        word.value = 0;
    }
    const QByteArray zeros = devices::writeOptionBytes(table);
    EXPECT_EQ(zeros, "a,0x00 ,B,0X0000\r\nc , 000,d,0,e,0\r\n");
    EXPECT_EQ(tableOf(zeros).words[2].value, 0U);
    for (devices::OptionByte& word : table.words) {
        word.value = word.read;
    }
    EXPECT_EQ(devices::writeOptionBytes(table), "a,0x0f ,B,0X00AB\r\nc , 017,d,10,e,0\r\n");
}

TEST(OptionBytes, OpensTheExampleInItsDescription) {
    const QByteArray text = fileContent(QStringLiteral(OPTION_BYTES));
    const devices::Device device = exampleDevice();
    const devices::OptionBytes table = tableOf(text);
    EXPECT_EQ(devices::writeOptionBytes(table), text);
    const devices::OptionBytesMatch match = devices::matchOptionBytes(table, device);
    EXPECT_TRUE(match.remarks.isEmpty());
    EXPECT_EQ(match.registers, QList<qsizetype>({0, 1, 2, 3, 4, 5, 6, 7, 8}));
    const devices::OptionBytes reset = devices::resetOptionBytes(device);
    EXPECT_TRUE(devices::writeOptionBytes(reset).startsWith("PROTECTION,0x00000500\nSTART,0x30000210\n"));
    EXPECT_TRUE(devices::writeOptionBytes(reset).endsWith("\nSEAL,0x00000000\n"));
    ASSERT_EQ(reset.words.size(), table.words.size());
    for (qsizetype i = 0; i < table.words.size(); ++i) {
        EXPECT_EQ(std::tuple(reset.words[i].label(), reset.words[i].value),
                  std::tuple(table.words[i].label(), table.words[i].value));
    }
}

TEST(OptionBytes, RemarksOnWordsThatTheDeviceReadsDifferently) {
    devices::Device device;
    for (const char* const name : {"A", "B", "C"}) {
        devices::DeviceRegister& reg = device.registers.emplaceBack();
        reg.name = QLatin1String(name);
        reg.size = 2;
    }
    const devices::OptionBytesMatch match = devices::matchOptionBytes(tableOf("x,1,B,0xFFFF,A,65536,A,0"), device);
    QStringList lines;
    for (const devices::OptionBytesRemark& remark : match.remarks) {
        lines += QStringLiteral("%1 %2").arg(remark.word).arg(remark.text);
    }
    EXPECT_EQ(match.registers, QList<qsizetype>({-1, 1, 0, -1}));
    EXPECT_EQ(lines.join(u'\n').toStdString(),
              "0 the description has no such register\n"
              "2 another position than in the description; a device uses only the position\n"
              "2 the value doesn't fit the register\n"
              "3 the register has a word already\n"
              "-1 The register C has no word");
}

}  // namespace
