#include "devices/otpMap.h"

#include <gmock/gmock.h>

namespace {

/// The use of each word, as one letter.
std::string drawn(const devices::OtpMap& map) {
    std::string text;
    for (const devices::OtpWord& word : map.words) {
        text += ".fuX"[static_cast<int>(word.use)];
    }
    return text;
}

std::string drawn(const QList<devices::OtpCollision>& collisions) {
    std::string text;
    for (const devices::OtpCollision& at : collisions) {
        text += std::to_string(at.first) + '+' + std::to_string(at.second) + '@' + std::to_string(at.word) + '*' +
                std::to_string(at.count) + ' ';
    }
    return text;
}

TEST(OtpMap, ShowsTheUseOfEachWord) {
    // Words 2 to 4 and word 8 are mandatory; word 6 is optional.
    devices::DeviceFuses fuses;
    fuses.wordCount = 10;
    fuses.words = {{QStringLiteral("key"), 2, 3, 0, false, {}},
                   {QStringLiteral("may"), 6, 1, 0, true, {}},
                   {QStringLiteral("state"), 8, 1, 0, false, {}}};
    using Places = QList<qsizetype>;
    const struct {
        QList<devices::OtpItem> items;
        const char* words;
        const char* collisions;
        Places outside, undescribed, missing;
    } cases[] = {
        {{}, "..fff.f.f.", "", {}, {}, {0, 2}},
        {{{{}, 2, 3}, {{}, 8, 1}}, "..uuu.f.u.", "", {}, {}, {}},
        {{{{}, 8, 1}, {{}, 2, 2}}, "..uuf.f.u.", "", {}, {}, {0}},
        {{{{}, 2, 3}, {{}, 5, 5}}, "..uuuuuuuu", "", {}, {1}, {}},
        {{{{}, 3, 2}, {{}, 2, 2}}, "..uXu.f.f.", "1+0@3*1 ", {}, {}, {2}},
        {{{{}, 5, 2}, {{}, 5, 0}}, "..fffuu.f.", "", {}, {0}, {0, 2}},
        {{{{}, 8, 4}}, "..fff.f.uu", "", {0}, {0}, {0}},
        {{{{}, 10, 1}, {{}, 0xFFFFFFFF, 0xFFFFFFFF}}, "..fff.f.f.", "", {0, 1}, {}, {0, 2}},
        {{{{}, 12, 9}, {{}, 13, 2}, {{}, 14, 9}}, "..fff.f.f.", "0+1@13*2 0+2@14*7 ", {0, 1, 2}, {}, {0, 2}},
        {{{{}, 2, 3}, {{}, 2, 3}, {{}, 4, 5}},
         "..XXXuu"
         "uu.",
         "0+1@2*3 0+2@4*1 ",
         {},
         {2},
         {}},
    };
    for (const auto& row : cases) {
        const devices::OtpMap map = devices::mapOtp(fuses, row.items);
        EXPECT_EQ(
            std::tuple(drawn(map), drawn(map.collisions), map.outside, map.undescribed, map.missing),
            std::tuple(std::string(row.words), std::string(row.collisions), row.outside, row.undescribed, row.missing))
            << drawn(map) << ' ' << drawn(map.collisions);
    }
    EXPECT_EQ(devices::mapOtp({}, {{{}, 0, 1}}).outside, Places{0});
}

TEST(OtpMap, FindsNeighbours) {
    const QList<devices::OtpItem> items = {{{}, 7, 1}, {{}, 3, 1}, {{}, 7, 2}, {{}, 5, 1}};
    const std::tuple<qsizetype, qsizetype, qsizetype> expected[] = {{0, 3, 2}, {1, -1, 3}, {2, 0, -1}, {3, 1, 0}};
    for (const auto& [item, before, after] : expected) {
        const devices::OtpNeighbours nearest = devices::otpNeighbours(items, item);
        EXPECT_EQ(std::tuple(item, nearest.before, nearest.after), std::tuple(item, before, after));
    }
}

}  // namespace
