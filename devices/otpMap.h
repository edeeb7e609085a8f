#pragma once

#include "devices/Device.h"

namespace devices {

/// A request to fill words of the one-time-programmable memory.
struct OtpItem {
    QString name;
    std::uint32_t first = 0;  ///< index of the first word
    std::uint32_t count = 0;  ///< number of words; an item without words doesn't collide with another

    [[nodiscard]] std::uint64_t end() const { return std::uint64_t{first} + count; }
};

enum class OtpUse : std::uint8_t {
    undescribed,  ///< has no name in the description, and no item fills it
    free,         ///< has a name, and no item fills it
    used,         ///< one item fills it
    collision,    ///< several items fill it
};

struct OtpWord {
    OtpUse use = OtpUse::undescribed;
    qsizetype item = -1;  ///< index of the first item that fills it; -1: none
    qsizetype fuse = -1;  ///< index of its entry in `DeviceFuses::words`; -1: none
};

/// Words that two items fill.
struct OtpCollision {
    qsizetype first = 0;  ///< the item that begins first, or at the same word
    qsizetype second = 0;
    std::uint32_t word = 0;  ///< the first one in common
    std::uint32_t count = 0;
};

/// The use of the words of a device by a list of items.
struct OtpMap {
    QList<OtpWord> words;            ///< one for each word of the device
    QList<OtpCollision> collisions;  ///< by word; each item that collides is in at least one of them
    QList<qsizetype> outside;        ///< items that need a word that the device doesn't have
    QList<qsizetype> undescribed;    ///< items that fill a word without a name; empty if no word has a name
    QList<qsizetype> missing;        ///< mandatory entries of `DeviceFuses::words` with an unfilled word
};

[[nodiscard]] OtpMap mapOtp(const DeviceFuses& fuses, const QList<OtpItem>& items);

/// The items directly before and after an item in the order of first words; -1 if there is none. Items with the same
/// first word are in the order of the list.
struct OtpNeighbours {
    qsizetype before = -1;
    qsizetype after = -1;
};

[[nodiscard]] OtpNeighbours otpNeighbours(const QList<OtpItem>& items, qsizetype item);

/// The index in `DeviceFuses::words` of the entry that contains `word`; -1 for none.
[[nodiscard]] qsizetype fuseAt(const DeviceFuses& fuses, std::uint32_t word);

}  // namespace devices
