#include "inspect/lzma2.h"

#include "files/ByteReader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace inspect {

namespace {

/// The chance that a bit is 0, as a number of 11 bits.
using Chance = std::uint16_t;
constexpr Chance even = 1024;

template <std::size_t size>
using Chances = std::array<Chance, size>;

/// Decodes bits with their chances (the range coder of LZMA).
class RangeDecoder {
  public:
    void start(QByteArrayView bytes) {
        reader_ = ByteReader(bytes);
        isRight_ = reader_.u8() == 0;
        code_ = 0;
        for (int i = 0; i < 4; ++i) {
            code_ = code_ << 8 | reader_.u8();
        }
        range_ = 0xFFFFFFFF;
    }
    /// Whether all bytes were used, and no more than all.
    [[nodiscard]] bool isAtEnd() const { return isRight_ && reader_.ok() && reader_.remaining() == 0 && code_ == 0; }
    [[nodiscard]] bool isRight() const { return isRight_ && reader_.ok(); }

    std::uint32_t bit(Chance& chance) {
        constexpr int chanceBits = 11;
        constexpr int speed = 5;
        const std::uint32_t bound = (range_ >> chanceBits) * chance;
        std::uint32_t value = 0;
        if (code_ < bound) {
            range_ = bound;
            chance = static_cast<Chance>(chance + ((2048 - chance) >> speed));
        } else {
            range_ -= bound;
            code_ -= bound;
            chance = static_cast<Chance>(chance - (chance >> speed));
            value = 1;
        }
        normalize();
        return value;
    }
    /// Bits that are 0 or 1 with the same chance, the highest one first.
    std::uint32_t evenBits(std::uint32_t count) {
        std::uint32_t value = 0;
        for (; count > 0; --count) {
            range_ >>= 1;
            const bool isOne = code_ >= range_;
            code_ -= isOne ? range_ : 0;
            value = value << 1 | (isOne ? 1U : 0U);
            normalize();
        }
        return value;
    }
    /// A number of `bits` bits, the highest one first; `chances` is a tree.
    std::uint32_t number(Chance* chances, std::uint32_t bits) {
        std::uint32_t node = 1;
        for (std::uint32_t i = 0; i < bits; ++i) {
            node = node << 1 | bit(chances[node]);
        }
        return node - (1U << bits);
    }
    /// The same, the lowest bit first.
    std::uint32_t reversedNumber(Chance* chances, std::uint32_t bits) {
        std::uint32_t node = 1;
        std::uint32_t value = 0;
        for (std::uint32_t i = 0; i < bits; ++i) {
            const std::uint32_t one = bit(chances[node]);
            node = node << 1 | one;
            value |= one << i;
        }
        return value;
    }

  private:
    void normalize() {
        if (range_ < 0x01000000) {
            range_ <<= 8;
            code_ = code_ << 8 | reader_.u8();
        }
    }

    ByteReader reader_{QByteArrayView()};
    std::uint32_t range_ = 0;
    std::uint32_t code_ = 0;
    bool isRight_ = false;
};

/// The length of a match.
struct LengthDecoder {
    Chance choice = even;
    Chance choice2 = even;
    std::array<Chances<8>, 16> low;
    std::array<Chances<8>, 16> mid;
    Chances<256> high;

    LengthDecoder() {
        for (std::size_t i = 0; i < low.size(); ++i) {
            low[i].fill(even);
            mid[i].fill(even);
        }
        high.fill(even);
    }
    std::uint32_t decode(RangeDecoder& decoder, std::uint32_t position) {
        constexpr std::uint32_t shortest = 2;
        if (decoder.bit(choice) == 0) {
            return shortest + decoder.number(low[position].data(), 3);
        }
        if (decoder.bit(choice2) == 0) {
            return shortest + 8 + decoder.number(mid[position].data(), 3);
        }
        return shortest + 16 + decoder.number(high.data(), 8);
    }
};

/// What a chunk may continue with: the state of LZMA between two of its chunks.
struct State {
    std::uint32_t state = 0;
    std::array<std::uint32_t, 4> repeats{};
    std::array<Chances<16>, 12> isMatch;
    Chances<12> isRepeat;
    Chances<12> isRepeat0;
    Chances<12> isRepeat1;
    Chances<12> isRepeat2;
    std::array<Chances<16>, 12> isLongRepeat0;
    std::array<Chances<64>, 4> distanceSlots;
    std::array<Chances<64>, 14> special;  ///< low bits of distances with a slot from 4 to 13
    Chances<16> align;
    LengthDecoder length;
    LengthDecoder repeatLength;
    std::vector<Chance> literals;

    explicit State(std::uint32_t literalBits) : literals(std::size_t{0x300} << literalBits, even) {
        for (std::size_t i = 0; i < isMatch.size(); ++i) {
            isMatch[i].fill(even);
            isLongRepeat0[i].fill(even);
        }
        for (Chances<12>* const chances : {&isRepeat, &isRepeat0, &isRepeat1, &isRepeat2}) {
            chances->fill(even);
        }
        for (Chances<64>& chances : distanceSlots) {
            chances.fill(even);
        }
        for (Chances<64>& chances : special) {
            chances.fill(even);
        }
        align.fill(even);
    }
};

class Unpacker {
  public:
    Unpacker(qsizetype limit, QByteArray& plain) : limit_(limit), plain_(plain) {}

