#include "files/parseNumber.h"

#include <QString>

#include <gtest/gtest.h>

#include <tuple>

TEST(ParseNumber, TakesTheWholeTextOrNothing) {
    using Row = std::tuple<const char*, int, std::uint32_t>;
    constexpr std::uint32_t untouched = 77;
    std::uint32_t value = 0;
    for (const auto& [text, base, number] :
         {Row{"0", 0, 0}, Row{"4294967295", 0, 0xFFFFFFFF}, Row{"0X1f", 0, 31}, Row{"0xFfffFFFF", 0, 0xFFFFFFFF},
          Row{"010", 0, 8}, Row{"1f", 16, 31}, Row{"0x1F", 16, 31}, Row{"010", 16, 16}, Row{"010", 10, 10}}) {
        EXPECT_TRUE(parseNumber(QString::fromUtf8(text), base, value)) << text;
        EXPECT_EQ(value, number) << text;
    }
    value = untouched;
    for (const char* const text : {"08", "4294967296", "0x100000000", "0x", "", "+1", "-1", " 1", "1 ", "1f", "١",
                                   "99999999999999999999999999999999999999999"}) {
        EXPECT_FALSE(parseNumber(QString::fromUtf8(text), 0, value)) << text;
        EXPECT_EQ(value, untouched);
    }
}
