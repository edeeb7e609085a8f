#include "desktop/optionBytes/optionByteText.h"

#include <gtest/gtest.h>

namespace {

TEST(OptionByteText, ReadsAndShowsNumbersOfAnyWidth) {
    const struct {
        const char* entry;
        int bits;
        bool isHex;
        const char* shown;  ///< the value as it is shown, or the reason why it is rejected
    } rows[] = {
        {"0xFFFF", 16, false, "0xFFFF"},
        {"65536", 16, false, "At most 0xFFFF fits."},
        {" 0X1f ", 9, false, "0x01F"},
        {"511", 9, false, "0x1FF"},
        {"512", 9, false, "At most 0x1FF fits."},
        {"0xFFFFFFFF", 32, false, "0xFFFFFFFF"},
        {"ff", 8, true, "0xFF"},
        {"ff", 8, false, "A number is needed, such as 31 or 0x1F."},
        {"0x", 8, true, "A hexadecimal number is needed, such as 0x1F."},
        {"+1", 8, false, "A number is needed, such as 31 or 0x1F."},
    };
    for (const auto& row : rows) {
        std::uint32_t value = 0;
        QString reason;
        const bool isRead = desktop::readEntry(QLatin1String(row.entry), row.bits, row.isHex, value, reason);
        EXPECT_EQ((isRead ? desktop::hexText(value, row.bits) : reason).toStdString(), row.shown) << row.entry;
    }
    devices::DeviceField field;
    field.bit = 8;
    field.values = {{1, QStringLiteral("Start"), QString()}};
    EXPECT_EQ(desktop::bitsText(field) + u' ' + desktop::valueText(field, 1) + u' ' + desktop::valueText(field, 0),
              QStringLiteral("bit 8 Start (1) 0"));
    field.width = 3;
    EXPECT_EQ(desktop::bitsText(field) + u' ' + desktop::valueText(field, 1), QStringLiteral("bits 10–8 Start (0x1)"));
}

}  // namespace
