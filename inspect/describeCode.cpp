#include "inspect/describeCode.h"

#include "files/ByteReader.h"

#include <algorithm>
#include <cstring>

namespace inspect {

namespace {

Field derived(Field field) {
    field.state = FieldState::derived;
    return field;
}

/// Whether a value of a vector table can be the address of a handler.
class HandlerTest {
  public:
    HandlerTest(const Content& content, const std::vector<Span>& memory, std::uint32_t reset)
        : content_(content), memory_(memory), reset_(reset) {}

    [[nodiscard]] bool operator()(std::uint32_t value) const {
        if (value % 2 == 0) {
            return false;
        }
        if (!content_.hasAddress) {
            const std::uint32_t distance = value > reset_ ? value - reset_ : reset_ - value;
            return distance < static_cast<std::uint64_t>(content_.bytes.size());
        }
        const auto next = std::upper_bound(memory_.begin(), memory_.end(), std::uint64_t{value},
                                           [](std::uint64_t address, const Span& span) { return address < span.from; });
        return next != memory_.begin() && value < (next - 1)->to;
    }

  private:
    const Content& content_;
    const std::vector<Span>& memory_;
    std::uint32_t reset_;
};

void findVectors(const Content& content, const std::vector<Span>& memory, Decoded& decoded) {
    constexpr std::uint32_t processorVectors = 16;  // the stack pointer and 15 exceptions
    constexpr std::uint32_t mostVectors = 512;
    ByteReader reader(content.bytes);
    const std::uint32_t stack = reader.u32();
    const std::uint32_t reset = reader.u32();
    const HandlerTest isHandler(content, memory, reset);
    const bool isStack = stack != 0 && stack % 4 == 0 && !isHandler(stack + 1);
    if (!reader.ok() || !isStack || !isHandler(reset)) {
        return;
    }
    std::uint32_t count = 2;
    for (std::uint32_t value = reader.u32(); reader.ok() && count < mostVectors; value = reader.u32()) {
        if (value != 0 && !isHandler(value)) {
            break;
        }
        ++count;
    }
    if (count < processorVectors) {
        return;
    }
    decoded.fields.push_back(derived(addressField("stackPointer", stack)));
    decoded.fields.push_back(derived(addressField("resetHandler", reset - 1)));
    decoded.fields.push_back(derived(numberField("vectorCount", count)));
}

// A run of the shortest length contains a whole stride, so only strides of equal bytes are looked at closely.
void findFill(const Content& content, Decoded& decoded) {
    constexpr qsizetype shortest = 256;
    constexpr qsizetype stride = shortest / 2;
    const char* const bytes = content.bytes.constData();
    const qsizetype size = content.bytes.size();
    for (qsizetype at = 0; at + stride <= size;) {
        if (std::memcmp(bytes + at, bytes + at + 1, stride - 1) != 0) {
            at += stride;
            continue;
        }
        qsizetype start = at;
        while (start > 0 && bytes[start - 1] == bytes[at]) {
            --start;
        }
        qsizetype end = at + stride;
        while (end < size && bytes[end] == bytes[at]) {
            ++end;
        }
        if (end - start >= shortest) {
            decoded.filled.push_back({content.address + static_cast<std::uint64_t>(start),
                                      content.address + static_cast<std::uint64_t>(end - 1),
                                      static_cast<std::uint8_t>(bytes[at])});
        }
        at += (end - at) / stride * stride;
    }
}

void findTexts(const Content& content, std::size_t limit, Decoded& decoded) {
    constexpr qsizetype shortest = 6;
    const QByteArray& bytes = content.bytes;
    std::uint64_t count = 0;
    std::uint64_t size = 0;
    qsizetype after = 0;  // the previous zero byte
    for (qsizetype zero = bytes.indexOf('\0'); zero >= 0; zero = bytes.indexOf('\0', after)) {
        qsizetype start = zero;
        while (start > after && bytes.at(start - 1) >= ' ' && bytes.at(start - 1) <= '~') {
            --start;
        }
        after = zero + 1;
        if (zero - start < shortest) {
            continue;
        }
        ++count;
        size += static_cast<std::uint64_t>(zero - start);
        if (decoded.texts.size() < limit) {
            decoded.texts.push_back(
                {content.address + static_cast<std::uint64_t>(start), bytes.sliced(start, zero - start)});
        }
    }
    if (count == 0) {
        return;
    }
    decoded.fields.push_back(derived(numberField("textCount", count)));
    decoded.fields.push_back(derived(numberField("textSize", size)));
}

}  // namespace

void describeCode(const Content& content, const std::vector<Span>& memory, std::size_t texts, Decoded& decoded) {
    findVectors(content, memory, decoded);
    findTexts(content, texts, decoded);
    findFill(content, decoded);
}

}  // namespace inspect