    bool unpack(QByteArrayView packed);

  private:
    bool copyChunk(std::uint8_t control, ByteReader& reader);
    bool unpackChunk(std::uint8_t control, ByteReader& reader);
    bool readProperties(std::uint8_t properties);
    bool unpackPiece(RangeDecoder& decoder, qsizetype end);
    void unpackLiteral(RangeDecoder& decoder);
    std::uint32_t readDistance(RangeDecoder& decoder, std::uint32_t length);
    void readRepeat(RangeDecoder& decoder, std::uint32_t low, std::uint32_t& length);
    bool copyMatch(std::uint32_t length, qsizetype end);
    [[nodiscard]] std::uint8_t byteBefore(std::uint32_t distance) const {
        return static_cast<std::uint8_t>(plain_.at(plain_.size() - 1 - static_cast<qsizetype>(distance)));
    }
    [[nodiscard]] std::uint32_t position() const { return static_cast<std::uint32_t>(plain_.size() - start_); }

    qsizetype limit_;
    QByteArray& plain_;
    qsizetype start_ = 0;  // of the dictionary
    bool hasDictionary_ = false;
    bool hasProperties_ = false;
    std::uint32_t literalContext_ = 0;
    std::uint32_t literalPosition_ = 0;
    std::uint32_t positionBits_ = 0;
    std::vector<State> state_;  // one, or none before the first reset
};

bool Unpacker::readProperties(std::uint8_t properties) {
    constexpr std::uint8_t most = (4 * 5 + 4) * 9 + 8;
    literalContext_ = properties % 9U;
    literalPosition_ = properties / 9U % 5U;
    positionBits_ = properties / 45U;
    hasProperties_ = properties <= most && literalContext_ + literalPosition_ <= 4;
    return hasProperties_;
}

bool Unpacker::copyChunk(std::uint8_t control, ByteReader& reader) {
    constexpr std::uint8_t resets = 1;
    const qsizetype high = reader.u8();
    const qsizetype size = (high << 8 | reader.u8()) + 1;
    const QByteArrayView bytes = reader.take(size);
    if (control == resets) {
        start_ = plain_.size();
        hasDictionary_ = true;
    }
    if (!reader.ok() || !hasDictionary_ || size > limit_ - plain_.size()) {
        return false;
    }
    plain_.append(bytes);
    return true;
}

bool Unpacker::unpackChunk(std::uint8_t control, ByteReader& reader) {
    const std::uint32_t reset = control >> 5 & 3U;  // 1: state, 2: properties as well, 3: dictionary as well
    qsizetype plainSize = control & 0x1F;
    plainSize = plainSize << 8 | reader.u8();
    plainSize = (plainSize << 8 | reader.u8()) + 1;
    const qsizetype high = reader.u8();
    const qsizetype packedSize = (high << 8 | reader.u8()) + 1;
    if (reset == 3) {
        start_ = plain_.size();
        hasDictionary_ = true;
    }
    if (reset >= 2 && !readProperties(reader.u8())) {
        return false;
    }
    if (reset >= 1 && hasProperties_) {
        state_.clear();
        state_.emplace_back(literalContext_ + literalPosition_);
    }
    const QByteArrayView bytes = reader.take(packedSize);
    if (!reader.ok() || !hasDictionary_ || state_.empty() || plainSize > limit_ - plain_.size()) {
        return false;
    }
    RangeDecoder decoder;
    decoder.start(bytes);
    return unpackPiece(decoder, plain_.size() + plainSize) && decoder.isAtEnd();
}

void Unpacker::unpackLiteral(RangeDecoder& decoder) {
    State& now = state_.front();
    const std::uint32_t before = position() > 0 ? byteBefore(0) : 0;
    const std::uint32_t low = position() & ((1U << literalPosition_) - 1);
    const std::uint32_t context = (low << literalContext_) + (before >> (8 - literalContext_));
    Chance* const chances = now.literals.data() + std::size_t{0x300} * context;
    constexpr std::uint32_t afterLiterals = 7;
    std::uint32_t symbol = 1;
    if (now.state >= afterLiterals) {
        // After a match, the byte that would continue it shows which bits are likely, up to the first wrong one.
        std::uint32_t expected = byteBefore(now.repeats[0]);
        std::uint32_t offset = 0x100;
        while (symbol < 0x100) {
            expected <<= 1;
            const std::uint32_t likely = expected & offset;
            const std::uint32_t one = decoder.bit(chances[offset + likely + symbol]);
            symbol = symbol << 1 | one;
            offset &= one != 0 ? expected : ~expected;
        }
    }
    while (symbol < 0x100) {
        symbol = symbol << 1 | decoder.bit(chances[symbol]);
    }
    plain_.append(static_cast<char>(symbol & 0xFF));
    now.state -= now.state < 4 ? now.state : now.state < 10 ? 3 : 6;
}

std::uint32_t Unpacker::readDistance(RangeDecoder& decoder, std::uint32_t length) {
    State& now = state_.front();
    const std::uint32_t slot = decoder.number(now.distanceSlots[std::min(length - 2, 3U)].data(), 6);
    if (slot < 4) {
        return slot;
    }
    constexpr std::uint32_t firstEven = 14;
    const std::uint32_t bits = (slot >> 1) - 1;
    const std::uint32_t high = (2 | (slot & 1)) << bits;
    if (slot < firstEven) {
        return high + decoder.reversedNumber(now.special[slot].data(), bits);
    }
    return high + (decoder.evenBits(bits - 4) << 4) + decoder.reversedNumber(now.align.data(), 4);
}

/// Reads which of the last four distances is used again, and the length.
void Unpacker::readRepeat(RangeDecoder& decoder, std::uint32_t low, std::uint32_t& length) {
    State& now = state_.front();
    const std::uint32_t state = now.state;
    if (decoder.bit(now.isRepeat0[state]) == 0) {
        if (decoder.bit(now.isLongRepeat0[state][low]) == 0) {
            now.state = state < 7 ? 9 : 11;
            length = 1;
            return;
        }
    } else {
        const std::size_t index = decoder.bit(now.isRepeat1[state]) == 0   ? 1
                                  : decoder.bit(now.isRepeat2[state]) == 0 ? 2
                                                                           : 3;
        std::rotate(now.repeats.begin(), now.repeats.begin() + static_cast<std::ptrdiff_t>(index),
                    now.repeats.begin() + static_cast<std::ptrdiff_t>(index) + 1);
    }
    length = now.repeatLength.decode(decoder, low);
    now.state = state < 7 ? 8 : 11;
}

bool Unpacker::copyMatch(std::uint32_t length, qsizetype end) {
    const std::uint32_t distance = state_.front().repeats[0];
    if (distance >= position() || static_cast<qsizetype>(length) > end - plain_.size()) {
        return false;
    }
    for (std::uint32_t i = 0; i < length; ++i) {
        plain_.append(static_cast<char>(byteBefore(distance)));
    }
    return true;
}

bool Unpacker::unpackPiece(RangeDecoder& decoder, qsizetype end) {
    State& now = state_.front();
    while (plain_.size() < end && decoder.isRight()) {
        const std::uint32_t low = position() & ((1U << positionBits_) - 1);
        if (decoder.bit(now.isMatch[now.state][low]) == 0) {
            if (now.state >= 7 && now.repeats[0] >= position()) {
                return false;
            }
            unpackLiteral(decoder);
            continue;
        }
        std::uint32_t length = 0;
        if (decoder.bit(now.isRepeat[now.state]) != 0) {
            readRepeat(decoder, low, length);
        } else {
            length = now.length.decode(decoder, low);
            std::rotate(now.repeats.begin(), now.repeats.end() - 1, now.repeats.end());
            now.repeats[0] = readDistance(decoder, length);
            now.state = now.state < 7 ? 7 : 10;
        }
        if (!copyMatch(length, end)) {
            return false;
        }
    }
    return plain_.size() == end;
}

bool Unpacker::unpack(QByteArrayView packed) {
    constexpr std::uint8_t firstPacked = 0x80;
    constexpr std::uint8_t lastCopied = 2;
    ByteReader reader(packed);
    while (true) {
        const std::uint8_t control = reader.u8();
        if (!reader.ok() || control == 0) {
            return reader.ok() && reader.remaining() == 0;
        }
        const bool isKnown = control <= lastCopied || control >= firstPacked;
        if (!isKnown || !(control <= lastCopied ? copyChunk(control, reader) : unpackChunk(control, reader))) {
            return false;
        }
    }
}

}  // namespace

