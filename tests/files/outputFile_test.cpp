#include "files/outputFile.h"
#include "files/wipe.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

TEST(OutputFile, ReplacesAllOrNothing) {
    const TempFolder folder;
    const MessageCapture capture;
    const QString path = folder.path("out");
    EXPECT_TRUE(writeOutputFile(path, QByteArray("first"), "not written"));
    QFile plain(folder.path("plain"));
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    EXPECT_EQ(QFile::permissions(path), plain.permissions());
    ASSERT_TRUE(plain.remove() && QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
    EXPECT_TRUE(writeOutputFile(path, QByteArray("old\0", 4), "not written"));
    EXPECT_FALSE(writeOutputFile(folder.path("none/out"), QByteArray("x"), "not written"));
    EXPECT_FALSE(writeOutputFile(QStringLiteral("/dev/full"), QByteArray("x"), "100% not written"));
    EXPECT_TRUE(QFile::exists(QStringLiteral("/dev/full")));
    EXPECT_EQ(capture.texts(),
              (std::vector<std::string>{
                  "Warning: The file " + path.toStdString() + " already exists, it will be overwritten",
                  "Error: Failed to create output file " + folder.path("none/out").toStdString(),
                  "Warning: The file /dev/full already exists, it will be overwritten", "Error: 100% not written"}));

    EXPECT_EQ(QFile::permissions(path) & QFile::Permissions(0x0077), QFile::Permissions());
    EXPECT_EQ(replaceFile({}, "x"), ReplaceResult::cannotOpen);
    ASSERT_TRUE(QFile::link(folder.path("behind"), folder.path("link")) && QFile::link(path, folder.path("old")));
    EXPECT_EQ(replaceFile(folder.path("link"), "new"), ReplaceResult::done);
    EXPECT_EQ(replaceFile(folder.path("old"), "old"), ReplaceResult::done);
    EXPECT_TRUE(QFileInfo(folder.path("old")).isSymLink() && QFile::remove(folder.path("old")));
    EXPECT_TRUE(QFileInfo(folder.path("link")).isSymLink() && QFile::remove(folder.path("link")));
    EXPECT_TRUE(QFile::remove(folder.path("behind")));

    const auto failHalfway = [](QFileDevice& file) { return file.write("part") != 4; };
    EXPECT_EQ(replaceFileBy(path, failHalfway), ReplaceResult::cannotWrite);
    EXPECT_EQ(replaceFileBy(folder.path("new"), failHalfway), ReplaceResult::cannotWrite);
    EXPECT_EQ(folder.read("out"), "old");
    EXPECT_EQ(QDir(folder.path("")).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

// Bytes that were cut off the front still stand in the allocation, before data(): they have to go, and no byte behind.
TEST(Wipe, EmptiesWhatItOwns) {
    QByteArray secret(32, 's');
    secret.remove(0, 8);
    wipe(secret);
    EXPECT_TRUE(secret.isEmpty());

    const QByteArray kept("kept elsewhere");
    QByteArray shared = kept;
    static_cast<void>(WipeOnExit(shared));
    EXPECT_TRUE(shared.isEmpty());
    EXPECT_EQ(kept, "kept elsewhere");
}
