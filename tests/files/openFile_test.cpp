#include "files/openFile.h"
#include "files/FileOBK.h"
#include "tests/files/segmentText.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

bool readMarked(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    record = std::make_shared<FileData>();
    return device.readAll() != "bad";
}

constexpr FormatRow formats[] = {{".kmd", readMarked}, {".pvs", readMarked, true}, {".obk", readObkFile}};

/// The segments, or "no". Writes `content` first, if there is any.
std::string open(const TempFolder& folder, const char* name, const char* content, qint64 offset = 0,
                 std::uint32_t size = 0, bool allowPvs = false) {
    FileLoadContext context;
    context.formats = formats;
    FileData* file = nullptr;
    const QString path = *content == 0 ? folder.path(name) : folder.write(name, content);
    const bool done = openFile(context, path, file, 0x5A, offset, size, allowPvs);
    EXPECT_EQ(context.records.size(), done ? 1U : 0U);
    EXPECT_EQ(context.fillByte, 0x5A);
    return done ? segmentText(*file) : "no";
}

TEST(OpenFile, NameDecidesTheReader) {
    const TempFolder folder;
    const MessageCapture capture;
    QDir(folder.path("")).mkdir(QStringLiteral("dir.bin"));
    for (const char* const name : {"image.bin", "A.BIN", "a.ext4", "a.b.img", "b.wic", "fip.qvora-x", "x.cabin"}) {
        EXPECT_EQ(open(folder, name, "ab"), "0:6162") << name;
    }
    EXPECT_EQ(open(folder, "m.KmD", "ab"), "");
    EXPECT_EQ(open(folder, "a.pvs", "ab", 0, 0, true), "");
    EXPECT_TRUE(capture.texts().empty());
    const std::vector<std::string> unknown = {"a.pvs", "notes.txt", "kmd", "a.bin.txt", "dir.bin/plain"};
    for (std::size_t i = 0; i < unknown.size(); ++i) {
        EXPECT_EQ(open(folder, unknown[i].c_str(), "ab"), "0:6162") << unknown[i];
        EXPECT_EQ(
            capture.texts(7)[2 * i],
            "The file " + unknown[i].substr(unknown[i].find('/') + 1) +
                " has a non recognized extension !\nSupported extensions are : bin, hex, srec, s19, elf, axf, "
                "qvora, ext2, ext3, ext4, vfat, ubi, jffs2, img, o, so, out, tsv, csv, kcsv, tbi, tbix, pvs, xtbi, "
                "kdu, obk, mcsv, wic.");
        EXPECT_EQ(capture.texts(7)[2 * i + 1], "File will be considered and parsed as a binary format.");
    }
}

TEST(OpenFile, TellsWhyAFileCannotBeRead) {
    const TempFolder folder;
    QDir(folder.path("")).mkdir(QStringLiteral("folder.bin"));
    folder.write("empty.kmd", "");
    const MessageCapture capture;
    EXPECT_EQ(open(folder, "bad.kmd", "bad"), "no");  // its reader has said why
    EXPECT_EQ(open(folder, "no/a.bin", ""), "no");
    EXPECT_EQ(open(folder, "folder.bin", ""), "no");
    EXPECT_EQ(open(folder, "empty.kmd", ""), "no");
    EXPECT_EQ(open(folder, "data.bin", "0123456789", -1, 4), "no");
    EXPECT_EQ(open(folder, "data.bin", "", 3, 0), "no");
    EXPECT_EQ(open(folder, "data.bin", "", 7, 4), "no");
    EXPECT_EQ(open(folder, "data.bin", "", 0, 0xFFFFFFFF), "no");
    EXPECT_EQ(open(folder, "short.obk", "01234567890"), "no");
    const std::string cutShort = "Error: Error while reading the file";
    EXPECT_EQ(capture.texts(), (std::vector<std::string>{
                                   "Error: The file a.bin does not exist, please check the file's path",
                                   "Error: Unable to open the file folder.bin", "Error: The file empty.kmd is empty",
                                   "Error: Unable to find fPosition", cutShort, cutShort, cutShort, cutShort}));
    EXPECT_EQ(open(folder, "data.bin", "", 8, 2), "0:3839");
}

TEST(OpenFile, SplitsAProvisioningFile) {
    const TempFolder folder;
    EXPECT_EQ(open(folder, "a.obk", "abcdefghijkl"), "0:");
    QFile device(folder.write("a.obk", "abcdefghijklmn"));
    ASSERT_TRUE(device.open(QIODevice::ReadOnly));
    FileLoadContext context;
    std::shared_ptr<FileData> record;
    ASSERT_TRUE(readObkFile(context, device, record));
    EXPECT_EQ(segmentText(*record), "0:6d6e");
    const auto& head = std::static_pointer_cast<FileOBK>(record)->head;
    EXPECT_EQ(std::string(head.begin(), head.end()), "abcdefghijkl");
}

}  // namespace
