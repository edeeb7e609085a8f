#include "devices/otpMap.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace devices {

namespace {

/// The sort key of an item. Items are sorted by their first word, then by their index.
auto keyOf(const QList<OtpItem>& items, qsizetype item) {
    return std::tuple(items.at(item).first, item);
}

QList<OtpWord> describedWords(const DeviceFuses& fuses) {
    QList<OtpWord> words(fuses.wordCount);
    for (qsizetype fuse = 0; fuse < fuses.words.size(); ++fuse) {
        const FuseWords& described = fuses.words.at(fuse);
        for (std::uint32_t word = described.index; word < std::min(described.end(), fuses.wordCount); ++word) {
            words[word] = {OtpUse::free, -1, fuse};
        }
    }
    return words;
}

/// Sorts the items by `keyOf` and compares each item with the earlier item that ends last. There are therefore at most
/// as many collisions as items.
QList<OtpCollision> findCollisions(const QList<OtpItem>& items) {
    QList<qsizetype> order;
    for (qsizetype item = 0; item < items.size(); ++item) {
        if (items.at(item).count > 0) {
            order += item;
        }
    }
    std::sort(order.begin(), order.end(),
              [&items](qsizetype a, qsizetype b) { return keyOf(items, a) < keyOf(items, b); });
    QList<OtpCollision> collisions;
    qsizetype furthest = -1;
    for (const qsizetype item : std::as_const(order)) {
        const OtpItem& next = items.at(item);
        if (furthest >= 0 && next.first < items.at(furthest).end()) {
            const std::uint64_t end = std::min(next.end(), items.at(furthest).end());
            collisions += {furthest, item, next.first, static_cast<std::uint32_t>(end - next.first)};
        }
        if (furthest < 0 || next.end() > items.at(furthest).end()) {
            furthest = item;
        }
    }
    return collisions;
}

}  // namespace

OtpMap mapOtp(const DeviceFuses& fuses, const QList<OtpItem>& items) {
    OtpMap map;
    map.words = describedWords(fuses);
    map.collisions = findCollisions(items);
    for (qsizetype i = 0; i < items.size(); ++i) {
        const OtpItem& item = items.at(i);
        if (item.end() > fuses.wordCount) {
            map.outside += i;
        }
        bool isDescribed = true;
        const std::uint64_t end = std::min<std::uint64_t>(item.end(), fuses.wordCount);
        for (std::uint64_t index = item.first; index < end; ++index) {
            OtpWord& word = map.words[static_cast<qsizetype>(index)];
            isDescribed = isDescribed && word.fuse >= 0;
            word.use = word.item < 0 ? OtpUse::used : OtpUse::collision;
            word.item = word.item < 0 ? i : word.item;
        }
        if (!isDescribed && !fuses.words.isEmpty()) {
            map.undescribed += i;
        }
    }
    for (qsizetype fuse = 0; fuse < fuses.words.size(); ++fuse) {
        const FuseWords& described = fuses.words.at(fuse);
        const auto first = map.words.cbegin() + std::min(described.index, fuses.wordCount);
        const auto end = map.words.cbegin() + std::min(described.end(), fuses.wordCount);
        if (!described.mayBeLeftOut &&
            std::any_of(first, end, [](const OtpWord& word) { return word.use == OtpUse::free; })) {
            map.missing += fuse;
        }
    }
    return map;
}

OtpNeighbours otpNeighbours(const QList<OtpItem>& items, qsizetype item) {
    OtpNeighbours nearest;
    for (qsizetype other = 0; other < items.size(); ++other) {
        if (keyOf(items, other) < keyOf(items, item)) {
            if (nearest.before < 0 || keyOf(items, other) > keyOf(items, nearest.before)) {
                nearest.before = other;
            }
        } else if (other != item && (nearest.after < 0 || keyOf(items, other) < keyOf(items, nearest.after))) {
            nearest.after = other;
        }
    }
    return nearest;
}

qsizetype fuseAt(const DeviceFuses& fuses, std::uint32_t word) {
    for (qsizetype fuse = 0; fuse < fuses.words.size(); ++fuse) {
        if (word >= fuses.words.at(fuse).index && word < fuses.words.at(fuse).end()) {
            return fuse;
        }
    }
    return -1;
}

}  // namespace devices
