#include "Preparation/src/DCU/DcuEncryption.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

const QByteArray keyBytes("0123456789abcdef after the key");
constexpr std::uint32_t start = 0xB0000010;

QByteArray image(int size) {
    QByteArray bytes;
    for (int i = 0; i < size; ++i) {
        bytes.append(static_cast<char>(i * 7 + 1));
    }
    return bytes;
}

QByteArray expectedImage(const QByteArray& plain, std::uint32_t mode) {
    QByteArray result(plain.size(), '\0');
    const auto* const in = reinterpret_cast<const std::uint8_t*>(plain.constData());
    auto* const out = reinterpret_cast<std::uint8_t*>(result.data());
    const MasterKey key(reinterpret_cast<const std::uint8_t*>(keyBytes.constData()), 16);
    for (std::uint32_t offset = 0; offset + 32 <= plain.size(); offset += 32) {
        encryptGroup(mode, key, start + offset, std::span<const std::uint8_t, 32>(in + offset, 32),
                     std::span<std::uint8_t, 32>(out + offset, 32));
    }
    return result;
}

TEST(DcuEncryption, EncryptsWholeGroups) {
    const struct {
        std::uint32_t mode;
        int size;
        const char* announcement;
    } rows[] = {
        {0, 0, "Encrypting data using block normal mode..."}, {0, 31, "Encrypting data using block normal mode..."},
        {1, 2050, "Encrypting data using block fast mode"},   {2, 64, "Encrypting data using Noekeon mode"},
        {7, 103, "Encrypting data using Noekeon mode"},
    };
    for (const auto& row : rows) {
        const TempFolder folder;
        const MessageCapture capture;
        const QString app = folder.write("app.bin", image(row.size));
        const QString output = folder.path("./Encrypted_Image.bin");
        DcuEncryption engine;
        EXPECT_TRUE(engine.encryptBinary(app, folder.write("key.bin", keyBytes), folder.path("."), start, row.mode));
        EXPECT_EQ(fileContent(output), expectedImage(image(row.size), row.mode)) << row.size;
        EXPECT_EQ(capture.texts(0),
                  (std::vector<std::string>{"Starting DCU Encryption of the following file: " + app.toStdString(),
                                            "Setting Encryption parameters...", row.announcement,
                                            "Image generated in the following path: " + output.toStdString()}));
    }
}

TEST(DcuEncryption, OutputKeepsTheTailOfAnOlderFile) {
    const TempFolder folder;
    const QString key = folder.write("key.bin", keyBytes);
    const QString output = folder.write("Encrypted_Image.bin", image(100));
    DcuEncryption engine;
    ASSERT_TRUE(engine.encryptBinary(output, key, folder.path("."), start, 0));  // input and output are the same file
    const QByteArray first = expectedImage(image(100), 0);
    EXPECT_EQ(fileContent(output), first);
    DcuEncryption again;
    ASSERT_TRUE(again.encryptBinary(folder.write("app.bin", image(40)), key, folder.path("."), start, 1));
    EXPECT_EQ(fileContent(output), expectedImage(image(40), 1) + first.sliced(40));
    EXPECT_EQ(again.encrypted, expectedImage(image(40), 1));
}

TEST(DcuEncryption, Faults) {
    const char* const missing = "-dcu command is missing some parameters.|Error: Encryption aborted.";
    const struct {
        const char* app;
        const char* key;
        const char* directory;
        std::uint32_t address;
        const char* errors;  // "%1" is the folder
        bool result = false;
    } rows[] = {
        {"", "key.bin", ".", start, missing},
        {"app.bin", "", ".", start, missing},
        {"app.bin", "key.bin", "", start, missing},
        {"app.bin", "key.bin", ".", 0, missing},
        {"no.bin", "key.bin", ".", start, "Failed to open file.|Error: Failed to open file|Error: Failed to open file.",
         true},
        {"app.bin", "no.bin", ".", start,
         "Failed to open file|Error: The key file %1/no.bin must hold at least 16 bytes"},
        {"app.bin", "short.bin", ".", start, "The key file %1/short.bin must hold at least 16 bytes"},
        {"huge.bin", "key.bin", ".", start, "The file %1/huge.bin is too large"},
        {"app.bin", "key.bin", "no", start, "Failed to open file"},
        {"app.bin", "key.bin", "taken", start, "Failed to open file"},
        {"app.bin", "key.bin", "full", start, "Error while writing the file %1/full/Encrypted_Image.bin"},
    };
    for (const auto& row : rows) {
        const TempFolder folder;
        const MessageCapture capture;
        folder.write("app.bin", image(64));
        folder.write("key.bin", keyBytes);
        folder.write("short.bin", keyBytes.first(15));
        QFile huge(folder.write("huge.bin", QByteArray()));
        ASSERT_TRUE(huge.resize(qint64{1} << 31));
        ASSERT_TRUE(QDir().mkpath(folder.path("taken/Encrypted_Image.bin")) && QDir().mkpath(folder.path("full")));
        ASSERT_TRUE(QFile::link(QStringLiteral("/dev/full"), folder.path("full/Encrypted_Image.bin")));
        const auto place = [&folder](const char* name) { return *name == '\0' ? QString() : folder.path(name); };
        DcuEncryption engine;
        EXPECT_EQ(engine.encryptBinary(place(row.app), place(row.key), place(row.directory), row.address, 0),
                  row.result);
        QStringList errors;
        for (const std::string& text : capture.texts(5)) {
            errors.append(QString::fromStdString(text));
        }
        EXPECT_EQ(
            errors.join(QLatin1Char('|')).toStdString(),
            "Error: " +
                QString::fromUtf8(row.errors).replace(QLatin1String("%1"), folder.path(".").chopped(2)).toStdString());
        EXPECT_EQ(QFile::exists(folder.path("Encrypted_Image.bin")), row.result) << row.errors;
    }
}

}  // namespace
