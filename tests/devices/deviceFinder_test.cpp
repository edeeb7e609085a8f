#include "devices/deviceFinder.h"

#include "tests/support/TempFolder.h"

#include <QDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace {

QByteArray description(const char* deviceId, const char* name) {
    return QByteArray("<Device><DeviceID>") + deviceId + "</DeviceID><Name>" + name + "</Name></Device>";
}

TEST(DeviceFinder, PrefersTheUsersDescriptionWithARemark) {
    const TempFolder shipped;
    const TempFolder user;
    shipped.write("a.xml", description("0x455", "shipped"));
    shipped.write("b.xml", description("7", "seven"));
    shipped.write("device.xsd", "no description");
    user.write("b.xml", description("1109", "user's"));
    user.write("c.xml", description("0x455", "user's second"));
    user.write("d.xml", "<Device>");
    mkfifo(qUtf8Printable(user.path("pipe.xml")), 0600);
    QDir(user.path("")).mkdir(QStringLiteral("folder.xml"));

    const devices::DeviceSearch search = devices::findDevices(shipped.path(""), user.path(""));
    ASSERT_EQ(search.devices.size(), 2);
    EXPECT_EQ(search.devices[0].device.name, QStringLiteral("seven"));
    EXPECT_FALSE(search.devices[0].isUsers);
    EXPECT_TRUE(search.devices[1].isUsers);
    EXPECT_EQ(search.find(0x455)->name, QStringLiteral("user's"));
    EXPECT_EQ(search.find(8), nullptr);
    const std::string users = user.path("b.xml").toStdString();
    EXPECT_EQ(search.remarks.join(u'\n').toStdString(),
              user.path("c.xml").toStdString() + ": not used, as " + users + " describes the device 0x455, too\n" +
                  user.path("d.xml").toStdString() + ": line 1, column 9: Premature end of document.\n" +
                  shipped.path("a.xml").toStdString() + ": not used, as " + users + " describes the device 0x455, too");
}

TEST(DeviceFinder, FindsWhatComesWithTheProgram) {
    const devices::DeviceSearch search = devices::findDevices(QStringLiteral(DATA_BASE), QString());
    EXPECT_TRUE(search.remarks.isEmpty());
    EXPECT_NE(search.find(0x455), nullptr);
    EXPECT_NE(search.find(0x505), nullptr);
    EXPECT_TRUE(devices::findDevices(QStringLiteral("/nowhere"), QStringLiteral("/nowhere")).devices.isEmpty());
    EXPECT_TRUE(devices::shippedDescriptions().endsWith(QStringLiteral("/devices/Data_Base")));
}

}  // namespace