bool unpackLzma2(QByteArrayView packed, qsizetype limit, QByteArray& plain) {
    plain.clear();
    return Unpacker(limit, plain).unpack(packed);
}

void restoreThumbBranches(QByteArray& code) {
    constexpr std::uint32_t ahead = 4;  // a branch counts from two instructions after its own
    const auto at = [&code](qsizetype index) {
        return static_cast<std::uint32_t>(static_cast<std::uint8_t>(code[index]));
    };
    for (qsizetype i = 0; i + 4 <= code.size(); i += 2) {
        if ((at(i + 1) & 0xF8) != 0xF0 || (at(i + 3) & 0xF8) != 0xF8) {
            continue;
        }
        const std::uint32_t target = (at(i + 1) & 7) << 19 | at(i) << 11 | (at(i + 3) & 7) << 8 | at(i + 2);
        const std::uint32_t distance = (target << 1) - (static_cast<std::uint32_t>(i) + ahead);
        const std::uint32_t half = distance >> 1;
        code[i + 1] = static_cast<char>(0xF0 | (half >> 19 & 7));
        code[i] = static_cast<char>(half >> 11 & 0xFF);
        code[i + 3] = static_cast<char>(0xF8 | (half >> 8 & 7));
        code[i + 2] = static_cast<char>(half & 0xFF);
        i += 2;
    }
}

}  // namespace inspect
