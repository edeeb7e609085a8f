#include "inspect/dump.h"

#include "files/wipe.h"
#include "inspect/compare.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace inspect {

namespace {

Span spanOf(const PlacedBytes& piece) {
    return {piece.address, piece.address + static_cast<std::uint64_t>(piece.bytes.size())};
}

std::vector<Span> spansOf(const std::vector<PlacedBytes>& pieces) {
    std::vector<Span> spans(pieces.size());
    std::transform(pieces.begin(), pieces.end(), spans.begin(), spanOf);
    return merged(std::move(spans));
}

/// The bytes of `pieces` at the addresses of `spans`.
std::vector<PlacedBytes> clipped(const std::vector<PlacedBytes>& pieces, const std::vector<Span>& spans) {
    std::vector<PlacedBytes> result;
    for (const PlacedBytes& piece : pieces) {
        const Span own = spanOf(piece);
        auto span = std::lower_bound(spans.begin(), spans.end(), own.from,
                                     [](const Span& candidate, std::uint64_t from) { return candidate.to <= from; });
        for (; span != spans.end() && span->from < own.to; ++span) {
            const std::uint64_t from = std::max(own.from, span->from);
            const std::uint64_t to = std::min(own.to, span->to);
            result.push_back(
                {from, piece.bytes.sliced(static_cast<qsizetype>(from - own.from), static_cast<qsizetype>(to - from))});
        }
    }
    return result;
}

std::uint64_t sizeOf(const std::vector<Span>& spans) {
    return std::accumulate(spans.begin(), spans.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const Span& span) { return sum + span.to - span.from; });
}

bool isErased(const std::vector<PlacedBytes>& pieces, std::uint8_t erased) {
    return std::all_of(pieces.begin(), pieces.end(), [erased](const PlacedBytes& piece) {
        return std::all_of(piece.bytes.begin(), piece.bytes.end(),
                           [erased](char byte) { return static_cast<std::uint8_t>(byte) == erased; });
    });
}

/// Adds the check of one kind of content. Returns whether every byte of it is equal to the dump.
bool proveKind(const char* name, const std::vector<PlacedBytes>& content, const Dump& dump, Description& description) {
    std::vector<PlacedBytes> dumped;
    for (const SourcePiece& piece : dump.pieces) {
        dumped.push_back({piece.address, piece.bytes});
    }
    const std::vector<Span> read = merged(dump.spans);
    const std::vector<Span> all = spansOf(content);
    const std::vector<Span> readable = without(all, merged(dump.unreadable));
    const std::vector<Span> compared = common(readable, read);
    const std::vector<Span> leftOut = without(compared, spansOf(dumped));
    std::uint64_t longest = 0;
    for (const Span& span : leftOut) {
        longest = std::max(longest, span.to - span.from);
    }
    const QByteArray fill(static_cast<qsizetype>(longest), static_cast<char>(dump.erased));
    dumped = clipped(dumped, compared);
    for (const Span& span : leftOut) {
        dumped.push_back({span.from, QByteArrayView(fill).first(static_cast<qsizetype>(span.to - span.from))});
    }
    const std::size_t before = description.differences.size();
    addByteDifferences(name, 0, compareBytes(clipped(content, compared), std::move(dumped)), {"image", "dump"},
                       description.differences);
    const bool isSame = description.differences.size() == before;
    const bool isRead = !compared.empty() && isErased(clipped(content, without(readable, read)), dump.erased);
    if (isSame && !isRead) {
        description.addUnchecked(CheckCode::dump, Reason::notInDump);
    } else {
        description.addCheck(CheckCode::dump, isSame);
    }
    description.checks.back().arguments.push_back(textField("content", name));
    return isSame && isRead && sizeOf(readable) == sizeOf(all);
}

}  // namespace

Dump::~Dump() {
    for (SourcePiece& piece : pieces) {
        wipe(piece.bytes);
    }
}

bool readDump(const QString& argument, Dump& dump, QString& fault) {
    const std::size_t before = dump.pieces.size();
    if (!readFirmware(argument, dump.pieces, fault, dump.erased)) {
        return false;
    }
    if (before == dump.pieces.size()) {
        return true;
    }
    Span span{dump.pieces[before].address, 0};
    for (std::size_t i = before; i < dump.pieces.size(); ++i) {
        const SourcePiece& piece = dump.pieces[i];
        span.from = std::min(span.from, piece.address);
        span.to = std::max(span.to, piece.address + static_cast<std::uint64_t>(piece.bytes.size()));
    }
    dump.spans.push_back(span);
    return true;
}

void proveDump(const Dump& dump, const Contents& contents, Description& description) {
    struct Kind {
        ContentKind kind;
        const char* name;
    };
    constexpr std::array kinds = {Kind{ContentKind::firmware, "firmware"}, Kind{ContentKind::module, "module"}};
    bool isPlaced = false;
    bool isWhole = true;
    for (const Content& content : contents.list) {
        const bool isOfKind = isCode(content);
        isWhole = isWhole && (content.kind == ContentKind::derived || (isOfKind && content.hasAddress));
    }
    for (const Kind& kind : kinds) {
        std::vector<PlacedBytes> placed;
        for (const Content& content : contents.list) {
            if (content.kind == kind.kind && content.hasAddress) {
                placed.push_back({content.address, content.bytes});
            }
        }
        if (!placed.empty()) {
            isPlaced = true;
            isWhole = proveKind(kind.name, placed, dump, description) && isWhole;
        }
    }
    if (!isPlaced) {
        description.addUnchecked(CheckCode::dump, Reason::notInDump);
    } else if (isWhole) {
        settleByComparison(false, description);
    }
}

}  // namespace inspect
