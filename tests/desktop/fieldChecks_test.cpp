// Tests the checks of field values without a page.

#include "jobs/fieldChecks.h"
#include "jobs/jobTable.h"
#include "tests/support/TempFolder.h"

#include <QDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

const char* markOf(const jobs::Verdict& verdict) {
    return verdict.kind == jobs::Verdict::Kind::fault ? "!" : verdict.kind == jobs::Verdict::Kind::missing ? "?" : "";
}

/// Fills a folder with files of every kind and makes it the current one.
class FieldChecks : public testing::Test {
  protected:
    void SetUp() override {
        const QByteArray example = fileContent(QStringLiteral(QVORA_EXAMPLES "/firmware/option-bytes.csv"));
        ASSERT_FALSE(example.isEmpty());
        folder.write("option-bytes.csv", example);
        folder.write("broken.csv", "START,zz\n");
        folder.write("key15.bin", QByteArray(15, 'k'));
        folder.write("key.bin", QByteArray(16, 'k'));
        folder.write("oem.pem", QByteArray(178, 'k'));
        folder.write("large.pem", QByteArray(1680, 'k'));
        folder.write("bare.bin", "code");
        folder.write("bare.kmd", QByteArray("KMDMAGIC") + QByteArray(8, '\0'));
        folder.write("strange.kmd", QByteArray("KMDMAGIX") + QByteArray(8, '\1'));
        folder.write("two.hex", ":0100000001FE\n:0110000002ED\n:00000001FF\n");
        folder.write("empty.bin", "");
        folder.write("empty.elf", "");
        ASSERT_EQ(mkfifo(qUtf8Printable(folder.path("pipe.elf")), 0600), 0);
        ASSERT_EQ(mkfifo(qUtf8Printable(folder.path("pipe.csv")), 0600), 0);
        QDir::setCurrent(folder.path(""));
    }
    void TearDown() override { QDir::setCurrent(before); }

    const TempFolder folder;
    const QString before = QDir::currentPath();
};

