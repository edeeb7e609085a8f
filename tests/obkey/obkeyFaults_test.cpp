#include "tests/obkey/TemplateRun.h"

#include <gtest/gtest.h>

TEST(ObkeyFaults, EveryFaultHasItsMessage) {
    const QList<TemplateCase> cases =
        readCases("provisioning-faults.txt", "Info;GlobalAlign=1", "Output;Name=o;Default=o.bin");
    ASSERT_GT(cases.size(), 60);
    for (const TemplateCase& fault : cases) {
        TemplateRun run;
        const MessageCapture capture;
        EXPECT_EQ(run.generate(obdata(fault.elements)), fault.errors().empty()) << fault.elements.constData();
        EXPECT_EQ(capture.texts(5), fault.errors()) << fault.elements.constData();
        EXPECT_EQ(QFile::exists(run.folder.path("o.bin")), fault.errors().empty()) << fault.elements.constData();
    }
}

TEST(ObkeyFaults, MoreThanAByteCountsOfElements) {
    QByteArray many = "Info;GlobalAlign=1;OBKStart=0;OBKSize=65536;OBKSectorSize=16";
    for (int i = 0; i < 300; ++i) {
        const QByteArray n = QByteArray::number(i);
        many += "\nData;Name=o" + n + ";Width=4;Default=" + QByteArray::number(i * 16) + ";OBKSlot=start#" + n +
                "\nData;Name=s" + n + ";Width=4;Default=16;OBKSlot=size#" + n;
    }
    TemplateRun run;
    EXPECT_TRUE(run.generate(obdata(elements(many + "\nOutput;Default=o.bin"))));
    EXPECT_EQ(run.folder.read("o.bin").size(), 2400);
}
