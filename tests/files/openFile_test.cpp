#include "files/openFile.h"
#include "files/FileOBK.h"
#include "tests/files/segmentText.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <QDir>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

bool readMarked(FileLoadContext& /*context*/, QFile& device, std::shared_ptr<FileData>& record) {
    record = std::make_shared<FileData>();
    return device.readAll() != "bad";
}

constexpr FormatRow formats[] = {{".kmd", readMarked}, {".pvs", readMarked, true}, {".obk", readObkFile}};

/// Opens a file and returns its segments, or "no" on failure. If `content` isn't empty, writes it to the file first.
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

TEST(OpenFile, ReportsWhyAFileCannotBeRead) {
    const TempFolder folder;
    QDir(folder.path("")).mkdir(QStringLiteral("folder.bin"));
    folder.write("empty.kmd", "");
    const MessageCapture capture;
    EXPECT_EQ(open(folder, "bad.kmd", "bad"), "no");  // the reader of the format reports the reason
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

/// Makes a pipe. A child process writes `content` into it in two pieces.
void makePipe(const QString& path, const QByteArray& content) {
    ASSERT_EQ(mkfifo(qUtf8Printable(path), 0600), 0);
    if (fork() == 0) {
        const int pipe = ::open(qUtf8Printable(path), O_WRONLY);
        const qsizetype half = content.size() / 2;
        const bool isWritten =
            write(pipe, content.constData(), static_cast<std::size_t>(half)) == half && usleep(1000) == 0 &&
            write(pipe, content.constData() + half, static_cast<std::size_t>(content.size() - half)) > 0;
        _exit(isWritten ? 0 : 1);
    }
}

TEST(OpenFile, ReadsPipesToTheirEnd) {
    const TempFolder folder;
    const MessageCapture capture;
    makePipe(folder.path("a.bin"), QByteArray(100000, 'x'));
    makePipe(folder.path("a.obk"), "abcdefghijklmn");
    makePipe(folder.path("nothing.bin"), "");
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/zero"), folder.path("zero.bin")));
    EXPECT_TRUE(open(folder, "a.bin", "") == "0:" + QByteArray(100000, 'x').toHex().toStdString());
    EXPECT_EQ(open(folder, "a.obk", ""), "0:6d6e");
    EXPECT_EQ(open(folder, "nothing.bin", ""), "no");
    EXPECT_EQ(open(folder, "zero.bin", ""), "no");
    EXPECT_EQ(capture.texts(),
              (std::vector<std::string>{"Error: The file nothing.bin is empty",
                                        "Error: The file zero.bin does not end: more than 256 MiB came from it"}));
    while (wait(nullptr) > 0) {
    }
}

TEST(OpenFile, ReadsAnOutputBackFromWhereItIs) {
    const TempFolder folder;
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/null"), folder.path("a.obk")));
    folder.write("b.bin", "on disk");
    FileLoadContext context;
    context.formats = formats;
    FileData* file = nullptr;
    ASSERT_TRUE(openOutput(context, folder.path("a.obk"), "abcdefghijklmn", file));
    EXPECT_EQ(segmentText(*file), "0:6d6e");
    ASSERT_TRUE(openOutput(context, folder.path("b.bin"), "in memory", file));
    EXPECT_EQ(segmentText(*file), "0:" + QByteArray("on disk").toHex().toStdString());
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