TEST_F(FieldChecks, ReportFaults) {
    const struct {
        const char* job;
        const char* field;
        const char* value;   ///< paths and the texts after them, separated by |
        const char* others;  ///< values of other fields: NAME=VALUE, separated by blanks
        const char* says;    ///< begins with ! for a fault, ? for a missing file or field
    } rows[] = {
        {"install-image", "key", "key15.bin", "", "!The file must have 16 bytes, this one has 15."},
        {"install-image", "key", "key.bin", "", "16 bytes"},
        {"install-image", "nonce", "key15.bin", "", "15 bytes"},
        {"install-image", "nonce", "empty.bin", "", "!The file is empty."},
        {"install-image", "version", "0x100", "", "!The number must be 255 or less."},
        {"install-image", "version", "255", "", ""},
        {"install-image", "version", "0377", "", ""},
        {"install-image", "version", "09", "", "!Enter a number: decimal, hexadecimal with 0x, or octal with a lead"},
        {"install-image", "version", "", "", "?"},
        {"install-image", "version", "", "external=bare.bin", ""},
        {"install-image", "firmware", "bare.bin|", "", "!A raw binary needs a load address."},
        {"install-image", "firmware", "bare.bin|0x0800000g", "", "!Enter a number"},
        {"install-image", "firmware", "bare.bin|0x08000000", "", "Raw binary, 4 bytes"},
        {"install-image", "firmware", "bare.bin|1|bare.bin|", "", "!“bare.bin”: A raw binary needs a load address."},
        {"install-image", "firmware", "two.hex||two.hex|", "", "HEX or S-Record, 2 segments, 2 bytes; HEX or S"},
        {"install-image", "firmware", "empty.elf|", "", "!The file is empty."},
        {"install-image", "firmware", "pipe.elf|", "", ""},
        {"install-image", "firmware", "option-bytes.csv|", "",
         "!By its name, “option-bytes.csv” isn't firmware: ELF, HEX"},
        {"install-image", "option-bytes", "broken.csv", "", "!broken.csv is an invalid option bytes file"},
        {"install-image", "option-bytes", "pipe.csv", "", ""},
        {"install-image", "out", "image.bin", "", "!The name must end in .tbi or .tbix."},
        {"install-image", "out", "image.TBI", "", "!The name must end in .tbi or .tbix."},
        {"install-image", "modules", "bare.kmd|", "", "!This module contains no load address"},
        {"install-image", "modules", "bare.kmd|0x1", "", "16 bytes"},
        {"install-image", "modules", "strange.kmd|", "",
         "!The file isn't a module: it doesn't begin with the mark of a module."},
        {"install-image", "ram-size", "", "token=1", "?A continuation token needs the RAM size."},
        {"install-image", "token", "", "ram-size=1 device=0x483", "?This device needs a continuation token"},
        {"install-image", "token", "", "ram-size=1 device=0x455", ""},
        {"install-image", "more-external", "bare.bin|1 2 3", "",
         "!Raw binary needs start address, mode, region and key"},
        {"install-image", "more-external", "bare.bin|1 3 7 4", "", "Raw binary, 4 bytes"},
        {"install-image", "more-external", "bare.bin|1 4 7 4", "", "!The number must be 3 or less."},
        {"install-image", "more-external", "two.hex|7 3 4", "", "HEX or S-Record"},
        {"install-image", "more-external", "two.hex|8 3 4", "", "!The number must be 7 or less."},
        {"install-image", "log", "key.bin", "key=key.bin",
         "!This is the file of “Key”, which the tool doesn't overwrite."},
        {"install-image", "log", "key.bin", "diversification=key.bin device=0x455", ""},
        {"update-image", "firmware", "two.hex", "", "!An update needs firmware with one segment; this file has 2."},
        {"update-image", "nonce", "key.bin", "", "!The file must have 12 bytes, this one has 16."},
        {"payload", "secrets", "key.bin", "", "!The file must have 152 bytes, this one has 16."},
        {"payload", "public-key", "oem.pem", "", "178 bytes"},
        {"payload", "public-key", "key.bin", "", "!The file must have 32 bytes, this one has 16."},
        {"provisioning-image", "backup", "bare.bin|", "", "!A backup image needs its base address."},
        {"card", "nonce", "key.bin", "", "16 bytes"},
        {"card", "firmware-id", "0123456789abcdef", "", "!At most 15 bytes fit; this text has 16."},
        {"card", "firmware-id", "0123456789abcde", "", ""},
        {"card", "firmware-id", "Größe-Größe-ä", "", "!At most 15 bytes fit; this text has 18."},
        {"card", "firmware-id", "-x", "", "!The tool reads a word that begins with - as an option."},
        {"card", "licences", "1000001", "", "!The number must be 1,000,000 or less."},
        {"personalization", "out", "key.bin", "data=key.bin", "This is the file of “Data”, which will be replaced."},
        {"external-memory", "address", "9g", "", "!Enter a hexadecimal number of up to 8 digits."},
        {"external-memory", "address", "0x0", "", "!The tool doesn't accept the address 0."},
        {"external-memory", "application", "key15.bin", "", "The last 15 bytes become zeros"},
        {"external-memory", "key", "key15.bin", "", "!A key has 16 bytes; this file has 15."},
        {"external-memory", "key", "KEY.BIN", "", "!The tool accepts only files whose name ends in .bin here."},
        {"wireless-keys", "private-key", "oem.pem", "",
         "!A file of this name exists, and the tool doesn't replace it."},
        {"wireless-sign", "key", "large.pem", "", "!The file is too large for a key of 2048 bits."},
    };
    for (const auto& row : rows) {
        const jobs::JobRow* const job = jobs::findJob(QLatin1String(row.job));
        ASSERT_NE(job, nullptr) << row.job;
        jobs::JobValues values = {{QLatin1String(row.field), QString::fromUtf8(row.value).split(u'|')}};
        for (const QString& other : QString::fromUtf8(row.others).split(u' ', Qt::SkipEmptyParts)) {
            values.insert(other.section(u'=', 0, 0), {other.section(u'=', 1)});
        }
        const QList<const jobs::FieldRow*> fields = jobs::fieldsOf(*job);
        const auto field = std::find_if(fields.begin(), fields.end(), [&row](const jobs::FieldRow* candidate) {
            return qstrcmp(candidate->id, row.field) == 0;
        });
        ASSERT_NE(field, fields.end()) << row.field;
        const jobs::Verdict verdict = jobs::judgeInJob(*job, **field, values);
        const std::string said = markOf(verdict) + verdict.text.toStdString();
        EXPECT_EQ(said.substr(0, *row.says == '\0' ? said.npos : std::string(row.says).size()), row.says)
            << row.field << ' ' << row.value << ' ' << row.others;
    }
}

}  // namespace
