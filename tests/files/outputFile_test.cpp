#include "files/outputFile.h"
#include "files/wipe.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <QDir>

#include <gtest/gtest.h>

TEST(OutputFile, ReplacesAllOrNothing) {
    const TempFolder folder;
    const MessageCapture capture;
    const QString path = folder.path("out");
    EXPECT_TRUE(writeOutputFile(path, QByteArray("first"), "not written"));
    EXPECT_TRUE(writeOutputFile(path, QByteArray("old\0", 4), "not written"));
    EXPECT_FALSE(writeOutputFile(folder.path("none/out"), QByteArray("x"), "not written"));
    EXPECT_FALSE(writeOutputFile(QStringLiteral("/dev/full"), QByteArray("x"), "100% not written"));
    EXPECT_TRUE(QFile::exists(QStringLiteral("/dev/full")));
    EXPECT_EQ(capture.texts(),
              (std::vector<std::string>{
                  "Warning: The file " + path.toStdString() + " already exists, it will be overwritten",
                  "Error: Failed to create output file " + folder.path("none/out").toStdString(),
                  "Warning: The file /dev/full already exists, it will be overwritten", "Error: 100% not written"}));

    const auto failHalfway = [](QFileDevice& file) { return file.write("part") != 4; };
    EXPECT_EQ(replaceFileBy(path, failHalfway), ReplaceResult::cannotWrite);
    EXPECT_EQ(replaceFileBy(folder.path("new"), failHalfway), ReplaceResult::cannotWrite);
    EXPECT_EQ(folder.read("out"), QByteArray("old\0", 4));
    EXPECT_EQ(QDir(folder.path("")).entryList(QDir::Files).size(), 1);
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
