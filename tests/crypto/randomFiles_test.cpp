#include "Preparation/src/randomFiles.h"
#include "tests/support/MessageCapture.h"
#include "tests/support/TempFolder.h"

#include <gmock/gmock.h>

TEST(RandomFiles, HaveTheirSizesAndWarn) {
    const TempFolder folder;
    const MessageCapture capture;
    const QString path = folder.path("random");
    EXPECT_EQ(generateRandomFile16(path), 0);
    const QByteArray first = folder.read("random");
    EXPECT_EQ(first.size(), 16);
    EXPECT_NE(first, QByteArray(16, first.at(0)));
    EXPECT_EQ(generateRandomFile12(path), 0);
    EXPECT_EQ(folder.read("random").size(), 12);
    EXPECT_EQ(generateRandomFile(path + QStringLiteral("/below"), 3), -1);
    EXPECT_EQ(generateRandomFile(QStringLiteral("/dev/full"), 3), -1);
    const std::string name = path.toStdString();
    EXPECT_THAT(capture.texts(),
                testing::ElementsAre("Warning: The file " + name + " already exists, it will be overwritten",
                                     "Error: Failed to create output file : " + name + "/below",
                                     "Warning: The file /dev/full already exists, it will be overwritten",
                                     "Error: Error while writing in file : /dev/full file"));
}
