#pragma once

#include "devices/Device.h"

/// Words of the one-time-programmable memory that somebody wants to fill.
struct OtpItem {
    QString name;
    std::uint32_t first = 0;  ///< index of the first word
    std::uint32_t count = 0;  ///< of words; an item without any collides with none

    [[nodiscard]] std::uint64_t end() const { return std::uint64_t{first} + count; }
};

enum class OtpUse : std::uint8_t {
    undescribed,  ///< no name in the description, and nobody fills it
    free,         ///< has a name, and nobody fills it
    used,         ///< one item fills it
    collision,    ///< several items want it
};

struct OtpWord {
    OtpUse use = OtpUse::undescribed;
    qsizetype item = -1;  ///< of those that fill it, the first in their list; -1: none
    qsizetype fuse = -1;  ///< which of `DeviceFuses::words` it belongs to; -1: none
};

/// Words that two items want.
struct OtpCollision {
    qsizetype first = 0;  ///< the item that begins before, or at the same word
    qsizetype second = 0;
    std::uint32_t word = 0;  ///< the first one in common
    std::uint32_t count = 0;
};

/// What becomes of the words of a device.
struct OtpMap {
    QList<OtpWord> words;            ///< one for each word of the device
    QList<OtpCollision> collisions;  ///< by word; each item that collides is in one of them
    QList<qsizetype> outside;        ///< items with a word that the device doesn't have
    QList<qsizetype> undescribed;    ///< items with a word without a name, if the device has names at all
    QList<qsizetype> missing;        ///< of `DeviceFuses::words` what may not be left out, and isn't filled whole
};

[[nodiscard]] OtpMap mapOtp(const DeviceFuses& fuses, const QList<OtpItem>& items);

/// The item nearest before and behind another, by their first words; -1 for none. Of those at one word, the order of
/// the list counts.
struct OtpNeighbours {
    qsizetype before = -1;
    qsizetype behind = -1;
};

[[nodiscard]] OtpNeighbours otpNeighbours(const QList<OtpItem>& items, qsizetype item);

/// The place in `DeviceFuses::words` of the words that `word` belongs to; -1 for none.
[[nodiscard]] qsizetype fuseAt(const DeviceFuses& fuses, std::uint32_t word);
